#pragma once

#include "VarnelSpeech/Inference/MLMultiArray.h"
#include "VarnelSpeech/Shared/AppLogger.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace VarnelSpeech {

// A pool of aligned tensors by shape and type. A serialised object (one mutex): call from any thread. A tensor that
// was handed out belongs to the caller until it is returned.
class MLArrayCache {
public:
    struct CacheKey {
        MLShape shape;
        MLMultiArrayDataType dataType;

        bool operator==(const CacheKey&) const = default;
    };

    struct CacheKeyHash {
        std::size_t operator()(const CacheKey& key) const;
    };

    static constexpr std::size_t maxCacheSize = 100; // tensors kept of each key

    MLArrayCache();

    // The one of the process.
    static MLArrayCache& shared();

    // A pooled tensor, or a new one. Its contents are whatever was there. Throws ANEOptimizerError.
    std::shared_ptr<MLMultiArray> getArray(const MLShape& shape, MLMultiArrayDataType type);

    // Gives a tensor back, its contents as they are. Dropped when the pool has maxCacheSize of its kind; null is
    // ignored.
    void returnArray(std::shared_ptr<MLMultiArray> array);

    // Puts one tensor of each kind into the pool; a failure is logged and the rest goes on.
    void prewarm(const std::vector<std::pair<MLShape, MLMultiArrayDataType>>& shapes);

    void clear();

private:
    std::shared_ptr<MLMultiArray> takePooled(const CacheKey& key);

    std::mutex mutex_;
    std::unordered_map<CacheKey, std::vector<std::shared_ptr<MLMultiArray>>, CacheKeyHash> cache_;
    AppLogger logger_;
};

} // namespace VarnelSpeech
