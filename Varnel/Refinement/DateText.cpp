#include "Varnel/Refinement/DateText.h"

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace Varnel {

std::string dateLocale() {
    std::string value;
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* found = std::getenv(variable);
        if (found != nullptr && *found != '\0') {
            value = found;
            break;
        }
    }
    const std::string name = value.substr(0, value.find_first_of(".@"));
    if (name.empty() || name == "C" || name == "POSIX")
        return "en_US";
    // The two modifiers that choose a script; others ("@euro") do not matter to dates.
    const std::size_t region = name.find('_');
    for (const auto& [modifier, script] : {std::pair{"@latin", "_Latn"}, std::pair{"@cyrillic", "_Cyrl"}}) {
        if (value.ends_with(modifier))
            return name.substr(0, region) + script + (region == std::string::npos ? "" : name.substr(region));
    }
    return name;
}

QString dateText(const QDateTime& date) {
    const std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
        icu::DateFormat::kMedium, icu::DateFormat::kShort, icu::Locale::createFromName(dateLocale().c_str())));
    if (!format || !date.isValid())
        return {};
    format->adoptTimeZone(icu::TimeZone::detectHostTimeZone());
    icu::UnicodeString text;
    format->format(static_cast<UDate>(date.toMSecsSinceEpoch()), text);
    // Some locales part the time from "PM" by a narrow no-break space, which little else in a text file expects.
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length()).replace(QChar(0x202F), u' ');
}

} // namespace Varnel
