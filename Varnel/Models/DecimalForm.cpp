#include "Varnel/Models/DecimalForm.h"

#include <array>
#include <charconv>
#include <cmath>

namespace Varnel {

namespace {

// Digits only between these, an exponent beyond.
constexpr double smallestPlain = 1e-4;
constexpr double largestPlain = 9007199254740992; // 2^53: up to here all whole numbers are exact

template <typename Number>
QString shortest(Number value) {
    const double magnitude = std::abs(value);
    const bool isPlain = value == 0 || (magnitude >= smallestPlain && magnitude < largestPlain);
    std::array<char, 64> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                   isPlain ? std::chars_format::fixed : std::chars_format::scientific)
                         .ptr;
    return QString::fromLatin1(buffer.data(), end - buffer.data());
}

template <typename Number>
QString withFraction(Number value) {
    if (std::isnan(value)) {
        return QStringLiteral("nan");
    }
    if (std::isinf(value)) {
        return value > 0 ? QStringLiteral("inf") : QStringLiteral("-inf");
    }
    QString text = shortest(value);
    if (!text.contains(u'.') && !text.contains(u'e')) {
        text += QStringLiteral(".0");
    }
    return text;
}

} // namespace

QString jsonNumber(double value) {
    return value == 0 ? QStringLiteral("0") : shortest(value);
}

QString decimalForm(double value) {
    return withFraction(value);
}

QString floatDecimalForm(float value) {
    return withFraction(value);
}

} // namespace Varnel
