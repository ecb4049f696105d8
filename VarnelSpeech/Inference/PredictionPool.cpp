#include "VarnelSpeech/Inference/PredictionPool.h"

#include <algorithm>

namespace VarnelSpeech {
namespace {

// A caller holds one or two results of a model at a time (a projection is kept while the next is computed).
constexpr std::size_t poolSize = 4;

// The pool's own reference and the copy that is asked. Copying first orders this thread after the one that let go:
// a bare look at the count would not.
template <typename T>
bool isFree(const std::shared_ptr<T>& copy) {
    return copy.use_count() == 2;
}

// Makes room for one more: the oldest leaves the pool, its holders keep it.
template <typename T>
void keep(std::vector<std::shared_ptr<T>>& pool, std::size_t& oldest, const std::shared_ptr<T>& value) {
    if (pool.size() < poolSize) {
        pool.push_back(value);
        return;
    }
    pool[oldest] = value;
    oldest = (oldest + 1) % poolSize;
}

} // namespace

PredictionResult::PredictionResult(std::shared_ptr<const std::vector<std::string>> names)
    : names_(std::move(names)), values_(names_->size()) {}

std::shared_ptr<MLMultiArray> PredictionResult::featureValue(std::string_view name) const {
    const auto found = std::find(names_->begin(), names_->end(), name);
    return found == names_->end() ? nullptr : values_[static_cast<std::size_t>(found - names_->begin())];
}

void PredictionResult::clear() {
    std::fill(values_.begin(), values_.end(), nullptr);
}

PredictionPool::PredictionPool(std::vector<std::string> outputNames)
    : names_(std::make_shared<const std::vector<std::string>>(std::move(outputNames))), tensors_(names_->size()) {}

std::shared_ptr<PredictionResult> PredictionPool::takeResult() {
    std::shared_ptr<PredictionResult> free;
    for (const auto& pooled : results_) {
        std::shared_ptr<PredictionResult> candidate = pooled;
        if (!isFree(candidate))
            continue;
        candidate->clear();
        free = std::move(candidate);
    }
    if (!free) {
        free = std::make_shared<PredictionResult>(names_);
        keep(results_, oldestResult_, free);
    }
    return free;
}

std::shared_ptr<MLMultiArray> PredictionPool::takeTensor(std::size_t index, const MLShape& shape,
                                                         MLMultiArrayDataType type) {
    TensorRing& ring = tensors_[index];
    for (const auto& pooled : ring.tensors) {
        std::shared_ptr<MLMultiArray> candidate = pooled;
        if (isFree(candidate) && candidate->shape() == shape && candidate->dataType() == type)
            return candidate;
    }
    std::shared_ptr<MLMultiArray> made = MLMultiArray::make(shape, type);
    keep(ring.tensors, ring.oldest, made);
    return made;
}

} // namespace VarnelSpeech
