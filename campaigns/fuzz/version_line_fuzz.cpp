// The file that says which firmware to expect, for both microcontrollers.
#include "fuzz_world.h"
#include "mcu/firmware.h"
#include "twin/clock/actors.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    openFuzzWorld();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    writeCameraFile("/etc/mcu_ver_mb.info", data, size);
    writeCameraFile("/etc/mcu_ver_sen.info", data, size);
    updateMcuFirmware();
    twin::settle();
    return 0;
}
