// When the daemon takes commands.
#pragma once

#include "twin/clock/timeline.h"

namespace twin {

// The daemon starts a thread. It does so once its keys are registered: from the first one on it
// hears every set. Any thread.
void noteThreadStart();

// Waits until the daemon hears every set, at most until `deadline`. False if it does not by then.
// For the console only, or whoever stands in its place; with the virtual clock time passes.
bool waitUntilReady(Microseconds deadline);

// Ends the console's waiting for it. Real clock only, any thread.
void stopWaitingUntilReady();

}  // namespace twin
