// A service of the camera that does what its standard input says, line by line:
//   get KEY | set KEY VALUE | names PREFIX | listen PREFIX | flood KEY COUNT | exit
// Answers are lines, and so is what its listeners hear.
#include <unistd.h>

#include <array>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include "platform/nbus.h"

namespace {

// One write, so that the lines of two threads do not mix.
void print(const std::string& line) {
    const std::string text = line + "\n";
    if (write(STDOUT_FILENO, text.data(), text.size()) < 0) {
        _exit(3);
    }
}

// Two handlers, so that their order can be seen, and whether they run on one thread.
template <char Name>
void hear(const char* key, const char* value) {
    static const std::thread::id first = std::this_thread::get_id();
    std::string line(1, Name);
    line += first == std::this_thread::get_id() ? " heard " : " on another thread heard ";
    print(line.append(key).append(" ").append(value));
}

void get(const std::string& key) {
    std::array<char, 128> value{};
    const bool there = nbus_get(key.c_str(), value.data(), value.size()) == 0;
    const std::string text = value.data();
    print(key + " is " + (there ? "'" + text + "'" : "absent"));
}

void names(const std::string& prefix) {
    std::array<char, 128> name{};
    std::string line = prefix + ":";
    for (int i = 0; nbus_get_name(prefix.c_str(), i, name.data(), name.size()) == 0; ++i) {
        line += " " + std::string(name.data());
    }
    print(line);
}

// Nothing is answered as long as each set is taken and seen at once.
void flood(const std::string& key, const std::string& count) {
    for (int i = 1; i <= std::stoi(count); ++i) {
        const std::string text = std::to_string(i);
        std::array<char, 128> value{};
        if (nbus_set(key.c_str(), text.c_str()) != 0 ||
            nbus_get(key.c_str(), value.data(), value.size()) != 0 || value.data() != text) {
            print("set to " + text + ", and it is " + value.data());
        }
    }
}

void obey(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    std::string key;
    std::string value;
    words >> command >> key;
    std::getline(words >> std::ws, value);
    if (command == "get") {
        get(key);
    } else if (command == "names") {
        names(key);
    } else if (command == "flood") {
        flood(key, value);
    } else if (command == "listen") {
        print(nbus_listen(key.c_str(), hear<'a'>) == 0 && nbus_listen(key.c_str(), hear<'b'>) == 0
                  ? "listening"
                  : "deaf");
    } else if (command == "set") {
        // A set that is taken is heard by who listens.
        if (nbus_set(key.c_str(), value.c_str()) != 0) {
            print("not set");
        }
    }
}

}  // namespace

int main() {
    if (nbus_initial() != 0) {
        return 1;
    }
    print("there");
    for (std::string line; std::getline(std::cin, line) && line != "exit";) {
        obey(line);
    }
}
