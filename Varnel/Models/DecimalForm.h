#pragma once

#include <QString>

namespace Varnel {

// The decimal form of a double: always with a fraction ("-1.0", "24.0"), else the shortest that reads back the same.
QString decimalForm(double value);
// The same for a single float: the shortest that reads back the same float.
QString floatDecimalForm(float value);

// The same as JSON has it: a whole value has no fraction ("24"). The value must be finite.
QString jsonNumber(double value);

} // namespace Varnel
