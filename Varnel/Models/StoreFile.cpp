#include "Varnel/Models/StoreFile.h"

#include "Varnel/Models/StoreStatement.h"

#include <fmt/format.h>

#include <QFile>

namespace Varnel::StoreFile {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void refuse(const fs::path& file, const std::string& reason) {
    throw StoreError(StoreError::Case::cannotOpen,
                     fmt::format("cannot open the store '{}': {}", file.string(), reason));
}

// Made by us, and so private from its first moment; what is there already keeps its permissions.
void makeFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) {
        return;
    }
    if (folder.has_parent_path() && folder.parent_path() != folder) {
        makeFolder(folder.parent_path());
    }
    if (fs::create_directory(folder, error)) {
        fs::permissions(folder, fs::perms::owner_all, error);
    }
    if (error) {
        refuse(folder, error.message());
    }
}

} // namespace

void prepare(const fs::path& file) {
    if (file.has_parent_path()) {
        makeFolder(file.parent_path());
    }
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (status.type() == fs::file_type::none) {
        refuse(file, error.message());
    }
    if (!fs::exists(status)) {
        QFile created(QString::fromStdString(file.string()));
        if (!created.open(QIODevice::WriteOnly | QIODevice::NewOnly, QFile::ReadOwner | QFile::WriteOwner) &&
            !created.exists()) {
            refuse(file, created.errorString().toStdString());
        }
        return;
    }
    if (fs::is_directory(status)) {
        refuse(file, "it is a directory");
    }
    if (!fs::is_regular_file(status)) {
        refuse(file, "it is not a regular file");
    }
    // Permissions are minded even where the user could pass them by.
    if ((status.permissions() & fs::perms::owner_read) == fs::perms::none) {
        refuse(file, "permission denied");
    }
    if ((status.permissions() & fs::perms::owner_write) == fs::perms::none) {
        refuse(file, "it is read-only");
    }
    if (QFile opened(QString::fromStdString(file.string())); !opened.open(QIODevice::ReadWrite)) {
        refuse(file, opened.errorString().toStdString());
    }
}

void useWriteAheadLog(StoreConnection& connection) {
    StoreStatement(connection, "PRAGMA journal_mode = WAL").next();
}

} // namespace Varnel::StoreFile
