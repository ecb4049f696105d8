#pragma once

#include <QString>

#include <optional>

namespace Varnel {

// The address of a browser's active tab, as its accessibility tree tells it. Main context only.
class BrowserAddress {
public:
    virtual ~BrowserAddress() = default;

    // None when the browser has no window, does not expose its documents, or does not answer soon.
    virtual std::optional<QString> activeTab(const QString& applicationID) = 0;
};

} // namespace Varnel
