#include "Varnel/Core/RecordingsFolder.h"

#include "Varnel/Models/Identifier.h"
#include "Varnel/Platform/WholeFile.h"

#include <QFile>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace Varnel {

namespace {

QString qtPath(const std::filesystem::path& path) {
    return QFile::decodeName(QByteArray::fromStdString(path.string()));
}

// Whatever the name of the file is, the copy's has no surprises.
std::string plainExtension(const std::filesystem::path& file) {
    const std::string extension = file.extension().string();
    const bool isPlain = extension.size() > 1 && extension.size() <= 16 &&
                         std::all_of(extension.begin() + 1, extension.end(),
                                     [](unsigned char character) { return std::isalnum(character) != 0; });
    return isPlain ? extension : std::string();
}

void makePrivateFolders(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> missing;
    for (auto path = folder; !path.empty() && !std::filesystem::exists(path); path = path.parent_path())
        missing.push_back(path);
    for (auto path = missing.rbegin(); path != missing.rend(); ++path) {
        std::filesystem::create_directory(*path);
        std::filesystem::permissions(*path, std::filesystem::perms::owner_all);
    }
}

std::runtime_error systemError() {
    return std::runtime_error(std::generic_category().message(errno));
}

// The original's name may be any bytes, which the standard library takes and QFile does not.
void copyContents(const std::filesystem::path& from, const std::filesystem::path& to) {
    errno = 0;
    std::ifstream source(from, std::ios::binary);
    if (!source)
        throw systemError();
    WholeFile copy(qtPath(to));
    std::vector<char> block(std::size_t{1} << 20);
    while (source) {
        source.read(block.data(), static_cast<std::streamsize>(block.size()));
        if (source.bad())
            throw systemError();
        copy.write(block.data(), source.gcount());
    }
    copy.commit();
}

} // namespace

std::filesystem::path copyIntoRecordings(const std::filesystem::path& file, const std::filesystem::path& folder,
                                         const QUuid& id) {
    const std::filesystem::path copy = folder / (text(id).toStdString() + "-mic" + plainExtension(file));
    const auto fail = [&](const std::string& reason) {
        throw std::runtime_error("cannot copy '" + file.string() + "' to '" + copy.string() + "': " + reason);
    };
    try {
        makePrivateFolders(folder);
        if (!std::filesystem::is_regular_file(file))
            throw std::runtime_error("is not a regular file");
        copyContents(file, copy);
    } catch (const std::filesystem::filesystem_error& error) {
        fail(error.code().message());
    } catch (const std::runtime_error& error) {
        fail(error.what());
    }
    return copy;
}

bool removeRecording(const std::filesystem::path& file, const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path name = file.filename();
    if (!file.is_absolute() || name.empty() || !fs::equivalent(file.parent_path(), folder, error) || error)
        return false;
    // By the folder's own path: what stands before the name in the record's is not walked again.
    const fs::path recording = folder / name;
    return fs::symlink_status(recording, error).type() == fs::file_type::regular && fs::remove(recording, error);
}

} // namespace Varnel
