// Handlers of the plain settings: each stores what its key's value stands for in the control state
// (docs/bus-keys.md has the values). `key` is not looked at and may be null. Bus dispatcher thread,
// and the main thread during registration.
#pragma once

void handleDemoPtzMode(const char* key, const char* value);
void handleDemoLedMode(const char* key, const char* value);
void handleDemoLedR(const char* key, const char* value);
void handleDemoLedG(const char* key, const char* value);
void handleDemoLedB(const char* key, const char* value);
void handleDemoLedW(const char* key, const char* value);
void handleFocusAfterZoom(const char* key, const char* value);
void handlePreset(const char* key, const char* value);
void handleIcr(const char* key, const char* value);
void handleIrisTable(const char* key, const char* value);
void handleFlip(const char* key, const char* value);
void handleMirror(const char* key, const char* value);
void handleRotate(const char* key, const char* value);
void handlePerspectiveMode(const char* key, const char* value);
void handleFwUpdate(const char* key, const char* value);
void handleCurrentGain(const char* key, const char* value);
void handleSlaveCameras(const char* key, const char* value);
void handleEncodeStatus(const char* key, const char* value);
void handleDenoiseStatus(const char* key, const char* value);
void handleWdr(const char* key, const char* value);
void handleModeRotate(const char* key, const char* value);
void handlePoeStatus(const char* key, const char* value);
