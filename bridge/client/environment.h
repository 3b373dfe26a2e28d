// What a service on a workstation is told by its environment: the options of the bridge, each as
// KESTREL_ and its name in capitals.
#pragma once

#include <string>

#include "bridge/options.h"

namespace bridge::client {

// The options that the environment gives. `problem` says what is wrong with them, and is empty if
// nothing is.
Options readEnvironment(std::string& problem);

// How many seconds nbus_initial may take: KESTREL_WAIT, from 1 to 3600, or 10.
int patienceSeconds();

// A text of the bridge's for the person who runs a service: with the variables' names in the place
// of the options', and the program in the place of the head.
std::string inServiceTerms(std::string text);

}  // namespace bridge::client
