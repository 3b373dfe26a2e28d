#include "twin/boundary/files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>

#include "platform/files.h"
#include "twin/boundary/changes.h"
#include "twin/clock/timeline.h"
#include "twin/trace/disk_limit.h"
#include "twin/trace/trace.h"
#include "twin/world/faults.h"

namespace twin {

namespace {

constexpr std::array kDirectories = {"/mnt/nand", "/etc", "/bin", "/tmp"};

// The first line of an image names the version that the loader puts into the microcontroller; the
// version files hold what the camera expects to find running.
struct ShippedFile {
    const char* path;
    const char* content;
};
constexpr std::array<ShippedFile, 4> kShippedFiles = {{
    {"/etc/mcu_ver_mb.info", "mcu_ver=0102\n"},
    {"/etc/mcu_ver_sen.info", "mcu_ver=0201\n"},
    {"/bin/NewMainMCU.txt", "version 0102\n"},
    {"/bin/SensorMCU.txt", "version 0201\n"},
}};

// A calibration sweep writes it for as long as it lasts.
constexpr std::string_view kSweepTable = "/tmp/zf.txt";

std::string& root() {
    static auto& text = *new std::string;
    return text;
}

// Sealed copies that stand for existing files while nothing can be written, by camera path.
struct FrozenFiles {
    std::mutex mutex;
    std::map<std::string, int> descriptors;
};

FrozenFiles& frozen() {
    static auto& files = *new FrozenFiles;
    return files;
}

void thaw() {
    const std::lock_guard lock(frozen().mutex);
    for (const auto& [path, descriptor] : frozen().descriptors) {
        close(descriptor);
    }
    frozen().descriptors.clear();
}

// A descriptor from which the content of `path` can be read and through which nothing can be
// changed; negative if there is no such file.
int sealedCopy(const std::string& path) {
    std::ifstream source(path, std::ios::binary);
    if (!source) {
        return -1;
    }
    const std::string content(std::istreambuf_iterator<char>(source), {});
    const int copy = memfd_create("camera file", MFD_ALLOW_SEALING | MFD_CLOEXEC);
    if (copy < 0) {
        return -1;
    }
    const OwnWriting allowed;
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(copy, content.data() + written, content.size() - written);
        if (count <= 0) {
            close(copy);
            return -1;
        }
        written += static_cast<std::size_t>(count);
    }
    fcntl(copy, F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL);
    return copy;
}

std::string frozenPath(const std::string& path) {
    const std::lock_guard lock(frozen().mutex);
    const auto known = frozen().descriptors.find(path);
    const int descriptor =
        known != frozen().descriptors.end() ? known->second : sealedCopy(root() + path);
    if (descriptor < 0) {
        // Nothing can be opened or made below a regular file.
        return root() + kShippedFiles[0].path + "/unwritable";
    }
    frozen().descriptors[path] = descriptor;
    return "/proc/self/fd/" + std::to_string(descriptor);
}

// Numbers of descriptors, by camera path.
using Descriptors = std::map<std::string, int>;

Descriptors& openAtFirst() {
    static auto& descriptors = *new Descriptors;
    return descriptors;
}

// What this process has open below the root.
Descriptors openDescriptors() {
    constexpr std::string_view kRemoved = " (deleted)";
    Descriptors counts;
    std::error_code error;
    const std::string tree = std::filesystem::canonical(root(), error);
    if (error) {
        return counts;
    }
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", error)) {
        std::string path = std::filesystem::read_symlink(entry.path(), error);
        if (path.ends_with(kRemoved)) {
            path.resize(path.size() - kRemoved.size());
        }
        if (path.starts_with(tree + "/")) {
            ++counts[path.substr(tree.size())];
        }
    }
    return counts;
}

}  // namespace

std::string openFiles(const std::string& directory) {
    root() = directory;
    for (const char* const name : kDirectories) {
        std::error_code error;
        std::filesystem::create_directories(directory + name, error);
        if (error) {
            return directory + name + ": " + error.message();
        }
    }
    return {};
}

std::string writeShippedFiles() {
    for (const ShippedFile& file : kShippedFiles) {
        std::ofstream stream(root() + file.path, std::ios::binary | std::ios::trunc);
        stream << file.content << std::flush;
        if (!stream) {
            return root() + file.path + ": cannot be written: " + std::strerror(errno);
        }
    }
    return {};
}

bool isShipped(std::string_view path, std::string_view content) {
    return std::any_of(kShippedFiles.begin(), kShippedFiles.end(), [&](const ShippedFile& file) {
        return path == file.path && content == file.content;
    });
}

void applyFileFaults() {
    bool full = false;
    bool unwritable = false;
    {
        const WorldLock world;
        full = faultActive("disk-full");
        unwritable = faultActive("files-unwritable");
    }
    if (!unwritable) {
        thaw();
    }
    limitDisk(full);
    noteChange();
}

void watchFiles() {
    openAtFirst() = openDescriptors();
}

void checkFilesClosed() {
    for (const auto& [path, count] : openDescriptors()) {
        const int left = count - openAtFirst()[path];
        if (left > (path == kSweepTable ? 1 : 0)) {
            reportViolation("descriptors left open: %d of %s", left, path.c_str());
        }
    }
}

}  // namespace twin

std::string devicePath(const char* path) {
    twin::beforeChange("file", path);
    bool unwritable = false;
    {
        const twin::WorldLock world;
        unwritable = twin::faultActive("files-unwritable");
    }
    return unwritable ? twin::frozenPath(path) : twin::root() + path;
}
