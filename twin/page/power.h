// The camera as the page's process has it: a process of its own for every boot, the questions put
// to it in the order of their arrival, and what there is to say while it is off. One thread.
#pragma once

#include <poll.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "twin/page/boot.h"
#include "twin/page/link.h"

namespace twin {

struct Reply {
    bool failed = false;
    bool off = false;  // there is no camera that could answer
    std::vector<std::string> answers;
};
using Done = std::function<void(const Reply&)>;

// What the camera tells of its own accord.
struct Listeners {
    void (*trace)(const std::string& line);  // SECONDS KIND TEXT
    void (*lost)(const std::string& count);  // so many trace lines are missing here
    void (*head)(const std::string& json);   // the head has changed
};

// Boots the camera for the first time. `run` is the camera's run in the process that is made for
// it, given its end of the link; it never returns. False if that is not possible.
bool startPower(const Boot& boot, void (*run)(const Boot& boot, int link),
                const Listeners& listeners);

// Puts a question to the camera; `done` is called once, perhaps before ask returns. The result
// stands for the question. `line` is the number of a script's first line in what it is told; 0 for
// none.
std::uint32_t ask(PacketKind kind, std::string text, Done done, int line = 1);

// Whoever asked has gone away: what is not begun is left out, and `done` is not called.
void forget(std::uint32_t question);

// Whether somebody looks at the events.
void watchEvents(bool watched);

// The head as it was told last, with "on":false while the camera is off; empty until the first boot
// has told of it.
std::string lastHead();

// What to wait for, and what to do then.
std::array<pollfd, 2> powerSources();
void servePower(const std::array<pollfd, 2>& sources);

// A signal from outside. It is the camera's while it is on (`sent`: not by the terminal, which
// sends to both processes), and ends the program while it is off.
void takeOutsideSignal(int signal, bool sent);

// Whether the program is to end, and with which exit status.
bool powerIsOver();
int powerStatus();

}  // namespace twin
