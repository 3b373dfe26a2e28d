// What a camera keeps between runs: DIR/bus (the bus's lasting keys), DIR/head (the mechanism) and
// DIR/root (its file tree).
#pragma once

#include <string>

#include "twin/camera/texts.h"

namespace twin {

struct SavedState {
    bool newCamera = true;
    Texts bus;
    Texts head;
};

// Opens the state in `directory`, making it if needed; an empty name stands for a private directory
// that removeTemporaryState removes. A place that has been taken already (place.h) is used. Fills
// `state`; what of it is damaged, or was not saved by a run that was killed, is said on standard
// error. Returns an error text, empty on success. Once, before the daemon starts.
std::string openState(const std::string& directory, SavedState& state);

// An error text about a mechanism's memory that makes no sense: what can be done about it, or that
// it is a recording's.
std::string adviceOnHead(const std::string& problem);

// Keeps the camera from here on even if the run is killed (journal.h). Returns an error text.
// Nothing is kept in a private directory.
std::string keepState(const Texts& bus, const Texts& head);

// Notes the mechanism as it is now, should the run be killed. Any thread.
void noteState(Texts head);

// Saves both whole at the end of a run. Returns an error text that names the file; the journal then
// stays. Nothing is written for a private directory.
std::string saveState(const Texts& bus, const Texts& head);

void removeTemporaryState();

}  // namespace twin
