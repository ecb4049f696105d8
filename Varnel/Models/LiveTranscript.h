#pragma once

#include <QString>
#include <QUuid>

namespace Varnel {

// The records of a transcript that is still growing; nothing of them is stored.

struct LiveSpeaker {
    QUuid id;
    QString name;
    QString colorHex;
    bool isYou = false;

    bool operator==(const LiveSpeaker&) const = default;
};

struct LiveSegment {
    QUuid id;
    QUuid speakerID;
    double startTime = 0; // seconds
    double endTime = 0;   // seconds
    QString text;

    bool operator==(const LiveSegment&) const = default;
};

} // namespace Varnel
