#pragma once

#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Refinement/TranscriptOutput.h"

#include <memory>

namespace Varnel::CommandLine {

// A transcript as a meeting that is in memory alone: what the exports take. A speaker for every voice, "Speaker N".
class UnsavedMeeting {
public:
    UnsavedMeeting(const QString& title, const QDateTime& startedAt, const Varnel::Output& output);

    const Meeting& meeting() const { return *meeting_; }

private:
    ModelContainer container_;
    std::shared_ptr<Meeting> meeting_;
};

} // namespace Varnel::CommandLine
