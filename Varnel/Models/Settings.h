#pragma once

#include "Varnel/Platform/SettingsStore.h"

#include <QString>

#include <span>
#include <variant>

namespace Varnel {

// The user's settings: every key there is, its type and its default.
struct SettingKey {
    enum class Type { boolean, text };
    enum class Kind { plain, secret }; // a secret is masked in lists

    const char* name;
    Type type;
    const char* defaultValue; // "true", "false" or the text
    Kind kind = Kind::plain;
};

namespace SettingKeys {
extern const SettingKey autoSuggest;
extern const SettingKey notifyOnSuggestion;
extern const SettingKey captureSystemAudio;
extern const SettingKey language;
extern const SettingKey speakerReid;
extern const SettingKey appearance;
extern const SettingKey storagePath;
extern const SettingKey aiEnabled;
extern const SettingKey aiProvider;
extern const SettingKey aiBaseURL;
extern const SettingKey aiModel;
extern const SettingKey aiAPIKey;
extern const SettingKey hasSeenOnboarding;
extern const SettingKey hidePermissionsBanner;
extern const SettingKey didCleanupSeededMockMeetings_v1;

// All of them, in the order above.
std::span<const SettingKey* const> all();
// None for an unknown name.
const SettingKey* find(const QString& name);
} // namespace SettingKeys

// Typed reading and writing over the store. Reads the store at every call.
class Settings {
public:
    explicit Settings(SettingsStore& store) : store_(store) {}

    // A key never written, and a boolean that is neither "true" nor "false", reads as its default.
    bool boolean(const SettingKey& key) const;
    QString text(const SettingKey& key) const;
    void set(const SettingKey& key, bool value);
    void set(const SettingKey& key, const QString& value);

private:
    SettingsStore& store_;
};

} // namespace Varnel
