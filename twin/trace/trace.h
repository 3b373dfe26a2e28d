// The trace: one line an event, in the order in which things happened.
#pragma once

namespace twin {

// Whether trace lines are wanted; lets a caller skip costly formatting.
bool traceEnabled();

// Writes "SECONDS KIND TEXT" with the present time. Does nothing without --trace. Any actor.
__attribute__((format(printf, 2, 3))) void trace(const char* kind, const char* format, ...);

// Reports something that must never happen (two motor calls at once, ...): a `head` line in the
// trace, the same text on standard error, and exit status 1 at the end of the run.
__attribute__((format(printf, 1, 2))) void reportViolation(const char* format, ...);

}  // namespace twin
