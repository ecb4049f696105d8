#pragma once

#include "VarnelSpeech/Shared/FileDownload.h"

#include <optional>
#include <string>
#include <vector>

namespace VarnelSpeech {

// The temporary file of a download.
class FileDownload::Part final : public HttpBodyReceiver {
public:
    Part(const RepositoryFolder::Place& place, const Progress& progress);

    std::uint64_t size() const { return size_; }

    // The headers that ask for what is still missing; none for a fresh part.
    std::vector<std::string> rangeHeaders() const;

    // Whether "Content-Range: bytes */N" of a refused range says that all N bytes are here, whatever length was told
    // of before.
    bool isWholeBy(const HttpResponse& response);

    void startOver();

    // Makes the part the file: synced, renamed, its folder synced.
    void finish();

    void begin(const HttpResponse& response) override;
    void receive(std::span<const std::byte> bytes) override;

private:
    std::string readTag() const;
    void writeTag(const std::string& tag);

    const RepositoryFolder::Place& place_;
    const Progress& progress_;
    std::string partName_;
    std::string tagName_;
    std::filesystem::path partPath_; // for messages
    FileDescriptor file_;
    std::uint64_t size_ = 0;  // bytes written
    std::uint64_t total_ = 0; // of the whole file, 0 if not known
};

} // namespace VarnelSpeech
