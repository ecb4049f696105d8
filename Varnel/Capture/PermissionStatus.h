#pragma once

#include "Varnel/Platform/Permissions.h"

#include <QObject>

namespace Varnel {

// The four permissions as observable values. Main context only.
class PermissionStatus : public QObject {
    Q_OBJECT

public:
    enum class Status { granted, denied, notDetermined };
    Q_ENUM(Status)

    // `permissions` outlives this object. Reads all four at once.
    explicit PermissionStatus(const Permissions& permissions, QObject* parent = nullptr);

    Status microphone() const { return microphone_; }

    Status screenRecording() const { return screenRecording_; } // the system's sound

    Status accessibility() const { return accessibility_; } // other windows' contents

    Status calendars() const { return calendars_; }

    void refresh();

Q_SIGNALS:
    // At least one of the four has another value than before.
    void changed();

private:
    const Permissions& permissions_;
    Status microphone_ = Status::notDetermined;
    Status screenRecording_ = Status::notDetermined;
    Status accessibility_ = Status::notDetermined;
    Status calendars_ = Status::notDetermined;
};

} // namespace Varnel
