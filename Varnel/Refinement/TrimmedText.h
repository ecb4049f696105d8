#pragma once

#include <QString>

namespace Varnel {

// Without the spaces and tabs at both ends; line ends stay.
QString trimmedOfBlanks(const QString& text);

} // namespace Varnel
