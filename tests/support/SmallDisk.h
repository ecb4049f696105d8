#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>

namespace VarnelSpeech::Testing {

// A disk in memory on a folder, of any size, seen by the thread that makes it and the processes that it starts
// alone. Making one takes a privilege: where tests lack it, isMounted is false and the folder stays as it is.
class SmallDisk {
public:
    SmallDisk(std::filesystem::path folder, std::uint64_t bytes) : folder_(std::move(folder)) {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return;
        std::filesystem::create_directories(folder_);
        isMounted_ = ::mount("tmpfs", folder_.c_str(), "tmpfs", 0, size(bytes).c_str()) == 0;
    }

    ~SmallDisk() {
        if (isMounted_)
            ::umount2(folder_.c_str(), MNT_DETACH);
    }

    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    bool isMounted() const { return isMounted_; }

    // False where the new size does not hold what lies on the disk.
    bool resize(std::uint64_t bytes) const {
        return ::mount("tmpfs", folder_.c_str(), "tmpfs", MS_REMOUNT, size(bytes).c_str()) == 0;
    }

    std::uint64_t usedBytes() const {
        const auto space = std::filesystem::space(folder_);
        return space.capacity - space.free;
    }

private:
    static std::string size(std::uint64_t bytes) { return "size=" + std::to_string(bytes); }

    std::filesystem::path folder_;
    bool isMounted_ = false;
};

} // namespace VarnelSpeech::Testing
