#include "twin/console/input.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "twin/camera/watch.h"
#include "twin/clock/actors.h"
#include "twin/console/commands.h"
#include "twin/console/requests.h"

namespace twin {

namespace {

// Waits until `input` can be read, which a negative descriptor never can.
bool await(int input) {
    while (!quitAsked()) {
        std::array<pollfd, 3> sources = {{{input, POLLIN, 0},
                                          {signalDescriptor(), POLLIN, 0},
                                          {requestDescriptor(), POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), -1) < 0 && errno != EINTR) {
            return false;
        }
        takeInterrupt();
        if (sources[2].revents != 0) {
            executeRequests();
        } else if (sources[0].revents != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool awaitInput() {
    return await(STDIN_FILENO);
}

void serveOthers() {
    await(-1);
}

}  // namespace twin
