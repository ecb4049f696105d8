#include "support/HubFault.h"

#include <utility>

namespace VarnelSpeech::Testing {

HubFault HubFault::withStatus(int status) {
    HubFault fault;
    fault.status = status;
    return fault;
}

HubFault HubFault::cutAt(std::uint64_t offset) {
    HubFault fault = of(Kind::cut);
    fault.at = offset;
    return fault;
}

HubFault HubFault::stallAt(std::uint64_t offset) {
    HubFault fault = of(Kind::stall);
    fault.at = offset;
    return fault;
}

HubFault HubFault::lyingAboutLength(std::int64_t delta) {
    HubFault fault = of(Kind::contentLength);
    fault.delta = delta;
    return fault;
}

HubFault HubFault::redirectTo(std::string location) {
    HubFault fault = of(Kind::redirect);
    fault.location = std::move(location);
    return fault;
}

HubFault HubFault::of(Kind kind) {
    HubFault fault;
    fault.kind = kind;
    return fault;
}

HubFault HubFault::forTimes(std::size_t count) const {
    HubFault fault = *this;
    fault.times = count;
    return fault;
}

} // namespace VarnelSpeech::Testing
