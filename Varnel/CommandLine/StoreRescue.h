#pragma once

namespace Varnel::CommandLine {

class CommandContext;

// Mends the store: one that is damaged is set aside and what can be read of it goes into a new one; the search index
// of a whole one is built anew. Notes say what was done. Nothing happens when there is no store yet.
void rescueStore(CommandContext& context);

} // namespace Varnel::CommandLine
