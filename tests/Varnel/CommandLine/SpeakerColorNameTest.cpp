#include "Varnel/CommandLine/SpeakerColorName.h"

#include "Varnel/Models/SpeakerColors.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <sstream>

namespace Varnel::CommandLine {
namespace {

TEST(SpeakerColorName, IsAHexadecimalColorInEitherCase) {
    EXPECT_EQ(speakerColorNamed("#8b5cF6"), QStringLiteral("#8B5CF6"));
    EXPECT_EQ(speakerColorNamed("#000000"), QStringLiteral("#000000"));
}

TEST(SpeakerColorName, IsOneOfThePalette) {
    std::istringstream names(speakerColorNames());
    QStringList colors;
    for (std::string name; names >> name;) {
        if (name.back() == ',')
            name.pop_back();
        colors << speakerColorNamed(name).value();
    }
    QStringList palette;
    for (const char* color : speakerPalette)
        palette << QString::fromLatin1(color);
    EXPECT_EQ(colors, palette << QString::fromLatin1(yourColor));
    EXPECT_EQ(speakerColorNamed("TEAL"), QStringLiteral("#14B8A6"));
}

TEST(SpeakerColorName, IsNothingElse) {
    for (const char* wrong : {"", "mauve", "#12345", "#1234567", "#12345G", "123456", "#123456\n", "\xff"})
        EXPECT_EQ(speakerColorNamed(wrong), std::nullopt) << wrong;
}

} // namespace
} // namespace Varnel::CommandLine
