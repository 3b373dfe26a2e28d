// Which keys a new camera starts with, and which keys outlive a restart.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace twin {

std::map<std::string, std::string> factorySettings();

// Whether the key is a preset or a setting. Positions, ranges, statuses, command words and the
// daemon's reports about itself begin anew with every run.
bool outlivesRestart(std::string_view key);

// Those of `keys` that outlive a restart.
std::map<std::string, std::string> lastingOf(std::map<std::string, std::string> keys);

}  // namespace twin
