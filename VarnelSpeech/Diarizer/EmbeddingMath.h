#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace VarnelSpeech {

// Arithmetic on embeddings, in 32-bit floats. Any length, any values; what is not finite spreads as floats do.

// `a` and `b` have the same length.
float dotProduct(std::span<const float> a, std::span<const float> b);
float sumOfSquares(std::span<const float> values);

// Whether vectors of this sum of squares count as unit vectors: within 0.001 of 1.
bool isUnitSumOfSquares(float sum);

// Multiplies by 1 / max(sqrt(sum of squares), 1e-12).
void l2Normalize(std::span<float> values);
void l2Normalize(std::span<const float> values, std::span<float> normalized); // of the same length
std::vector<float> l2Normalized(std::span<const float> values);

// The normalised mean of those vectors that have the first one's length; leaves `mean` alone and returns false when
// there is no vector or the first is empty. The sums run in the list's order.
bool normalizedMean(std::span<const std::span<const float>> vectors, std::vector<float>& mean);

} // namespace VarnelSpeech
