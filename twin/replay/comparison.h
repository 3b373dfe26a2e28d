// What came out differently in two runs with the same acts.
#pragma once

#include "twin/replay/recording.h"

namespace twin {

// Prints it on standard output: for each key, function or axis the texts that only one side has and
// how far the common ones are apart in time, and then the distribution of all differences in time.
// Of a run that was recorded in real time it leaves out what the daemon's loops repeat by their own
// beat. Returns whether the texts are the same.
bool printComparison(const RecordedRun& recorded, const RecordedRun& replayed);

}  // namespace twin
