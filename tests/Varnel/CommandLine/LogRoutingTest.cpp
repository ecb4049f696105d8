#include "Varnel/CommandLine/LogRouting.h"

#include "Varnel/Platform/ApplicationLog.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace Varnel::CommandLine {
namespace {

using VarnelSpeech::Testing::TemporaryFolder;

std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(LogRouting, TakesTheLinesOfBothLogsToTheFile) {
    const TemporaryFolder folder;
    {
        const LogRouting routing(folder / "state/varnel.log", LogRouting::Console::off);
        VarnelSpeech::AppLogger("ASR").warning("of the speech module");
        log(QStringLiteral("of the application"));
    }
    VarnelSpeech::AppLogger("ASR").warning("after its end");
    log(QStringLiteral("after its end"));
    const std::string text = contents(folder / "state/varnel.log");
    EXPECT_NE(text.find("[warning] [ASR] of the speech module\n"), std::string::npos) << text;
    EXPECT_NE(text.find("[notice] [Varnel] of the application\n"), std::string::npos) << text;
    EXPECT_EQ(text.find("after its end"), std::string::npos);
}

TEST(LogRouting, ShowsTheLinesOnStandardErrorWhenAsked) {
    const TemporaryFolder folder;
    ::testing::internal::CaptureStderr();
    {
        const LogRouting routing(folder / "varnel.log", LogRouting::Console::on);
        log(QStringLiteral("shown"));
    }
    {
        const LogRouting routing(folder / "varnel.log", LogRouting::Console::off);
        log(QStringLiteral("hidden"));
    }
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(shown.find("[notice] [Varnel] shown\n"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("hidden"), std::string::npos);
}

TEST(LogRouting, GoesOnWithoutALogFile) {
    ::testing::internal::CaptureStderr();
    {
        const LogRouting routing("/dev/null/varnel.log", LogRouting::Console::on);
        log(QStringLiteral("still shown"));
    }
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(shown.find("cannot open the log '/dev/null/varnel.log'"), std::string::npos) << shown;
    EXPECT_NE(shown.find("still shown"), std::string::npos) << shown;
}

} // namespace
} // namespace Varnel::CommandLine
