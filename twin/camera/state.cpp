#include "twin/camera/state.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

#include "twin/boundary/bus.h"
#include "twin/boundary/files.h"
#include "twin/trace/disk_limit.h"
#include "twin/trace/output.h"

namespace twin {

namespace {

std::string& stateDirectory() {
    static auto& text = *new std::string;
    return text;
}

constexpr std::size_t kLongestHeadText = 1000;
// Of a value that the fault "bus-overlong" let in.
constexpr std::size_t kLongestValue = 4096;

bool gTemporary = false;

// A line is NAME VALUE; blanks in the name, control characters and backslashes are written \xNN.
std::string escaped(std::string_view text, bool name) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f || c == '\\' || (name && c == ' ')) {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\x%02x", byte);
            result += code.data();
        } else {
            result += c;
        }
    }
    return result;
}

std::optional<std::string> unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            result += text[i];
            continue;
        }
        const std::string_view code = text.substr(i, 4);
        unsigned char byte = 0;
        if (code.size() != 4 || code[1] != 'x' ||
            std::from_chars(code.data() + 2, code.data() + 4, byte, 16).ptr != code.data() + 4 ||
            byte == 0) {
            return std::nullopt;
        }
        result += static_cast<char>(byte);
        i += 3;
    }
    return result;
}

// Reads NAME VALUE lines with values of at most `longest` bytes; returns the number of lines that
// are none.
int readTexts(std::istream& stream, std::size_t longest, Texts& texts) {
    int damaged = 0;
    std::string line;
    while (std::getline(stream, line)) {
        const std::size_t blank = line.find(' ');
        if (blank == 0 || blank == std::string::npos || line.find('\0') != std::string::npos) {
            ++damaged;
            continue;
        }
        const auto name = unescaped(std::string_view(line).substr(0, blank));
        const auto value = unescaped(std::string_view(line).substr(blank + 1));
        if (!name || !value || name->size() > kLongestBusText || value->size() > longest) {
            ++damaged;
            continue;
        }
        texts[*name] = *value;
    }
    return damaged;
}

bool writeTexts(const std::string& path, const Texts& texts) {
    const std::string fresh = path + ".new";
    std::ofstream stream(fresh, std::ios::binary | std::ios::trunc);
    for (const auto& [name, value] : texts) {
        stream << escaped(name, true) << ' ' << escaped(value, false) << '\n';
    }
    stream.close();
    return stream.good() && std::rename(fresh.c_str(), path.c_str()) == 0;
}

std::string makeDirectory(const std::string& directory) {
    gTemporary = directory.empty();
    if (!gTemporary) {
        stateDirectory() = directory;
        std::error_code error;
        std::filesystem::create_directories(directory, error);
        return error ? directory + ": " + error.message() : std::string{};
    }
    std::error_code error;
    std::string pattern = std::filesystem::temp_directory_path(error).string();
    pattern = (error ? std::string("/tmp") : pattern) + "/kestrel-twin-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        return pattern + ": cannot make a temporary directory";
    }
    stateDirectory() = pattern;
    return {};
}

// Two runs on one camera would spoil it; the lock goes with the process.
bool lockDirectory() {
    const int descriptor = open(stateDirectory().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return descriptor < 0 || flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

// Whether the saved faults let the bus carry more than it should.
bool busIsOverlong(const Texts& head) {
    return std::any_of(head.begin(), head.end(),
                       [](const auto& entry) { return entry.second == "bus-overlong"; });
}

std::string readState(SavedState& state) {
    const std::string headPath = stateDirectory() + "/head";
    const std::string busPath = stateDirectory() + "/bus";
    std::ifstream head(headPath, std::ios::binary);
    state.newCamera = !head;
    if (head && (readTexts(head, kLongestHeadText, state.head) != 0 || state.head.empty())) {
        return headPath + " is damaged; remove it to start with a new camera's mechanism";
    }
    std::ifstream bus(busPath, std::ios::binary);
    if (bus) {
        const std::size_t longest = busIsOverlong(state.head) ? kLongestValue : kLongestBusText;
        if (const int damaged = readTexts(bus, longest, state.bus); damaged > 0) {
            complain(busPath + ": " + std::to_string(damaged) + " damaged lines left out");
        }
    }
    return {};
}

}  // namespace

std::string openState(const std::string& directory, SavedState& state) {
    if (const std::string error = makeDirectory(directory); !error.empty()) {
        return error;
    }
    if (!lockDirectory()) {
        return stateDirectory() + " is in use by another run";
    }
    if (const std::string error = readState(state); !error.empty()) {
        return error;
    }
    if (const std::string error = openFiles(stateDirectory() + "/root"); !error.empty()) {
        return error;
    }
    return state.newCamera ? writeShippedFiles() : std::string{};
}

std::string saveState(const Texts& bus, const Texts& head) {
    if (gTemporary || stateDirectory().empty()) {
        return {};
    }
    const OwnWriting allowed;
    if (!writeTexts(stateDirectory() + "/bus", bus) ||
        !writeTexts(stateDirectory() + "/head", head)) {
        return stateDirectory() + ": the state cannot be saved";
    }
    return {};
}

void removeTemporaryState() {
    if (gTemporary && !stateDirectory().empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(stateDirectory(), ignored);
    }
}

}  // namespace twin
