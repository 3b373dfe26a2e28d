// A preset as it lies on the bus: eight comma-separated numbers. Lens thread.
#pragma once

#include <cstdint>

struct PresetRecord {
    std::int32_t pan;
    std::int32_t tilt;
    std::int32_t zoom;
    std::int32_t focus;  // -1: found by autofocus after arriving
    std::int32_t rotate;
    std::int32_t imageRotate;
    std::int32_t mirror;
    std::int32_t flip;
};

// Reads the record under `key`; fields that are missing are -1, and so are all if there is no key.
PresetRecord readPreset(const char* key);

// Whether the record has positions to go to: a deleted or empty one has not.
bool isUsable(const PresetRecord& record);
