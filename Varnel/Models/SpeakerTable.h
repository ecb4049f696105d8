#pragma once

#include "Varnel/Models/SearchIndex.h"
#include "Varnel/Models/StoreStatement.h"

#include <cstdint>
#include <memory>

namespace Varnel {

class Speaker;

// The rows of the speakers. Embeddings are little-endian 32-bit floats and are read on their own, with the digest of
// the network that made them. Throws StoreError.
class SpeakerTable {
public:
    explicit SpeakerTable(StoreConnection& connection) : connection_(connection), index_(connection) {}

    static const char* selection();
    static std::shared_ptr<Speaker> record(const StoreStatement& statement);
    static void read(const StoreStatement& statement, Speaker& speaker, std::uint32_t keep);

    // What `selection` leaves out. A blob that is no whole number of floats is no embedding.
    void readEmbedding(const Speaker& speaker) const;

    std::int64_t insert(const Speaker& speaker);
    void update(const Speaker& speaker, std::uint32_t columns);
    // Its segments are left without one.
    void remove(std::int64_t row);

private:
    void writeDigest(const Speaker& speaker, std::int64_t row);

    StoreConnection& connection_;
    SearchIndex index_;
};

} // namespace Varnel
