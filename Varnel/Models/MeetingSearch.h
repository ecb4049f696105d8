#pragma once

#include <QString>
#include <QUuid>

#include <filesystem>
#include <memory>
#include <stop_token>
#include <vector>

namespace Varnel {

// Full search over the stored meetings, on a read-only connection of its own: it may run off the main context, one
// call at a time.
class MeetingSearch {
public:
    // How the meetings are found; what is found is the same.
    enum class Method {
        automatic, // by the index where that is faster
        scan,      // by reading the texts, each meeting's until its first hit
    };

    // Throws StoreError when the store cannot be opened.
    explicit MeetingSearch(const std::filesystem::path& store);
    ~MeetingSearch();

    // The ids of the meetings whose lower-cased title, source application, any speaker's name or any line contains
    // the query, which is trimmed of blanks and tabs and lower-cased first. Newest first. An empty query: all.
    // Plain substrings, no tokens; candidates come from an index, the rule decides. Throws StoreError. A stopped
    // search gives nothing.
    std::vector<QUuid> matches(const QString& query, std::stop_token stop = {},
                               Method method = Method::automatic) const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace Varnel
