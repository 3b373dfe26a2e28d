// The whole daemon on the simulated head inside this process, on the virtual clock: for runs that
// are too long or too many for a program of their own. Once per process; one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace whole {

// A camera with known positions and factory settings whose files lie below `directory`; a second
// after its start. What the daemon prints is dropped.
void boot(const std::string& directory);

// Lets so many seconds pass.
void pass(double seconds);

// Lets time pass until nothing has moved and no request has been left for so long. What still goes
// on in the end; empty if nothing does.
std::string rest(int quietSeconds, int longestSeconds);

// Where a counter is not the truth; empty if none is.
std::string counters();

// What another service may ask of a camera. Four bytes are one act: which, two of its number, and
// the pause that follows. Fewer bytes at the end are left out.
inline constexpr std::size_t kActBytes = 4;

// The acts as commands of the console.
std::string scriptOf(const std::uint8_t* acts, std::size_t size);

// Plays the acts, lets everything come to rest, homes it if a counter may have lost the truth, and
// moves every axis. What is wrong then: it does not rest, the twin saw a violation, a counter is
// not the truth, the dispatcher stands. Empty if all is well.
std::string ordeal(const std::uint8_t* acts, std::size_t size);

}  // namespace whole
