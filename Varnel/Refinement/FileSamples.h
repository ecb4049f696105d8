#pragma once

#include <condition_variable>
#include <exception>
#include <filesystem>
#include <functional>
#include <mutex>
#include <stop_token>
#include <vector>

namespace Varnel {

// The samples of one file for the jobs that work on it side by side: hours of them are too many to hold twice. Whoever
// asks first reads the file, the others wait; what went wrong goes wrong for all. From any thread.
class FileSamples {
public:
    // `report` (may be empty) gets the share that is read, on the reading thread.
    FileSamples(std::filesystem::path file, std::function<void(double)> report)
        : file_(std::move(file)), report_(std::move(report)) {}

    FileSamples(const FileSamples&) = delete;
    FileSamples& operator=(const FileSamples&) = delete;

    // 16 kHz, mono; valid as long as this object. Throws VarnelSpeech::Cancelled soon after a requested stop, and the
    // converter's errors.
    const std::vector<float>& get(const std::stop_token& stop);

private:
    enum class State { unread, reading, read };

    void readFile(const std::stop_token& stop);

    const std::filesystem::path file_;
    const std::function<void(double)> report_;
    std::mutex mutex_; // guards all below; the samples and the failure no longer change once they are there
    std::condition_variable_any changed_;
    State state_ = State::unread;
    std::vector<float> samples_;
    std::exception_ptr failure_;
};

} // namespace Varnel
