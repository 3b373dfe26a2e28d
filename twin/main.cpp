#include "app/startup.h"
#include "twin/camera/session.h"
#include "twin/console/console.h"
#include "twin/mqtt.h"
#include "twin/options.h"
#include "twin/page/page.h"
#include "twin/replay/replay.h"

int main(int argc, char** argv) {
    const twin::CommandLine commandLine = twin::readCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    const twin::Options& options = commandLine.options;
    if (!twin::openStreams(options.script)) {
        return 1;
    }
    if (!options.replay.file.empty()) {
        return twin::runReplay(options.replay, options.session, runKestrel);
    }
    if (options.page) {
        const auto start = [&options] { twin::startMqtt(options.mqtt); };
        return twin::runPage(
            *options.page,
            {options.session, runKestrel, options.console, start, twin::stopMqtt, {}});
    }
    twin::powerUp(options.session, runKestrel);
    twin::startMqtt(options.mqtt);
    const int status = twin::runConsole(options.console);
    twin::stopMqtt();
    twin::endRun(status);
}
