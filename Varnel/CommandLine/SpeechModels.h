#pragma once

#include "Varnel/Refinement/ModelSets.h"
#include "Varnel/Refinement/SpeakerDiarization.h"
#include "Varnel/Refinement/TranscriptionEngine.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace Varnel::CommandLine {

// What the transcription engine loads of a model set. A stop ends a fetch.
TranscriptionEngine::AsrLoader recogniserOf(const ModelSet& set, std::stop_token stop);

// Who tells the speakers apart with the models of a set.
std::shared_ptr<SpeakerDiarization> diarizerOf(const ModelSet& set, std::stop_token stop);

// What a set lacks for telling speakers apart, and what to do about it; none when it lacks nothing.
std::optional<std::string> whatKeepsSpeakersTogether(const ModelSet& set);

} // namespace Varnel::CommandLine
