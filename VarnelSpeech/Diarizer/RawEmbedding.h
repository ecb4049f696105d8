#pragma once

#include "VarnelSpeech/Diarizer/Date.h"
#include "VarnelSpeech/Diarizer/UUID.h"

#include <cstddef>
#include <span>
#include <vector>

namespace VarnelSpeech {

// One observation of a voice: the embedding of one segment, scaled to unit length.
struct RawEmbedding {
    // Normalises `values`; they may be of any length, zero or not finite (see l2Normalize).
    RawEmbedding(const UUID& segment, std::span<const float> values, Date time);

    UUID segmentId;
    std::vector<float> embedding; // unit length
    Date timestamp;
};

// Two histories one after the other. Of more than `maximum` entries the newest are kept, newest first.
std::vector<RawEmbedding> mergedHistory(const std::vector<RawEmbedding>& first, const std::vector<RawEmbedding>& second,
                                        std::size_t maximum);

} // namespace VarnelSpeech
