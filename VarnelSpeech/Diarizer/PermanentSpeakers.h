#pragma once

namespace VarnelSpeech {

// What an operation does with speakers marked as permanent.
enum class PermanentSpeakers {
    keep,       // they are left as they are
    treatAlike, // permanence does not count
};

// Whether a pair of two permanent speakers is a candidate for merging.
enum class PermanentPairs {
    exclude,
    include,
};

} // namespace VarnelSpeech
