#pragma once

#include <QString>

#include <optional>

namespace Varnel {

// The meeting service that a web address belongs to, told by its host alone; any page of the service counts.
std::optional<QString> matchMeetingHost(const QString& address);

} // namespace Varnel
