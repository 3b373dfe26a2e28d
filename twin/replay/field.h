// A recording of a real camera's bus against the model: worn axes, places lost, a blind lens.
#pragma once

#include <string>

#include "twin/replay/recording.h"

namespace twin {

// The model's run for such a recording: a camera with its settings that homes, goes where the
// recorded one stood, and then gets the recorded sets. `mount` as --mount has it; empty: as the
// recorded settings say.
RecordedRun modelRunFor(const RecordedRun& field, const std::string& mount);

// Prints on standard output what the recorded head did otherwise than the model, whose run came out
// as `model`: per axis how long its moves took, statuses that are missing or too many, places that
// only a sensor finds (after levelling and autofocus) and that are others. Returns whether nothing
// is wrong with the head.
bool printFieldComparison(const RecordedRun& field, const RecordedRun& model);

}  // namespace twin
