#include "Varnel/Models/ModelContainer.h"

#include "Varnel/Models/StoreConnection.h"
#include "Varnel/Models/StoreFile.h"
#include "Varnel/Models/StoreObserver.h"
#include "Varnel/Models/StoreSchema.h"

#include <QCoreApplication>

namespace Varnel {

namespace {

std::unique_ptr<StoreConnection> open(const std::filesystem::path& file, std::chrono::milliseconds busyTimeout) {
    try {
        StoreFile::prepare(file);
        StoreSchema::refuseFutureVersion(file);
        auto connection = std::make_unique<StoreConnection>(file, StoreConnection::Access::readWrite, busyTimeout);
        StoreSchema::prepare(*connection);
        StoreFile::useWriteAheadLog(*connection);
        return connection;
    } catch (const StoreError& error) {
        throw StoreError(error.error(), std::string("Failed to create ModelContainer: ") + error.what());
    }
}

std::unique_ptr<StoreConnection> openInMemory() {
    auto connection = std::make_unique<StoreConnection>();
    StoreSchema::prepare(*connection);
    return connection;
}

} // namespace

ModelContainer::ModelContainer(const std::filesystem::path& file, std::chrono::milliseconds busyTimeout)
    : file_(file), context_(new ModelContext(open(file, busyTimeout))) {
    if (QCoreApplication::instance() != nullptr) {
        observer_ = std::make_unique<StoreObserver>(file, [this] { context_->refresh(); });
    }
}

ModelContainer::ModelContainer() : context_(new ModelContext(openInMemory())) {}

ModelContainer::~ModelContainer() = default;

} // namespace Varnel
