// Any text in a meeting's JSON columns: a list, perhaps empty; what was read is written and read back the same.
#include "Varnel/Models/MeetingDetails.h"

#include <cstdlib>

namespace {

template <typename List>
void requireRoundTrip(const List& values, List (*decode)(const std::optional<QString>&)) {
    if (const auto encoded = Varnel::encode(values); encoded && decode(encoded) != values) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    requireRoundTrip(Varnel::decodeActionItems(text), Varnel::decodeActionItems);
    requireRoundTrip(Varnel::decodeTopics(text), Varnel::decodeTopics);
    requireRoundTrip(Varnel::decodeCalendarAttendees(text), Varnel::decodeCalendarAttendees);
    return 0;
}
