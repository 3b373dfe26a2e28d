// Where the console waits for something to do.
#pragma once

namespace twin {

// Waits until standard input can be read (or has ended); what other threads ask for, and signals,
// are served meanwhile. False if the run is over. The console's thread only.
bool awaitInput();

// Has `serve` called while the console waits and the descriptor can be read.
void serveWhileWaiting(int descriptor, void (*serve)());

// Serves other threads and signals until the run is over.
void serveOthers();

}  // namespace twin
