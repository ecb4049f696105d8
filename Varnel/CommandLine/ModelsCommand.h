#pragma once

#include "VarnelSpeech/Shared/ModelNames.h"

#include <array>
#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace Varnel::CommandLine {

struct CommandRegistry;

// The parts of a model set that can be fetched and verified: what they are for, and their repository.
struct ModelPart {
    std::string_view name;
    std::string_view purpose;
    VarnelSpeech::Repo repo;
};

inline constexpr std::array modelParts{ModelPart{"asr", "speech recognition", VarnelSpeech::Repo::parakeet},
                                       ModelPart{"diarizer", "telling speakers apart", VarnelSpeech::Repo::diarizer}};

// The commands below "models".
void addModelsListCommand(CLI::App& group, const CommandRegistry& registry);
void addModelsPathCommand(CLI::App& group, const CommandRegistry& registry);
void addModelsVerifyCommand(CLI::App& group, const CommandRegistry& registry);
void addModelsFetchCommand(CLI::App& group, const CommandRegistry& registry);
void addModelsUseCommand(CLI::App& group, const CommandRegistry& registry);

} // namespace Varnel::CommandLine
