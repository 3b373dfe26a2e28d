// Whole-system tests: a camera kept in a directory of its own, the daemon's program run on it with
// a script of console commands, and what came out of the run.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

std::vector<std::string> linesOf(const std::string& text);
std::vector<std::string> wordsOf(const std::string& text);

// One line of a trace.
struct Event {
    std::int64_t time = 0;  // microseconds
    std::string kind;
    std::string text;

    // KIND TEXT
    std::string line() const;
};

// The event of a line of the program's output, if it is one.
std::optional<Event> readEvent(const std::string& line);
// Whether it goes on beside every move: LEDs, sensor transfers, the power figure, the mechanism.
bool isBackground(const Event& event);

// Trace lines in their order, and what tests ask of them.
struct Trace {
    std::vector<Event> events;

    // The events after the first one whose line is `line` up to the next set from the console, or
    // to the end. Nothing, and a test failure, if there is no such event.
    Trace after(std::string_view line) const;
    // The events from `from` to before `to`, in seconds.
    Trace between(double from, double to) const;
    // The first `count` events.
    Trace first(std::size_t count) const;
    // Those whose line contains one of the texts; those whose line contains none of them.
    Trace about(const std::vector<std::string>& texts) const;
    Trace without(const std::vector<std::string>& texts) const;

    // A line for each event: its distance from the first one in milliseconds, and its KIND TEXT.
    // Begins with a line break, so that it compares with a raw string.
    std::string story() const;
    // The same without times.
    std::string lines() const;
    // The times of the events whose line begins with `line`, in microseconds.
    std::vector<std::int64_t> times(std::string_view line) const;
    int count(std::string_view line) const;
};

// What one run of the program left.
struct Session {
    int status = -1;  // the exit status; 128 + N if signal N ended it
    std::string output;
    std::string errors;
    Trace trace;                       // without the background
    Trace all;                         // every event
    std::vector<std::string> answers;  // without the leading "= "

    // The output without the console's answers: the recording of the run.
    std::string recording() const;
    // The answer of the index-th `head` command.
    nlohmann::json head(std::size_t index = 0) const;
};

// Where a test's camera stands, in steps.
struct Positions {
    int pan = 10000;
    int tilt = 2000;
    int rotate = 533;
    int zoom = 1000;
    int focus = 800;
    int iris = 0;
};

inline constexpr std::pair<const char*, int Positions::*> kAxisPositions[] = {
    {"pan", &Positions::pan},   {"tilt", &Positions::tilt},   {"rotate", &Positions::rotate},
    {"zoom", &Positions::zoom}, {"focus", &Positions::focus}, {"iris", &Positions::iris},
};

// What the mechanism remembers that stands there, its counters true.
std::map<std::string, std::string> memoryOf(const Positions& positions);

inline constexpr const char* kPositionFile = "/mnt/nand/Pos.bin";

// The position file's text for these positions, every other word 0.
std::string positionFile(const Positions& positions);
// The index-th 32-bit word of a position file's content.
std::int32_t wordOf(const std::string& content, std::size_t index);

// A camera in a temporary directory. Each run is a boot; in between it is switched off.
class Camera {
public:
    // A camera that has never run: mechanism anywhere, no files.
    Camera() : Camera(0) {}
    // A camera that stands at `positions` and knows it.
    explicit Camera(const Positions& positions, int lensType = 0);
    // A second camera like the first: its files, settings and mechanism as they are now.
    Camera(const Camera& other);
    ~Camera();
    Camera& operator=(const Camera&) = delete;

    // Executes the commands, one a line, with --trace on the virtual clock, or with `options`.
    Session run(const std::string& script) const;
    Session run(const std::string& script, const std::vector<std::string>& options) const;

    // Replays a recording, in a process that knows nothing of this camera.
    Session replay(const std::string& recording, const std::vector<std::string>& options) const;

    // A file of the camera by its path there: its content, if it exists; to be written or removed.
    std::optional<std::string> read(const std::string& path) const;
    void write(const std::string& path, const std::string& content) const;
    void remove(const std::string& path) const;
    std::string pathOf(const std::string& path) const;

    // What the mechanism remembers between runs ("pan.counter"), and settings on the bus.
    std::string remembered(const std::string& name) const;
    void remember(const std::string& name, const std::string& value) const;
    void setting(const std::string& key, const std::string& value) const;
    // A fault in force from power-up.
    void fault(const std::string& words);

private:
    explicit Camera(int lensType);
    Session start(const std::vector<std::string>& arguments, const std::string& input) const;

    std::string directory_;
    int lensType_ = 0;
    int faults_ = 0;
};
