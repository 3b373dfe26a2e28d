// The trace: one line an event, in the order in which things happened.
#pragma once

#include <string>

namespace twin {

// From here on `tap` gets every line of the trace, SECONDS KIND TEXT, printed or not; null ends
// that. It is called with the output's lock held and prints nothing.
void tapTrace(void (*tap)(const std::string& line));

// Whether trace lines are wanted; lets a caller skip costly formatting.
bool traceEnabled();

// Writes "SECONDS KIND TEXT" with the present time. Does nothing where nobody wants it. Any
// actor.
__attribute__((format(printf, 2, 3))) void trace(const char* kind, const char* format, ...);

// Reports something that must never happen (two motor calls at once, ...): a `head` line in the
// trace, the same text on standard error, and exit status 1 at the end of the run.
__attribute__((format(printf, 1, 2))) void reportViolation(const char* format, ...);

}  // namespace twin
