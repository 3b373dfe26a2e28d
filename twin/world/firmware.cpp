#include "twin/world/firmware.h"

#include <charconv>
#include <fstream>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "twin/world/fault_values.h"

namespace twin {
namespace {

constexpr std::uint32_t kShippedVersions[] = {0x0102, 0x0201};
constexpr std::string_view kImageFolder = "/bin/";
constexpr std::string_view kVersionWord = "version ";

std::uint32_t gVersions[] = {kShippedVersions[0], kShippedVersions[1]};

int indexOf(Mcu mcu) {
    return static_cast<int>(mcu);
}

// Reads the version that the image's first line names.
bool readImage(const char* path, std::uint32_t& version) {
    const bool onCamera = std::string_view(path).starts_with(kImageFolder);
    std::ifstream image(onCamera ? devicePath(path) : path);
    std::string line;
    if (!std::getline(image, line) || !line.starts_with(kVersionWord)) {
        return false;
    }
    const char* end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(line.data() + kVersionWord.size(), end, version, 16);
    return error == std::errc{} && (stop == end || *stop == '\r');
}

}  // namespace

void makeFirmware() {
    for (int i = 0; i < 2; ++i) {
        gVersions[i] = kShippedVersions[i];
    }
}

std::uint32_t mcuVersion(Mcu mcu) {
    return gVersions[indexOf(mcu)];
}

void setMcuVersion(Mcu mcu, std::uint32_t version) {
    gVersions[indexOf(mcu)] = version;
}

bool mcuSilent(Mcu mcu) {
    return takeFault(Fault::mcuSilent, indexOf(mcu));
}

int loadFirmware(Mcu mcu, const char* path) {
    std::uint32_t version = 0;
    if (path == nullptr || faultValue(Fault::mcuLoaderFails, indexOf(mcu)) != 0 ||
        !readImage(path, version)) {
        return -1;
    }
    setMcuVersion(mcu, version);
    if (const int calls = faultValue(Fault::mcuSilentAfter, indexOf(mcu)); calls != 0) {
        setFaultValue(Fault::mcuSilentAfter, indexOf(mcu), 0);
        setFaultValue(Fault::mcuSilent, indexOf(mcu), calls);
    }
    return 0;
}

const char* cameraPath(const char* path) {
    if (path == nullptr) {
        return "";
    }
    const std::size_t folder = std::string_view(path).rfind(kImageFolder);
    return folder == std::string_view::npos ? path : path + folder;
}

}  // namespace twin
