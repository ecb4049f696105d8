#pragma once

#include <QString>

#include <optional>

namespace Varnel {

// Text as the store can hold it: lone surrogates, which UTF-8 cannot express, and NUL characters become U+FFFD.
// Records apply it when a text is set, so that what is in memory is what will be read again.
QString storable(QString text);
std::optional<QString> storable(std::optional<QString> text);

} // namespace Varnel
