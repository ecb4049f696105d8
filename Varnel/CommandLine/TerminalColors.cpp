#include "Varnel/CommandLine/TerminalColors.h"

#include "VarnelSpeech/Shared/Environment.h"

#include <fmt/format.h>

#include <QRegularExpression>

#include <array>
#include <cstdlib>
#include <optional>

namespace Varnel::CommandLine {

namespace {

struct Rgb {
    int red = 0;
    int green = 0;
    int blue = 0;
};

std::optional<Rgb> rgb(const QString& colorHex) {
    static const QRegularExpression form(QRegularExpression::anchoredPattern(QStringLiteral("#[0-9A-Fa-f]{6}")));
    if (!form.match(colorHex).hasMatch())
        return std::nullopt;
    const int value = colorHex.mid(1).toInt(nullptr, 16);
    return Rgb{value >> 16, (value >> 8) & 0xff, value & 0xff};
}

// The nearest of the six levels of xterm's colour cube.
int level(int component) {
    constexpr std::array levels{0, 95, 135, 175, 215, 255};
    int nearest = 0;
    for (int i = 1; i < static_cast<int>(levels.size()); ++i)
        if (std::abs(levels[static_cast<std::size_t>(i)] - component) <
            std::abs(levels[static_cast<std::size_t>(nearest)] - component))
            nearest = i;
    return nearest;
}

} // namespace

TerminalColors terminalColorsOfEnvironment() {
    using VarnelSpeech::environmentValue;
    const auto terminal = environmentValue("TERM");
    if (environmentValue("NO_COLOR") || !terminal || *terminal == "dumb")
        return TerminalColors::none;
    const auto depth = environmentValue("COLORTERM");
    return depth == "truecolor" || depth == "24bit" ? TerminalColors::full : TerminalColors::indexed;
}

std::string colored(std::string_view text, const QString& colorHex, TerminalColors colors) {
    const auto color = rgb(colorHex);
    if (!color || colors == TerminalColors::none)
        return std::string(text);
    if (colors == TerminalColors::full)
        return fmt::format("\x1b[38;2;{};{};{}m{}\x1b[39m", color->red, color->green, color->blue, text);
    const int index = 16 + 36 * level(color->red) + 6 * level(color->green) + level(color->blue);
    return fmt::format("\x1b[38;5;{}m{}\x1b[39m", index, text);
}

} // namespace Varnel::CommandLine
