#include "EndToEnd/Program.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace Varnel::Testing {

namespace {

constexpr unsigned nobody = 65534;

int temporaryFile() {
    std::string name = (std::filesystem::temp_directory_path() / "varnel-stream-XXXXXX").string();
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "mkostemp");
    unlink(name.c_str());
    return descriptor;
}

std::string contents(int descriptor) {
    std::string text;
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t count = pread(descriptor, block.data(), block.size(), static_cast<off_t>(text.size()));
        if (count <= 0)
            return text;
        text.append(block.data(), static_cast<std::size_t>(count));
    }
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

} // namespace

Program::Program(const std::filesystem::path& file, const std::vector<std::string>& arguments, const Options& options) {
    std::vector<std::string> words{file.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment;
    for (const auto& [name, value] : options.environment)
        environment.push_back(name + "=" + value);
    const std::vector<char*> argv = pointers(words);
    const std::vector<char*> envp = pointers(environment);

    const int in = temporaryFile();
    if (pwrite(in, options.input.data(), options.input.size(), 0) != static_cast<ssize_t>(options.input.size()))
        throw std::runtime_error("the program's input could not be written");
    out_ = options.out >= 0 ? options.out : temporaryFile();
    err_ = temporaryFile();
    process_ = fork();
    if (process_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (process_ == 0) {
        dup2(in, STDIN_FILENO);
        dup2(out_, STDOUT_FILENO);
        dup2(err_, STDERR_FILENO);
        if (!options.workingFolder.empty() && chdir(options.workingFolder.c_str()) != 0)
            _exit(125);
        if (options.user == User::nobody && (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0))
            _exit(126);
        execve(file.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    close(in);
}

Program::~Program() {
    if (isRunning()) {
        send(SIGKILL);
        wait();
    }
    close(out_);
    close(err_);
}

void Program::send(int signal) const {
    kill(process_, signal);
}

bool Program::isRunning() {
    if (status_)
        return false;
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) == process_)
        status_ = status;
    return !status_;
}

std::string Program::errorsSoFar() const {
    return contents(err_);
}

Finished Program::wait() {
    if (!status_) {
        int status = 0;
        while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        status_ = status;
    }
    Finished finished;
    if (WIFEXITED(*status_))
        finished.exitCode = WEXITSTATUS(*status_);
    else
        finished.signal = WTERMSIG(*status_);
    finished.out = contents(out_);
    finished.err = contents(err_);
    return finished;
}

bool isRoot() {
    return geteuid() == 0;
}

} // namespace Varnel::Testing
