#pragma once

#include <memory>
#include <stop_token>

namespace Varnel {

// Turns SIGINT and SIGTERM into a stop request while it lives, so that work can end in good order. A second signal
// ends the process at once. At most one at a time.
class TerminationSignals {
public:
    TerminationSignals();
    ~TerminationSignals();

    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

    std::stop_token token() const;

    // The signal that came first; 0 while there was none. From any thread.
    int received() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Varnel
