#include "Varnel/Core/AssistantAnswers.h"

#include "Varnel/Models/Speaker.h"

#include <algorithm>

namespace Varnel {

void AssistantAnswers::store(Meeting& meeting) const {
    const auto speakers = meeting.speakers();
    for (const NameMatch& match : names) {
        for (const auto& speaker : speakers) {
            if (speaker->name() == match.speakerKey && isAnonymousLabel(speaker->name()))
                speaker->setName(match.name);
        }
    }
    if (summary)
        meeting.setSummary(summary);
    meeting.setActionItems(actionItems);
    meeting.setTopics(topics);
}

bool isAnonymousLabel(const QString& name) {
    static const QString label = QStringLiteral("Speaker ");
    return name.size() > label.size() && name.startsWith(label) &&
           std::all_of(name.begin() + label.size(), name.end(),
                       [](QChar digit) { return digit >= u'0' && digit <= u'9'; });
}

} // namespace Varnel
