// A run of kestrel-twin to be talked to while it goes on, for what a script in a file cannot show.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

std::vector<std::string> linesOf(const std::string& text);

class Child {
public:
    // On pipes, with these options.
    explicit Child(std::vector<std::string> options);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    // Kills what has not come to its end.
    ~Child();

    void type(const std::string& text) const;
    void endInput();
    void stopReading();
    // Reads until the output contains `text`, or to its end: all that has been read since the
    // start.
    std::string readTo(const std::string& text);
    std::string readAll();
    // The next line that it says on the side, without its end.
    std::string readError() const;
    // Waits for its end: the exit status, or 128 + the signal that ended it.
    int end();

    pid_t pid = -1;

private:
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string seen_;
};
