// The way of the output to the operating system. All but outputHeldUp and outputError (output.h)
// are called with the output's lock held.
#pragma once

#include <cstdio>
#include <string>

namespace twin {

// A stream onto a copy of the descriptor; null if there is none. Once.
FILE* openWriter(int descriptor);

// From here on what is written is kept, and `arrivals` (an eventfd) told of it; takeHeld takes what
// was kept; release writes it.
void hold(int arrivals);
std::string takeHeld();
void release();

}  // namespace twin
