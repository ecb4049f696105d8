#include "VarnelSpeech/Inference/OnnxModel.h"

#include "VarnelSpeech/Inference/FeatureCheck.h"
#include "VarnelSpeech/Inference/ModelBundle.h"
#include "VarnelSpeech/Inference/OnnxTensorSlot.h"
#include "VarnelSpeech/Inference/PredictionPool.h"
#include "VarnelSpeech/Inference/TensorMemory.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>
#include <new>

namespace VarnelSpeech {
namespace {

std::vector<std::string> names(const std::vector<OnnxPort>& ports) {
    std::vector<std::string> result;
    result.reserve(ports.size());
    for (const OnnxPort& port : ports)
        result.push_back(port.name);
    return result;
}

std::vector<const char*> pointers(const std::vector<OnnxPort>& ports) {
    std::vector<const char*> result;
    result.reserve(ports.size());
    for (const OnnxPort& port : ports)
        result.push_back(port.name.c_str());
    return result;
}

std::vector<Ort::Value> emptyValues(std::size_t count) {
    std::vector<Ort::Value> values;
    for (std::size_t index = 0; index < count; ++index)
        values.emplace_back(nullptr);
    return values;
}

// The runtime's own memory, kept as long as the tensor.
std::shared_ptr<MLMultiArray> adopt(Ort::Value value, MLMultiArrayDataType type) {
    MLShape shape = value.GetTensorTypeAndShapeInfo().GetShape();
    if (shape.empty())
        shape = {1};
    MLShape strides = contiguousStrides(shape);
    auto owner = std::make_shared<Ort::Value>(std::move(value));
    void* data = owner->GetTensorMutableRawData();
    return std::make_shared<MLMultiArray>(data, std::move(shape), type, std::move(strides), [owner](void*) {});
}

} // namespace

class OnnxModel::Runner {
public:
    Runner(const std::filesystem::path& network, std::string name, const MLModelConfiguration& configuration)
        : name_(std::move(name)),
          session_(OnnxSession::open(network, configuration)),
          inputNames_(pointers(session_.inputs)),
          outputNames_(pointers(session_.outputs)),
          inputValues_(emptyValues(session_.inputs.size())),
          outputValues_(emptyValues(session_.outputs.size())),
          inputSlots_(session_.inputs.size()),
          outputs_(session_.outputs.size()),
          pool_(names(session_.outputs)) {
        for (const OnnxPort& port : session_.inputs)
            description_.inputDescriptionsByName.emplace(port.name, port.description);
        for (const OnnxPort& port : session_.outputs)
            description_.outputDescriptionsByName.emplace(port.name, port.description);
    }

    const MLModelDescription& description() const { return description_; }

    const std::string& name() const { return name_; }

    std::shared_ptr<const MLFeatureProvider> run(const MLFeatureProvider& input, const MLPredictionOptions& options) {
        const std::lock_guard lock(mutex_);
        const Release release{*this};
        std::shared_ptr<PredictionResult> result = pool_.takeResult();
        takeInputs(input);
        takeOutputs(options);
        if (!areSlotsBound_)
            bindSlots();
        for (OnnxTensorSlot& slot : inputSlots_)
            slot.fillBuffer();
        session_.session.Run(runOptions_, inputNames_.data(), inputValues_.data(), inputValues_.size(),
                             outputNames_.data(), outputValues_.data(), outputValues_.size());
        deliver(*result);
        return result;
    }

private:
    struct Output {
        OnnxTensorSlot slot;   // holds no tensor when the runtime is to allocate it
        bool isBacked = false; // the tensor is the caller's
    };

    // The caller's tensors are held for the time of a call only.
    struct Release {
        Runner& runner;

        ~Release() {
            for (OnnxTensorSlot& slot : runner.inputSlots_)
                slot.release();
            for (Output& output : runner.outputs_)
                output.slot.release();
        }
    };

    void takeInputs(const MLFeatureProvider& input) {
        for (std::size_t index = 0; index < inputSlots_.size(); ++index) {
            const OnnxPort& port = session_.inputs[index];
            if (inputSlots_[index].take(requireFeature(name_, input, port.name)))
                areSlotsBound_ = false;
            if (!areSlotsBound_) // else it was looked at before
                checkFeature(name_, "input", port.name, port.description, *inputSlots_[index].tensor());
        }
    }

    void takeOutputs(const MLPredictionOptions& options) {
        std::size_t backings = 0;
        for (std::size_t index = 0; index < outputs_.size(); ++index) {
            const OnnxPort& port = session_.outputs[index];
            Output& output = outputs_[index];
            const auto backing = options.outputBackings.find(port.name);
            const bool isNamed = backing != options.outputBackings.end();
            backings += isNamed ? 1 : 0;
            output.isBacked = isNamed && backing->second;
            const bool isChanged = output.slot.take(output.isBacked ? backing->second : pooledTensor(index));
            // The runtime's own tensors are new each time and need no binding.
            if (isChanged && (output.slot.tensor() || outputValues_[index]))
                areSlotsBound_ = false;
            if (output.isBacked && !areSlotsBound_)
                checkFeature(name_, "backing of output", port.name, port.description, *backing->second);
        }
        if (backings != options.outputBackings.size())
            refuseUnknownBacking(options);
    }

    std::shared_ptr<MLMultiArray> pooledTensor(std::size_t index) {
        const OnnxPort& port = session_.outputs[index];
        return port.hasFixedShape() ? pool_.takeTensor(index, port.description.shape, port.description.dataType)
                                    : nullptr;
    }

    void refuseUnknownBacking(const MLPredictionOptions& options) const {
        for (const auto& [output, backing] : options.outputBackings)
            if (description_.outputDescriptionsByName.find(output) == description_.outputDescriptionsByName.end())
                throw MLModelError(
                    fmt::format("model '{}': there is no output '{}' to write to a backing", name_, output));
    }

    void bindSlots() {
        using Route = OnnxTensorSlot::Route;
        for (std::size_t index = 0; index < inputSlots_.size(); ++index) {
            OnnxTensorSlot& slot = inputSlots_[index];
            slot.bind(slot.tensor()->isContiguous() ? Route::direct : Route::buffered, session_.inputs[index],
                      inputValues_[index]);
        }
        for (std::size_t index = 0; index < outputs_.size(); ++index) {
            OnnxTensorSlot& slot = outputs_[index].slot;
            if (!slot.tensor()) {
                outputValues_[index] = Ort::Value(nullptr);
                continue;
            }
            const bool isFree = slot.tensor()->isContiguous() && !isShared(index);
            slot.bind(isFree ? Route::direct : Route::buffered, session_.outputs[index], outputValues_[index]);
        }
        areSlotsBound_ = true;
    }

    // Whether an output's tensor shares memory with an input of this call or with an output before it.
    bool isShared(std::size_t index) const {
        const Output& output = outputs_[index];
        if (!output.isBacked)
            return false; // nobody else holds a pooled tensor
        const MLMultiArray& tensor = *output.slot.tensor();
        const auto isOverlapped = [&](const OnnxTensorSlot& slot) {
            return slot.tensor() && overlap(tensor, *slot.tensor());
        };
        const auto before = outputs_.begin() + static_cast<std::ptrdiff_t>(index);
        return std::any_of(inputSlots_.begin(), inputSlots_.end(), isOverlapped) ||
               std::any_of(outputs_.begin(), before, [&](const Output& other) { return isOverlapped(other.slot); });
    }

    void deliver(PredictionResult& result) {
        for (std::size_t index = 0; index < outputs_.size(); ++index) {
            OnnxTensorSlot& slot = outputs_[index].slot;
            if (slot.tensor()) {
                slot.emptyBuffer();
                result.setValue(index, slot.tensor());
                continue;
            }
            Ort::Value value = std::move(outputValues_[index]);
            outputValues_[index] = Ort::Value(nullptr);
            result.setValue(index, adopt(std::move(value), session_.outputs[index].description.dataType));
        }
    }

    const std::string name_;
    OnnxSession session_;
    MLModelDescription description_;
    const Ort::RunOptions runOptions_;
    const std::vector<const char*> inputNames_;
    const std::vector<const char*> outputNames_;

    std::mutex mutex_; // guards all below
    std::vector<Ort::Value> inputValues_;
    std::vector<Ort::Value> outputValues_;
    std::vector<OnnxTensorSlot> inputSlots_;
    std::vector<Output> outputs_;
    bool areSlotsBound_ = false; // the values point where this call's tensors want them
    PredictionPool pool_;
};

OnnxModel::OnnxModel(const std::filesystem::path& network, std::string name,
                     const MLModelConfiguration& configuration) {
    const auto refusal = [&](const char* reason) {
        return MLModelError(fmt::format("cannot load model '{}': {}", network.native(), reason));
    };
    try {
        runner_ = std::make_unique<Runner>(network, std::move(name), configuration);
    } catch (const std::bad_alloc&) {
        throw refusal("not enough memory");
    } catch (const std::exception& error) { // the runtime's own, or what is wrong with a declaration
        throw refusal(error.what());
    }
}

OnnxModel::~OnnxModel() = default;

const MLModelDescription& OnnxModel::modelDescription() const {
    return runner_->description();
}

std::shared_ptr<const MLFeatureProvider> OnnxModel::prediction(const MLFeatureProvider& input,
                                                               const MLPredictionOptions& options) {
    try {
        return runner_->run(input, options);
    } catch (const Ort::Exception& error) {
        throw MLModelError(fmt::format("model '{}': {}", runner_->name(), error.what()));
    } catch (const std::bad_alloc&) {
        throw MLModelError(fmt::format("model '{}': not enough memory", runner_->name()));
    }
}

std::shared_ptr<MLModel> loadModel(const std::filesystem::path& bundle, const MLModelConfiguration& configuration) {
    const ModelBundle opened = ModelBundle::read(bundle);
    opened.verify();
    // "Decoder.mlmodelc/" and "Decoder.mlmodelc" are both Decoder.
    const std::filesystem::path folder = bundle.has_filename() ? bundle : bundle.parent_path();
    return std::make_shared<OnnxModel>(opened.network(), folder.stem().string(), configuration);
}

} // namespace VarnelSpeech
