#include "Varnel/CommandLine/Output.h"

#include "Varnel/CommandLine/CommandError.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>

namespace Varnel::CommandLine {

namespace {

[[noreturn]] void failWriting(int error) {
    if (error == EPIPE)
        throw OutputClosed();
    throw CommandError(std::string("cannot write to standard output: ") + std::strerror(error));
}

// Whole-valued doubles as integers, which print without a fraction.
void dropEmptyFractions(nlohmann::ordered_json& value) {
    constexpr double largestExact = 9007199254740992.0; // 2^53
    if (value.is_number_float()) {
        const double number = value.get<double>();
        if (std::trunc(number) == number && std::fabs(number) <= largestExact)
            value = static_cast<std::int64_t>(number);
    } else if (value.is_structured()) {
        for (auto& element : value)
            dropEmptyFractions(element);
    }
}

} // namespace

void Output::write(std::string_view bytes) {
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
        failWriting(errno);
}

void Output::bytes(const QByteArray& bytes) {
    write({bytes.constData(), static_cast<std::size_t>(bytes.size())});
}

void Output::line(const QString& text) {
    write(text.toStdString() + '\n');
}

void Output::json(const nlohmann::ordered_json& value) {
    write(prettyText(value) + '\n');
}

void Output::flush() {
    errno = 0;
    if (std::fflush(file_) != 0)
        failWriting(errno);
}

std::string prettyText(const nlohmann::ordered_json& value) {
    nlohmann::ordered_json copy = value;
    dropEmptyFractions(copy);
    return copy.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string readAll(std::FILE* file, std::size_t limit) {
    std::string bytes;
    std::array<char, 65536> block;
    for (;;) {
        const std::size_t count = std::fread(block.data(), 1, block.size(), file);
        bytes.append(block.data(), count);
        if (bytes.size() > limit)
            throw CommandError("standard input is too long");
        if (count < block.size()) {
            if (std::ferror(file) != 0)
                throw CommandError(std::string("cannot read standard input: ") + std::strerror(errno));
            return bytes;
        }
    }
}

} // namespace Varnel::CommandLine
