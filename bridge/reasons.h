// Why there is no connection, for the person who runs the program: what is wrong and what to do.
#pragma once

#include <string>

namespace bridge {

// A call of libmosquitto failed.
struct Failure {
    int code;            // libmosquitto's
    int errorNumber;     // errno, for codes that say no more
    std::string detail;  // what was logged last
    bool connecting;     // the broker had not accepted the connection yet
    bool certified;      // the head has a certificate of its own
};
std::string failureText(const Failure& failure);

// The broker refuses the connection, or ends it, with one of MQTT's reason codes.
std::string reasonText(int reason);

}  // namespace bridge
