#pragma once

#include <QDateTime>
#include <QString>

#include <string>

namespace Varnel {

// "Nov 21, 2026, 1:23 PM": medium date and short time in the environment's locale and time zone.
QString dateText(const QDateTime& date);

// The locale for dates by the environment: the first of LC_ALL, LC_TIME and LANG that is set, as a language tag such as
// "de_DE"; "en_US" for none, "C" and "POSIX".
std::string dateLocale();

} // namespace Varnel
