// The camera's estimated power consumption on the bus. Main thread, once a pass.
#pragma once

// Publishes the sum of all contributions in watts: a rise at once, a fall only when it has lasted
// for about a hundred passes.
void publishPowerConsumption();
