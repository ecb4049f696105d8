#pragma once

#include "Varnel/Refinement/ModelSets.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Varnel::CommandLine {

// What came of looking at one part of a model set.
struct ModelVerdict {
    std::string name;
    std::string problem;     // empty: none
    std::uint64_t bytes = 0; // on disk

    bool isGood() const { return problem.empty(); }
};

// For `parakeet` and `diarizer`. Each bundle and file that the repository requires: is it there, do its sizes and
// SHA-256 sums hold; and when all do, whether the networks load and have the tensors of their roles. Reads everything,
// changes nothing.
std::vector<ModelVerdict> verifyModels(const ModelSet& set, VarnelSpeech::Repo repo);

} // namespace Varnel::CommandLine
