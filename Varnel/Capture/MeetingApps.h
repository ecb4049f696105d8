#pragma once

#include <QString>

#include <optional>

namespace Varnel {

// Applications by their ids: window classes and desktop ids, beside bundle ids. Letter case does not count.

// "Zoom" for "zoom"; none for what is no meeting application.
std::optional<QString> meetingAppName(const QString& applicationID);

// Browsers whose active tab is worth a look.
bool isKnownBrowser(const QString& applicationID);

} // namespace Varnel
