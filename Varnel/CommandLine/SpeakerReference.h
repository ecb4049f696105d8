#pragma once

#include "Varnel/Models/ModelContext.h"

#include <memory>
#include <string>

namespace Varnel::CommandLine {

// The speaker of a meeting that a user names: by the name when one alone has it, by the id, or by a unique beginning of
// it (letters of either case, with or without hyphens). Throws CommandError for none and for several, naming near
// matches and candidates.
std::shared_ptr<Speaker> speakerNamed(const std::string& reference, const Meeting& meeting);

// How many records in the whole store have exactly this name. Throws CommandError for none, naming near matches.
std::size_t requireSpeakers(const QString& name, const ModelContext& context);

} // namespace Varnel::CommandLine
