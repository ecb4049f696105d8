#include "Varnel/Platform/Linux/IniSettingsStore.h"

#include "Varnel/Platform/Linux/IniFile.h"

#include <QFile>
#include <QLockFile>
#include <QRegularExpression>
#include <QSaveFile>

#include <stdexcept>

namespace Varnel {

namespace {

// A settings file is a few lines; what is larger is none.
constexpr qint64 largestFile = qint64{16} * 1024 * 1024;
constexpr int lockTimeoutMilliseconds = 5000;

QString name(const std::filesystem::path& file) {
    return QFile::decodeName(file.c_str());
}

[[noreturn]] void fail(const std::filesystem::path& file, const QString& reason) {
    throw std::runtime_error("cannot write the settings '" + file.string() + "': " + reason.toStdString());
}

// None for a file that is there and cannot be read.
std::optional<QString> read(const std::filesystem::path& path) {
    QFile file(name(path));
    if (!file.exists()) {
        return QString();
    }
    if (file.size() > largestFile || !file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return QString::fromUtf8(file.readAll());
}

void makePrivateFolder(const std::filesystem::path& folder) {
    std::error_code error;
    if (folder.empty() || std::filesystem::is_directory(folder, error)) {
        return;
    }
    makePrivateFolder(folder.parent_path());
    if (std::filesystem::create_directory(folder, error)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
    }
    if (error) {
        fail(folder, QString::fromStdString(error.message()));
    }
}

} // namespace

std::optional<QString> IniSettingsStore::value(const QString& key) const {
    return IniFile(read(file_).value_or(QString())).value(key);
}

QStringList IniSettingsStore::keys() const {
    return IniFile(read(file_).value_or(QString())).keys();
}

void IniSettingsStore::setValue(const QString& key, const QString& value) {
    static const QRegularExpression wellFormed(QStringLiteral("^(?:[A-Za-z0-9_]+/)?[A-Za-z0-9_]+$"));
    if (!wellFormed.match(key).hasMatch()) {
        fail(file_, QStringLiteral("'%1' is no name of a setting").arg(key));
    }
    change([&](IniFile& settings) { settings.setValue(key, value); });
}

void IniSettingsStore::remove(const QString& key) {
    change([&](IniFile& settings) { settings.remove(key); });
}

template <typename Change>
void IniSettingsStore::change(Change change) {
    makePrivateFolder(file_.parent_path());
    QLockFile lock(name(file_) + QStringLiteral(".lock"));
    if (!lock.tryLock(lockTimeoutMilliseconds)) {
        fail(file_, lock.error() == QLockFile::LockFailedError ? QStringLiteral("another program is writing them")
                                                               : QStringLiteral("its folder cannot be written"));
    }
    const auto before = read(file_);
    if (!before) {
        fail(file_, QStringLiteral("what they hold cannot be read"));
    }
    IniFile settings(*before);
    change(settings);
    QSaveFile file(name(file_));
    file.setDirectWriteFallback(false);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)) {
        fail(file_, file.errorString());
    }
    file.write(settings.text().toUtf8());
    if (!file.commit()) {
        fail(file_, file.errorString());
    }
}

} // namespace Varnel
