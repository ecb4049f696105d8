#pragma once

#include "Varnel/CommandLine/CommandLine.h"

#include "Varnel/CommandLine/MemoryFile.h"

#include "support/EnvironmentScope.h"
#include "support/EventLoop.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Varnel::CommandLine::Testing {

using Arguments = std::vector<std::string>;

// The whole program in this process, on folders of its own.
class CommandLineFixture : public ::testing::Test {
protected:
    CommandLineFixture() {
        environment.set("HOME", folder.path().string());
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "VARNEL_STARTER_MODELS"})
            environment.unset(name);
    }

    int run(const Arguments& arguments, const std::string& input = {}) {
        MemoryFile in(input);
        MemoryFile out;
        MemoryFile err;
        Streams streams;
        streams.in = in.stream();
        streams.out = out.stream();
        streams.err = err.stream();
        streams.inIsTerminal = isTerminal;
        streams.errIsTerminal = isTerminal;
        streams.outColors = colors;
        const int code = CommandLine::run(arguments, streams, {folder / "bin", {}});
        output = out.text();
        error = err.text();
        return code;
    }

    std::filesystem::path store() const { return folder / ".local/share/Varnel/Varnel.store"; }

    std::filesystem::path recordings() const { return folder / ".local/share/Varnel/Recordings"; }

    VarnelSpeech::Testing::TemporaryFolder folder;
    VarnelSpeech::Testing::EnvironmentScope environment;
    bool isTerminal = false; // standard input and error
    TerminalColors colors = TerminalColors::none;
    std::string output; // of the last run
    std::string error;
};

} // namespace Varnel::CommandLine::Testing
