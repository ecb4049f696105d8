#pragma once

#include "Varnel/Models/Meeting.h"
#include "Varnel/Refinement/LenientReply.h"

#include <QList>
#include <QString>

#include <optional>

namespace Varnel {

// What the language model said about a meeting. A step that failed is empty.
struct AssistantAnswers {
    QList<NameMatch> names;
    std::optional<QString> summary;
    QList<ActionItem> actionItems;
    QList<Topic> topics;

    // Renames the speakers that bear one of the anonymous labels, and nobody else. Without a summary the old one
    // stays; action items and topics replace the old ones also when there are none. Throws StoreError when the
    // speakers cannot be read.
    void store(Meeting& meeting) const;
};

// "Speaker 1", "Speaker 12": the label of somebody who is not known yet.
bool isAnonymousLabel(const QString& name);

} // namespace Varnel
