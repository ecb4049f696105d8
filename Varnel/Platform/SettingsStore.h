#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace Varnel {

// The user's defaults store: text values under plain keys, in groups. Values are read at the moment they are needed;
// nothing is cached by callers. Main context only.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;

    // None for a key that was never written.
    virtual std::optional<QString> value(const QString& key) const = 0;
    // Writes through to disk before it returns. Throws std::runtime_error (what, where, why) when that fails.
    virtual void setValue(const QString& key, const QString& value) = 0;
    virtual void remove(const QString& key) = 0;
    virtual QStringList keys() const = 0;
};

} // namespace Varnel
