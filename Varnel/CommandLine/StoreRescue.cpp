#include "Varnel/CommandLine/StoreRescue.h"

#include "Varnel/CommandLine/CommandContext.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Models/StoreRepair.h"
#include "Varnel/Platform/Linux/SystemClock.h"

#include <fmt/format.h>

namespace Varnel::CommandLine {

void rescueStore(CommandContext& context) {
    const std::filesystem::path store = context.directories().store();
    std::error_code error;
    if (!std::filesystem::exists(store, error) && !error)
        return;
    context.progress().begin("Mending the store");
    const StoreRepair::Report report = StoreRepair::repair(store, SystemClock().now());
    context.progress().clear();
    if (report.isIndexRebuilt)
        context.note("The store's search index was built anew.");
    if (report.setAside.empty())
        return;
    context.note(fmt::format("The damaged store is kept as {}.", inQuotes(report.setAside.string())));
    context.note(fmt::format("Saved from it: {} meetings, {} speakers, {} lines.", report.meetings, report.speakers,
                             report.segments));
    if (report.unreadableRanges > 0)
        context.note(fmt::format("{} stretches of it could not be read.", report.unreadableRanges));
    if (report.orphans > 0)
        context.note(fmt::format("{} records lost the meeting or the speaker that they belonged to.", report.orphans));
}

} // namespace Varnel::CommandLine
