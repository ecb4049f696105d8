#include "VarnelSpeech/Diarizer/EmbeddingMath.h"

#include <cblas.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace VarnelSpeech {

namespace {

constexpr std::size_t longestCall = std::size_t{1} << 30; // BLAS counts in 32 bits

// Adds up `width` columns from `column` on, all vectors of `length`. A constant width keeps the sums in registers.
template <std::size_t width>
void sumColumns(std::span<const std::span<const float>> vectors, std::size_t length, std::size_t column, float* sums) {
    std::array<float, width> partial{};
    for (const auto& vector : vectors) {
        if (vector.size() == length) {
            const float* const values = vector.data() + column;
            for (std::size_t i = 0; i < width; ++i) {
                partial[i] += values[i];
            }
        }
    }
    std::copy(partial.begin(), partial.end(), sums);
}

} // namespace

float dotProduct(std::span<const float> a, std::span<const float> b) {
    float sum = 0;
    for (std::size_t begin = 0; begin < a.size(); begin += longestCall) {
        const std::size_t count = std::min(longestCall, a.size() - begin);
        sum += cblas_sdot(static_cast<blasint>(count), a.data() + begin, 1, b.data() + begin, 1);
    }
    return sum;
}

float sumOfSquares(std::span<const float> values) {
    return dotProduct(values, values);
}

bool isUnitSumOfSquares(float sum) {
    return std::abs(sum - 1.0F) <= 0.001F;
}

void l2Normalize(std::span<float> values) {
    l2Normalize(values, values);
}

void l2Normalize(std::span<const float> values, std::span<float> normalized) {
    const float factor = 1.0F / std::max(std::sqrt(sumOfSquares(values)), 1e-12F);
    // Not BLAS's scaling: that clears the vector for a factor of zero, where infinite values must become NaN.
    for (std::size_t i = 0; i < values.size(); ++i) {
        normalized[i] = values[i] * factor;
    }
}

std::vector<float> l2Normalized(std::span<const float> values) {
    std::vector<float> normalized(values.size());
    l2Normalize(values, normalized);
    return normalized;
}

bool normalizedMean(std::span<const std::span<const float>> vectors, std::vector<float>& mean) {
    if (vectors.empty() || vectors.front().empty()) {
        return false;
    }
    constexpr std::size_t width = 32;
    const std::size_t length = vectors.front().size();
    mean.resize(length);
    std::size_t column = 0;
    for (; column + width <= length; column += width) {
        sumColumns<width>(vectors, length, column, mean.data() + column);
    }
    for (; column < length; ++column) {
        sumColumns<1>(vectors, length, column, mean.data() + column);
    }
    const auto count =
        std::count_if(vectors.begin(), vectors.end(), [length](const auto& vector) { return vector.size() == length; });
    for (float& value : mean) {
        value /= static_cast<float>(count);
    }
    l2Normalize(mean);
    return true;
}

} // namespace VarnelSpeech
