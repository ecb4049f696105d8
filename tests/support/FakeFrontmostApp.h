#pragma once

#include "Varnel/Platform/FrontmostApp.h"

#include <utility>

namespace Varnel::Testing {

// The front application that the test says.
class FakeFrontmostApp final : public FrontmostApp {
public:
    std::optional<QString> current() const override {
        ++lookups;
        return current_;
    }

    void watch(std::function<void(const std::optional<QString>&)> onSwitch) override { watcher_ = std::move(onSwitch); }

    bool isWatched() const { return watcher_ != nullptr; }

    // Comes to the front, and the watcher is told.
    void switchTo(const std::optional<QString>& applicationID) {
        current_ = applicationID;
        if (const auto watcher = watcher_)
            watcher(applicationID);
    }

    // Comes to the front, and nobody is told.
    void setCurrent(std::optional<QString> applicationID) { current_ = std::move(applicationID); }

    mutable int lookups = 0;

private:
    std::optional<QString> current_;
    std::function<void(const std::optional<QString>&)> watcher_;
};

} // namespace Varnel::Testing
