#include "Varnel/CommandLine/TranscriptFormat.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Platform/Linux/AtomicFile.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace Varnel::CommandLine {

namespace {

constexpr std::array formats{Export::Format::plainText, Export::Format::markdown, Export::Format::json,
                             Export::Format::srt};

std::optional<Export::Format> formatNamed(const std::string& name) {
    const auto found = std::find_if(formats.begin(), formats.end(), [&](Export::Format candidate) {
        return Export::fileExtension(candidate).toStdString() == name;
    });
    return found == formats.end() ? std::nullopt : std::optional(*found);
}

} // namespace

Export::Format TranscriptDestination::formatOr(Export::Format otherwise) const {
    if (!format.empty())
        return formatNamed(format).value_or(otherwise);
    const std::string extension = std::filesystem::path(output).extension().string();
    if (extension.size() > 1)
        return formatNamed(extension.substr(1)).value_or(otherwise);
    return otherwise;
}

bool TranscriptDestination::isFolder(std::size_t transcripts) const {
    std::error_code error;
    return transcripts > 1 || output.back() == '/' || std::filesystem::is_directory(output, error);
}

std::filesystem::path TranscriptDestination::file(const QString& title, Export::Format chosen,
                                                  std::size_t transcripts) const {
    if (!isFolder(transcripts))
        return output;
    return std::filesystem::path(output) / Export::fileName(title, chosen).toStdString();
}

void addDestinationOptions(CLI::App& command, TranscriptDestination& destination, const std::string& defaultFormat) {
    command
        .add_option("-f,--format", destination.format,
                    fmt::format("Form of the transcript: txt, md, json, srt. Default: that of the output file's "
                                "extension, else {}",
                                defaultFormat))
        ->check(CLI::IsMember({"txt", "md", "json", "srt"}))
        ->type_name("FORMAT");
    command
        .add_option("-o,--output", destination.output,
                    "File to write instead of standard output; for several transcripts the folder to write them to")
        ->type_name("PATH")
        ->check([](const std::string& value) { return value.empty() ? "must not be empty" : ""; });
}

void requireOtherThan(const std::filesystem::path& file, const std::vector<std::filesystem::path>& kept) {
    for (const auto& path : kept) {
        std::error_code error;
        if (std::filesystem::equivalent(file, path, error))
            throw CommandError(
                fmt::format("{} is not written over: it is not the transcript's own file", inQuotes(file.string())));
    }
}

void writeTranscript(const std::filesystem::path& file, const QByteArray& bytes,
                     const std::vector<std::filesystem::path>& kept) {
    requireOtherThan(file, kept);
    std::error_code error;
    if (file.has_parent_path() && !std::filesystem::exists(file.parent_path(), error)) {
        std::filesystem::create_directories(file.parent_path(), error);
        if (error)
            throw CommandError(
                fmt::format("cannot make the folder {}: {}", inQuotes(file.parent_path().string()), error.message()));
    }
    writeFileAtomically(file, {bytes.constData(), static_cast<std::size_t>(bytes.size())});
}

} // namespace Varnel::CommandLine
