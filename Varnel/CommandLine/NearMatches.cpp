#include "Varnel/CommandLine/NearMatches.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Varnel::CommandLine {

namespace {

qsizetype distance(const QString& left, const QString& right) {
    std::vector<qsizetype> row(static_cast<std::size_t>(right.size()) + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = static_cast<qsizetype>(j);
    for (qsizetype i = 0; i < left.size(); ++i) {
        qsizetype diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 1; j < row.size(); ++j) {
            const qsizetype changed = diagonal + (left[i] == right[static_cast<qsizetype>(j) - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

QStringList nearMatches(const QString& name, const QStringList& names) {
    constexpr qsizetype longestName = 200; // nothing longer was meant to be one of them
    constexpr std::size_t most = 3;
    const QString written = name.trimmed().toLower();
    if (written.isEmpty() || written.size() > longestName)
        return {};
    std::vector<std::pair<qsizetype, QString>> found;
    for (const QString& candidate : names) {
        const QString lower = candidate.toLower();
        const qsizetype difference = distance(written, lower);
        const bool isBeginning = written.size() >= 2 && lower.startsWith(written);
        if (difference <= std::max<qsizetype>(1, written.size() / 3) || isBeginning)
            found.emplace_back(isBeginning ? 1 : difference, candidate);
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    QStringList result;
    for (std::size_t i = 0; i < std::min(found.size(), most); ++i)
        result << found[i].second;
    return result;
}

} // namespace Varnel::CommandLine
