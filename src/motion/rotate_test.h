// The rotate test run: drives the rotate axis up and back in small steps, fifty times. Lens thread.
#pragma once

// Runs the test to its end, which takes several minutes, and switches the motor supply off.
void runRotateTest();
