#include "app/startup.h"
#include "twin/camera/session.h"
#include "twin/console/console.h"
#include "twin/mqtt.h"
#include "twin/options.h"
#include "twin/page/film.h"
#include "twin/page/page.h"
#include "twin/replay/replay.h"

namespace {

int runOnPage(const twin::Options& options) {
    twin::Boot boot;
    boot.session = options.session;
    boot.daemon = runKestrel;
    boot.console = options.console;
    boot.startServices = [&options] { twin::startMqtt(options.mqtt); };
    boot.stopServices = twin::stopMqtt;
    return twin::runPage(*options.page, boot);
}

}  // namespace

int main(int argc, char** argv) {
    const twin::CommandLine commandLine = twin::readCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    const twin::Options& options = commandLine.options;
    if (!twin::openStreams(options.script)) {
        return 1;
    }
    if (options.page && !options.replay.file.empty()) {
        return twin::makeFilm(options.replay, options.session, runKestrel)
                   ? twin::showFilm(*options.page)
                   : 2;
    }
    if (options.page) {
        return runOnPage(options);
    }
    if (!options.replay.file.empty()) {
        return twin::runReplay(options.replay, options.session, runKestrel);
    }
    twin::powerUp(options.session, runKestrel);
    twin::startMqtt(options.mqtt);
    const int status = twin::runConsole(options.console);
    twin::stopMqtt();
    twin::endRun(status);
}
