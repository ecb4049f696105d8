#include "Varnel/CommandLine/DoctorChecks.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/Models/StoreError.h"
#include "Varnel/Models/StoreRepair.h"

#include <fmt/format.h>

namespace Varnel::CommandLine {

namespace {

constexpr const char* subject = "store";

std::string remedyFor(StoreError::Case error) {
    switch (error) {
    case StoreError::Case::futureVersion:
        return "Use the newer version of Varnel that wrote it.";
    case StoreError::Case::damaged:
        return "Run 'varnel doctor --repair': it keeps the damaged file and saves what can be read.";
    case StoreError::Case::busy:
        return "Another program holds it: end that one, or try again.";
    case StoreError::Case::cannotOpen:
    case StoreError::Case::readFailed:
    case StoreError::Case::writeFailed:
        break;
    }
    return "Make the store and its folder readable and writable for you.";
}

Finding openStore(CommandContext& context, const std::filesystem::path& file) {
    const std::size_t meetings = context.store().mainContext().meetingCount();
    return {Finding::Kind::ok, subject,
            fmt::format("{}, version {}, {} meetings", file.string(), ModelContainer::schemaVersion, meetings), ""};
}

} // namespace

std::vector<Finding> checkStore(CommandContext& context) {
    const std::filesystem::path file = context.directories().store();
    std::error_code error;
    if (!std::filesystem::exists(file, error) && !error)
        return {{Finding::Kind::ok, subject, fmt::format("{} (not there yet)", file.string()), ""}};
    try {
        switch (StoreRepair::examine(file)) {
        case StoreRepair::Condition::sound:
            return {openStore(context, file)};
        case StoreRepair::Condition::indexDamaged:
            return {{Finding::Kind::problem, subject, fmt::format("the search index of {} is damaged", file.string()),
                     "Run 'varnel doctor --repair': it builds the index anew."}};
        case StoreRepair::Condition::damaged:
            return {{Finding::Kind::problem, subject, fmt::format("{} is damaged", file.string()),
                     remedyFor(StoreError::Case::damaged)}};
        }
    } catch (const StoreError& failure) {
        return {{Finding::Kind::problem, subject, describe(failure), remedyFor(failure.error())}};
    } catch (const std::exception& failure) {
        return {{Finding::Kind::problem, subject, describe(failure), remedyFor(StoreError::Case::cannotOpen)}};
    }
    return {};
}

} // namespace Varnel::CommandLine
