#include "Varnel/CommandLine/CommandLine.h"
#include "Varnel/Platform/Linux/ApplicationDirectories.h"
#include "Varnel/Platform/Linux/HostInformation.h"

#include <QCoreApplication>

#include <unistd.h>

#include <string>
#include <vector>

int main(int argc, char** argv) {
    Varnel::makeNewFilesPrivate();
    Varnel::ignoreBrokenPipes();

    // Before the application object, which would take options of its own out of them.
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    int count = argc > 0 ? 1 : 0;
    const QCoreApplication application(count, argv);

    Varnel::CommandLine::Streams streams;
    streams.inIsTerminal = Varnel::isTerminal(STDIN_FILENO);
    if (Varnel::isTerminal(STDOUT_FILENO))
        streams.outColors = Varnel::CommandLine::terminalColorsOfEnvironment();
    streams.errIsTerminal = Varnel::isTerminal(STDERR_FILENO);
    streams.errColumns = Varnel::terminalColumns(STDERR_FILENO);
    return Varnel::CommandLine::run(arguments, streams, {Varnel::executableDirectory(), VARNEL_SOURCE_STARTER_MODELS});
}
