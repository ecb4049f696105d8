#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Varnel::Testing {

// What a program left behind.
struct Finished {
    int exitCode = -1; // -1: ended by a signal
    int signal = 0;
    std::string out;
    std::string err;
};

// A program that runs beside the test. Its streams are files, except where told.
class Program {
public:
    enum class User { same, nobody };

    struct Options {
        std::map<std::string, std::string> environment; // the whole of it
        std::string input;
        std::filesystem::path workingFolder;
        User user = User::same;
        int out = -1; // a descriptor for standard output; -1: kept for `wait`
    };

    Program(const std::filesystem::path& file, const std::vector<std::string>& arguments, const Options& options);
    // Kills it if it still runs.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void send(int signal) const;
    bool isRunning();
    // What it has written to standard error so far.
    std::string errorsSoFar() const;
    Finished wait();

private:
    pid_t process_ = -1;
    std::optional<int> status_;
    int out_ = -1;
    int err_ = -1;
};

// Whether tests may become another user.
bool isRoot();

} // namespace Varnel::Testing
