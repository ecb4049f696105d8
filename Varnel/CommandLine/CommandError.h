#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace Varnel::CommandLine {

enum ExitCode : int {
    success = 0,
    failure = 1,    // one line on standard error says why
    wrongUsage = 2, // of the command line
};

// Ends a command: the text becomes the one line on standard error.
class CommandError : public std::runtime_error {
public:
    explicit CommandError(const std::string& text, ExitCode code = failure) : std::runtime_error(text), code_(code) {}

    static CommandError usage(const std::string& text) { return CommandError(text, wrongUsage); }

    ExitCode code() const { return code_; }

private:
    ExitCode code_;
};

// Ends a command that a signal asked to stop.
class Interrupted : public std::exception {
public:
    explicit Interrupted(int signal) : signal_(signal) {}

    const char* what() const noexcept override { return "cancelled"; }

    int exitCode() const { return 128 + signal_; }

private:
    int signal_;
};

// The reader of standard output went away (`| head`): the rest is not wanted, and that is no failure.
class OutputClosed : public std::exception {
public:
    const char* what() const noexcept override { return "standard output was closed"; }
};

} // namespace Varnel::CommandLine
