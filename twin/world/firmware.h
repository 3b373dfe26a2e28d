// The two microcontrollers' firmware. Every function needs the world lock.
#pragma once

#include <cstdint>

namespace twin {

enum class Mcu { mainBoard, sensor };

// Both microcontrollers run the shipped versions.
void makeFirmware();

std::uint32_t mcuVersion(Mcu mcu);
void setMcuVersion(Mcu mcu, std::uint32_t version);

// Whether the microcontroller leaves this call unanswered; counts the call.
bool mcuSilent(Mcu mcu);

// The bootstrap loader: runs the image file at `path` from now on. An image begins with a line
// "version HEX". A path below /bin/ is the camera's. 0 on success, else -1 and nothing has changed.
int loadFirmware(Mcu mcu, const char* path);

// `path` as the camera knows it, whatever this run put before it.
const char* cameraPath(const char* path);

}  // namespace twin
