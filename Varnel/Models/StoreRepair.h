#pragma once

#include <QDateTime>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace Varnel {

// Mending a damaged store: it is set aside, never deleted, and what still reads goes into a fresh one.
class StoreRepair {
public:
    // What the old store held that could be read, and what was lost on the way.
    struct Report {
        std::filesystem::path setAside; // the damaged file; empty where nothing was damaged
        std::size_t meetings = 0;
        std::size_t speakers = 0;
        std::size_t segments = 0;
        std::size_t unreadableRanges = 0; // stretches of rows that gave nothing
        std::size_t orphans = 0;          // records whose meeting or speaker is lost; kept without it
        bool isIndexRebuilt = false;      // the search index alone was at fault
    };

    enum class Condition { sound, indexDamaged, damaged };

    // Reads the whole file. Throws StoreError for what is no damage: a future version, no permission, another
    // program's lock.
    static Condition examine(const std::filesystem::path& store);

    // Mends what `examine` finds; a sound store is left as it is. The damaged file becomes
    // "<name>.damaged-<yyyyMMdd-HHmmss>" beside the store, with a number where that name is taken. Throws StoreError;
    // then the damaged file is at one of the two places.
    static Report repair(const std::filesystem::path& store, const QDateTime& now);
};

} // namespace Varnel
