#pragma once

#include <QFileSystemWatcher>
#include <QObject>

#include <filesystem>
#include <functional>

namespace Varnel {

// Tells when another process may have changed the store: every save ends with a new modification date of the file.
// Lives on the main context; without an event loop nothing is told.
class StoreObserver : public QObject {
    Q_OBJECT

public:
    StoreObserver(const std::filesystem::path& file, std::function<void()> changed);

private:
    void look();

    const QString file_;
    std::function<void()> changed_;
    QFileSystemWatcher watcher_;
};

} // namespace Varnel
