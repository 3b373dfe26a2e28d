// The registry of the bus keys: one row per key, in the order of registration.
#pragma once

#include <span>

#include "platform/nbus.h"

// How a key's present value is read when it is registered.
enum class InitialRead {
    none,      // not read
    get,       // read once, handed to the handler without a key name, then listened to
    names,     // every key below it is read and handed over with its full name, then listened to
    getOnly,   // read once, handed over with its name, never listened to
    together,  // read with its neighbours once all of them are listened to
};

struct BusKey {
    const char* key;
    InitialRead initial;
    nbus_handler handler;
};

std::span<const BusKey> busKeys();

// Listens to every key and hands the present values to the handlers. From here on handlers may run
// at any time. Main thread, once.
void registerBusKeys();
