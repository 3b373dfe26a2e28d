// Why there is no connection, for the person who runs the program: what is wrong and what to do.
#pragma once

#include <string>

namespace bridge {

// A call of libmosquitto failed with `code`, one of its own; `detail` is what it logged last.
// `errorNumber` is errno's value, for codes that say no more.
std::string failureText(int code, int errorNumber, const std::string& detail);

// The broker refuses the connection, or ends it, with one of MQTT's reason codes.
std::string reasonText(int reason);

}  // namespace bridge
