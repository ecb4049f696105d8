#include "Varnel/Platform/Linux/LogFile.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>
#include <vector>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::TemporaryFolder;

std::vector<std::string> lines(const std::filesystem::path& file) {
    std::ifstream stream(file);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

TEST(LogFile, HoldsOneLineACallAtOnce) {
    const TemporaryFolder folder;
    LogFile log(folder / "state/varnel.log");
    log.write(LogFile::Level::warning, "ASR", "two\nlines and a \x1b[31mcolour");
    const auto written = lines(folder / "state/varnel.log");
    ASSERT_EQ(written.size(), 1U);
    EXPECT_TRUE(written[0].ends_with("[warning] [ASR] two\\nlines and a \\x1B[31mcolour")) << written[0];
}

TEST(LogFile, IsPrivateWhateverWasThere) {
    const TemporaryFolder folder;
    std::ofstream(folder / "varnel.log") << "old\n";
    std::filesystem::permissions(folder / "varnel.log", std::filesystem::perms(0644));
    LogFile log(folder / "varnel.log");
    log.write(LogFile::Level::info, "", "new");
    EXPECT_EQ(std::filesystem::status(folder / "varnel.log").permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(lines(folder / "varnel.log").size(), 2U) << "a new process appends";
}

TEST(LogFile, KeepsThreeFilesOfFiveMegabytes) {
    const TemporaryFolder folder;
    LogFile log(folder / "varnel.log");
    const std::string line(50'000, 'x');
    for (int i = 0; i < 450; ++i) // 22 MB
        log.write(LogFile::Level::info, "", line);
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++files;
        EXPECT_LE(entry.file_size(), LogFile::maximumBytes + 60'000);
    }
    EXPECT_EQ(files, 1 + LogFile::olderFiles);
}

TEST(LogFile, TakesLinesFromSeveralThreads) {
    const TemporaryFolder folder;
    {
        LogFile log(folder / "varnel.log");
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&log] {
                for (int i = 0; i < 100; ++i)
                    log.write(LogFile::Level::debug, "T", "line");
            });
    }
    const auto written = lines(folder / "varnel.log");
    EXPECT_EQ(written.size(), 400U);
    for (const auto& line : written)
        EXPECT_TRUE(line.ends_with("[debug] [T] line")) << line;
}

TEST(LogFile, SaysWhyItCannotBeOpened) {
    try {
        LogFile log("/dev/null/varnel.log");
        FAIL() << "it opened";
    } catch (const std::runtime_error& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("cannot open the log '/dev/null/varnel.log': "));
    }
}

} // namespace
} // namespace Varnel
