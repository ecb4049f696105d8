#include "Varnel/CommandLine/MeetingReference.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/CommandLine/ErrorLine.h"
#include "Varnel/CommandLine/IdReference.h"
#include "Varnel/Models/Identifier.h"

#include <fmt/format.h>

#include <algorithm>

namespace Varnel::CommandLine {

namespace {

std::string candidates(const std::vector<std::shared_ptr<Meeting>>& meetings) {
    constexpr std::size_t shown = 4;
    std::string text;
    for (std::size_t i = 0; i < std::min(meetings.size(), shown); ++i)
        text += fmt::format("{}{} {}", i == 0 ? "" : ", ", Varnel::text(meetings[i]->id()).toStdString(),
                            inQuotes(meetings[i]->title().toStdString()));
    if (meetings.size() > shown)
        text += fmt::format(", and {} more", meetings.size() - shown);
    return text;
}

} // namespace

std::vector<std::shared_ptr<Meeting>> meetingsNewestFirst(const ModelContext& context) {
    FetchDescriptor<Meeting> descriptor;
    auto meetings = context.fetchMeetings(descriptor);
    std::reverse(meetings.begin(), meetings.end());
    std::stable_sort(meetings.begin(), meetings.end(),
                     [](const auto& left, const auto& right) { return left->startedAt() > right->startedAt(); });
    return meetings;
}

std::shared_ptr<Meeting> meetingNamed(const std::string& reference, const ModelContext& context) {
    if (reference == "latest") {
        const auto meetings = meetingsNewestFirst(context);
        if (meetings.empty())
            throw CommandError("there are no meetings yet");
        return meetings.front();
    }
    const auto beginning = idBeginning(reference);
    if (!beginning)
        throw CommandError(fmt::format("no meeting is named {}: an id, the beginning of one, or 'latest' is needed "
                                       "(see 'varnel meetings list')",
                                       inQuotes(reference)));
    auto found = meetingsNewestFirst(context);
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](const auto& meeting) { return !idBegins(meeting->id(), *beginning); }),
                found.end());
    if (found.empty())
        throw CommandError(
            fmt::format("no meeting's id begins with {} (see 'varnel meetings list')", inQuotes(reference)));
    if (found.size() > 1)
        throw CommandError(fmt::format("{} is the beginning of {} meetings' ids: {}", inQuotes(reference), found.size(),
                                       candidates(found)));
    return found.front();
}

QString shortId(const QUuid& id) {
    return text(id).left(8);
}

} // namespace Varnel::CommandLine
