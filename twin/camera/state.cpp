#include "twin/camera/state.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/camera/journal.h"
#include "twin/camera/place.h"
#include "twin/clock/timeline.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

// Of a value that the fault "bus-overlong" let in.
constexpr std::size_t kLongestValue = 4096;

constexpr const char* kTimeEntry = "time";

bool gKilled = false;  // the last run, or it gave up
bool gKeeps = false;

std::string pathOf(const char* name) {
    return placeOfCamera() + "/" + name;
}

// Whether the saved faults let the bus carry more than it should.
bool busIsOverlong(const Texts& head) {
    return std::any_of(head.begin(), head.end(),
                       [](const auto& entry) { return entry.second == "bus-overlong"; });
}

// Reads the mechanism as the last run saved it, or as it was noted before that was killed.
std::string readHead(SavedState& state) {
    gKilled = journalLeft(placeOfCamera());
    if (gKilled && readJournal(placeOfCamera(), state.head)) {
        const auto time = state.head.extract(kTimeEntry);
        complain(
            placeOfCamera() +
            ": the last run ended without saving; the camera is as if its power had failed at " +
            (time.empty() ? "some" : time.mapped()) + " s of that run");
        state.newCamera = false;
        return {};
    }
    if (gKilled) {
        complain(placeOfCamera() + ": the last run ended without saving, and " + pathOf("running") +
                 " is damaged: the mechanism is as it was before that run, the files are not");
        state.head.clear();
    }
    std::ifstream head(pathOf("head"), std::ios::binary);
    state.newCamera = !head;
    const bool good =
        !head || (readTexts(head, kLongestHeadText, state.head) == 0 && !state.head.empty());
    return good ? "" : adviceOnHead("damaged");
}

void readBus(SavedState& state) {
    std::ifstream file(pathOf("bus"), std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(file), {});
    if (gKilled) {
        // A set that was being added has no end.
        content.erase(content.find_last_of('\n') + 1);
    }
    std::istringstream lines(content);
    const std::size_t longest = busIsOverlong(state.head) ? kLongestValue : kLongestBusText;
    if (const int damaged = readTexts(lines, longest, state.bus); damaged > 0) {
        complain(pathOf("bus") + ": " + std::to_string(damaged) + " damaged lines left out");
    }
}

// A new mechanism beside the files of an old one does not stand where these say.
void warnOfOldFiles(const SavedState& state) {
    std::error_code error;
    const std::string files = pathOf("root/mnt/nand");
    if (state.newCamera && !std::filesystem::is_empty(files, error) && !error) {
        complain(pathOf("head") +
                 " is missing: the mechanism is a new one, and what the files in " + files +
                 " say about the old one is wrong");
    }
}

Texts withTime(Texts head) {
    head[kTimeEntry] = std::to_string(static_cast<double>(now()) / 1e6);
    return head;
}

std::string saveFiles(const Texts& bus, const Texts& head) {
    std::string problem = replaceFile(pathOf("bus"), textLines(bus));
    return problem.empty() ? replaceFile(pathOf("head"), textLines(head)) : problem;
}

}  // namespace

std::string adviceOnHead(const std::string& problem) {
    if (placeIsPrivate()) {
        return "the recorded camera: " + problem;
    }
    return pathOf("head") + ": " + problem + "; correct it, or remove it together with " +
           pathOf("root/mnt/nand") + " to go on with a new mechanism and the same settings";
}

std::string openState(const std::string& directory, SavedState& state) {
    if (placeOfCamera().empty()) {
        if (const std::string error = takePlace(directory); !error.empty()) {
            return error;
        }
    }
    if (const std::string error = readHead(state); !error.empty()) {
        return error;
    }
    readBus(state);
    warnOfOldFiles(state);
    if (const std::string error = openFiles(pathOf("root")); !error.empty()) {
        return error;
    }
    return state.newCamera ? writeShippedFiles() : std::string{};
}

std::string keepState(const Texts& bus, const Texts& head) {
    if (placeIsPrivate()) {
        return {};
    }
    if (gKilled) {
        if (std::string problem = saveFiles(bus, head); !problem.empty()) {
            return problem;
        }
    }
    gKeeps = true;
    return openJournal(placeOfCamera(), withTime(head));
}

void noteState(Texts head) {
    noteHead(withTime(std::move(head)));
}

std::string saveState(const Texts& bus, const Texts& head) {
    if (!gKeeps) {
        return {};
    }
    noteState(head);
    closeJournal();
    std::string problem = saveFiles(bus, head);
    if (problem.empty()) {
        unlink(pathOf("running").c_str());
    }
    return problem;
}

void removeTemporaryState() {
    leavePlace();
}

}  // namespace twin
