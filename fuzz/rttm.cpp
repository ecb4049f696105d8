// Any bytes as a file of speakers' turns: read or refused, and what was read can be measured and is read again the
// same.
#include "Varnel/Refinement/DiarizationErrorRate.h"
#include "Varnel/Refinement/RttmFile.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using Varnel::DiarizationErrorRate;
    using Varnel::RttmFile;
    try {
        const auto file = RttmFile::parse({reinterpret_cast<const char*>(data), size}, "input");
        for (const auto& [recording, turns] : file.turns) {
            std::string text;
            for (const auto& turn : turns) {
                require(turn.start >= 0 && turn.end >= turn.start);
                text += Varnel::rttmLine(recording, turn);
            }
            require(RttmFile::parse(text, "written").turns.at(recording).size() == turns.size());
            const auto rate = DiarizationErrorRate::of(turns, turns, {});
            require(std::isfinite(rate.percent()) && rate.errorSeconds() <= 1e-6 * (1 + rate.referenceSeconds));
        }
    } catch (const Varnel::RttmError&) {
    }
    return 0;
}
