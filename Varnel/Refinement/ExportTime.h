#pragma once

#include <QString>

namespace Varnel::Export {

// "65:00": the time before a line of a transcript, minutes and seconds; minutes do not wrap into hours. (The other two
// forms of times are in Export.h.)
QString lineTime(double seconds);

} // namespace Varnel::Export
