#pragma once

#include <QString>

#include <optional>

namespace Varnel {

// The lower-cased text, for the "Folded" columns: none where lower-casing the ASCII letters gives the same.
std::optional<QString> foldedIfBeyondAscii(const QString& text);

} // namespace Varnel
