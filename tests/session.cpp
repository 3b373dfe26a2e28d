#include "session.h"

#include "paths.h"
#include "process.h"
#include "recordings.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

namespace {

// What the runs of this thread printed, of those that print a trace.
thread_local std::string tRecordings;
// One of them crashed, or was killed.
thread_local bool tCutOff = false;

// A test that fails leaves its recordings.
class Keeper : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override {
        forgetRecordings();
    }
    void OnTestEnd(const testing::TestInfo& test) override {
        if (!test.result()->Failed()) {
            return;
        }
        const std::string command =
            saveRecordings(std::string(test.test_suite_name()) + "-" + test.name());
        if (!command.empty()) {
            std::printf("Its runs again: %s\n", command.c_str());
        }
    }
};
[[maybe_unused]] const bool kKept = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new Keeper);
    return true;
}();

// Events that go on beside every move.
constexpr std::array kBackground = {
    "i2c ",
    "act ",
    "mcu setMuiltLEDs",
    "mcu setLedMode",
    "log Set LED ",
    "head ",
    "bus system.camN.info.power_consumption",
};

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        return std::nullopt;
    }
    std::stringstream content;
    content << stream.rdbuf();
    return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content << std::flush;
    ASSERT_TRUE(stream.good()) << path;
}

bool containsOne(const std::string& line, const std::vector<std::string>& texts) {
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
        return line.find(text) != std::string::npos;
    });
}

template <typename Wanted>
Trace filtered(const Trace& trace, const Wanted& wanted) {
    Trace result;
    std::copy_if(trace.events.begin(), trace.events.end(), std::back_inserter(result.events),
                 wanted);
    return result;
}

// Gives the entry NAME of a file of NAME VALUE lines a new value.
void replaceEntry(const std::string& path, const std::string& name, const std::string& value) {
    std::string content;
    for (const std::string& line : linesOf(readFile(path).value_or(""))) {
        if (!line.starts_with(name + " ")) {
            content += line + "\n";
        }
    }
    writeFile(path, content + name + " " + value + "\n");
}

// Runs the program with its three standard streams on files.
int runOnFiles(const std::vector<std::string>& arguments, const std::array<std::string, 3>& files) {
    std::array<int, 3> streams{};
    for (std::size_t i = 0; i < files.size(); ++i) {
        const int flags = i == 0 ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
        streams.at(i) = open(files.at(i).c_str(), flags | O_CLOEXEC, 0600);
    }
    const int status = waitForProgram(startProgram(arguments, streams));
    std::for_each(streams.begin(), streams.end(), close);
    return status;
}

void keepRecording(const std::string& output) {
    tRecordings += output;
    const bool broken = !output.ends_with('\n');
    tRecordings += broken ? "\n" : "";
    const std::size_t last = output.rfind('\n', output.size() - 2) + 1;
    tCutOff = tCutOff || broken ||
              !std::string_view(output).substr(last).starts_with("# kestrel-twin end ");
}

void sortLines(Session& run) {
    for (const std::string& line : linesOf(run.output)) {
        if (line.starts_with("= ")) {
            run.answers.push_back(line.substr(2));
        } else if (const auto event = readEvent(line)) {
            run.all.events.push_back(*event);
        }
    }
    std::copy_if(run.all.events.begin(), run.all.events.end(), std::back_inserter(run.trace.events),
                 std::not_fn(isBackground));
}

// What the simulated head reports must not happen, whatever a run is about.
void expectNoViolation(const std::string& errors) {
    for (const char* const report : {"descriptors left open", "two motor calls at the same time",
                                     "that no lock keeps from others", "with a lock held"}) {
        EXPECT_EQ(errors.find(report), std::string::npos) << errors;
    }
}

}  // namespace

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

std::string Event::line() const {
    return kind + " " + text;
}

std::optional<Event> readEvent(const std::string& line) {
    Event event;
    long long seconds = 0;
    int micros = 0;
    int begin = 0;
    std::array<char, 8> kind{};
    if (std::sscanf(line.c_str(), "%lld.%6d %7s %n", &seconds, &micros, kind.data(), &begin) != 3) {
        return std::nullopt;
    }
    event.time = seconds * 1'000'000 + micros;
    event.kind = kind.data();
    // Blanks at either end of the text belong to it.
    event.text = line.substr(line.find(' ', line.find(' ') + 1) + 1);
    return event;
}

bool isBackground(const Event& event) {
    return std::any_of(kBackground.begin(), kBackground.end(),
                       [&](const char* text) { return event.line().starts_with(text); });
}

Trace Trace::after(std::string_view line) const {
    const auto begin = std::find_if(events.begin(), events.end(),
                                    [&](const Event& event) { return event.line() == line; });
    if (begin == events.end()) {
        ADD_FAILURE() << "the trace has no '" << line << "'";
        return {};
    }
    return {{begin + 1, std::find_if(begin + 1, events.end(),
                                     [](const Event& event) { return event.kind == "cmd"; })}};
}

Trace Trace::between(double from, double to) const {
    return filtered(*this, [&](const Event& event) {
        return event.time >= std::llround(from * 1e6) && event.time < std::llround(to * 1e6);
    });
}

Trace Trace::first(std::size_t count) const {
    const auto end = events.begin() + static_cast<std::ptrdiff_t>(std::min(count, events.size()));
    return {{events.begin(), end}};
}

Trace Trace::about(const std::vector<std::string>& texts) const {
    return filtered(*this, [&](const Event& event) { return containsOne(event.line(), texts); });
}

Trace Trace::without(const std::vector<std::string>& texts) const {
    return filtered(*this, [&](const Event& event) { return !containsOne(event.line(), texts); });
}

std::string Trace::story() const {
    std::ostringstream text;
    text << '\n';
    for (const Event& event : events) {
        text << static_cast<double>(event.time - events.front().time) / 1000 << ' ' << event.line()
             << '\n';
    }
    return text.str();
}

std::string Trace::lines() const {
    std::string text = "\n";
    for (const Event& event : events) {
        text += event.line() + "\n";
    }
    return text;
}

std::vector<std::int64_t> Trace::times(std::string_view line) const {
    std::vector<std::int64_t> result;
    for (const Event& event : events) {
        if (event.line().starts_with(line)) {
            result.push_back(event.time);
        }
    }
    return result;
}

int Trace::count(std::string_view line) const {
    return static_cast<int>(times(line).size());
}

std::string Session::recording() const {
    std::string text;
    for (const std::string& line : linesOf(output)) {
        text += line.starts_with("= ") ? "" : line + "\n";
    }
    return text;
}

nlohmann::json Session::head(std::size_t index) const {
    for (const std::string& text : answers) {
        if (text.starts_with("{") && index-- == 0) {
            return nlohmann::json::parse(text);
        }
    }
    ADD_FAILURE() << "there was no such head command";
    return {};
}

std::map<std::string, std::string> memoryOf(const Positions& positions) {
    std::map<std::string, std::string> memory = {{"pan.counter", std::to_string(positions.pan)},
                                                 {"tilt.counter", std::to_string(positions.tilt)}};
    for (const auto& [axis, position] : kAxisPositions) {
        memory[axis + std::string(".position")] = std::to_string(positions.*position);
        memory[axis + std::string(".lost")] = "0";
    }
    return memory;
}

std::string positionFile(const Positions& positions) {
    std::array<std::int32_t, 30> words{};
    words[13] = positions.zoom;
    words[15] = positions.focus;
    words[16] = positions.pan;
    words[17] = positions.tilt;
    words[18] = positions.rotate;
    words[20] = positions.iris;
    std::string content(sizeof words, '\0');
    std::memcpy(content.data(), words.data(), sizeof words);
    return content;
}

std::int32_t wordOf(const std::string& content, std::size_t index) {
    std::int32_t word = 0;
    if (content.size() < 4 * (index + 1)) {
        ADD_FAILURE() << "the position file has " << content.size() << " bytes";
        return word;
    }
    std::memcpy(&word, content.data() + 4 * index, sizeof word);
    return word;
}

Camera::Camera(int lensType) : lensType_(lensType) {
    // In memory where that can be had: a disk's journal is what most of a session would wait for.
    const std::filesystem::path memory = "/dev/shm";
    std::string pattern =
        (access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path()) /
        "kestrel-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "no temporary directory";
    }
    directory_ = pattern;
}

Camera::Camera(const Positions& positions, int lensType) : Camera(lensType) {
    // The shipped files come with a first boot; what else it leaves is wiped.
    run("quit");
    for (const auto& entry : std::filesystem::directory_iterator(pathOf("/mnt/nand"))) {
        std::filesystem::remove(entry.path());
    }
    std::filesystem::remove(directory_ + "/state/bus");
    for (const auto& [name, value] : memoryOf(positions)) {
        remember(name, value);
    }
    write(kPositionFile, positionFile(positions));
}

Camera::Camera(const Camera& other) : Camera(other.lensType_) {
    faults_ = other.faults_;
    std::filesystem::copy(other.directory_ + "/state", directory_ + "/state",
                          std::filesystem::copy_options::recursive);
}

Camera::~Camera() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

Session Camera::run(const std::string& script) const {
    return run(script, {"--clock", "virtual", "--trace"});
}

Session Camera::run(const std::string& script, const std::vector<std::string>& options) const {
    std::vector<std::string> arguments = {kTwinProgram, "--state", directory_ + "/state"};
    if (!std::filesystem::exists(directory_ + "/state/head")) {
        arguments.insert(arguments.end(), {"--lens-type", std::to_string(lensType_)});
    }
    arguments.insert(arguments.end(), options.begin(), options.end());
    return start(arguments, script + "\n");
}

Session Camera::replay(const std::string& recording,
                       const std::vector<std::string>& options) const {
    const std::string file = directory_ + "/recording";
    writeFile(file, recording);
    std::vector<std::string> arguments = {kTwinProgram, "--replay", file};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return start(arguments, "");
}

Session Camera::start(const std::vector<std::string>& arguments, const std::string& input) const {
    const std::array<std::string, 3> streams = {directory_ + "/script", directory_ + "/output",
                                                directory_ + "/errors"};
    writeFile(streams[0], input);
    Session run;
    run.status = runOnFiles(arguments, streams);
    run.output = readFile(streams[1]).value_or("");
    run.errors = readFile(streams[2]).value_or("");
    expectNoViolation(run.errors);
    sortLines(run);
    EXPECT_TRUE(std::ranges::is_sorted(run.all.events, {}, &Event::time));
    if (run.output.starts_with("# kestrel-twin ")) {
        keepRecording(run.output);
    }
    return run;
}

void forgetRecordings() {
    tRecordings.clear();
    tCutOff = false;
}

std::string saveRecordings(const std::string& name) {
    if (tRecordings.empty()) {
        return {};
    }
    std::string file = name;
    std::replace_if(
        file.begin(), file.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '-');
    const std::string path = kRecordings + ("/" + file) + ".txt";
    std::filesystem::create_directories(kRecordings);
    writeFile(path, tRecordings);
    return std::string(kTwinProgram) + " --replay " + path + (tCutOff ? " --replay-damaged" : "");
}

std::string Camera::pathOf(const std::string& path) const {
    return directory_ + "/state/root" + path;
}

std::optional<std::string> Camera::read(const std::string& path) const {
    return readFile(pathOf(path));
}

void Camera::write(const std::string& path, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(pathOf(path)).parent_path());
    writeFile(pathOf(path), content);
}

void Camera::remove(const std::string& path) const {
    std::filesystem::remove_all(pathOf(path));
}

std::string Camera::remembered(const std::string& name) const {
    for (const std::string& line : linesOf(readFile(directory_ + "/state/head").value_or(""))) {
        if (line.starts_with(name + " ")) {
            return line.substr(name.size() + 1);
        }
    }
    ADD_FAILURE() << "the camera remembers no " << name;
    return {};
}

void Camera::remember(const std::string& name, const std::string& value) const {
    replaceEntry(directory_ + "/state/head", name, value);
}

void Camera::setting(const std::string& key, const std::string& value) const {
    replaceEntry(directory_ + "/state/bus", key, value);
}

void Camera::fault(const std::string& words) {
    remember("fault." + std::to_string(faults_++), words);
}
