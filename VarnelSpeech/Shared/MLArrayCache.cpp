#include "VarnelSpeech/Shared/MLArrayCache.h"

#include "VarnelSpeech/Shared/ANEOptimizer.h"

#include <functional>

namespace VarnelSpeech {

std::size_t MLArrayCache::CacheKeyHash::operator()(const CacheKey& key) const {
    // The golden ratio spreads small dimensions over all bits.
    constexpr std::size_t spread = 0x9E3779B97F4A7C15ULL;
    std::size_t hash = static_cast<std::size_t>(key.dataType);
    for (const std::int64_t size : key.shape)
        hash ^= std::hash<std::int64_t>()(size) + spread + (hash << 6U) + (hash >> 2U);
    return hash;
}

MLArrayCache::MLArrayCache() : logger_("MLArrayCache") {}

MLArrayCache& MLArrayCache::shared() {
    static MLArrayCache cache;
    return cache;
}

std::shared_ptr<MLMultiArray> MLArrayCache::takePooled(const CacheKey& key) {
    const std::lock_guard lock(mutex_);
    const auto found = cache_.find(key);
    if (found == cache_.end() || found->second.empty())
        return nullptr;
    std::shared_ptr<MLMultiArray> array = std::move(found->second.back());
    found->second.pop_back();
    return array;
}

std::shared_ptr<MLMultiArray> MLArrayCache::getArray(const MLShape& shape, MLMultiArrayDataType type) {
    if (std::shared_ptr<MLMultiArray> pooled = takePooled({shape, type}))
        return pooled;
    return ANEOptimizer::createANEAlignedArray(shape, type);
}

void MLArrayCache::returnArray(std::shared_ptr<MLMultiArray> array) {
    if (!array)
        return;
    const std::lock_guard lock(mutex_);
    auto& arrays = cache_[{array->shape(), array->dataType()}];
    if (arrays.size() < maxCacheSize)
        arrays.push_back(std::move(array));
}

void MLArrayCache::prewarm(const std::vector<std::pair<MLShape, MLMultiArrayDataType>>& shapes) {
    logger_.info("Pre-warming cache with " + std::to_string(shapes.size()) + " shapes");
    for (const auto& [shape, type] : shapes) {
        try {
            returnArray(ANEOptimizer::createANEAlignedArray(shape, type));
        } catch (const std::exception& error) {
            logger_.error("Failed to pre-warm shape " + describe(shape) + ": " + error.what());
        }
    }
}

void MLArrayCache::clear() {
    // The tensors go after the lock does: freeing large ones takes the system a while.
    decltype(cache_) dropped;
    const std::lock_guard lock(mutex_);
    dropped.swap(cache_);
}

} // namespace VarnelSpeech
