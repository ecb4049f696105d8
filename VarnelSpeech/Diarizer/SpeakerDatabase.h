#pragma once

#include "VarnelSpeech/Diarizer/ReferenceMatrix.h"
#include "VarnelSpeech/Diarizer/Speaker.h"

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace VarnelSpeech {

// The speakers by id, and beside them their reference embeddings as one matrix, so that a comparison with everyone is
// a matrix-vector product. What is nearest is decided by the cosine distance as SpeakerUtilities computes it, and of
// equal distances by the order of the ids as text: the result is that of a scan over `speakers()`.
//
// Threading: const operations may run together, others alone; SpeakerManager sees to that.
class SpeakerDatabase {
public:
    static constexpr std::size_t embeddingSize = ReferenceMatrix::rowLength; // 256

    struct Entry {
        std::shared_ptr<Speaker> speaker;
        std::size_t row = ReferenceMatrix::noRow; // noRow: the reference has no unit length or not 256 values
    };

    using Map = std::map<std::string, Entry>;

    struct Nearest {
        const Map::value_type* entry; // null: nobody, or nobody at a finite distance
        float distance;               // +infinity then
    };

    const Map& speakers() const { return speakers_; }

    std::size_t size() const { return speakers_.size(); }

    // Null: unknown.
    Speaker* find(const std::string& id) const;
    std::shared_ptr<Speaker> shared(const std::string& id) const;

    // Inserts, or replaces the speaker of the same id.
    void put(std::shared_ptr<Speaker> speaker);

    // To be called after each change of a speaker's reference embedding.
    void referenceChanged(const std::string& id);

    // False: unknown.
    bool remove(const std::string& id);
    void clear();

    // The speaker nearest to `embedding`, which may be of any length and size.
    Nearest closest(std::span<const float> embedding) const;

    // Calls back with everyone at a distance of at most `threshold`, in no order.
    void within(std::span<const float> embedding, float threshold,
                const std::function<void(const Map::value_type&, float distance)>& found) const;

private:
    void takeRow(Map::value_type& entry);
    void giveUpRow(Entry& entry);

    Map speakers_;
    ReferenceMatrix matrix_;
    std::vector<Map::value_type*> rowOwners_;               // the speaker of each row
    std::map<std::string, const Map::value_type*> unrowed_; // those without a row, usually none
};

} // namespace VarnelSpeech
