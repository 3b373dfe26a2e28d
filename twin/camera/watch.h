// The thread that watches over the run: real-time guard and signals from outside.
#pragma once

namespace twin {

// From here on SIGINT, SIGQUIT and SIGTERM that reach the process are delivered to the daemon in an
// orderly way, a closed terminal (SIGHUP, unless it is ignored) and output that nobody reads
// (SIGPIPE) end the run with its camera saved, and with the virtual clock a run whose time stands
// still for `guardSeconds` of the wall's time, while somebody runs and is not held up by a slow
// reader of the output, ends with one line that names who, and exit status 1. Once, before any
// actor starts.
void startWatch(int guardSeconds = 10);

// A SIGINT first goes to `breakOff`, which is called on the thread that watches, and returns
// whether it had something to break off: then the daemon does not get the signal.
void onInterrupt(bool (*breakOff)());

// Readable when a signal waits for the console's thread to take it (takeInterrupt).
int signalDescriptor();

}  // namespace twin
