#include "fuzz_world.h"

#include <pthread.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "control_state.h"
#include "platform/files.h"
#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/camera/head.h"
#include "twin/camera/settings.h"
#include "twin/clock/actors.h"

std::string privateDirectory() {
    static std::string directory;
    std::string pattern = std::filesystem::temp_directory_path().string() + "/kestrel-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        std::abort();
    }
    directory = pattern;
    std::atexit([] { std::filesystem::remove_all(directory); });
    return directory;
}

void openFuzzWorld() {
    twin::useVirtualClock();
    if (std::freopen("/dev/null", "w", stdout) == nullptr || !twin::makeHead({}, {}).empty() ||
        !twin::openFiles(privateDirectory()).empty() || !twin::writeShippedFiles().empty()) {
        std::abort();
    }
    pthread_mutex_init(&gMotorLock, nullptr);
    pthread_mutex_init(&gCmdMutex, nullptr);
    twin::startBus(twin::factorySettings());
}

std::string busText(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kLongest = 127;
    std::string text(data, data + std::min(size, kLongest));
    return text.substr(0, text.find('\0'));
}

void writeCameraFile(const char* path, const std::uint8_t* data, std::size_t size) {
    std::ofstream(devicePath(path), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}
