#include "VarnelSpeech/Shared/FileDownloadPart.h"

#include "VarnelSpeech/Shared/HttpTransportError.h"
#include "VarnelSpeech/Shared/ModelFileError.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <string_view>

namespace VarnelSpeech {

namespace {

constexpr mode_t fileMode = 0600;

// "bytes 100-199/200" or "bytes */200"; a part that is "*" is empty.
struct ContentRange {
    std::optional<std::uint64_t> first;
    std::optional<std::uint64_t> total;
};

std::optional<std::uint64_t> number(std::string_view text) {
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr == text.data())
        return std::nullopt;
    return value;
}

ContentRange contentRange(const HttpResponse& response) {
    const std::string_view text = response.header("content-range").value_or("");
    if (!text.starts_with("bytes "))
        return {};
    const auto slash = text.find('/');
    return {.first = number(text.substr(6)),
            .total = slash == std::string_view::npos ? std::nullopt : number(text.substr(slash + 1))};
}

// A weak tag does not promise the same bytes.
bool isStrongTag(std::string_view tag) {
    return tag.size() >= 2 && tag.size() <= 256 && tag.front() == '"' && tag.back() == '"' &&
           tag.find_first_of("\r\n") == std::string_view::npos;
}

void writeAll(int file, std::span<const std::byte> bytes, std::uint64_t offset, const std::filesystem::path& path,
              std::uint64_t remaining) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            throw ModelFileError::fromErrno(written < 0 ? errno : ENOSPC, "write", path, remaining);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::uint64_t>(written);
    }
}

} // namespace

FileDownload::Part::Part(const RepositoryFolder::Place& place, const Progress& progress)
    : place_(place),
      progress_(progress),
      partName_(place.name + ".part"),
      tagName_(place.name + ".part.etag"),
      partPath_(place.path.parent_path() / partName_) {
    // Not waiting for a peer, should a pipe lie there.
    file_ = FileDescriptor(::openat(place.directory.get(), partName_.c_str(),
                                    O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, fileMode));
    if (!file_) {
        if (errno == ELOOP)
            throw ModelFileError::refused(partPath_, "it is a symbolic link");
        throw ModelFileError::fromErrno(errno, "write", partPath_);
    }

    struct stat status {};

    if (::fstat(file_.get(), &status) != 0)
        throw ModelFileError::fromErrno(errno, "write", partPath_);
    if (!S_ISREG(status.st_mode))
        throw ModelFileError::refused(partPath_, "it is no regular file");
    size_ = static_cast<std::uint64_t>(status.st_size);
}

std::vector<std::string> FileDownload::Part::rangeHeaders() const {
    if (size_ == 0)
        return {};
    std::vector<std::string> headers{fmt::format("Range: bytes={}-", size_)};
    const std::string tag = readTag();
    if (isStrongTag(tag))
        headers.push_back("If-Range: " + tag);
    return headers;
}

bool FileDownload::Part::isWholeBy(const HttpResponse& response) {
    if (size_ == 0 || contentRange(response).total != size_)
        return false;
    total_ = size_;
    return true;
}

void FileDownload::Part::startOver() {
    if (::ftruncate(file_.get(), 0) != 0)
        throw ModelFileError::fromErrno(errno, "write", partPath_);
    size_ = 0;
    total_ = 0;
    ::unlinkat(place_.directory.get(), tagName_.c_str(), 0);
}

void FileDownload::Part::begin(const HttpResponse& response) {
    const std::string tag(response.header("etag").value_or(""));
    if (response.status == 206) {
        const ContentRange range = contentRange(response);
        if (range.first != size_)
            throw HttpTransportError(HttpTransportError::Case::unexpectedRange,
                                     fmt::format("The server sent another part of the file than was asked for "
                                                 "(from byte {})",
                                                 size_));
        total_ = range.total.value_or(0);
    } else {
        startOver();
        total_ = response.contentLength().value_or(0);
    }
    writeTag(isStrongTag(tag) ? tag : std::string());

    struct statvfs status {};

    if (total_ > size_ && ::fstatvfs(file_.get(), &status) == 0) {
        const std::uint64_t available = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
        if (total_ - size_ > available)
            throw ModelFileError::outOfSpace(partPath_, total_ - size_, available);
    }
    if (progress_)
        progress_(size_, total_);
}

void FileDownload::Part::receive(std::span<const std::byte> bytes) {
    writeAll(file_.get(), bytes, size_, partPath_, total_ > size_ ? total_ - size_ : bytes.size());
    size_ += bytes.size();
    if (progress_)
        progress_(size_, total_);
}

void FileDownload::Part::finish() {
    if (total_ != 0 && size_ != total_)
        throw HttpTransportError(HttpTransportError::Case::connectionLost,
                                 fmt::format("The file has {} bytes where the server told of {}", size_, total_));
    if (::fsync(file_.get()) != 0)
        throw ModelFileError::fromErrno(errno, "write", partPath_, size_);
    const int directory = place_.directory.get();
    if (::renameat(directory, partName_.c_str(), directory, place_.name.c_str()) != 0)
        throw ModelFileError::fromErrno(errno, "write", place_.path, size_);
    ::unlinkat(directory, tagName_.c_str(), 0);
    ::fsync(directory);
}

std::string FileDownload::Part::readTag() const {
    const FileDescriptor file(
        ::openat(place_.directory.get(), tagName_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    std::array<char, 257> text{};
    const ssize_t bytes = file ? ::read(file.get(), text.data(), text.size()) : 0;
    return bytes > 0 ? std::string(text.data(), static_cast<std::size_t>(bytes)) : std::string();
}

void FileDownload::Part::writeTag(const std::string& tag) {
    if (tag.empty()) {
        ::unlinkat(place_.directory.get(), tagName_.c_str(), 0);
        return;
    }
    const FileDescriptor file(::openat(place_.directory.get(), tagName_.c_str(),
                                       O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, fileMode));
    if (!file)
        throw ModelFileError::fromErrno(errno, "write", place_.path.parent_path() / tagName_);
    writeAll(file.get(), std::as_bytes(std::span(tag)), 0, place_.path.parent_path() / tagName_, tag.size());
}

} // namespace VarnelSpeech
