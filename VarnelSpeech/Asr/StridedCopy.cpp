#include "VarnelSpeech/Asr/StridedCopy.h"

#include <cblas.h>
#include <cstring>

namespace VarnelSpeech {

namespace {

// The library wants the lowest address of a row whose stride is negative, and goes through it from its far end.
template <typename T>
T* lowestAddress(T* first, std::int64_t stride, std::int64_t count) {
    return stride < 0 ? first + (count - 1) * stride : first;
}

} // namespace

void copyFloats(const float* source, std::int64_t sourceStride, float* destination, std::int64_t destinationStride,
                std::int64_t count) {
    if (count <= 0) {
        return;
    }
    if (sourceStride == 1 && destinationStride == 1) {
        if (source != destination) {
            std::memmove(destination, source, static_cast<std::size_t>(count) * sizeof(float));
        }
        return;
    }
    cblas_scopy(static_cast<blasint>(count), lowestAddress(source, sourceStride, count),
                static_cast<blasint>(sourceStride), lowestAddress(destination, destinationStride, count),
                static_cast<blasint>(destinationStride));
}

} // namespace VarnelSpeech
