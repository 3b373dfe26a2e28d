// Lets another thread go on at the steps that the daemon's threads take on what they share (see
// src/shared.h) and at the calls that they make to their libraries: one process a schedule, a copy
// of one that has come to the step in question. Needs the build that explores, and a daemon that
// runs on the virtual clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace interleavings {

// A set that another service makes.
struct Act {
    const char* key;
    const char* value;
};

// Who goes on, until it waits, where one of the others is held up. The dispatcher does so with an
// act that comes just then, and with `handedOver` the main thread after it, which takes that act;
// for the others the act has come when the window opened.
enum class Other : std::size_t { dispatcher, main, lens, handedOver };

inline constexpr const char* kOtherNames[] = {"bus", "main", "lens", "bus-main"};

// What is watched: the sets that come when the window opens, and for how long steps are counted.
struct Window {
    std::vector<Act> opening;
    int milliseconds;
};

// Of the camera: what a copy does first, to have files of its own; and what has come of a schedule,
// asked once its window is closed.
struct Hooks {
    void (*begin)();
    std::string (*outcome)();
};
void useHooks(const Hooks& hooks);

struct Placement {
    Act act;
    Other other;
    // The step at which `other` goes on: the so many-th, from 1, of those at which it could, since
    // the window opened or since the placement before.
    std::uint64_t step;
};

// Which thread's next pass comes late, behind the other one's: their phases are not fixed.
enum class Late { none, main, lens };

struct Timed {
    Act act;
    int milliseconds;
    Late late;  // after the act
};

// Runs `body` in a copy of this process, in parallel with this one. Everything else here is for
// such a copy.
void startCopy(void (*body)(const void* argument), const void* argument);

// Waits until at most so many of these copies are left.
void waitForCopies(int left);

// The following find the camera where the window opens, and leave it there. An outcome is
// "wrong: ..." if a schedule crashed or did not come to an end.

// The outcome of acts that come between the threads' passes, so long after the window opened; a
// pass may be late from the opening on.
std::string outcomeOf(const Window& window, Late late, const std::vector<Timed>& acts);

// The outcome of the placements. An act whose step does not come comes when the window closes.
std::string outcomeOf(const Window& window, const std::vector<Placement>& placements);

// How many steps the window has at which `other` could go on.
std::uint64_t countSteps(const Window& window, Other other);

// The act placed at every one of these steps, or at every `stride`-th, each in a schedule of its
// own; `see` is told, in another copy of this process. How many steps there are; 0 if it said no.
std::uint64_t placeEverywhere(const Window& window, const Act& act, Other other,
                              std::uint64_t stride,
                              bool (*see)(std::uint64_t step, const std::string& outcome));

// The same as outcomeOf, in this process, which is of no further use: to watch one schedule.
std::string play(const Window& window, const std::vector<Placement>& placements);

}  // namespace interleavings
