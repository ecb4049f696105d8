#pragma once

#include "Varnel/Models/ModelContext.h"

#include <memory>
#include <string>
#include <vector>

namespace Varnel::CommandLine {

// The meetings, newest first; of two that started together the one that was stored later comes first.
std::vector<std::shared_ptr<Meeting>> meetingsNewestFirst(const ModelContext& context);

// The meeting that a user names by its id, by a unique beginning of it (letters of either case, with or without
// hyphens), or as "latest". Throws CommandError for none and for several, naming the candidates.
std::shared_ptr<Meeting> meetingNamed(const std::string& reference, const ModelContext& context);

// The first eight characters of an id: what lists show.
QString shortId(const QUuid& id);

} // namespace Varnel::CommandLine
