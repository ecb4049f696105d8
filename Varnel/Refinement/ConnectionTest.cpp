#include "Varnel/Refinement/ConnectionTest.h"

#include "Varnel/Refinement/LLMClient.h"

#include <QPointer>

#include <exception>

namespace Varnel {

ConnectionTest::ConnectionTest(const Settings& settings, HttpClient& http, QObject* parent)
    : QObject(parent), settings_(settings), http_(http) {}

ConnectionTest::~ConnectionTest() {
    stop_.request_stop();
}

ConnectionTest::Colour ConnectionTest::colour() const {
    return result_ && result_->startsWith(QLatin1String("Connected")) ? Colour::success : Colour::failure;
}

QCoro::Task<> ConnectionTest::run() {
    const QPointer<ConnectionTest> self(this);
    const std::uint64_t test = ++lastTest_;
    stop_.request_stop();
    stop_ = {};
    show(QStringLiteral("Testing..."));
    const auto config = LLMConfig::fromDefaults(settings_);
    if (!config) {
        show(QStringLiteral("Invalid base URL"));
        co_return;
    }
    QString result;
    try {
        const bool isAnswered = co_await LLMClient(*config, http_).ping(stop_.get_token());
        result = isAnswered ? QStringLiteral("Connected") : QStringLiteral("No response");
    } catch (const std::exception& error) {
        result = QStringLiteral("Failed: ") + QString::fromUtf8(error.what());
    }
    if (self && test == lastTest_)
        show(result);
}

void ConnectionTest::cancel() {
    stop_.request_stop();
}

void ConnectionTest::show(const QString& result) {
    result_ = result;
    Q_EMIT resultChanged();
}

} // namespace Varnel
