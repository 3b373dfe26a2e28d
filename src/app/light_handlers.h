// Handlers of the light, relay and LED keys: each stores its value in the control state. Bus
// dispatcher thread, and the main thread during registration.
#pragma once

// `key` tells the setting: ".light.flash" or ".light.brightness" of the event lights.
void handleEventLight(const char* key, const char* value);

// `key` tells the setting: one of the four lights, the event orders, a relay, the test mode.
void handleLensLight(const char* key, const char* value);

// LED power limit and enable switches; `key` is not looked at.
void handleLedPower(const char* key, const char* value);
void handleLedCtrl(const char* key, const char* value);
