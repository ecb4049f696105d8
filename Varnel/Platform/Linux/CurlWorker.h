#pragma once

#include "Varnel/Platform/Linux/CurlTransfer.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace Varnel {

// The thread on which all transfers run side by side. Its operations may be called from any thread.
class CurlWorker {
public:
    // Once for each transfer that was started, on the worker's thread; not after `stop`. Must not throw.
    using Completion = std::function<void(std::uint64_t id, HttpOutcome outcome)>;

    explicit CurlWorker(Completion completion);
    ~CurlWorker();
    CurlWorker(const CurlWorker&) = delete;
    CurlWorker& operator=(const CurlWorker&) = delete;

    void start(std::uint64_t id, std::unique_ptr<CurlTransfer> transfer);
    // The transfer ends as cancelled, unless it has ended.
    void cancel(std::uint64_t id);
    // Drops all transfers and waits for the thread.
    void stop();

private:
    void run();
    bool takeOrders();
    void complete();
    void end(std::uint64_t id, CURLcode code);

    struct Cleanup {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };

    Completion completion_;
    std::unique_ptr<CURLM, Cleanup> multi_;
    std::map<std::uint64_t, std::unique_ptr<CurlTransfer>> running_; // the thread's own

    std::mutex mutex_; // guards the orders
    std::map<std::uint64_t, std::unique_ptr<CurlTransfer>> toStart_;
    std::set<std::uint64_t> toCancel_;
    bool isStopping_ = false;

    std::mutex joining_;
    std::thread thread_;
};

} // namespace Varnel
