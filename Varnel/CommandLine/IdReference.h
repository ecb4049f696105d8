#pragma once

#include <QString>
#include <QUuid>

#include <optional>
#include <string>

namespace Varnel::CommandLine {

// A text as the beginning of an id: letters of either case, with or without hyphens. None when it cannot be one.
std::optional<QString> idBeginning(const std::string& text);

// Whether the id begins with what idBeginning gave.
bool idBegins(const QUuid& id, const QString& beginning);

} // namespace Varnel::CommandLine
