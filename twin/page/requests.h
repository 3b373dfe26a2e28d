// What a request asks for, and whether it may: paths, methods, guards. Nothing here waits or keeps
// anything.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "twin/page/assets.h"

namespace twin {

// The part of a request that comes before its body. Header values that are absent are none.
struct RequestHead {
    std::string method;
    std::string target;  // path and query as they came
    std::optional<std::string> host;
    int hosts = 0;  // how often it was given
    std::optional<std::string> origin;
    std::optional<std::string> length;  // of the body
    bool expects = false;               // the client sends its body only if it is wanted
    std::size_t bytes = 0;              // of all that
};

enum class Action { asset, head, bus, set, console, events, recording, boot };

struct Plan {
    int status = 200;     // or what is wrong
    std::string problem;  // with it, in one line
    std::string allowed;  // the methods, where another one was used
    Action action{};
    const Asset* asset = nullptr;
    std::string key;  // to be set, or what the wanted keys begin with; of a boot: its number
    // A refusal comes after the body has been read, because a client that is still sending when
    // its connection ends may not see it; but at once if the body would be too much of that.
    bool atOnce = false;
};

constexpr std::size_t kMostHeadBytes = std::size_t{24} * 1024;
constexpr std::size_t kMostBodyBytes = std::size_t{64} * 1024;
// What is read of a body that is refused.
constexpr std::size_t kMostDiscardedBytes = std::size_t{1024} * 1024;

// What to do with a request.
Plan planOf(const RequestHead& request);

// What to do with one whose body turns out to be too long.
Plan bodyTooLong();

// Whether a Host header names this machine: by an address, as localhost, or by the machine's own
// name. A page of another site reaches it only under a name of that site.
bool hostIsOurs(std::string_view host);

// Undoes %XX; none if that is not well-formed or gives a NUL.
std::optional<std::string> percentDecoded(std::string_view text);

}  // namespace twin
