// What the runs of a test or of a campaign's case printed, kept where it fails.
#pragma once

#include <string>

// Forgets the runs that this thread has made so far.
void forgetRecordings();

// Saves the recordings of the runs that this thread has made since, as the boots of one recording.
// Returns the command that replays them; empty if there are none.
std::string saveRecordings(const std::string& name);
