#pragma once

#include "Varnel/Models/MeetingDetails.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace Varnel {

// A speaker's label in a transcript and the name that somebody goes by.
struct NameMatch {
    QString speakerKey;
    QString name;

    bool operator==(const NameMatch&) const = default;
};

// Reads the lists that small models answer with: the JSON may stand between fences, in prose, or inside an object. What
// cannot be read is an empty list, and one malformed element loses the whole list. Never throws for any text.
namespace LenientReply {

QList<NameMatch> names(const QString& reply);
QList<ActionItem> actionItems(const QString& reply);
QList<Topic> topics(const QString& reply);

// The text without white space at its ends and without a code fence that begins or ends it.
QString withoutFences(const QString& reply);

// What may be the JSON, in the order of trying: from the first "[" through the last "]", then the whole.
QStringList candidates(const QString& reply);

} // namespace LenientReply

} // namespace Varnel
