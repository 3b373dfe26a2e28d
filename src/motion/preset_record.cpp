#include "motion/preset_record.h"

#include "numbers.h"
#include "platform/nbus.h"

PresetRecord readPreset(const char* key) {
    char text[128] = {};
    nbus_get(key, text, sizeof text);
    std::int32_t fields[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
    parseIntList(text, fields, 8);
    return {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6], fields[7]};
}

bool isUsable(const PresetRecord& record) {
    return record.pan >= 0 && record.tilt >= 0 && record.zoom >= 0 && record.rotate >= 0;
}
