// Handlers of the keys that carry requests: presets, action words, demo actions. Bus dispatcher
// thread.
#pragma once

// "1:set", "2:go", ...: accepted while no preset request is pending.
void handleActPreset(const char* key, const char* value);

// "AF", "home", "z1200", ...: raises a request, or sets the word on an axis key.
void handleActionCommand(const char* key, const char* value);

// A demo action word, for the supervision loop.
void handleDemoAction(const char* key, const char* value);
