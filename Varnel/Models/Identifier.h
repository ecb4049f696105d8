#pragma once

#include <QString>
#include <QUuid>

namespace Varnel {

// The canonical text form of an identifier: upper case with hyphens, no braces.
inline QString text(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace Varnel
