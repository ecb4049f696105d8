#pragma once

#include "Varnel/CommandLine/TerminalColors.h"

#include <nlohmann/json_fwd.hpp>

#include <QByteArray>
#include <QString>

#include <cstdio>
#include <string>
#include <string_view>

namespace Varnel::CommandLine {

// The three streams of the program. Results go to `out`, everything else to `err`.
struct Streams {
    std::FILE* in = stdin;
    std::FILE* out = stdout;
    std::FILE* err = stderr;
    bool inIsTerminal = false;
    TerminalColors outColors = TerminalColors::none;
    bool errIsTerminal = false;
    int errColumns = 80;
};

// Standard output. A write that fails is an error of the command (a full disk), unless the reader went away.
class Output {
public:
    explicit Output(std::FILE* file) : file_(file) {}

    // Throws CommandError, or OutputClosed.
    void write(std::string_view bytes);
    void bytes(const QByteArray& bytes);
    // As UTF-8, with a line end.
    void line(const QString& text);
    // Pretty-printed, with a line end.
    void json(const nlohmann::ordered_json& value);
    void flush();

private:
    std::FILE* file_;
};

// The text of a value in the form of the exports: two blanks of indentation, whole numbers without a fraction.
std::string prettyText(const nlohmann::ordered_json& value);

// Everything that a stream still holds. Throws CommandError past `limit` bytes or when it cannot be read.
std::string readAll(std::FILE* file, std::size_t limit);

} // namespace Varnel::CommandLine
