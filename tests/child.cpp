#include "child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <sstream>
#include <utility>

#include "paths.h"

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

Child::Child(std::vector<std::string> options) {
    options.insert(options.begin(), kTwinProgram);
    std::vector<char*> words;
    for (std::string& option : options) {
        words.push_back(option.data());
    }
    words.push_back(nullptr);
    std::array<std::array<int, 2>, 3> pipes{};
    for (auto& ends : pipes) {
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    }
    pid = fork();
    if (pid == 0) {
        dup2(pipes[0][0], STDIN_FILENO);
        dup2(pipes[1][1], STDOUT_FILENO);
        dup2(pipes[2][1], STDERR_FILENO);
        execv(words[0], words.data());
        _exit(127);
    }
    for (const int theirs : {pipes[0][0], pipes[1][1], pipes[2][1]}) {
        close(theirs);
    }
    input_ = pipes[0][1];
    output_ = pipes[1][0];
    errors_ = pipes[2][0];
}

Child::~Child() {
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    endInput();
    stopReading();
    close(errors_);
}

void Child::type(const std::string& text) const {
    EXPECT_EQ(write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Child::endInput() {
    close(std::exchange(input_, -1));
}

void Child::stopReading() {
    close(std::exchange(output_, -1));
}

std::string Child::readTo(const std::string& text) {
    std::array<char, 4096> part{};
    for (ssize_t count = 1; count > 0 && seen_.find(text) == std::string::npos;) {
        count = read(output_, part.data(), part.size());
        seen_.append(part.data(), static_cast<std::size_t>(count > 0 ? count : 0));
    }
    return seen_;
}

std::string Child::readAll() {
    return readTo("no program says this");
}

std::string Child::readError() const {
    std::string line;
    for (char c = 0; read(errors_, &c, 1) == 1 && c != '\n';) {
        line += c;
    }
    return line;
}

int Child::end() {
    int status = 0;
    EXPECT_EQ(waitpid(std::exchange(pid, -1), &status, 0) > 0, true);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
