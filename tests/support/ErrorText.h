#pragma once

#include <exception>
#include <string>

namespace Varnel::Testing {

// The text of the error that an operation ends with; a note if it ends with none.
template <typename Operation>
std::string errorText(Operation operation) {
    try {
        operation();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "(no error)";
}

} // namespace Varnel::Testing
