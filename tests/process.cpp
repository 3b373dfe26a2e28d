#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

pid_t startProgram(std::vector<std::string> arguments, const std::array<int, 3>& streams) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (std::size_t i = 0; i < streams.size(); ++i) {
        posix_spawn_file_actions_adddup2(&actions, streams.at(i), static_cast<int>(i));
    }
    pid_t program = 0;
    EXPECT_EQ(posix_spawn(&program, argv[0], &actions, nullptr, argv.data(), environ), 0)
        << argv[0];
    posix_spawn_file_actions_destroy(&actions);
    return program;
}

int waitForProgram(pid_t program) {
    int status = 0;
    EXPECT_EQ(waitpid(program, &status, 0), program);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Process::Process(const std::vector<std::string>& arguments) {
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
    child_ = startProgram(arguments, {input[0], output[1], output[1]});
    close(input[0]);
    close(output[1]);
    input_ = input[1];
    output_ = output[0];
    reader_ = std::thread([this] { readAll(); });
}

Process::~Process() {
    close(input_);
    if (child_ != 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    reader_.join();
    close(output_);
}

void Process::write(const std::string& text) const {
    EXPECT_EQ(::write(input_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void Process::signal(int number) const {
    kill(child_, number);
}

void Process::readAll() {
    std::array<char, 4096> part{};
    for (ssize_t count = 1; count > 0;) {
        count = read(output_, part.data(), part.size());
        const std::lock_guard lock(mutex_);
        text_.append(part.data(), static_cast<std::size_t>(count > 0 ? count : 0));
        atEnd_ = count <= 0;
        changed_.notify_all();
    }
}

std::string Process::readTo(const std::string& text) {
    readOn(text);
    const std::lock_guard lock(mutex_);
    return text_.substr(0, found_);
}

std::string Process::readOn(const std::string& text) {
    std::unique_lock lock(mutex_);
    std::size_t at = std::string::npos;
    const bool found = changed_.wait_for(lock, kPatience, [&] {
        at = text_.find(text, found_);
        return at != std::string::npos || atEnd_;
    });
    if (!found || at == std::string::npos) {
        ADD_FAILURE() << "'" << text << "' does not come after:\n" << text_;
        return text_.substr(found_);
    }
    const std::size_t begin = std::exchange(found_, at + text.size());
    return text_.substr(begin, found_ - begin);
}

std::string Process::finish() {
    close(std::exchange(input_, -1));
    return waitForEnd();
}

std::string Process::waitForEnd() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, kPatience, [this] { return atEnd_; })) << text_;
    if (!atEnd_) {
        kill(child_, SIGKILL);
    }
    status = waitForProgram(std::exchange(child_, 0));
    return text_;
}
