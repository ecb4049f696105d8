#pragma once

#include "Varnel/Platform/SettingsStore.h"

#include <filesystem>

namespace Varnel {

// Settings in one small text file (0600, its folder 0700), read at every call. A change is made to the file as it is
// at that moment, under a lock against other processes, and replaces it as a whole.
class IniSettingsStore final : public SettingsStore {
public:
    explicit IniSettingsStore(std::filesystem::path file) : file_(std::move(file)) {}

    // A file that is absent or cannot be read holds nothing.
    std::optional<QString> value(const QString& key) const override;
    QStringList keys() const override;
    // Throw std::runtime_error. Keys are names of letters, digits and "_", behind a group's name and "/" or not.
    void setValue(const QString& key, const QString& value) override;
    void remove(const QString& key) override;

private:
    template <typename Change>
    void change(Change change);

    std::filesystem::path file_;
};

} // namespace Varnel
