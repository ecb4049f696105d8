#pragma once

#include "Varnel/Platform/AuthorizationStatus.h"

#include <QCoroTask>
#include <QString>

#include <functional>

namespace Varnel {

struct Notification {
    QString identifier;
    QString title;
    QString body;
};

// Desktop notifications. Main context only; the handler runs there.
class Notifier {
public:
    virtual ~Notifier() = default;

    // Throws std::runtime_error when there is no notification service.
    virtual QCoro::Task<> requestAuthorization() = 0;
    virtual QCoro::Task<AuthorizationStatus> authorizationStatus() = 0;
    // Shows it at once, without a sound. A failure is a log line.
    virtual void post(const Notification& notification) = 0;

    // Called with the identifier of a notification that the user clicked; null removes the handler.
    virtual void onActivated(std::function<void(const QString& identifier)> handler) = 0;
};

} // namespace Varnel
