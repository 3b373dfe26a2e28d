#include "twin/camera/journal.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>
#include <sstream>
#include <utility>

#include "twin/trace/disk_limit.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

// Beyond what every fault at once takes.
constexpr std::size_t kSlotBytes = std::size_t{32} * 1024;

// The content of DIR/running: the slot that is not current is filled, and then made current.
struct Notes {
    std::uint64_t current = 0;
    std::array<std::array<char, kSlotBytes>, 2> slots;  // each a text with a NUL behind
};

Notes* gNotes = nullptr;
int gSets = -1;
bool gSetLost = false;

// Guards the above.
std::mutex& journalMutex() {
    static auto& mutex = *new std::mutex;
    return mutex;
}

// DIR/bus
std::string& setsPath() {
    static auto& text = *new std::string;
    return text;
}

std::string notesPath(const std::string& directory) {
    return directory + "/running";
}

void writeNotes(Notes& notes, const std::string& text) {
    if (text.size() >= kSlotBytes) {
        return;
    }
    const std::atomic_ref current(notes.current);
    const std::uint64_t next = 1 - current.load(std::memory_order_relaxed) % 2;
    std::memcpy(notes.slots[next].data(), text.c_str(), text.size() + 1);
    current.store(next, std::memory_order_release);
}

// Makes DIR/running with its first note in the place of a former one.
std::string makeNotes(const std::string& directory, const std::string& text) {
    const OwnWriting allowed;
    const std::string path = notesPath(directory);
    const std::string fresh = path + ".new";
    const int descriptor = open(fresh.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return failureOf(fresh, "cannot be made");
    }
    // Space that a disk which fills up meanwhile cannot take away again.
    errno = posix_fallocate(descriptor, 0, sizeof(Notes));
    void* const memory = errno != 0 ? MAP_FAILED
                                    : mmap(nullptr, sizeof(Notes), PROT_READ | PROT_WRITE,
                                           MAP_SHARED, descriptor, 0);
    std::string problem;
    if (memory == MAP_FAILED) {
        problem = failureOf(fresh, "cannot be made");
    } else {
        gNotes = static_cast<Notes*>(memory);
        writeNotes(*gNotes, text);
        if (rename(fresh.c_str(), path.c_str()) != 0) {
            problem = failureOf(path, "cannot be made");
        }
    }
    close(descriptor);
    if (!problem.empty()) {
        unlink(fresh.c_str());
    }
    return problem;
}

// Opens DIR/bus so that lines can be added.
std::string openSets() {
    const OwnWriting allowed;
    const std::string& path = setsPath();
    gSets = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (gSets < 0) {
        return failureOf(path, "cannot be opened");
    }
    const off_t end = lseek(gSets, 0, SEEK_END);
    char last = '\n';
    if (end > 0 && pread(gSets, &last, 1, end - 1) == 1 && last != '\n' &&
        write(gSets, "\n", 1) != 1) {
        return failureOf(path, "cannot be written");
    }
    return {};
}

}  // namespace

std::string openJournal(const std::string& directory, const Texts& head) {
    const std::lock_guard lock(journalMutex());
    setsPath() = directory + "/bus";
    std::string problem = openSets();
    return problem.empty() ? makeNotes(directory, textLines(head)) : problem;
}

void noteHead(const Texts& head) {
    const std::string text = textLines(head);
    const std::lock_guard lock(journalMutex());
    if (gNotes != nullptr) {
        writeNotes(*gNotes, text);
    }
}

void noteSet(std::string_view key, std::string_view value) {
    const std::string line = textLine(key, value);
    const std::lock_guard lock(journalMutex());
    if (gSets < 0) {
        return;
    }
    const OwnWriting allowed;
    const off_t end = lseek(gSets, 0, SEEK_END);
    errno = ENOSPC;  // what a line that fits in part only has met
    if (write(gSets, line.data(), line.size()) == static_cast<ssize_t>(line.size())) {
        return;
    }
    if (!std::exchange(gSetLost, true)) {
        complain(failureOf(setsPath(), "a set cannot be added"));
    }
    // Half a line would spoil the next one.
    [[maybe_unused]] const int cut = ftruncate(gSets, end);
}

void closeJournal() {
    const std::lock_guard lock(journalMutex());
    gNotes = nullptr;
    gSets = -1;
}

bool journalLeft(const std::string& directory) {
    return access(notesPath(directory).c_str(), F_OK) == 0;
}

bool readJournal(const std::string& directory, Texts& head) {
    std::ifstream file(notesPath(directory), std::ios::binary);
    const std::string content(std::istreambuf_iterator<char>(file), {});
    if (content.size() != sizeof(Notes)) {
        return false;
    }
    std::uint64_t current = 0;
    std::memcpy(&current, content.data(), sizeof current);
    const std::size_t slot = offsetof(Notes, slots) + current % 2 * kSlotBytes;
    std::istringstream text(content.substr(slot, content.find('\0', slot) - slot));
    return readTexts(text, kLongestHeadText, head) == 0 && !head.empty();
}

}  // namespace twin
