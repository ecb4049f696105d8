#pragma once

#include "Varnel/Platform/Notifier.h"

#include <QCoroTask>
#include <QString>

namespace Varnel {

// Tells the user that a meeting seems to go on in `app` and that a click records it, if notifications are allowed.
// `notifier` outlives the task. Main context only.
QCoro::Task<> postSuggestion(Notifier& notifier, QString app);

} // namespace Varnel
