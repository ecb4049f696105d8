#pragma once

#include "Varnel/Platform/BrowserAddress.h"

#include <QStringList>

namespace Varnel::Testing {

// One address, whichever browser is asked; keeps who was asked.
class FakeBrowserAddress final : public BrowserAddress {
public:
    std::optional<QString> activeTab(const QString& applicationID) override {
        asked.append(applicationID);
        return address;
    }

    std::optional<QString> address;
    QStringList asked;
};

} // namespace Varnel::Testing
