// What a command line may go on with.
#pragma once

#include <string>
#include <vector>

namespace twin {

// The words that may stand in the place of the last one of `line`, of which its beginning is there
// already, in order: commands, keys of the bus, words that a key takes, faults. The console's
// thread only.
std::vector<std::string> completions(const std::string& line);

}  // namespace twin
