#pragma once

#include "VarnelSpeech/Inference/OnnxSession.h"

#include <cstddef>
#include <memory>

namespace VarnelSpeech {

// One input or output of a session, bound to a tensor of the caller's or to a buffer between. What was worked out for
// a tensor is kept while the same tensor comes again. Used by OnnxModel alone, under its lock.
class OnnxTensorSlot {
public:
    enum class Route {
        direct,  // the runtime works on the tensor's own memory
        buffered // on a gap-free buffer that is copied from or to the tensor
    };

    // Takes the tensor for this call. False if it is the one of the call before.
    bool take(std::shared_ptr<MLMultiArray> tensor);

    // Lets go of the tensor, remembering which it was.
    void release() { tensor_.reset(); }

    // Makes `value` point at the memory of the tensor just taken, unless it already does.
    void bind(Route route, const OnnxPort& port, Ort::Value& value);

    const std::shared_ptr<MLMultiArray>& tensor() const { return tensor_; }

    void fillBuffer();
    void emptyBuffer();

private:
    std::shared_ptr<MLMultiArray> tensor_;
    // Pins the identity: while it has not expired, an equal address is the same tensor.
    std::weak_ptr<MLMultiArray> last_;
    const MLMultiArray* lastAddress_ = nullptr;
    std::shared_ptr<MLMultiArray> buffer_; // null on the direct route
    Route route_ = Route::direct;
    bool isBound_ = false; // to the tensor of lastAddress_, by route_
};

} // namespace VarnelSpeech
