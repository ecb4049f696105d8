#include "VarnelSpeech/Inference/OnnxTensorSlot.h"

#include "VarnelSpeech/Inference/TensorMemory.h"

namespace VarnelSpeech {

bool OnnxTensorSlot::take(std::shared_ptr<MLMultiArray> tensor) {
    const bool isSame = tensor && tensor.get() == lastAddress_ && !last_.expired();
    tensor_ = std::move(tensor);
    if (!isSame) {
        last_ = tensor_;
        lastAddress_ = tensor_.get();
        isBound_ = false;
    }
    return !isSame;
}

void OnnxTensorSlot::bind(Route route, const OnnxPort& port, Ort::Value& value) {
    if (isBound_ && route == route_)
        return;
    const MLShape& shape = tensor_->shape();
    const MLMultiArrayDataType type = tensor_->dataType();
    if (route == Route::direct)
        buffer_ = nullptr;
    else if (!buffer_ || buffer_->shape() != shape || buffer_->dataType() != type)
        buffer_ = MLMultiArray::make(shape, type);
    static const Ort::MemoryInfo memory = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
    void* data = buffer_ ? buffer_->rawData() : tensor_->rawData();
    const std::size_t bytes = static_cast<std::size_t>(tensor_->count()) * elementSize(type);
    value = Ort::Value::CreateTensor(memory, data, bytes, shape.data(), port.isScalar ? 0 : shape.size(),
                                     runtimeType(type));
    route_ = route;
    isBound_ = true;
}

void OnnxTensorSlot::fillBuffer() {
    if (buffer_)
        gather(*tensor_, buffer_->rawData());
}

void OnnxTensorSlot::emptyBuffer() {
    if (buffer_)
        scatter(buffer_->rawData(), *tensor_);
}

} // namespace VarnelSpeech
