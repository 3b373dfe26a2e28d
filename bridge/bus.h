// The message bus as the bridge reaches it: on a camera the functions of platform/nbus.h, in the
// simulated head what another service of that camera sees.
#pragma once

#include "platform/nbus.h"

namespace bridge {

// Arguments, results and threads as platform/nbus.h has them.
struct Bus {
    int (*listen)(const char* key, nbus_handler handler);
    int (*get)(const char* key, char* value, int size);
    int (*set)(const char* key, const char* value);
    int (*getName)(const char* prefix, int index, char* name, int size);
};

// The longest key and the longest value that the bus takes, in bytes.
inline constexpr int kLongestBusText = 127;

}  // namespace bridge
