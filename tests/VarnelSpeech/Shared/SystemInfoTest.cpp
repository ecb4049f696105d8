#include "VarnelSpeech/Shared/SystemInfo.h"

#include "VarnelSpeech/Shared/SystemInfoReporter.h"
#include "support/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace VarnelSpeech;
using Testing::LogRecorder;

TEST(SystemInfo, TellsTheHostInOneLine) {
    const std::string summary = SystemInfo::summary();
    EXPECT_THAT(summary, testing::MatchesRegex("macOS .+, arch=[a-z0-9_]+, chip=.+, cores=[1-9][0-9]*/[1-9][0-9]*, "
                                               "mem=[0-9.]+ [KMGT]B, rosetta=false"));
    EXPECT_EQ(summary.find('\n'), std::string::npos);
}

TEST(SystemInfo, FindsTheNamesInTheSystemsFiles) {
    EXPECT_EQ(SystemInfo::prettyName("NAME=\"Debian\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nID=debian\n"),
              "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(SystemInfo::prettyName("PRETTY_NAME=Plain"), "Plain");
    EXPECT_EQ(SystemInfo::prettyName("NAME=x\n"), "");
    EXPECT_EQ(SystemInfo::modelName("processor\t: 0\nmodel name\t: Fast CPU @ 2.0GHz\n\nmodel name\t: Other\n"),
              "Fast CPU @ 2.0GHz");
    EXPECT_EQ(SystemInfo::modelName("processor : 0\n"), "");
    EXPECT_EQ(SystemInfo::modelName(""), "");
}

TEST(SystemInfo, WritesByteCountsForPeople) {
    EXPECT_EQ(SystemInfo::readableByteCount(0), "0 bytes");
    EXPECT_EQ(SystemInfo::readableByteCount(1023), "1023 bytes");
    EXPECT_EQ(SystemInfo::readableByteCount(1536), "1.5 KB");
    EXPECT_EQ(SystemInfo::readableByteCount(1024 * 1024 - 1), "1 MB");
    EXPECT_EQ(SystemInfo::readableByteCount(std::uint64_t{16} << 30U), "16 GB");
    EXPECT_EQ(SystemInfo::readableByteCount(~std::uint64_t{0}), "16 EB");
}

TEST(SystemInfoReporter, LogsOnceHoweverManyModelsLoad) {
    LogRecorder log;
    SystemInfoReporter reporter;
    for (int model = 0; model < 4; ++model)
        reporter.logOnce(AppLogger("AsrModels"));
    const std::vector<LogRecorder::Line> expected{
        {AppLogger::Level::info, "AsrModels", "Host environment: " + SystemInfo::summary()}};
    EXPECT_EQ(log.lines(), expected);
}

TEST(SystemInfoReporter, IsOneForTheProcess) {
    EXPECT_EQ(&SystemInfoReporter::shared(), &SystemInfoReporter::shared());
}
