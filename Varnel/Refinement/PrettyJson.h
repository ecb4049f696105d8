#pragma once

#include <QByteArray>

#include <nlohmann/json_fwd.hpp>

namespace Varnel {

// JSON for people, in one fixed form: two-space indentation, a blank on both sides of the colon, one member or element
// a line, an empty array as "[", an empty line and "]"; keys sorted, slashes and non-ASCII as they are; a whole number
// without a fraction, any other in the shortest digits that read back the same. Throws std::runtime_error for a number
// that is not finite and for text that is not UTF-8.
QByteArray prettyJson(const nlohmann::json& value);

} // namespace Varnel
