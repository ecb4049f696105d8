#include "Varnel/CommandLine/TextArgument.h"

#include "Varnel/CommandLine/CommandError.h"

#include <fmt/format.h>

namespace Varnel::CommandLine {

QString textArgument(const std::string& bytes, const char* what) {
    const QString text = QString::fromStdString(bytes);
    if (text.toStdString() != bytes)
        throw CommandError::usage(fmt::format("{} is no text", what));
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        throw CommandError::usage(fmt::format("{} cannot be blank", what));
    return trimmed;
}

} // namespace Varnel::CommandLine
