#pragma once

namespace Varnel {

// How a guarded resource of the desktop stands. Adapters may pass on values that are not listed.
enum class AuthorizationStatus : int {
    notDetermined = 0,
    restricted = 1,
    denied = 2,
    authorized = 3,
    writeOnly = 4, // calendars alone know it
};

} // namespace Varnel
