#include "Varnel/Models/Settings.h"

#include <array>

namespace Varnel {

namespace SettingKeys {

using Type = SettingKey::Type;

const SettingKey autoSuggest{"autoSuggest", Type::boolean, "true"};
const SettingKey notifyOnSuggestion{"notifyOnSuggestion", Type::boolean, "true"};
const SettingKey captureSystemAudio{"captureSystemAudio", Type::boolean, "true"};
const SettingKey language{"language", Type::text, "English"};
const SettingKey speakerReid{"speakerReid", Type::boolean, "true"};
const SettingKey appearance{"appearance", Type::text, "system"};
const SettingKey storagePath{"storagePath", Type::text, ""};
const SettingKey aiEnabled{"aiEnabled", Type::boolean, "false"};
const SettingKey aiProvider{"aiProvider", Type::text, "ollama"};
const SettingKey aiBaseURL{"aiBaseURL", Type::text, "http://localhost:11434/v1"};
const SettingKey aiModel{"aiModel", Type::text, "qwen3.5:2b"};
const SettingKey aiAPIKey{"aiAPIKey", Type::text, "", SettingKey::Kind::secret};
const SettingKey hasSeenOnboarding{"hasSeenOnboarding", Type::boolean, "false"};
const SettingKey hidePermissionsBanner{"hidePermissionsBanner", Type::boolean, "false"};
const SettingKey didCleanupSeededMockMeetings_v1{"didCleanupSeededMockMeetings_v1", Type::boolean, "false"};

std::span<const SettingKey* const> all() {
    static constexpr std::array keys{&autoSuggest,
                                     &notifyOnSuggestion,
                                     &captureSystemAudio,
                                     &language,
                                     &speakerReid,
                                     &appearance,
                                     &storagePath,
                                     &aiEnabled,
                                     &aiProvider,
                                     &aiBaseURL,
                                     &aiModel,
                                     &aiAPIKey,
                                     &hasSeenOnboarding,
                                     &hidePermissionsBanner,
                                     &didCleanupSeededMockMeetings_v1};
    return keys;
}

const SettingKey* find(const QString& name) {
    for (const SettingKey* key : all()) {
        if (name == QLatin1String(key->name)) {
            return key;
        }
    }
    return nullptr;
}

} // namespace SettingKeys

bool Settings::boolean(const SettingKey& key) const {
    const auto stored = store_.value(QString::fromLatin1(key.name));
    if (stored == QStringLiteral("true") || stored == QStringLiteral("false")) {
        return stored == QStringLiteral("true");
    }
    return QLatin1String(key.defaultValue) == QLatin1String("true");
}

QString Settings::text(const SettingKey& key) const {
    return store_.value(QString::fromLatin1(key.name)).value_or(QString::fromLatin1(key.defaultValue));
}

void Settings::set(const SettingKey& key, bool value) {
    store_.setValue(QString::fromLatin1(key.name), value ? QStringLiteral("true") : QStringLiteral("false"));
}

void Settings::set(const SettingKey& key, const QString& value) {
    store_.setValue(QString::fromLatin1(key.name), value);
}

} // namespace Varnel
