#include "Varnel/Models/StoreObserver.h"

namespace Varnel {

StoreObserver::StoreObserver(const std::filesystem::path& file, std::function<void()> changed)
    : file_(QString::fromStdString(file.string())), changed_(std::move(changed)) {
    watcher_.addPath(file_);
    connect(&watcher_, &QFileSystemWatcher::fileChanged, this, &StoreObserver::look);
}

void StoreObserver::look() {
    if (watcher_.files().isEmpty()) {
        watcher_.addPath(file_); // replaced under its name
    }
    changed_();
}

} // namespace Varnel
