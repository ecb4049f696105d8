#include "VarnelSpeech/Shared/AppLogger.h"

#include "support/LogRecorder.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace VarnelSpeech;
using Testing::LogRecorder;

TEST(AppLogger, WritesEachLevelToTheSinkUnderItsCategory) {
    LogRecorder log;
    const AppLogger logger("ASR");
    logger.debug("one");
    logger.info("two");
    logger.notice("three");
    logger.warning("four");
    logger.error("five");
    logger.fault("six");
    using enum AppLogger::Level;
    const std::vector<LogRecorder::Line> expected{{debug, "ASR", "one"},    {info, "ASR", "two"},
                                                  {notice, "ASR", "three"}, {warning, "ASR", "four"},
                                                  {error, "ASR", "five"},   {fault, "ASR", "six"}};
    EXPECT_EQ(log.lines(), expected);
}

TEST(AppLogger, KeepsTheOrderOfItsLevels) {
    using enum AppLogger::Level;
    EXPECT_TRUE(debug < info && info < notice && notice < warning && warning < error && error < fault);
    EXPECT_EQ(name(debug), "debug");
    EXPECT_EQ(name(info), "info");
    EXPECT_EQ(name(notice), "notice");
    EXPECT_EQ(name(warning), "warning");
    EXPECT_EQ(name(error), "error");
    EXPECT_EQ(name(fault), "fault");
}

TEST(AppLogger, TakesAMessageAsItStands) {
    LogRecorder log;
    AppLogger("TDT").info("100%s {} %n");
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].message, "100%s {} %n");
}

TEST(AppLogger, HasOneSubsystemForTheWholeModule) {
    const std::string before = AppLogger::subsystem();
    EXPECT_EQ(before, "app.varnel.speech");
    AppLogger::setSubsystem("org.example.other");
    EXPECT_EQ(AppLogger::subsystem(), "org.example.other");
    AppLogger::setSubsystem(before);
}

TEST(AppLogger, GivesBackTheSinkItReplaces) {
    LogRecorder log;
    const auto recorder = AppLogger::setSink(nullptr);
    ASSERT_NE(recorder, nullptr);
    AppLogger("ASR").error("nobody listens");
    EXPECT_EQ(AppLogger::setSink(recorder), nullptr);
    EXPECT_TRUE(log.lines().empty());
}

TEST(AppLogger, SurvivesASinkThatThrows) {
    struct Broken final : AppLogger::Sink {
        void write(const AppLogger::Line&) override { throw std::runtime_error("disk full"); }
    };

    const auto before = AppLogger::setSink(std::make_shared<Broken>());
    EXPECT_NO_THROW(AppLogger("ASR").info("a line"));
    AppLogger::setSink(before);
}
