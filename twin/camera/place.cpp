#include "twin/camera/place.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "twin/camera/texts.h"

namespace twin {

namespace {

constexpr const char* kMemory = "/dev/shm";
constexpr const char* kPrivateName = "kestrel-twin-run-";

bool gPrivate = false;

std::string& place() {
    static auto& text = *new std::string;
    return text;
}

// Takes a directory's lock, which goes with the process. Negative if another run has it, or if
// there is no such directory.
int lockDirectory(const std::string& directory) {
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

// Whether the path still leads to the open directory.
bool leadsTo(const std::string& directory, int descriptor) {
    struct stat named {};
    struct stat opened {};
    return stat(directory.c_str(), &named) == 0 && fstat(descriptor, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

bool isMemory(const char* directory) {
    struct statfs about {};
    return statfs(directory, &about) == 0 && about.f_type == TMPFS_MAGIC &&
           access(directory, W_OK | X_OK) == 0;
}

void removeTree(const std::string& directory) {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
}

// Removes the private directories that killed runs of this user have left below `parent`.
void removeAbandoned(const std::string& parent) {
    std::error_code error;
    for (std::filesystem::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error)) {
        struct stat about {};
        if (!entry->path().filename().string().starts_with(kPrivateName) ||
            lstat(entry->path().c_str(), &about) != 0 || about.st_uid != geteuid()) {
            continue;
        }
        if (const int lock = lockDirectory(entry->path()); lock >= 0) {
            removeTree(entry->path());
            close(lock);
        }
    }
}

std::string makePrivate(const std::string& parent) {
    removeAbandoned(parent);
    // A run that removes abandoned ones may find a new one before that is locked.
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string path = parent + "/" + kPrivateName + std::to_string(getpid()) + "-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            break;
        }
        const int lock = lockDirectory(path);
        if (lock >= 0 && leadsTo(path, lock)) {
            place() = path;
            return {};
        }
    }
    return failureOf(parent, "no directory can be made");
}

std::string takePrivate() {
    if (isMemory(kMemory) && makePrivate(kMemory).empty()) {
        return {};
    }
    std::error_code error;
    const std::string parent = std::filesystem::temp_directory_path(error);
    return makePrivate(error ? "/tmp" : parent);
}

}  // namespace

std::string takePlace(const std::string& directory) {
    gPrivate = directory.empty();
    if (gPrivate) {
        return takePrivate();
    }
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        return directory + ": " + error.message();
    }
    place() = directory;
    // Two runs on one camera would spoil it.
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return failureOf(directory, "cannot be opened");
    }
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0 ? "" : directory + " is in use by another run";
}

void borrowPlace() {
    gPrivate = false;
}

const std::string& placeOfCamera() {
    return place();
}

bool placeIsPrivate() {
    return gPrivate;
}

void leavePlace() {
    if (gPrivate && !place().empty()) {
        removeTree(place());
    }
}

}  // namespace twin
