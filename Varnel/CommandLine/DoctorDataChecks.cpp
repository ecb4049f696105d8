#include "Varnel/CommandLine/DoctorChecks.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Platform/Linux/HostInformation.h"

#include <fmt/format.h>

#include <QRegularExpression>

#include <fstream>

namespace Varnel::CommandLine {

namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t littleSpace = 1'000'000'000; // bytes: a two-hour recording of two streams

std::vector<Finding> checkFolder(const std::string& subject, const fs::path& folder) {
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    if (status.type() == fs::file_type::not_found)
        return {{Finding::Kind::ok, subject, fmt::format("{} (not there yet)", folder.string()), ""}};
    if (status.type() != fs::file_type::directory)
        return {{Finding::Kind::problem, subject,
                 fmt::format("{}: {}", folder.string(), error ? error.message() : "is not a folder"),
                 "Move it away, or name another folder with --data-dir."}};
    if (!isWritable(folder))
        return {{Finding::Kind::problem, subject, fmt::format("{} cannot be written", folder.string()),
                 fmt::format("chmod u+rwx {}", inQuotes(folder.string()))}};
    if (!isPrivate(folder))
        return {{Finding::Kind::note, subject, fmt::format("{} can be read by other users", folder.string()),
                 fmt::format("chmod 700 {}", inQuotes(folder.string()))}};
    return {{Finding::Kind::ok, subject, folder.string(), ""}};
}

Finding checkSpace(const fs::path& folder) {
    const auto bytes = freeBytes(folder);
    if (!bytes)
        return {Finding::Kind::note, "free space", "unknown", ""};
    if (*bytes < littleSpace)
        return {Finding::Kind::note, "free space", byteText(*bytes),
                "Make room: recordings need about 700 MB an hour."};
    return {Finding::Kind::ok, "free space", byteText(*bytes), ""};
}

// What a copy into the recordings that was cut off leaves: the name of a recording and six characters more.
std::vector<Finding> checkLeftovers(const fs::path& recordings) {
    static const QRegularExpression leftover(QRegularExpression::anchoredPattern(
        QStringLiteral(R"([0-9A-F-]{36}-(mic|system)(\.[A-Za-z0-9]+)?\.[A-Za-z0-9]{6})")));
    std::size_t count = 0;
    std::error_code error;
    for (fs::directory_iterator it(recordings, error), end; !error && it != end; it.increment(error)) {
        std::error_code ignored;
        if (it->is_regular_file(ignored) &&
            leftover.match(QString::fromStdString(it->path().filename().string())).hasMatch())
            ++count;
    }
    if (count == 0)
        return {};
    return {{Finding::Kind::note, "recordings",
             fmt::format("{} unfinished copies of runs that were cut off lie in {}", count, recordings.string()),
             "They may be deleted: the originals are where they were."}};
}

} // namespace

std::vector<Finding> checkData(CommandContext& context) {
    const ApplicationDirectories& directories = context.directories();
    std::vector<Finding> findings = checkFolder("data folder", directories.data);
    findings.push_back(checkSpace(directories.data));
    const auto leftovers = checkLeftovers(directories.recordings());
    findings.insert(findings.end(), leftovers.begin(), leftovers.end());
    return findings;
}

std::vector<Finding> checkSettings(CommandContext& context) {
    const fs::path file = context.directories().settingsFile();
    std::error_code error;
    if (!fs::exists(file, error) && !error)
        return {{Finding::Kind::ok, "settings", fmt::format("{} (not there yet)", file.string()), ""}};
    if (!fs::is_regular_file(file, error) || !std::ifstream(file).is_open())
        return {{Finding::Kind::problem, "settings", fmt::format("{} cannot be read", file.string()),
                 fmt::format("Make {} a file that you can read.", inQuotes(file.string()))}};
    if (!isPrivate(file))
        return {{Finding::Kind::note, "settings",
                 fmt::format("{} can be read by other users; it may hold a key", file.string()),
                 fmt::format("chmod 600 {}", inQuotes(file.string()))}};
    return {{Finding::Kind::ok, "settings", file.string(), ""}};
}

} // namespace Varnel::CommandLine
