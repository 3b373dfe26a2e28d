// The supervision loop: what the main thread does once the lens thread runs.
#pragma once

// Hands command words to their interpreters, composes the LEDs, runs demo actions, keeps the iris
// at its table value and publishes the power estimate, every 10 ms, until `giExit` is set.
void superviseUntilExit();
