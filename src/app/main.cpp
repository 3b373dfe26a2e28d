// The daemon for the camera: it takes no arguments, and a camera has one of it.
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "app/startup.h"

namespace {

constexpr int kRefused = 2;

int answerArguments(int count, const char* const* arguments) {
    if (count == 2 && std::strcmp(arguments[1], "--version") == 0) {
        std::puts("kestrel " KESTREL_VERSION);
        return 0;
    }
    std::fputs("kestrel: takes no arguments\n", stderr);
    return kRefused;
}

// Takes the name that stands for the camera's head and keeps it until the process ends, however it
// does; false while another process has it. Where names cannot be had at all, a daemon without one
// is better than none.
bool takeHead() {
    constexpr char kName[] = "\0kestrel";  // no file: a name of the kernel's own
    constexpr std::size_t kLength = sizeof kName - 1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, kName, kLength);
    const int held = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    return bind(held, reinterpret_cast<const sockaddr*>(&address),
                offsetof(sockaddr_un, sun_path) + kLength) == 0 ||
           errno != EADDRINUSE;
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 1) {
        return answerArguments(count, arguments);
    }
    if (!takeHead()) {
        std::fputs("kestrel: already runs on this camera\n", stderr);
        return kRefused;
    }
    return runKestrel();
}
