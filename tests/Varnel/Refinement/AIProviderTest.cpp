#include "Varnel/Refinement/AIProvider.h"

#include "support/MemorySettingsStore.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

class AIProviderTest : public ::testing::Test {
protected:
    QString text(const SettingKey& key) const { return settings_.text(key); }

    void setModel(const char* model) { settings_.set(SettingKeys::aiModel, QString::fromLatin1(model)); }

    Testing::MemorySettingsStore store_;
    Settings settings_{store_};
};

TEST_F(AIProviderTest, TheTableOfProviders) {
    const auto all = AIProviders::all();
    ASSERT_EQ(all.size(), 3U);
    EXPECT_STREQ(all[0]->id, "ollama");
    EXPECT_STREQ(all[0]->label, "Ollama (local)");
    EXPECT_STREQ(all[0]->defaultBaseURL, "http://localhost:11434/v1");
    EXPECT_STREQ(all[0]->defaultModel, "qwen3.5:2b");
    EXPECT_STREQ(all[0]->apiKeyLabel, "API key (optional)");
    EXPECT_STREQ(all[1]->id, "openai");
    EXPECT_STREQ(all[1]->label, "OpenAI");
    EXPECT_STREQ(all[1]->defaultBaseURL, "https://api.openai.com/v1");
    EXPECT_STREQ(all[1]->defaultModel, "gpt-4o-mini");
    EXPECT_STREQ(all[1]->apiKeyLabel, "API key");
    EXPECT_STREQ(all[2]->id, "custom");
    EXPECT_STREQ(all[2]->label, "Custom");
    EXPECT_STREQ(all[2]->apiKeyLabel, "API key (optional)");
    for (const AIProvider* provider : all) {
        EXPECT_EQ(AIProviders::find(QLatin1String(provider->id)), provider);
        EXPECT_EQ(provider->baseURL == AIProvider::BaseURL::entered, provider == &AIProviders::custom);
    }
    EXPECT_EQ(AIProviders::find(QStringLiteral("Ollama")), nullptr);
    EXPECT_EQ(AIProviders::find({}), nullptr);
}

TEST_F(AIProviderTest, TheDefaultsAreTheLocalProviders) {
    EXPECT_EQ(text(SettingKeys::aiProvider), QLatin1String(AIProviders::ollama.id));
    EXPECT_EQ(text(SettingKeys::aiBaseURL), QLatin1String(AIProviders::ollama.defaultBaseURL));
    EXPECT_EQ(text(SettingKeys::aiModel), QLatin1String(AIProviders::ollama.defaultModel));
}

TEST_F(AIProviderTest, TheLocalOneTakesItsModelUnlessAnotherLocalOneIsSet) {
    for (const char* model : {"", "gpt-", "gpt-4o-mini"}) {
        setModel(model);
        AIProviders::choose(AIProviders::ollama, settings_);
        EXPECT_EQ(text(SettingKeys::aiModel), QStringLiteral("qwen3.5:2b")) << model;
    }
    for (const char* model : {"mistral", "GPT-4", "my-gpt-", " gpt-4"}) {
        setModel(model);
        AIProviders::choose(AIProviders::ollama, settings_);
        EXPECT_EQ(text(SettingKeys::aiModel), QLatin1String(model));
    }
    EXPECT_EQ(text(SettingKeys::aiProvider), QStringLiteral("ollama"));
    EXPECT_EQ(text(SettingKeys::aiBaseURL), QStringLiteral("http://localhost:11434/v1"));
}

TEST_F(AIProviderTest, ThePublicOneTakesItsModelUnlessAnotherPublicOneIsSet) {
    AIProviders::choose(AIProviders::openai, settings_);
    EXPECT_EQ(text(SettingKeys::aiModel), QStringLiteral("gpt-4o-mini")) << "the local default is none of its models";
    for (const char* model : {"", "mistral", "GPT-4"}) {
        setModel(model);
        AIProviders::choose(AIProviders::openai, settings_);
        EXPECT_EQ(text(SettingKeys::aiModel), QStringLiteral("gpt-4o-mini")) << model;
    }
    setModel("gpt-5");
    AIProviders::choose(AIProviders::openai, settings_);
    EXPECT_EQ(text(SettingKeys::aiModel), QStringLiteral("gpt-5"));
    EXPECT_EQ(text(SettingKeys::aiProvider), QStringLiteral("openai"));
    EXPECT_EQ(text(SettingKeys::aiBaseURL), QStringLiteral("https://api.openai.com/v1"));
}

TEST_F(AIProviderTest, TheCustomOneChangesNothingElse) {
    AIProviders::choose(AIProviders::openai, settings_);
    AIProviders::choose(AIProviders::custom, settings_);
    EXPECT_EQ(text(SettingKeys::aiProvider), QStringLiteral("custom"));
    EXPECT_EQ(text(SettingKeys::aiBaseURL), QStringLiteral("https://api.openai.com/v1"));
    EXPECT_EQ(text(SettingKeys::aiModel), QStringLiteral("gpt-4o-mini"));
}

} // namespace
} // namespace Varnel
