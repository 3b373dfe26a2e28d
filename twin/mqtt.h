// The run's bus on an MQTT broker, for services on other machines.
#pragma once

#include "bridge/options.h"

namespace twin {

// Starts the bridge, to which this camera's bus looks as it does to any other service: what comes
// in is a set from outside, and the end of standard input does not end the run any more. Real clock
// only, after power-up and before runConsole. Where it cannot start, the run ends with a line on
// standard error and status 1.
void startMqtt(const bridge::Options& options);

// Ends the connection in good order, if there is one: what has been set so far is told first.
void stopMqtt();

}  // namespace twin
