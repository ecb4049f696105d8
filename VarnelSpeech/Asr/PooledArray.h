#pragma once

#include "VarnelSpeech/Shared/MLArrayCache.h"

#include <memory>

namespace VarnelSpeech {

// A tensor out of the shared pool that goes back there at the end of the scope.
class PooledArray {
public:
    PooledArray(const MLShape& shape, MLMultiArrayDataType type)
        : array_(MLArrayCache::shared().getArray(shape, type)) {}

    ~PooledArray() {
        try {
            MLArrayCache::shared().returnArray(std::move(array_));
        } catch (...) {
            // No memory to keep it: then it goes.
        }
    }

    PooledArray(const PooledArray&) = delete;
    PooledArray& operator=(const PooledArray&) = delete;

    const std::shared_ptr<MLMultiArray>& array() const { return array_; }

private:
    std::shared_ptr<MLMultiArray> array_;
};

} // namespace VarnelSpeech
