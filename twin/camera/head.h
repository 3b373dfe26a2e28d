// The simulated head as the console sees it: its truth, its memory between runs, its faults.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace twin {

// What a camera is made of, from the command line.
struct CameraOptions {
    std::optional<int> lensType;  // not given: as it was, or 0
    // ceiling, desktop, wall0, wall90, wall180 or wall270; empty: as it was, or ceiling
    std::string mount;
    std::uint64_t seed = 1;
};

// Compares the options with what `memory` says about the camera. A camera may have been mounted
// anew, which is said on standard error. Its lens cannot be another: the result is an error text,
// empty on success.
std::string checkOptions(const CameraOptions& options,
                         const std::map<std::string, std::string>& memory);

// Builds the head. `memory` is what a former run saved ("pan.position" -> "1200", ...), the faults
// in force included; what it leaves out is as on a new camera, with seeded positions. Values that
// make no sense are refused: the result is an error text, empty on success.
std::string makeHead(const CameraOptions& options,
                     const std::map<std::string, std::string>& memory);

// The head's lasting state at this instant, for the next run: an axis in motion stays where it is,
// and the rest of its order counts as lost. World lock held by the callee.
std::map<std::string, std::string> saveHead();

// The truth at this instant as one line of JSON. "supply" is the mask of the latest setPowerEnable,
// 0 after a setPowerDisable; an LED word is a text of eight hexadecimal digits; "gravity" is in
// m/s² and "sharpness" a ratio for each picture area, both free of noise. "speed" is the clock's,
// and "on" is true: whoever asks this process finds it on.
std::string describeHead();

// Compares every resting axis's counter, as last set on the bus (`lens.camN.position_pan`, ...),
// with its true position. Returns "ok", or "FAIL pan counter 1200 true 1187, ...".
// `position(key)` gives the key's present text, or an empty text.
std::string checkCounters(std::string (*position)(const char* key));

// Mounts the camera in another way. False for an unknown one.
bool changeMount(const std::string& mount);

// Sets the controller's own pan or tilt counter, as a test's hand would. False for another axis.
bool setControllerCounter(const std::string& axis, int value);

}  // namespace twin
