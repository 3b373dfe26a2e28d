// Sharpness from the encoder's focus statistics. Lens thread only.
#pragma once

#include <cstdint>

// Reads one record: `a`, `b`, `c` get 10000 times the sharpness ratio of the picture areas A, B and
// C, the result is 10000 times their mean. 0, and the outputs unchanged, if there is no record.
std::int32_t readFocusStats(std::int32_t* a, std::int32_t* b, std::int32_t* c);

// Diagnostic: prints one record and returns a score that weighs area A far above the others. 0 if
// there is no record.
std::int32_t focusScoreWeighted();
