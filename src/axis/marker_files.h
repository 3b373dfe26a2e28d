// Marker files: one per motor, present while it moves, so that a power loss in the middle of a move
// is seen at the next start; and the home marker, which leads to levelling at the next start.
#pragma once

#include <cstdint>

#include "axis/axes.h"

// Creates the axis's marker (once, until it is removed again) or removes the one that this run
// created; a marker left by an earlier run stays. Nothing for the iris, which has none. A marker
// that cannot be created is passed over. Bus dispatcher thread.
void setMotorFile(Axis axis, bool on);

// Whether `path` (a camera path) marks an interrupted move: -1 if it is there and empty, or holds 1
// or no number; 0 if it is absent or holds another number. Any thread.
std::int32_t readMotorFile(const char* path);

// Publishes "fail" on the status key of every axis whose marker survived. Lens thread, at its
// start.
void ChackPowerOffStatus();

// Creates the home marker. Any thread.
void setHomeFile();

// Removes the home marker if this run created it, and on the first call also one that an earlier
// run left. A rotate word makes it void: it goes when the word comes (main thread) and, as a run
// that the word waited for may have made it anew, when the word is carried out (lens thread).
void clearHomeFile();

// If the home marker is there, requests levelling and renews the marker; does nothing while the
// rotate mode is off and the motion sensor is not present. Always 0. Any thread.
std::int32_t checkHomeFile();
