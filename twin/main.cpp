#include "app/startup.h"
#include "twin/options.h"
#include "twin/session.h"

int main(int argc, char** argv) {
    const twin::CommandLine commandLine = twin::readCommandLine(argc, argv);
    if (!commandLine.run) {
        return commandLine.exitStatus;
    }
    twin::runSession(commandLine.options, runKestrel);
}
