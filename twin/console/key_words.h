// The words that the camera's keys take, for whoever types them.
#pragma once

#include <string>
#include <vector>

namespace twin {

// The words of `key` as its services write them; a number stands behind those that end with ':' or
// with a single letter of an action. Empty for a key without words, or an unknown one.
std::vector<std::string> wordsOf(const std::string& key);

// The keys that take words, known or not known to the bus by now.
std::vector<std::string> keysWithWords();

}  // namespace twin
