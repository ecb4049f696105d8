#pragma once

#include <QStringList>

namespace Varnel::CommandLine {

// The names that somebody who wrote `name` may have meant, the nearest first and at most three: those that differ by
// few letters or in case, or that begin with it.
QStringList nearMatches(const QString& name, const QStringList& names);

} // namespace Varnel::CommandLine
