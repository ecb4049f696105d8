#pragma once

#include "Varnel/Models/SearchIndex.h"
#include "Varnel/Models/StoreStatement.h"

#include <cstdint>
#include <memory>

namespace Varnel {

class TranscriptSegment;

// The rows of the segments. Throws StoreError.
class SegmentTable {
public:
    explicit SegmentTable(StoreConnection& connection) : connection_(connection), index_(connection) {}

    static const char* selection();
    static std::shared_ptr<TranscriptSegment> record(const StoreStatement& statement);
    static void read(const StoreStatement& statement, TranscriptSegment& segment, std::uint32_t keep);

    std::int64_t insert(const TranscriptSegment& segment);
    void update(const TranscriptSegment& segment, std::uint32_t columns);
    void remove(std::int64_t row);

private:
    StoreConnection& connection_;
    SearchIndex index_;
};

} // namespace Varnel
