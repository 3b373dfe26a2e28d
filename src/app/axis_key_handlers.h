// Handlers of the six axis keys. A listener also hears the longer names that begin with its key, so
// each tells the axis's status key (which switches the motor's marker file) from the command word
// (which goes into the axis's command buffer). Bus dispatcher thread.
#pragma once

void handleFocusKey(const char* key, const char* value);
void handleZoomKey(const char* key, const char* value);
void handleIrisKey(const char* key, const char* value);
void handlePanKey(const char* key, const char* value);
void handleTiltKey(const char* key, const char* value);
void handleRotateKey(const char* key, const char* value);
