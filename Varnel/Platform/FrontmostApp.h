#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace Varnel {

// The application whose window is in front. Main context only; the handler runs there.
class FrontmostApp {
public:
    virtual ~FrontmostApp() = default;

    // Its lower-cased window class or desktop id, such as "zoom" or "google-chrome"; none when no window is active or
    // the display cannot tell.
    virtual std::optional<QString> current() const = 0;

    // Called with the new front application after each switch; null removes the handler.
    virtual void watch(std::function<void(const std::optional<QString>& applicationID)> onSwitch) = 0;
};

} // namespace Varnel
