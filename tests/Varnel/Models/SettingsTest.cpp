#include "Varnel/Models/Settings.h"

#include <QMap>

#include <gtest/gtest.h>

namespace Varnel {
namespace {

class MapSettingsStore final : public SettingsStore {
public:
    std::optional<QString> value(const QString& key) const override {
        return values.contains(key) ? std::optional(values[key]) : std::nullopt;
    }

    void setValue(const QString& key, const QString& value) override { values[key] = value; }

    void remove(const QString& key) override { values.remove(key); }

    QStringList keys() const override { return values.keys(); }

    QMap<QString, QString> values;
};

TEST(Settings, AKeyNeverWrittenReadsAsItsDefault) {
    MapSettingsStore store;
    const Settings settings(store);
    using namespace SettingKeys;
    for (const SettingKey* key : {&autoSuggest, &notifyOnSuggestion, &captureSystemAudio, &speakerReid}) {
        EXPECT_TRUE(settings.boolean(*key)) << key->name;
    }
    for (const SettingKey* key :
         {&aiEnabled, &hasSeenOnboarding, &hidePermissionsBanner, &didCleanupSeededMockMeetings_v1}) {
        EXPECT_FALSE(settings.boolean(*key)) << key->name;
    }
    EXPECT_EQ(settings.text(language), QStringLiteral("English"));
    EXPECT_EQ(settings.text(appearance), QStringLiteral("system"));
    EXPECT_EQ(settings.text(storagePath), QString());
    EXPECT_EQ(settings.text(aiProvider), QStringLiteral("ollama"));
    EXPECT_EQ(settings.text(aiBaseURL), QStringLiteral("http://localhost:11434/v1"));
    EXPECT_EQ(settings.text(aiModel), QStringLiteral("qwen3.5:2b"));
    EXPECT_EQ(settings.text(aiAPIKey), QString());
}

TEST(Settings, TheTableHasFifteenKeysUnderTheirNames) {
    QStringList names;
    for (const SettingKey* key : SettingKeys::all()) {
        names << QString::fromLatin1(key->name);
        EXPECT_EQ(SettingKeys::find(names.last()), key);
        EXPECT_EQ(key->kind == SettingKey::Kind::secret, key == &SettingKeys::aiAPIKey) << key->name;
        const QString initial = QString::fromLatin1(key->defaultValue);
        EXPECT_EQ(key->type == SettingKey::Type::boolean,
                  initial == QStringLiteral("true") || initial == QStringLiteral("false"))
            << key->name;
    }
    EXPECT_EQ(names.join(u' '),
              QStringLiteral("autoSuggest notifyOnSuggestion captureSystemAudio language speakerReid appearance "
                             "storagePath aiEnabled aiProvider aiBaseURL aiModel aiAPIKey hasSeenOnboarding "
                             "hidePermissionsBanner didCleanupSeededMockMeetings_v1"));
    EXPECT_EQ(SettingKeys::find(QStringLiteral("unknown")), nullptr);
    EXPECT_EQ(SettingKeys::find(QString()), nullptr);
}

TEST(Settings, ReadTheStoreAtEveryCall) {
    MapSettingsStore store;
    Settings settings(store);
    settings.set(SettingKeys::aiEnabled, true);
    EXPECT_EQ(store.values[QStringLiteral("aiEnabled")], QStringLiteral("true"));
    EXPECT_TRUE(settings.boolean(SettingKeys::aiEnabled));
    store.values[QStringLiteral("aiEnabled")] = QStringLiteral("false");
    EXPECT_FALSE(settings.boolean(SettingKeys::aiEnabled));
    settings.set(SettingKeys::aiModel, QStringLiteral("x"));
    EXPECT_EQ(settings.text(SettingKeys::aiModel), QStringLiteral("x"));
    settings.set(SettingKeys::aiModel, QString());
    EXPECT_EQ(settings.text(SettingKeys::aiModel), QString());
}

TEST(Settings, ABooleanThatIsNoneReadsAsItsDefaultAndTextIsTakenAsItIs) {
    MapSettingsStore store;
    const Settings settings(store);
    for (const char* odd : {"", "1", "yes", "TRUE", " true"}) {
        store.values[QStringLiteral("autoSuggest")] = QString::fromLatin1(odd);
        store.values[QStringLiteral("aiEnabled")] = QString::fromLatin1(odd);
        EXPECT_TRUE(settings.boolean(SettingKeys::autoSuggest)) << odd;
        EXPECT_FALSE(settings.boolean(SettingKeys::aiEnabled)) << odd;
    }
    store.values[QStringLiteral("appearance")] = QStringLiteral("unknown"); // whoever reads it follows the system
    EXPECT_EQ(settings.text(SettingKeys::appearance), QStringLiteral("unknown"));
}

} // namespace
} // namespace Varnel
