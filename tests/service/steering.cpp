// Loaded beside the camera's libraries: sets on the bus what comes on standard input, KEY VALUE a
// line, as another service would, and prints the orders for pan.
#include <dlfcn.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <thread>

#include "platform/motor_mcu.h"
#include "platform/nbus.h"

namespace {

[[maybe_unused]] const bool kListens = [] {
    std::thread([] {
        for (std::string key, value; std::cin >> key && std::getline(std::cin >> std::ws, value);) {
            nbus_set(key.c_str(), value.c_str());
        }
    }).detach();
    return true;
}();

}  // namespace

int setPanForwardS(int code, int steps, int speed) {
    using Order = int (*)(int, int, int);
    static const auto order = reinterpret_cast<Order>(dlsym(RTLD_NEXT, "setPanForwardS"));
    std::printf("setPanForwardS %d %d %d\n", code, steps, speed);
    return order(code, steps, speed);
}
