#include "VarnelSpeech/Diarizer/SpeakerDatabase.h"

#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace VarnelSpeech {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

// How an embedding is compared with the matrix's rows, all of unit length within the tolerance.
struct Query {
    explicit Query(std::span<const float> embedding) : values(embedding) {
        const float sum = sumOfSquares(embedding);
        isUnit = isUnitSumOfSquares(sum);
        // Far from 1 the products could overflow or lose their digits (and NaN is in no range).
        fitsMatrix = embedding.size() == ReferenceMatrix::rowLength && sum >= 1e-20F && sum <= 1e20F;
        norm = isUnit ? 1.0F : std::sqrt(sum);
    }

    float distanceTo(std::span<const float> row) const {
        return isUnit ? SpeakerUtilities::distanceOfSimilarity(dotProduct(values, row))
                      : SpeakerUtilities::cosineDistance(values, row);
    }

    // A product below this belongs to a row farther away than `distance`, however the product was rounded.
    float productFloor(float distance) const {
        if (distance >= 2.0F) {
            return -infinity; // all that points away is equally far
        }
        // Two orders of adding up 256 products of unit vectors differ by up to 2 * 256 * 2^-24, 3.1e-5; a row's own
        // length, by which the product of a query of another length is not yet divided, is off by up to 5.1e-4.
        const float margin = isUnit ? 1e-4F : 1e-3F;
        return (1.0F - distance - margin) * norm;
    }

    std::span<const float> values;
    bool isUnit;
    bool fitsMatrix;
    float norm;
};

// Calls back with the index of each row whose product reaches `floor`, which the callback may raise.
template <typename Candidate>
void scan(const ReferenceMatrix& matrix, const Query& query, float& floor, const Candidate& candidate) {
    ReferenceMatrix::Products products;
    for (std::size_t block = 0; block < matrix.blockCount(); ++block) {
        const std::size_t first = block * ReferenceMatrix::rowsPerBlock;
        const std::size_t rows = matrix.rowsIn(block);
        matrix.multiply(block, query.values, products);
        unsigned reaching = 0;
        for (std::size_t i = 0; i < rows; ++i) {
            reaching += products[i] >= floor ? 1U : 0U;
        }
        if (reaching == 0) {
            continue; // nearly every block
        }
        // The largest first: it raises the floor above most of the others.
        const auto largest = static_cast<std::size_t>(
            std::max_element(products.begin(), products.begin() + static_cast<std::ptrdiff_t>(rows)) -
            products.begin());
        candidate(first + largest);
        for (std::size_t i = 0; i < rows; ++i) {
            if (products[i] >= floor && i != largest) {
                candidate(first + i);
            }
        }
    }
}

} // namespace

Speaker* SpeakerDatabase::find(const std::string& id) const {
    const auto found = speakers_.find(id);
    return found == speakers_.end() ? nullptr : found->second.speaker.get();
}

std::shared_ptr<Speaker> SpeakerDatabase::shared(const std::string& id) const {
    const auto found = speakers_.find(id);
    return found == speakers_.end() ? nullptr : found->second.speaker;
}

void SpeakerDatabase::put(std::shared_ptr<Speaker> speaker) {
    const auto [place, isNew] = speakers_.try_emplace(speaker->id());
    place->second.speaker = std::move(speaker);
    takeRow(*place);
}

void SpeakerDatabase::referenceChanged(const std::string& id) {
    const auto found = speakers_.find(id);
    if (found != speakers_.end()) {
        takeRow(*found);
    }
}

bool SpeakerDatabase::remove(const std::string& id) {
    const auto found = speakers_.find(id);
    if (found == speakers_.end()) {
        return false;
    }
    giveUpRow(found->second);
    unrowed_.erase(id);
    speakers_.erase(found);
    return true;
}

void SpeakerDatabase::clear() {
    speakers_.clear();
    matrix_.clear();
    rowOwners_.clear();
    unrowed_.clear();
}

void SpeakerDatabase::takeRow(Map::value_type& entry) {
    auto& [id, place] = entry;
    const std::vector<float>& reference = place.speaker->currentEmbedding();
    if (reference.size() != embeddingSize || !isUnitSumOfSquares(sumOfSquares(reference))) {
        giveUpRow(place);
        unrowed_.emplace(id, &entry);
        return;
    }
    if (place.row != ReferenceMatrix::noRow) {
        matrix_.replace(place.row, reference);
        return;
    }
    rowOwners_.push_back(&entry);
    place.row = matrix_.append(reference);
    unrowed_.erase(id);
}

void SpeakerDatabase::giveUpRow(Entry& entry) {
    if (entry.row == ReferenceMatrix::noRow) {
        return;
    }
    matrix_.remove(entry.row);
    rowOwners_[entry.row] = rowOwners_.back();
    rowOwners_[entry.row]->second.row = entry.row;
    rowOwners_.pop_back();
    entry.row = ReferenceMatrix::noRow;
}

SpeakerDatabase::Nearest SpeakerDatabase::closest(std::span<const float> embedding) const {
    Nearest best{nullptr, infinity};
    const auto consider = [&best](const Map::value_type& entry, float distance) {
        // Of those equally near, the first in the map's order; NaN and +infinity are nearer than nothing.
        if (distance < best.distance || (best.entry && distance == best.distance && entry.first < best.entry->first)) {
            best = {&entry, distance};
        }
    };
    const Query query(embedding);
    if (!query.fitsMatrix) {
        for (const auto& entry : speakers_) {
            consider(entry, SpeakerUtilities::cosineDistance(embedding, entry.second.speaker->currentEmbedding()));
        }
        return best;
    }
    for (const auto& [id, entry] : unrowed_) {
        consider(*entry, SpeakerUtilities::cosineDistance(embedding, entry->second.speaker->currentEmbedding()));
    }
    float floor = query.productFloor(best.distance);
    scan(matrix_, query, floor, [&](std::size_t row) {
        consider(*rowOwners_[row], query.distanceTo(matrix_.row(row)));
        floor = query.productFloor(best.distance);
    });
    return best;
}

void SpeakerDatabase::within(std::span<const float> embedding, float threshold,
                             const std::function<void(const Map::value_type&, float distance)>& found) const {
    const auto consider = [&](const Map::value_type& entry, float distance) {
        if (distance <= threshold) {
            found(entry, distance);
        }
    };
    const Query query(embedding);
    if (!query.fitsMatrix) {
        for (const auto& entry : speakers_) {
            consider(entry, SpeakerUtilities::cosineDistance(embedding, entry.second.speaker->currentEmbedding()));
        }
        return;
    }
    for (const auto& [id, entry] : unrowed_) {
        consider(*entry, SpeakerUtilities::cosineDistance(embedding, entry->second.speaker->currentEmbedding()));
    }
    float floor = query.productFloor(threshold);
    scan(matrix_, query, floor,
         [&](std::size_t row) { consider(*rowOwners_[row], query.distanceTo(matrix_.row(row))); });
}

} // namespace VarnelSpeech
