#include "Varnel/Refinement/Export.h"

#include "support/ErrorText.h"
#include "support/SmallDisk.h"
#include "support/TemporaryFolder.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

#include <unistd.h>

namespace Varnel {
namespace {

using Export::Format;
using Testing::errorText;
using VarnelSpeech::Testing::TemporaryFolder;

constexpr auto ownerOnly =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;

class ExportFile : public ::testing::Test {
protected:
    QString path(const QString& name) const { return QString::fromStdString(folder_.path().string()) + u'/' + name; }

    static QByteArray contents(const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }

    QStringList files() const {
        return QDir(path({})).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    }

    TemporaryFolder folder_;
};

TEST_F(ExportFile, NamesAreTheTitleMadeSafe) {
    EXPECT_EQ(Export::fileName(QStringLiteral("Weekly sync"), Format::markdown), QStringLiteral("Weekly sync.md"));
    EXPECT_EQ(Export::fileName(QStringLiteral("///"), Format::markdown), QStringLiteral("---.md"));
    EXPECT_EQ(Export::fileName(QString(), Format::markdown), QStringLiteral(".md"));
    EXPECT_EQ(Export::fileName(QStringLiteral("a"), Format::json), QStringLiteral("a.json"));
    EXPECT_EQ(Export::fileName(QStringLiteral("a"), Format::plainText), QStringLiteral("a.txt"));
    EXPECT_EQ(Export::fileName(QStringLiteral("a"), Format::srt), QStringLiteral("a.srt"));
}

TEST_F(ExportFile, OneHyphenReplacesEachForbiddenCharacter) {
    EXPECT_EQ(Export::safeTitle(QStringLiteral("a/b\\c?d%e*f|g\"h<i>j:k")), QStringLiteral("a-b-c-d-e-f-g-h-i-j-k"));
    EXPECT_EQ(Export::safeTitle(QStringLiteral("a::b")), QStringLiteral("a--b"));
    EXPECT_EQ(Export::safeTitle(QStringLiteral("Zürich 会議 🙂, it's")),
              QStringLiteral("Zürich 会議 🙂, it's"));
}

TEST_F(ExportFile, ANewFileIsTheUsersAlone) {
    Export::write("bytes", path(QStringLiteral("new.md")));
    EXPECT_EQ(contents(path(QStringLiteral("new.md"))), QByteArray("bytes"));
    EXPECT_EQ(QFile(path(QStringLiteral("new.md"))).permissions(), ownerOnly);
    EXPECT_EQ(files(), QStringList{QStringLiteral("new.md")});
}

TEST_F(ExportFile, AFileThatIsReplacedKeepsItsPermissions) {
    const QString file = path(QStringLiteral("old.md"));
    Export::write("a long text from before", file);
    const auto permissions = ownerOnly | QFileDevice::ReadGroup | QFileDevice::ReadOther;
    QFile(file).setPermissions(permissions);
    Export::write("short", file);
    EXPECT_EQ(contents(file), QByteArray("short"));
    EXPECT_EQ(QFile(file).permissions(), permissions);
}

TEST_F(ExportFile, AFileReachedThroughALinkIsReplacedAndTheLinkStays) {
    const QString file = path(QStringLiteral("target.md"));
    Export::write("before", file);
    const QString link = path(QStringLiteral("link.md"));
    ASSERT_TRUE(QFile::link(file, link));
    Export::write("after", link);
    EXPECT_EQ(contents(file), QByteArray("after"));
    EXPECT_TRUE(QFileInfo(link).isSymLink());
}

TEST_F(ExportFile, AFolderThatIsNotThereIsOneClearError) {
    const QString file = path(QStringLiteral("absent/a.md"));
    EXPECT_EQ(errorText([&] { Export::write("bytes", file); }),
              "cannot write '" + file.toStdString() + "': No such file or directory");
}

TEST_F(ExportFile, AFolderInTheFilesPlaceIsOneClearError) {
    EXPECT_EQ(errorText([&] { Export::write("bytes", path({})); }),
              "cannot write '" + path({}).toStdString() + "': Filename refers to a directory");
    EXPECT_TRUE(files().isEmpty());
}

TEST_F(ExportFile, ANameThatIsTooLongIsOneClearError) {
    const QString file = path(QString(300, u'a'));
    EXPECT_EQ(errorText([&] { Export::write("bytes", file); }),
              "cannot write '" + file.toStdString() + "': File name too long");
}

TEST_F(ExportFile, AFullDiskLeavesTheFileAsItWas) {
    // A small file system in memory; making one takes a privilege that the tests may lack.
    const QString mount = path(QStringLiteral("small"));
    const VarnelSpeech::Testing::SmallDisk disk(mount.toStdString(), 64 * 1024);
    if (!disk.isMounted())
        GTEST_SKIP() << "no small disk can be mounted here";
    const QString file = mount + QStringLiteral("/a.md");
    Export::write("before", file);
    EXPECT_EQ(errorText([&] { Export::write(QByteArray(1 << 20, 'x'), file); }),
              "cannot write '" + file.toStdString() + "': No space left on device");
    EXPECT_EQ(contents(file), QByteArray("before"));
    EXPECT_EQ(QDir(mount).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("a.md")});
}

} // namespace
} // namespace Varnel
