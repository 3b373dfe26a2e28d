// The image settings that orientation publishes; the bus handlers take them from there.
#pragma once

#include "platform/nbus.h"

inline constexpr char kFlipKey[] = "image.camN.flip";
inline constexpr char kMirrorKey[] = "image.camN.mirror";
inline constexpr char kRotateKey[] = "image.camN.rotate";

// Sets an image setting's key to "on" or "off". Lens thread.
inline void publishImageSetting(const char* key, bool on) {
    nbus_set(key, on ? "on" : "off");
}
