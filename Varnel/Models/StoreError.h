#pragma once

#include <stdexcept>
#include <string>

namespace Varnel {

// A store that could not be opened, read or written: what, where, why.
class StoreError : public std::runtime_error {
public:
    enum class Case {
        cannotOpen,    // no permission, read-only, a folder in its place, another program's database
        futureVersion, // written by a later version; left untouched
        damaged,       // set aside or refused; never deleted
        busy,          // another process held the lock longer than the time-out
        writeFailed,   // disk full, read-only
        readFailed,
    };

    StoreError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error() const { return error_; }

private:
    Case error_;
};

} // namespace Varnel
