#include "Varnel/CommandLine/UnsavedMeeting.h"

#include "Varnel/Core/SpeakerBuilding.h"

namespace Varnel::CommandLine {

UnsavedMeeting::UnsavedMeeting(const QString& title, const QDateTime& startedAt, const Varnel::Output& output) {
    ModelContext& context = container_.mainContext();
    meeting_ = std::make_shared<Meeting>(QUuid::createUuid(), title, startedAt, std::nullopt, std::nullopt,
                                         std::nullopt, output.duration);
    context.insert(meeting_);
    const auto speakers = SpeakerBuilding(context, meeting_, {}).build(output.segments);
    for (const auto& segment : output.segments)
        insertSegment(context, meeting_, segment, speakers.at(segment.speakerKey));
}

} // namespace Varnel::CommandLine
