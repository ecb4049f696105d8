#include "Varnel/Platform/Linux/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace Varnel {

namespace {

[[noreturn]] void fail(int error, const std::filesystem::path& file) {
    throw std::system_error(error, std::generic_category(), "cannot write '" + file.string() + "'");
}

// A file descriptor that closes itself.
class Descriptor {
public:
    explicit Descriptor(int value) : value_(value) {}

    ~Descriptor() {
        if (value_ >= 0)
            ::close(value_);
    }

    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int value() const { return value_; }

    // The error of closing counts: some file systems report a full disk only then.
    int close() {
        const int result = ::close(value_) == 0 ? 0 : errno;
        value_ = -1;
        return result;
    }

private:
    int value_;
};

int writeAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace

void writeFileAtomically(const std::filesystem::path& file, std::string_view bytes) {
    // A link is followed, so that what it points to is replaced and the link stays.
    std::error_code ignored;
    auto target = std::filesystem::weakly_canonical(file, ignored);
    if (ignored || target.empty())
        target = file;

    struct stat status {};

    const bool exists = ::stat(target.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode))
        fail(EISDIR, file);
    if (exists && !S_ISREG(status.st_mode)) {
        Descriptor device(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
        int error = device.value() < 0 ? errno : writeAll(device.value(), bytes);
        if (error == 0)
            error = device.close();
        if (error != 0)
            fail(error, file);
        return;
    }
    // A file that the user may not write is not replaced either, although the folder would allow it.
    if (exists && ::access(target.c_str(), W_OK) != 0)
        fail(errno, file);

    std::string temporary = (target.parent_path() / ".varnel-XXXXXX").string();
    Descriptor descriptor(::mkostemp(temporary.data(), O_CLOEXEC));
    if (descriptor.value() < 0)
        fail(errno, file);
    int error = writeAll(descriptor.value(), bytes);
    if (error == 0) {
        const mode_t mask = ::umask(077);
        ::umask(mask);
        if (::fchmod(descriptor.value(), exists ? (status.st_mode & 07777) : (0666 & ~mask)) != 0)
            error = errno;
    }
    if (error == 0 && ::fsync(descriptor.value()) != 0 && errno != EINVAL)
        error = errno;
    if (error == 0)
        error = descriptor.close();
    if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        fail(error, file);
    }
}

} // namespace Varnel
