#include "Varnel/Platform/Linux/CurlWorker.h"

#include <new>
#include <utility>

namespace Varnel {

namespace {

constexpr int longestWait = 60'000; // milliseconds; an order or a transfer's own time ends it sooner

} // namespace

CurlWorker::CurlWorker(Completion completion) : completion_(std::move(completion)), multi_(curl_multi_init()) {
    if (!multi_)
        throw std::bad_alloc();
    thread_ = std::thread([this] { run(); });
}

CurlWorker::~CurlWorker() {
    stop();
}

void CurlWorker::start(std::uint64_t id, std::unique_ptr<CurlTransfer> transfer) {
    {
        const std::lock_guard lock(mutex_);
        toStart_.emplace(id, std::move(transfer));
    }
    curl_multi_wakeup(multi_.get());
}

void CurlWorker::cancel(std::uint64_t id) {
    {
        const std::lock_guard lock(mutex_);
        toCancel_.insert(id);
    }
    curl_multi_wakeup(multi_.get());
}

void CurlWorker::stop() {
    {
        const std::lock_guard lock(mutex_);
        isStopping_ = true;
    }
    curl_multi_wakeup(multi_.get());
    const std::lock_guard lock(joining_);
    if (thread_.joinable())
        thread_.join();
}

void CurlWorker::run() {
    while (takeOrders()) {
        int running = 0;
        curl_multi_perform(multi_.get(), &running);
        complete();
        curl_multi_poll(multi_.get(), nullptr, 0, longestWait, nullptr);
    }
    for (const auto& [id, transfer] : running_)
        curl_multi_remove_handle(multi_.get(), transfer->handle());
    running_.clear();
}

bool CurlWorker::takeOrders() {
    std::map<std::uint64_t, std::unique_ptr<CurlTransfer>> toStart;
    std::set<std::uint64_t> toCancel;
    {
        const std::lock_guard lock(mutex_);
        if (isStopping_)
            return false;
        toStart.swap(toStart_);
        toCancel.swap(toCancel_);
    }
    for (auto& [id, transfer] : toStart) {
        const bool isAdded = curl_multi_add_handle(multi_.get(), transfer->handle()) == CURLM_OK;
        running_.emplace(id, std::move(transfer));
        if (!isAdded)
            end(id, CURLE_OUT_OF_MEMORY);
    }
    for (const std::uint64_t id : toCancel) {
        const auto found = running_.find(id);
        if (found == running_.end())
            continue;
        curl_multi_remove_handle(multi_.get(), found->second->handle());
        running_.erase(found);
        completion_(id, HttpOutcome::cancelled());
    }
    return true;
}

void CurlWorker::complete() {
    int waiting = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &waiting)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode code = message->data.result; // the message goes with the handle
        const CURL* handle = message->easy_handle;
        for (const auto& [id, transfer] : running_) {
            if (transfer->handle() == handle) {
                end(id, code);
                break;
            }
        }
    }
}

void CurlWorker::end(std::uint64_t id, CURLcode code) {
    const auto found = running_.find(id);
    curl_multi_remove_handle(multi_.get(), found->second->handle());
    const std::unique_ptr<CurlTransfer> transfer = std::move(found->second);
    running_.erase(found);
    completion_(id, transfer->outcome(code));
}

} // namespace Varnel
