#pragma once

#include "Varnel/Models/Settings.h"
#include "Varnel/Platform/HttpClient.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <cstdint>
#include <optional>
#include <stop_token>

namespace Varnel {

// The connection test of the settings: whether the assistant's endpoint answers. Main context only; what it is given
// outlives it. Its end stops a test that still runs.
class ConnectionTest : public QObject {
    Q_OBJECT

public:
    enum class Colour { success, failure };

    ConnectionTest(const Settings& settings, HttpClient& http, QObject* parent = nullptr);
    ~ConnectionTest() override;

    // "Testing...", then "Connected", "No response", "Invalid base URL", or "Failed: " and the reason. None before the
    // first test.
    const std::optional<QString>& result() const { return result_; }

    Colour colour() const;

    // Tests what is stored now; a test that still runs is cancelled, and its result is not shown. Never fails.
    QCoro::Task<> run();
    // The test that runs fails.
    void cancel();

Q_SIGNALS:
    void resultChanged();

private:
    void show(const QString& result);

    const Settings& settings_;
    HttpClient& http_;
    std::optional<QString> result_;
    std::stop_source stop_;
    std::uint64_t lastTest_ = 0;
};

} // namespace Varnel
