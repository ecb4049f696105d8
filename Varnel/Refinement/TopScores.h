#pragma once

#include <QString>

#include <cstddef>
#include <functional>
#include <vector>

namespace Varnel {

// The highest of many scores with their names, highest first and equal ones in the order in which they came. One that
// is not a number comes last.
class TopScores {
public:
    explicit TopScores(std::size_t limit) : limit_(limit) {}

    bool isEmpty() const { return entries_.empty(); }

    // `name` is called when the score is among the highest so far.
    void add(float score, const std::function<QString()>& name);

    // "name=0.812, other=0.433": three digits after the point.
    QString text() const;

private:
    struct Entry {
        QString name;
        float score = 0;
    };

    std::size_t limit_;
    std::vector<Entry> entries_;
};

} // namespace Varnel
