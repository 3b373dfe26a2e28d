// Faults of the simulated world, injected by name: one table that says what exists. A fault lasts
// until it is cleared or used up, also from one run of the camera to the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace twin {

// The `fault` command's words after "fault" ("axis pan stuck", "call getPanPos 3", "clear", ...;
// none lists). Returns the answer without the leading "= ": one line or several. `ok` becomes false
// for an unknown fault or a wrong argument, and the answer then says what is accepted.
std::vector<std::string> faultCommand(const std::vector<std::string>& words, bool& ok);

// Whether this call of the library function `name` is to fail; counts the call. Every boundary
// function asks once per call. World lock held.
bool callFails(const char* name);

// Whether the switch-like fault `name` ("sensor-absent", "bus-refuse", "disk-full", ...) is on.
bool faultActive(const char* name);

}  // namespace twin
