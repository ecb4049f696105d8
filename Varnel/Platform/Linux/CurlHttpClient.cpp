#include "Varnel/Platform/Linux/CurlHttpClient.h"

#include "Varnel/Platform/Linux/CurlWorker.h"

#include <QObject>

#include <coroutine>
#include <map>
#include <utility>

namespace Varnel {

namespace {

// What one coroutine waits for; lives in its frame.
struct Exchange {
    std::optional<HttpOutcome> outcome;
    std::coroutine_handle<> coroutine;
};

struct Awaiter {
    Exchange* exchange;

    bool await_ready() const noexcept { return exchange->outcome.has_value(); }

    void await_suspend(std::coroutine_handle<> waiting) const noexcept { exchange->coroutine = waiting; }

    HttpReply await_resume() const { return exchange->outcome->take(); }
};

} // namespace

struct CurlHttpClient::Private {
    QObject context; // events for an object that is gone are dropped with it
    std::shared_ptr<CurlWorker> worker;
    std::map<std::uint64_t, Exchange*> waiting;
    std::uint64_t lastID = 0;
    bool isClosed = false;

    CurlWorker& startedWorker() {
        if (!worker)
            worker = std::make_shared<CurlWorker>([this](std::uint64_t id, HttpOutcome outcome) {
                QMetaObject::invokeMethod(
                    &context, [this, id, outcome = std::move(outcome)]() mutable { finish(id, std::move(outcome)); },
                    Qt::QueuedConnection);
            });
        return *worker;
    }

    // The coroutine may go on to end the client: nothing follows its resumption.
    void finish(std::uint64_t id, HttpOutcome outcome) {
        const auto found = waiting.find(id);
        if (found == waiting.end())
            return;
        Exchange& exchange = *found->second;
        waiting.erase(found);
        exchange.outcome = std::move(outcome);
        exchange.coroutine.resume();
    }
};

CurlHttpClient::CurlHttpClient() : d(std::make_unique<Private>()) {}

CurlHttpClient::~CurlHttpClient() {
    d->isClosed = true;
    if (d->worker)
        d->worker->stop();
    while (!d->waiting.empty())
        d->finish(d->waiting.begin()->first, HttpOutcome::cancelled());
}

QCoro::Task<HttpReply> CurlHttpClient::send(HttpRequest request) {
    if (d->isClosed || request.stop.stop_requested())
        HttpOutcome::cancelled().take();
    const std::stop_token stop = request.stop;
    auto transfer = std::make_unique<CurlTransfer>(std::move(request));
    const std::uint64_t id = ++d->lastID;
    Exchange exchange;
    d->waiting.emplace(id, &exchange);
    d->startedWorker().start(id, std::move(transfer));
    // Holds the worker, for a stop may be asked for on another thread while the client ends.
    const std::stop_callback cancel(stop, [worker = d->worker, id] { worker->cancel(id); });
    co_return co_await Awaiter{&exchange};
}

} // namespace Varnel
