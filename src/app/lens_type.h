// The lens type: which ranges the axes have. Start-up only.
#pragma once

// Takes the whole range record of the fitted lens into the axis table and says which lens it is.
void selectLensType();

// Publishes each axis's range as "MINIMUM~MAXIMUM" on both key families.
void publishRanges();

// Prints the maxima.
void printRanges();
