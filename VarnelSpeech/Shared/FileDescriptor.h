#pragma once

#include <unistd.h>

#include <utility>

namespace VarnelSpeech {

// An open file or folder, closed when it goes.
class FileDescriptor {
public:
    FileDescriptor() = default;

    explicit FileDescriptor(int number) : number_(number) {}

    ~FileDescriptor() { reset(); }

    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            reset();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    int get() const { return number_; }

    explicit operator bool() const { return number_ >= 0; }

private:
    void reset() {
        if (number_ >= 0)
            ::close(std::exchange(number_, -1));
    }

    int number_ = -1;
};

} // namespace VarnelSpeech
