#include "Varnel/Refinement/ExportTime.h"

#include "Varnel/Refinement/Export.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Varnel::Export {
namespace {

TEST(ExportTime, DurationsTruncateAndWrapAtTheHour) {
    EXPECT_EQ(durationText(0), QStringLiteral("0:00"));
    EXPECT_EQ(durationText(59.9), QStringLiteral("0:59"));
    EXPECT_EQ(durationText(61), QStringLiteral("1:01"));
    EXPECT_EQ(durationText(3599.999), QStringLiteral("59:59"));
    EXPECT_EQ(durationText(3600), QStringLiteral("1:00:00"));
    EXPECT_EQ(durationText(36000 + 62), QStringLiteral("10:01:02"));
    EXPECT_EQ(durationText(-0.5), QStringLiteral("0:00"));
}

TEST(ExportTime, LineTimesDoNotWrapIntoHours) {
    EXPECT_EQ(lineTime(0.99), QStringLiteral("00:00"));
    EXPECT_EQ(lineTime(3725.9), QStringLiteral("62:05"));
    EXPECT_EQ(lineTime(3900), QStringLiteral("65:00"));
    EXPECT_EQ(lineTime(60 * 123), QStringLiteral("123:00"));
}

TEST(ExportTime, SrtTimesTruncateTheirMilliseconds) {
    EXPECT_EQ(srtTimestamp(0), QStringLiteral("00:00:00,000"));
    EXPECT_EQ(srtTimestamp(3725.9), QStringLiteral("01:02:05,900"));
    EXPECT_EQ(srtTimestamp(1.9999), QStringLiteral("00:00:01,999"));
    // (4.35 - 4) * 1000 is a little less than 350.
    EXPECT_EQ(srtTimestamp(4.35), QStringLiteral("00:00:04,349"));
    EXPECT_EQ(srtTimestamp(360000), QStringLiteral("100:00:00,000"));
}

TEST(ExportTime, TimesThatAreNoTimesHaveSomeText) {
    for (const double seconds : {std::nan(""), std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(), 1e300, -1e300}) {
        EXPECT_FALSE(durationText(seconds).isEmpty());
        EXPECT_FALSE(lineTime(seconds).isEmpty());
        EXPECT_FALSE(srtTimestamp(seconds).isEmpty());
    }
}

} // namespace
} // namespace Varnel::Export
