#include "Varnel/Capture/SuggestionNotification.h"

#include "Varnel/Models/Identifier.h"

#include <QLatin1StringView>

namespace Varnel {

QCoro::Task<> postSuggestion(Notifier& notifier, QString app) {
    const AuthorizationStatus status = co_await notifier.authorizationStatus();
    if (status != AuthorizationStatus::authorized)
        co_return;
    notifier.post({QLatin1StringView("suggest-") + text(QUuid::createUuid()),
                   app + QLatin1StringView(" is using your mic"),
                   QStringLiteral("Tap to start recording this meeting.")});
}

} // namespace Varnel
