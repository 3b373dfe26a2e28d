#include "twin/replay/recording.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>

#include "twin/camera/heading.h"

namespace twin {

namespace {

constexpr std::array<std::string_view, 2> kPrograms = {"kestrel-twin", "kestrel-mqtt"};
constexpr std::array<std::string_view, 7> kKinds = {"cmd", "act", "bus", "mcu",
                                                    "i2c", "log", "head"};

// A line's parts while it is taken apart.
std::string_view takeWord(std::string_view& text) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

// Seconds with six decimals, as a trace has them.
std::optional<Microseconds> readTime(std::string_view text) {
    std::int64_t seconds = 0;
    int micros = 0;
    const char* const end = text.data() + text.size();
    const auto whole = std::from_chars(text.data(), end, seconds);
    if (whole.ec != std::errc{} || end - whole.ptr != 7 || *whole.ptr != '.' || seconds < 0 ||
        seconds > 1'000'000'000) {
        return std::nullopt;
    }
    const auto part = std::from_chars(whole.ptr + 1, end, micros);
    if (part.ec != std::errc{} || part.ptr != end || micros < 0) {
        return std::nullopt;
    }
    return seconds * 1'000'000 + micros;
}

// The bytes for which a trace has \xNN.
std::string unprintable(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = 0;
        const std::string_view code = text.substr(i, 4);
        const bool escaped =
            code.size() == 4 && code.starts_with("\\x") &&
            std::from_chars(code.data() + 2, code.data() + 4, byte, 16).ptr == code.data() + 4;
        result += escaped ? static_cast<char>(byte) : text[i];
        i += escaped ? 3 : 0;
    }
    return result;
}

class Reader {
public:
    // False for a line that makes no sense here.
    bool take(std::string_view line) {
        if (line.starts_with("# ")) {
            return takeRemark(line.substr(2));
        }
        // An answer of the console.
        if (line.starts_with("= ") || line == "=") {
            return true;
        }
        return takeEvent(line);
    }

    std::vector<RecordedRun> runs;

private:
    bool takeRemark(std::string_view text) {
        const std::string_view program = takeWord(text);
        if (std::find(kPrograms.begin(), kPrograms.end(), program) == kPrograms.end()) {
            return true;
        }
        const std::string_view section = takeWord(text);
        if (text == kRecordingFormat) {
            runs.emplace_back();
            runs.back().program = program;
            runs.back().version = section;
            return true;
        }
        return !runs.empty() && !runs.back().ended && takeEntry(runs.back(), section, text);
    }

    static bool takeEntry(RecordedRun& run, std::string_view section, std::string_view text) {
        if (section == "end") {
            const auto time = readTime(text);
            run.ended = time && (run.events.empty() || *time >= run.events.back().time);
            run.end = run.ended ? *time : run.end;
            return run.ended;
        }
        const auto entry = readTextLine(text, true);
        Texts* const texts = section == "option" ? &run.options
                             : section == "head" ? &run.head
                             : section == "bus"  ? &run.bus
                             : section == "file" ? &run.files
                                                 : nullptr;
        if (texts == nullptr || !entry || !run.events.empty()) {
            return false;
        }
        return texts->insert(*entry).second;
    }

    bool takeEvent(std::string_view line) {
        const auto time = readTime(takeWord(line));
        const std::string_view kind = takeWord(line);
        if (runs.empty() || runs.back().ended || !time || *time < runs.back().end ||
            std::find(kKinds.begin(), kKinds.end(), kind) == kKinds.end()) {
            return false;
        }
        runs.back().events.push_back({*time, std::string(kind), unprintable(line)});
        runs.back().end = *time;
        return true;
    }
};

std::string foreignReason(std::string_view text) {
    std::string_view line = text.substr(0, text.find('\n'));
    const bool marked = line.starts_with("# ");
    line.remove_prefix(marked ? 2 : 0);
    const std::string_view program = takeWord(line);
    takeWord(line);
    if (!marked || std::find(kPrograms.begin(), kPrograms.end(), program) == kPrograms.end()) {
        return text.empty() ? "it is empty"
                            : "it does not begin with '# kestrel-twin VERSION recording 1'";
    }
    return line == kRecordingFormat ? ""
                                    : "its format is '" + std::string(line.substr(0, 40)) +
                                          "', accepted: " + kRecordingFormat;
}

void noteDamage(Recording& recording, const std::string& text) {
    ++recording.damagedLines;
    if (recording.damage.empty()) {
        recording.damage = text;
    }
}

}  // namespace

Recording parseRecording(const std::string& text) {
    Recording recording;
    recording.foreign = foreignReason(text);
    if (!recording.foreign.empty()) {
        return recording;
    }
    Reader reader;
    std::string_view rest = text;
    for (int number = 1; !rest.empty(); ++number) {
        const std::size_t end = rest.find('\n');
        const std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        if (end == std::string_view::npos) {
            noteDamage(recording, "line " + std::to_string(number) + " breaks off");
        } else if (!reader.take(line)) {
            noteDamage(recording, "line " + std::to_string(number) +
                                      " is damaged: " + std::string(line.substr(0, 60)));
        }
    }
    recording.runs = std::move(reader.runs);
    const bool ended = std::all_of(recording.runs.begin(), recording.runs.end(),
                                   [](const RecordedRun& run) { return run.ended; });
    if (!ended && recording.damage.empty()) {
        recording.damage = "it has no end: it was cut off, or its run was killed or goes on";
    }
    return recording;
}

Recording readRecording(const std::string& path) {
    Recording recording;
    std::error_code error;
    // Anything else may have no end, or keep its reader waiting.
    if (!std::filesystem::is_regular_file(path, error)) {
        recording.foreign = error ? error.message() : "it is no regular file";
        return recording;
    }
    std::ifstream stream(path, std::ios::binary);
    std::string text;
    std::array<char, 65'536> part{};
    while (stream.read(part.data(), part.size()), stream.gcount() > 0) {
        text.append(part.data(), static_cast<std::size_t>(stream.gcount()));
    }
    if (!stream.is_open() || stream.bad()) {
        recording.foreign = std::strerror(errno);
        return recording;
    }
    return parseRecording(text);
}

SessionOptions sessionOf(const RecordedRun& run, std::string& problem) {
    SessionOptions options;
    const auto number = [&problem](const std::string& name, const std::string& text, auto& value) {
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc{} || stop != end) {
            problem = "its option " + name + " is '" + text + "', accepted: a number";
        }
    };
    for (const auto& [name, value] : run.options) {
        if (name == "seed") {
            number(name, value, options.camera.seed);
        } else if (name == "lens-type") {
            number(name, value, options.camera.lensType.emplace());
        } else if (name == "mount") {
            options.camera.mount = value;
        } else if (name == "quiet") {
            options.output.quiet = true;
        } else if (name != "clock" && name != "speed") {
            problem = "its option " + name + " is unknown to this version";
        }
    }
    return options;
}

std::vector<std::size_t> actsOf(const RecordedRun& run) {
    std::vector<std::size_t> acts;
    bool own = false;
    for (std::size_t i = 0; i < run.events.size(); ++i) {
        const RecordedEvent& event = run.events[i];
        const bool outside = event.kind == "cmd" || event.kind == "act";
        if (outside && !own) {
            acts.push_back(i);
        }
        own = event.kind == "head" ? event.text.starts_with("set-at ") : own && !outside;
    }
    return acts;
}

bool madeInVirtualTime(const RecordedRun& run) {
    const auto clock = run.options.find("clock");
    return clock != run.options.end() && clock->second == "virtual";
}

}  // namespace twin
