#pragma once

#include "Varnel/Models/Meeting.h"

#include <nlohmann/json_fwd.hpp>

namespace Varnel::CommandLine {

// Meetings as JSON under the records' own field names; a field without a value has no key. Dates are ISO 8601 in UTC.

// The meeting's own fields and its speakers, as lists show them.
nlohmann::ordered_json meetingJson(const Meeting& meeting);
// With its details and segments.
nlohmann::ordered_json wholeMeetingJson(const Meeting& meeting);

} // namespace Varnel::CommandLine
