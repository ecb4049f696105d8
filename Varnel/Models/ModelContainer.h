#pragma once

#include "Varnel/Models/ModelContext.h"

#include <chrono>
#include <filesystem>
#include <memory>

namespace Varnel {

class StoreObserver;

// The opened store: one SQLite database in the application's data folder, shared by all of the user's processes.
class ModelContainer {
public:
    static constexpr const char* schemaVersion = "1.0.0";

    // Opens the store at `file`, making it and its folder (0700, the file 0600) if absent.
    // Throws StoreError "Failed to create ModelContainer: " and the reason. A store of a later version is left
    // untouched; a damaged one is never deleted.
    // `busyTimeout` is how long to wait for other processes' locks, here and in every save.
    explicit ModelContainer(const std::filesystem::path& file,
                            std::chrono::milliseconds busyTimeout = std::chrono::milliseconds(5000));
    // In memory, for tests.
    ModelContainer();
    ~ModelContainer();

    ModelContext& mainContext() { return *context_; }

    const std::filesystem::path& file() const { return file_; }

private:
    std::filesystem::path file_;
    std::unique_ptr<ModelContext> context_;
    std::unique_ptr<StoreObserver> observer_;
};

} // namespace Varnel
