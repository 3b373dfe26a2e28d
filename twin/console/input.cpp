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

int gFurther = -1;
void (*gServe)() = nullptr;

// Waits until `input` can be read, which a negative descriptor never can.
bool await(int input) {
    while (!quitAsked()) {
        std::array<pollfd, 4> sources = {{{input, POLLIN, 0},
                                          {signalDescriptor(), POLLIN, 0},
                                          {requestDescriptor(), POLLIN, 0},
                                          {gFurther, POLLIN, 0}}};
        if (poll(sources.data(), sources.size(), -1) < 0) {
            if (errno != EINTR) {
                return false;
            }
            continue;
        }
        takeInterrupt();
        if (sources[3].revents != 0) {
            gServe();
        }
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

void serveWhileWaiting(int descriptor, void (*serve)()) {
    gFurther = descriptor;
    gServe = serve;
}

void serveOthers() {
    await(-1);
}

}  // namespace twin
