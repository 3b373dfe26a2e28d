// Programs that run beside a test. Whatever waits for what one says fails after half a minute.
#pragma once

#include <sys/types.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

inline constexpr std::chrono::seconds kPatience{30};

// Starts a program with these descriptors as its standard streams; its number.
pid_t startProgram(std::vector<std::string> arguments, const std::array<int, 3>& streams);
// Waits for its end: the exit status; 128 + N if signal N ended it.
int waitForProgram(pid_t program);

// A program with its standard streams on pipes. It is killed at the end, if it still runs.
class Process {
public:
    explicit Process(const std::vector<std::string>& arguments);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void write(const std::string& text) const;
    // Reads standard output and errors until they hold `text` behind what the last call found; all
    // that came up to there. Fails at their end.
    std::string readTo(const std::string& text);
    // The same, but only what came since the last call that found its text.
    std::string readOn(const std::string& text);
    // Everything up to the end, which it waits for; `status` as a shell has it. The first one ends
    // the program's input before.
    std::string finish();
    std::string waitForEnd();
    void signal(int number) const;
    pid_t id() const {
        return child_;
    }

    int status = -1;

private:
    void readAll();

    pid_t child_ = 0;
    int input_ = -1;
    int output_ = -1;
    // The reader takes everything at once: a program whose output nobody reads would stand still.
    std::thread reader_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string text_;
    bool atEnd_ = false;
    std::size_t found_ = 0;
};
