#pragma once

#include "Varnel/Platform/SettingsStore.h"

#include <QMap>

namespace Varnel::Testing {

// Settings that are gone with the test.
class MemorySettingsStore final : public SettingsStore {
public:
    std::optional<QString> value(const QString& key) const override {
        const auto found = values.constFind(key);
        return found == values.constEnd() ? std::nullopt : std::optional(*found);
    }

    void setValue(const QString& key, const QString& value) override { values[key] = value; }

    void remove(const QString& key) override { values.remove(key); }

    QStringList keys() const override { return values.keys(); }

    QMap<QString, QString> values;
};

} // namespace Varnel::Testing
