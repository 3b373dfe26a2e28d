// What a camera keeps between runs: DIR/bus (the bus's lasting keys), DIR/head (the mechanism) and
// DIR/root (its file tree).
#pragma once

#include <map>
#include <string>
#include <vector>

namespace twin {

using Texts = std::map<std::string, std::string>;

struct SavedState {
    bool newCamera = true;
    Texts bus;
    Texts head;
};

// Opens the state in `directory`, making it if needed; an empty name stands for a private directory
// that removeTemporaryState removes. Fills `state`; damaged lines of DIR/bus are left out with one
// line on standard error. Returns an error text, empty on success. Once, before the daemon starts.
std::string openState(const std::string& directory, SavedState& state);

// Writes both files in whole; a run that dies meanwhile leaves the former ones. Returns an error
// text. Nothing is written for a private directory.
std::string saveState(const Texts& bus, const Texts& head);

void removeTemporaryState();

}  // namespace twin
