#include "Varnel/CommandLine/TranscriptFormat.h"

#include "Varnel/CommandLine/CommandError.h"

#include "support/ErrorText.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace Varnel::CommandLine {
namespace {

using VarnelSpeech::Testing::TemporaryFolder;

TEST(TranscriptDestination, TakesTheFormatOfTheOutputsExtension) {
    EXPECT_EQ((TranscriptDestination{"", "a/b.srt"}.formatOr(Export::Format::plainText)), Export::Format::srt);
    EXPECT_EQ((TranscriptDestination{"json", "b.srt"}.formatOr(Export::Format::plainText)), Export::Format::json);
    EXPECT_EQ((TranscriptDestination{"", "b.doc"}.formatOr(Export::Format::plainText)), Export::Format::plainText);
    EXPECT_EQ((TranscriptDestination{"", ""}.formatOr(Export::Format::markdown)), Export::Format::markdown);
}

TEST(TranscriptDestination, NamesTheFilesOfAFolder) {
    const TemporaryFolder folder;
    const TranscriptDestination there{"", folder.path().string()};
    EXPECT_EQ(there.file(QStringLiteral("a/b"), Export::Format::markdown, 1), folder / "a-b.md");
    const TranscriptDestination slash{"", "new/"};
    EXPECT_EQ(slash.file(QStringLiteral("x"), Export::Format::srt, 1), "new/x.srt");
    const TranscriptDestination several{"", "new"};
    EXPECT_EQ(several.file(QStringLiteral("x"), Export::Format::srt, 2), "new/x.srt");
    EXPECT_EQ(several.file(QStringLiteral("x"), Export::Format::srt, 1), "new");
}

TEST(WriteTranscript, MakesTheFolderAndReplacesTheFile) {
    const TemporaryFolder folder;
    writeTranscript(folder / "a/b/c.txt", "first", {});
    writeTranscript(folder / "a/b/c.txt", "second", {});
    std::ifstream stream(folder / "a/b/c.txt");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "second");
}

TEST(WriteTranscript, NeverTakesThePlaceOfARecording) {
    const TemporaryFolder folder;
    std::ofstream(folder / "talk.wav") << "sound";
    std::filesystem::create_hard_link(folder / "talk.wav", folder / "same.txt");
    std::filesystem::create_symlink("talk.wav", folder / "link.txt");
    for (const char* name : {"talk.wav", "same.txt", "link.txt"})
        EXPECT_EQ(Varnel::Testing::errorText([&] { writeTranscript(folder / name, "text", {folder / "talk.wav"}); }),
                  "'" + (folder / name).string() + "' is not written over: it is not the transcript's own file");
    std::ifstream stream(folder / "talk.wav");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "sound");
}

} // namespace
} // namespace Varnel::CommandLine
