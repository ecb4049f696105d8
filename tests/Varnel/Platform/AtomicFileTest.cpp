#include "Varnel/Platform/Linux/AtomicFile.h"

#include "support/FileText.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <system_error>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::contentsOf;
using VarnelSpeech::Testing::TemporaryFolder;

std::size_t filesIn(const std::filesystem::path& folder) {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

std::string failure(const std::filesystem::path& file, std::string_view bytes) {
    try {
        writeFileAtomically(file, bytes);
    } catch (const std::system_error& error) {
        return error.what();
    }
    return "(no error)";
}

TEST(AtomicFile, WritesAnyBytesUnderAnyName) {
    const TemporaryFolder folder;
    for (const std::string name : {"plain.txt", "with blank", "new\nline", "quote'\"", "not utf-8 \xff\xfe"}) {
        const std::string bytes("a\0b\xff\n", 5);
        writeFileAtomically(folder / name, bytes);
        EXPECT_EQ(contentsOf(folder / name), bytes);
    }
    EXPECT_EQ(filesIn(folder.path()), 5U) << "no temporary file is left";
}

TEST(AtomicFile, ReplacesAFileAndKeepsItsPermissions) {
    const TemporaryFolder folder;
    writeFileAtomically(folder / "a", "a long first content");
    std::filesystem::permissions(folder / "a", std::filesystem::perms(0640));
    writeFileAtomically(folder / "a", "second");
    EXPECT_EQ(contentsOf(folder / "a"), "second");
    EXPECT_EQ(std::filesystem::status(folder / "a").permissions(), std::filesystem::perms(0640));
}

TEST(AtomicFile, MakesANewFileWithTheProcesssPermissions) {
    const TemporaryFolder folder;
    const mode_t before = umask(077);
    writeFileAtomically(folder / "private", "x");
    umask(022);
    writeFileAtomically(folder / "shared", "x");
    umask(before);
    EXPECT_EQ(std::filesystem::status(folder / "private").permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(std::filesystem::status(folder / "shared").permissions(), std::filesystem::perms(0644));
}

TEST(AtomicFile, WritesThroughALink) {
    const TemporaryFolder folder;
    writeFileAtomically(folder / "target", "old");
    std::filesystem::create_symlink("target", folder / "link");
    writeFileAtomically(folder / "link", "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
    EXPECT_EQ(contentsOf(folder / "target"), "new");
}

TEST(AtomicFile, WritesToADeviceDirectly) {
    writeFileAtomically("/dev/null", "gone");
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_EQ(failure("/dev/full", "no room"), "cannot write '/dev/full': No space left on device");
}

TEST(AtomicFile, NamesTheFileThatCannotBeWritten) {
    const TemporaryFolder folder;
    EXPECT_EQ(failure(folder / "absent/x", "x"),
              "cannot write '" + (folder / "absent/x").string() + "': No such file or directory");
    EXPECT_EQ(failure(folder.path(), "x"), "cannot write '" + folder.path().string() + "': Is a directory");
}

// A full disk, as a limit on the size of files gives it.
TEST(AtomicFile, LeavesTheOldContentWhenTheDiskIsFull) {
    const TemporaryFolder folder;
    writeFileAtomically(folder / "kept", "the old content");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string text = failure(folder / "kept", std::string(100000, 'x'));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(text, "cannot write '" + (folder / "kept").string() + "': File too large");
    EXPECT_EQ(contentsOf(folder / "kept"), "the old content");
    EXPECT_EQ(filesIn(folder.path()), 1U);
}

} // namespace
} // namespace Varnel
