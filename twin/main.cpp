#include "app/startup.h"
#include "twin/camera/session.h"
#include "twin/console/console.h"
#include "twin/options.h"

int main(int argc, char** argv) {
    const twin::CommandLine commandLine = twin::readCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    twin::powerUp(commandLine.options.session, runKestrel);
    twin::endRun(twin::runConsole(commandLine.options.interactive));
}
