#include "VarnelSpeech/Inference/OnnxSession.h"

#include "VarnelSpeech/Inference/OnnxRuntime.h"

#include <fmt/format.h>
#include <onnxruntime_session_options_config_keys.h>

#include <algorithm>
#include <optional>
#include <thread>

namespace VarnelSpeech {
namespace {

// None for a type without a tensor of ours.
std::optional<MLMultiArrayDataType> arrayType(ONNXTensorElementDataType type) {
    switch (type) {
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT:
        return MLMultiArrayDataType::float32;
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT16:
        return MLMultiArrayDataType::float16;
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_DOUBLE:
        return MLMultiArrayDataType::float64;
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32:
        return MLMultiArrayDataType::int32;
    default:
        return std::nullopt;
    }
}

std::string typeName(ONNXTensorElementDataType type) {
    switch (type) {
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64:
        return "int64";
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_INT8:
        return "int8";
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT8:
        return "uint8";
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_BOOL:
        return "bool";
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_STRING:
        return "string";
    case ONNX_TENSOR_ELEMENT_DATA_TYPE_BFLOAT16:
        return "bfloat16";
    default:
        return fmt::format("number {}", static_cast<int>(type));
    }
}

OnnxPort describePort(const char* role, std::string name, const Ort::TypeInfo& type) {
    if (type.GetONNXType() != ONNX_TYPE_TENSOR)
        throw MLModelError(fmt::format("its {} '{}' is not a tensor", role, name));
    const auto info = type.GetTensorTypeAndShapeInfo();
    const auto elementType = arrayType(info.GetElementType());
    if (!elementType)
        throw MLModelError(fmt::format("its {} '{}' has an element type that is not supported ({})", role, name,
                                       typeName(info.GetElementType())));
    OnnxPort port{std::move(name), {info.GetShape(), *elementType}, false};
    port.isScalar = port.description.shape.empty();
    if (port.isScalar)
        port.description.shape = {1};
    return port;
}

bool wantsAccelerator(const MLModelConfiguration& configuration) {
    // A network that is called thousands of times costs more to reach on another device than to run here.
    if (configuration.computeUnits == MLComputeUnits::cpuOnly || configuration.threading == MLThreading::callingThread)
        return false;
    const auto& providers = OnnxRuntime::availableProviders();
    return std::find(providers.begin(), providers.end(), "CUDAExecutionProvider") != providers.end();
}

int threadCount(MLThreading threading) {
    const unsigned cores = std::max(1U, std::thread::hardware_concurrency());
    switch (threading) {
    case MLThreading::twoThreads:
        return static_cast<int>(std::min(2U, cores));
    case MLThreading::callingThread:
        return 1;
    case MLThreading::allCores:
        break;
    }
    return static_cast<int>(cores);
}

Ort::SessionOptions options(const MLModelConfiguration& configuration) {
    Ort::SessionOptions options;
    options.SetGraphOptimizationLevel(ORT_ENABLE_ALL);
    options.SetExecutionMode(ORT_SEQUENTIAL);
    options.SetInterOpNumThreads(1);
    // A count of our own keeps the runtime from pinning its threads to processors. Spinning would burn the
    // processors that the rest of the pipeline works on between two calls.
    options.SetIntraOpNumThreads(threadCount(configuration.threading));
    options.AddConfigEntry(kOrtSessionOptionsConfigAllowIntraOpSpinning, "0");
    options.AddConfigEntry(kOrtSessionOptionsConfigAllowInterOpSpinning, "0");
    return options;
}

Ort::Session openSession(const std::filesystem::path& network, const MLModelConfiguration& configuration) {
    Ort::Env& environment = OnnxRuntime::environment();
    if (wantsAccelerator(configuration)) {
        try {
            Ort::SessionOptions accelerated = options(configuration);
            accelerated.AppendExecutionProvider_CUDA(OrtCUDAProviderOptions());
            return {environment, network.c_str(), accelerated};
        } catch (const Ort::Exception&) {
            // No usable device: the processor does it, and says so itself if the network is at fault.
        }
    }
    return {environment, network.c_str(), options(configuration)};
}

} // namespace

bool OnnxPort::hasFixedShape() const {
    return !isScalar &&
           std::all_of(description.shape.begin(), description.shape.end(), [](std::int64_t size) { return size >= 0; });
}

OnnxSession OnnxSession::open(const std::filesystem::path& network, const MLModelConfiguration& configuration) {
    OnnxSession opened{openSession(network, configuration), {}, {}};
    const Ort::AllocatorWithDefaultOptions allocator;
    for (std::size_t index = 0; index < opened.session.GetInputCount(); ++index)
        opened.inputs.push_back(describePort("input", opened.session.GetInputNameAllocated(index, allocator).get(),
                                             opened.session.GetInputTypeInfo(index)));
    for (std::size_t index = 0; index < opened.session.GetOutputCount(); ++index)
        opened.outputs.push_back(describePort("output", opened.session.GetOutputNameAllocated(index, allocator).get(),
                                              opened.session.GetOutputTypeInfo(index)));
    return opened;
}

ONNXTensorElementDataType runtimeType(MLMultiArrayDataType type) {
    switch (type) {
    case MLMultiArrayDataType::float16:
        return ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT16;
    case MLMultiArrayDataType::float64:
        return ONNX_TENSOR_ELEMENT_DATA_TYPE_DOUBLE;
    case MLMultiArrayDataType::int32:
        return ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32;
    case MLMultiArrayDataType::float32:
        break;
    }
    return ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT;
}

} // namespace VarnelSpeech
