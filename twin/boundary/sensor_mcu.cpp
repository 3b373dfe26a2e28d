#include "platform/sensor_mcu.h"

#include "twin/boundary/changes.h"
#include "twin/boundary/library_calls.h"
#include "twin/clock/timeline.h"
#include "twin/trace/trace.h"
#include "twin/world/faults.h"
#include "twin/world/firmware.h"

using twin::Mcu;

int getVersion_sen(unsigned int* version) {
    twin::enterLibrary("getVersion_sen");
    const twin::WorldLock lock;
    if (version == nullptr || twin::callFails("getVersion_sen") || twin::mcuSilent(Mcu::sensor)) {
        return -1;
    }
    *version = twin::mcuVersion(Mcu::sensor);
    return 0;
}

int mcuReInitall_sen(void) {
    twin::beforeChange("mcu", "mcuReInitall_sen");
    twin::enterLibrary("mcuReInitall_sen");
    const twin::WorldLock lock;
    twin::trace("mcu", "mcuReInitall_sen");
    return twin::callFails("mcuReInitall_sen") ? -1 : 0;
}

int msp430fr2433BslWrite_sen(const char* path) {
    twin::beforeChange("mcu", "msp430fr2433BslWrite_sen");
    twin::enterLibrary("msp430fr2433BslWrite_sen");
    const twin::WorldLock lock;
    twin::trace("mcu", "msp430fr2433BslWrite_sen %s", twin::cameraPath(path));
    return twin::callFails("msp430fr2433BslWrite_sen") ? -1 : twin::loadFirmware(Mcu::sensor, path);
}
