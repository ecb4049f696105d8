#include "Varnel/Models/DecimalForm.h"

#include <gtest/gtest.h>

#include <limits>

namespace Varnel {
namespace {

TEST(FloatDecimalForm, IsTheShortestThatReadsBackTheSameFloat) {
    EXPECT_EQ(floatDecimalForm(0.65F), QStringLiteral("0.65"));
    EXPECT_EQ(floatDecimalForm(0.8123457F), QStringLiteral("0.8123457"));
    EXPECT_EQ(floatDecimalForm(1), QStringLiteral("1.0"));
    EXPECT_EQ(floatDecimalForm(-0.5F), QStringLiteral("-0.5"));
    EXPECT_EQ(floatDecimalForm(std::numeric_limits<float>::quiet_NaN()), QStringLiteral("nan"));
}

} // namespace
} // namespace Varnel
