#pragma once

#include "Varnel/Refinement/Export.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

// The choice of a transcript's form and place that `transcribe` and `meetings export` share.
struct TranscriptDestination {
    std::string format; // as it was written; empty when it was not
    std::string output; // the same

    // The format that was named; else the one that a single output file's extension names; else `otherwise`.
    Export::Format formatOr(Export::Format otherwise) const;

    bool isStandardOutput() const { return output.empty(); }

    // Whether the transcripts go into a folder, each under its own name: for several of them, and when the output is
    // a folder that is there or ends with a slash.
    bool isFolder(std::size_t transcripts) const;
    // The file for a transcript of that title.
    std::filesystem::path file(const QString& title, Export::Format chosen, std::size_t transcripts) const;
};

void addDestinationOptions(CLI::App& command, TranscriptDestination& destination, const std::string& defaultFormat);

// Throws CommandError when the file is one of `kept`, by whatever name: recordings, the store.
void requireOtherThan(const std::filesystem::path& file, const std::vector<std::filesystem::path>& kept);

// Writes the file, replacing one that is there, making its folder when that is absent.
// Throws CommandError, also when it is one of `kept`.
void writeTranscript(const std::filesystem::path& file, const QByteArray& bytes,
                     const std::vector<std::filesystem::path>& kept);

} // namespace Varnel::CommandLine
