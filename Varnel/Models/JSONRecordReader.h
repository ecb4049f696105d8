#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace Varnel::JSONRecordReader {

enum class Type { text, number };
enum class Presence { required, optional };

struct Field {
    const char* key;
    Type type;
    Presence presence;
};

using Fields = std::vector<Field>;

// What one object held for one field: the member that fits the field's type, or neither.
struct Value {
    std::optional<QString> text;
    std::optional<double> number;
};

using Record = std::vector<Value>; // in the order of the fields

// Reads an array of flat objects in one pass that keeps nothing but the fields, however deep or long the rest is.
// Unknown members are ignored, of a repeated one the last counts, and null stands for absence. None if the text is no
// such array: no JSON, another shape, a field of another type, or a required one missing.
std::optional<std::vector<Record>> read(const QString& json, const Fields& fields);

} // namespace Varnel::JSONRecordReader
