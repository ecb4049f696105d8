#pragma once

#include "Varnel/Platform/Notifier.h"

#include <utility>
#include <vector>

namespace Varnel::Testing {

// Keeps what was posted.
class FakeNotifier final : public Notifier {
public:
    QCoro::Task<> requestAuthorization() override { co_return; }

    QCoro::Task<AuthorizationStatus> authorizationStatus() override { co_return status; }

    void post(const Notification& notification) override { posted.push_back(notification); }

    void onActivated(std::function<void(const QString& identifier)> handler) override {
        activated = std::move(handler);
    }

    AuthorizationStatus status = AuthorizationStatus::authorized;
    std::vector<Notification> posted;
    std::function<void(const QString& identifier)> activated;
};

} // namespace Varnel::Testing
