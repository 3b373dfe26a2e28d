// What the main-board microcontroller switches besides the motors.
#pragma once

namespace twin {

// World lock held.
struct Board {
    // The mask of the latest setPowerEnable; 0 after a setPowerDisable.
    int supply = 0;
    // Whether the infra-red cut filter is in.
    bool icrDay = true;
    int ledModes[8] = {};
    // Group A's four words, then group B's.
    unsigned int leds[8] = {};
};

extern Board gBoard;

}  // namespace twin
