#include "VarnelSpeech/Shared/Signposter.h"

#include <fmt/format.h>

#include <utility>

namespace VarnelSpeech {

Signposter::Signposter(AppLogger logger) : logger_(std::move(logger)) {}

Signposter::Interval Signposter::beginInterval(std::string_view name, std::string_view message) {
    const std::uint64_t number = ++lastNumber_;
    logger_.debug(fmt::format("begin {} {}{}{}", name, number, message.empty() ? "" : ": ", message));
    return {std::string(name), number, false};
}

void Signposter::endInterval(Interval& interval) {
    const bool isSecondEnd = std::exchange(interval.hasEnded, true);
    logger_.debug(fmt::format("end {} {}{}", interval.name, interval.number,
                              isSecondEnd ? ": [Error] Interval already ended" : ""));
}

} // namespace VarnelSpeech
