#include "Varnel/Refinement/TopScores.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace Varnel {

namespace {

bool isHigher(float left, float right) {
    return left > right || (std::isnan(right) && !std::isnan(left));
}

// What "%.3f" gives in every locale.
QString threeDigits(float score) {
    if (std::isnan(score))
        return QStringLiteral("nan");
    std::array<char, 64> buffer{}; // the longest float has 39 digits before the point
    const auto end =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), score, std::chars_format::fixed, 3).ptr;
    return QString::fromLatin1(buffer.data(), end - buffer.data());
}

} // namespace

void TopScores::add(float score, const std::function<QString()>& name) {
    if (entries_.size() == limit_ && (limit_ == 0 || !isHigher(score, entries_.back().score)))
        return;
    const auto place = std::find_if(entries_.begin(), entries_.end(),
                                    [score](const Entry& entry) { return isHigher(score, entry.score); });
    entries_.insert(place, Entry{name(), score});
    if (entries_.size() > limit_)
        entries_.pop_back();
}

QString TopScores::text() const {
    QStringList parts;
    for (const Entry& entry : entries_)
        parts += entry.name + u'=' + threeDigits(entry.score);
    return parts.join(QStringLiteral(", "));
}

} // namespace Varnel
