#include "Varnel/Platform/Linux/IniSettingsStore.h"

#include "Varnel/Platform/Linux/IniFile.h"
#include "support/ChildProcess.h"

#include <QFile>
#include <QTemporaryDir>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Varnel {
namespace {

class IniSettingsStoreTest : public testing::Test {
protected:
    std::filesystem::path file() const {
        return std::filesystem::path(folder_.path().toStdString()) / "Varnel/settings.ini";
    }

    QByteArray bytes() const {
        QFile stored(QString::fromStdString(file().string()));
        return stored.open(QIODevice::ReadOnly) ? stored.readAll() : QByteArray();
    }

    void write(const QByteArray& content) {
        std::filesystem::create_directories(file().parent_path());
        QFile stored(QString::fromStdString(file().string()));
        ASSERT_TRUE(stored.open(QIODevice::WriteOnly));
        stored.write(content);
    }

    QTemporaryDir folder_;
};

TEST_F(IniSettingsStoreTest, HoldsNothingAtFirst) {
    const IniSettingsStore store(file());
    EXPECT_EQ(store.value(QStringLiteral("language")), std::nullopt);
    EXPECT_TRUE(store.keys().isEmpty());
    EXPECT_FALSE(std::filesystem::exists(file()));
}

TEST_F(IniSettingsStoreTest, KeepsValuesOfEveryKind) {
    const QStringList values{QString(),
                             QStringLiteral("plain"),
                             QStringLiteral("  leading and trailing\t"),
                             QStringLiteral("two\nlines\r\n"),
                             QStringLiteral("\"quoted\" # ; = [x]"),
                             QStringLiteral("back\\slash\\n"),
                             QStringLiteral("größe 🎙"),
                             QStringLiteral("\""),
                             QStringLiteral("\\")};
    for (const QString& value : values) {
        IniSettingsStore(file()).setValue(QStringLiteral("key"), value);
        IniSettingsStore(file()).setValue(QStringLiteral("linux/key"), value);
        EXPECT_EQ(IniSettingsStore(file()).value(QStringLiteral("key")), value);
        EXPECT_EQ(IniSettingsStore(file()).value(QStringLiteral("linux/key")), value);
    }
    EXPECT_EQ(IniSettingsStore(file()).keys(), (QStringList{QStringLiteral("key"), QStringLiteral("linux/key")}));
}

TEST_F(IniSettingsStoreTest, IsPrivate) {
    IniSettingsStore(file()).setValue(QStringLiteral("aiAPIKey"), QStringLiteral("secret"));
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(file()).permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(std::filesystem::status(file().parent_path()).permissions(), perms::owner_all);
}

TEST_F(IniSettingsStoreTest, LeavesWhatItDoesNotKnowUntouched) {
    write("# my notes\n\nlanguage = English\nnonsense without sign\nfuture=x y\n[other]\nlanguage=else\n[damaged\n");
    IniSettingsStore store(file());
    store.setValue(QStringLiteral("language"), QStringLiteral("German"));
    store.setValue(QStringLiteral("aiModel"), QStringLiteral("m"));
    store.setValue(QStringLiteral("linux/calendars"), QStringLiteral("/c"));
    EXPECT_EQ(bytes(), "# my notes\n\nlanguage=German\nnonsense without sign\nfuture=x y\naiModel=m\n[other]\n"
                       "language=else\n[damaged\n[linux]\ncalendars=/c\n");
    EXPECT_EQ(store.value(QStringLiteral("other/language")), QStringLiteral("else"));
    store.remove(QStringLiteral("language"));
    store.remove(QStringLiteral("absent"));
    EXPECT_EQ(store.value(QStringLiteral("language")), std::nullopt);
    EXPECT_EQ(store.value(QStringLiteral("other/language")), QStringLiteral("else"));
}

TEST_F(IniSettingsStoreTest, OfARepeatedKeyTheLastLineCounts) {
    write("a=1\na=2");
    IniSettingsStore store(file());
    EXPECT_EQ(store.value(QStringLiteral("a")), QStringLiteral("2"));
    store.setValue(QStringLiteral("a"), QStringLiteral("3"));
    EXPECT_EQ(store.value(QStringLiteral("a")), QStringLiteral("3"));
}

TEST_F(IniSettingsStoreTest, ReadsTheFileAtEveryCall) {
    const IniSettingsStore store(file());
    write("language=a\n");
    EXPECT_EQ(store.value(QStringLiteral("language")), QStringLiteral("a"));
    write("language=b\n");
    EXPECT_EQ(store.value(QStringLiteral("language")), QStringLiteral("b"));
}

TEST_F(IniSettingsStoreTest, RefusesAKeyThatTheFileCouldNotHold) {
    IniSettingsStore store(file());
    for (const char* key : {"", "a=b", "a\nb", "[x]", "#a", "a/b/c", "/a", "a b"}) {
        EXPECT_THROW(store.setValue(QString::fromLatin1(key), QStringLiteral("v")), std::runtime_error) << key;
    }
    EXPECT_TRUE(bytes().isEmpty());
}

TEST_F(IniSettingsStoreTest, SaysWhatCouldNotBeWrittenAndWhy) {
    std::filesystem::create_directories(file()); // a folder in its place
    try {
        IniSettingsStore(file()).setValue(QStringLiteral("a"), QStringLiteral("b"));
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(std::string(error.what()),
                    testing::StartsWith("cannot write the settings '" + file().string() + "': "));
    }
    EXPECT_TRUE(std::filesystem::is_directory(file()));
}

TEST_F(IniSettingsStoreTest, TwoProcessesLoseNoneOfEachOthersChanges) {
    constexpr int count = 25;
    const auto writeAll = [&](const QString& prefix) {
        for (int number = 0; number < count; ++number) {
            IniSettingsStore(file()).setValue(prefix + QString::number(number), QStringLiteral("x"));
        }
    };
    VarnelSpeech::Testing::ChildProcess child([&] { writeAll(QStringLiteral("child")); });
    writeAll(QStringLiteral("parent"));
    EXPECT_TRUE(child.succeeded());
    EXPECT_EQ(IniSettingsStore(file()).keys().size(), 2 * count);
}

} // namespace
} // namespace Varnel
