#include "Varnel/Refinement/PrettyJson.h"

#include <nlohmann/json.hpp>

#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <string>

namespace Varnel {

namespace {

class Writer {
public:
    void write(const nlohmann::json& value) {
        if (value.is_object())
            writeAll(value, '{', '}');
        else if (value.is_array())
            writeAll(value, '[', ']');
        else if (value.is_number_float())
            write(value.get<double>());
        else
            text_ += value.dump(-1, ' ', false, nlohmann::json::error_handler_t::strict);
    }

    const std::string& text() const { return text_; }

private:
    void writeAll(const nlohmann::json& values, char opening, char closing) {
        text_ += opening;
        ++depth_;
        bool isFirst = true;
        for (const auto& [key, value] : values.items()) {
            text_ += isFirst ? "\n" : ",\n";
            isFirst = false;
            indent();
            if (values.is_object())
                text_ += nlohmann::json(key).dump() + " : ";
            write(value);
        }
        --depth_;
        text_ += values.empty() ? "\n\n" : "\n";
        indent();
        text_ += closing;
    }

    void write(double number) {
        if (!std::isfinite(number))
            throw std::runtime_error("a number that is not finite has no JSON form");
        // 309 digits before the point, or 17 digits and the zeros after it.
        std::array<char, 400> digits{};
        const double size = std::abs(number);
        const bool isWhole = std::trunc(number) == number;
        const auto form =
            isWhole || (size >= 1e-4 && size < 1e16) ? std::chars_format::fixed : std::chars_format::scientific;
        const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number, form);
        text_.append(digits.data(), result.ptr);
    }

    void indent() { text_.append(2 * depth_, ' '); }

    std::string text_;
    std::size_t depth_ = 0;
};

} // namespace

QByteArray prettyJson(const nlohmann::json& value) {
    Writer writer;
    writer.write(value);
    return QByteArray::fromStdString(writer.text());
}

} // namespace Varnel
