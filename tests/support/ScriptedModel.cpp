#include "support/ScriptedModel.h"

#include "VarnelSpeech/Inference/FeatureCheck.h"
#include "VarnelSpeech/Inference/TensorMemory.h"

#include <stdexcept>

namespace VarnelSpeech::Testing {
namespace {

std::vector<std::string> outputNames(const MLModelDescription& description) {
    std::vector<std::string> names;
    for (const auto& [name, feature] : description.outputDescriptionsByName)
        names.push_back(name);
    return names;
}

MLShape concrete(MLShape shape) {
    for (std::int64_t& size : shape)
        size = size < 0 ? 1 : size;
    return shape;
}

std::shared_ptr<MLMultiArray> gapFreeCopy(const MLMultiArray& source) {
    auto copy = MLMultiArray::make(source.shape(), source.dataType());
    copyElements(source, *copy);
    return copy;
}

std::int64_t elementOffset(const MLMultiArray& array, std::int64_t element, MLMultiArrayDataType type) {
    if (array.dataType() != type || element < 0 || element >= array.count())
        throw std::logic_error("a script asks for an element that is not there");
    std::int64_t offset = 0;
    for (std::size_t axis = array.shape().size(); axis-- > 0;) {
        offset += element % array.shape()[axis] * array.strides()[axis];
        element /= array.shape()[axis];
    }
    return offset;
}

template <typename Map>
auto& find(Map& map, std::string_view name) {
    const auto found = map.find(name);
    if (found == map.end())
        throw MLModelError("a script names '" + std::string(name) + "', which is not declared");
    return found->second;
}

} // namespace

const MLMultiArray& ScriptedModel::Call::input(std::string_view name) const {
    return *find(inputs_, name);
}

MLMultiArray& ScriptedModel::Call::output(std::string_view name) {
    return *find(outputs_, name).scratch;
}

void ScriptedModel::Call::setOutput(std::string_view name, std::shared_ptr<MLMultiArray> value) {
    find(outputs_, name).replacement = std::move(value);
}

void ScriptedModel::Call::omitOutput(std::string_view name) {
    find(outputs_, name).isOmitted = true;
}

float ScriptedModel::Call::inputFloat(std::string_view name, std::int64_t element) const {
    const MLMultiArray& array = input(name);
    return array.data<float>()[elementOffset(array, element, MLMultiArrayDataType::float32)];
}

std::int32_t ScriptedModel::Call::inputInt(std::string_view name, std::int64_t element) const {
    const MLMultiArray& array = input(name);
    return array.data<std::int32_t>()[elementOffset(array, element, MLMultiArrayDataType::int32)];
}

void ScriptedModel::Call::setFloat(std::string_view name, float value, std::int64_t element) {
    MLMultiArray& array = output(name);
    array.data<float>()[elementOffset(array, element, MLMultiArrayDataType::float32)] = value;
}

void ScriptedModel::Call::setInt(std::string_view name, std::int32_t value, std::int64_t element) {
    MLMultiArray& array = output(name);
    array.data<std::int32_t>()[elementOffset(array, element, MLMultiArrayDataType::int32)] = value;
}

ScriptedModel::ScriptedModel(MLModelDescription description, Script script, std::string name)
    : description_(std::move(description)),
      script_(std::move(script)),
      name_(std::move(name)),
      pool_(outputNames(description_)) {
    for (const auto& [inputName, feature] : description_.inputDescriptionsByName)
        call_.inputs_.emplace(inputName, nullptr);
    for (const auto& [outputName, feature] : description_.outputDescriptionsByName)
        call_.outputs_.emplace(outputName,
                               Call::Output{MLMultiArray::make(concrete(feature.shape), feature.dataType), nullptr});
}

ScriptedModel::Script ScriptedModel::cannedAnswers(std::vector<Dictionary> answers) {
    return [answers = std::move(answers)](Call& call) {
        if (call.index() >= answers.size())
            throw MLModelError("no canned answer is left for call " + std::to_string(call.index()));
        const Dictionary& answer = answers[call.index()];
        for (auto& [outputName, output] : call.outputs_) {
            const auto found = answer.find(outputName);
            if (found == answer.end())
                call.omitOutput(outputName);
            else
                call.setOutput(outputName, found->second);
        }
    };
}

std::shared_ptr<const MLFeatureProvider> ScriptedModel::prediction(const MLFeatureProvider& input,
                                                                   const MLPredictionOptions& options) {
    const std::lock_guard lock(mutex_);
    call_.index_ = callCount_++;
    prepare(input);
    if (recorded_)
        record(options);
    const auto failure = failures_.find(call_.index_);
    if (failure != failures_.end())
        throw MLModelError(failure->second);
    script_(call_);
    std::shared_ptr<const MLFeatureProvider> result = deliver(options);
    for (auto& [inputName, value] : call_.inputs_)
        value = nullptr;
    return result;
}

void ScriptedModel::prepare(const MLFeatureProvider& input) {
    for (auto& [inputName, value] : call_.inputs_) {
        value = requireFeature(name_, input, inputName);
        checkFeature(name_, "input", inputName, find(description_.inputDescriptionsByName, inputName), *value);
    }
    for (auto& [outputName, output] : call_.outputs_) {
        output.scratch->zero();
        output.replacement = nullptr;
        output.isOmitted = false;
    }
}

void ScriptedModel::record(const MLPredictionOptions& options) {
    RecordedCall recorded;
    for (const auto& [inputName, value] : call_.inputs_)
        recorded.inputs.emplace(inputName, gapFreeCopy(*value));
    for (const auto& [outputName, backing] : options.outputBackings)
        recorded.backedOutputs.insert(outputName);
    recorded_->push_back(std::move(recorded));
}

std::shared_ptr<const MLFeatureProvider> ScriptedModel::deliver(const MLPredictionOptions& options) {
    for (const auto& [outputName, backing] : options.outputBackings)
        if (call_.outputs_.find(outputName) == call_.outputs_.end())
            throw MLModelError("model '" + name_ + "': there is no output '" + outputName + "' to write to a backing");
    std::shared_ptr<PredictionResult> result = pool_.takeResult();
    bool isAnyOmitted = false;
    std::size_t index = 0;
    for (auto& [outputName, output] : call_.outputs_) {
        isAnyOmitted = isAnyOmitted || output.isOmitted;
        result->setValue(index, output.isOmitted ? nullptr : finish(index, output, options));
        ++index;
    }
    if (!isAnyOmitted)
        return result;
    Dictionary present;
    for (const std::string& outputName : result->featureNames())
        if (std::shared_ptr<MLMultiArray> value = result->featureValue(outputName))
            present.emplace(outputName, std::move(value));
    return std::make_shared<MLDictionaryFeatureProvider>(std::move(present));
}

std::shared_ptr<MLMultiArray> ScriptedModel::finish(std::size_t index, Call::Output& output,
                                                    const MLPredictionOptions& options) {
    const std::string& outputName = pool_.outputNames()[index];
    const auto backed = options.outputBackings.find(outputName);
    if (backed == options.outputBackings.end() || !backed->second) {
        if (output.replacement)
            return output.replacement;
        std::shared_ptr<MLMultiArray> value =
            pool_.takeTensor(index, output.scratch->shape(), output.scratch->dataType());
        copyElements(*output.scratch, *value);
        return value;
    }
    const MLMultiArray& source = output.replacement ? *output.replacement : *output.scratch;
    const MLMultiArray& backing = *backed->second;
    if (source.shape() != backing.shape() || source.dataType() != backing.dataType())
        checkFeature(name_, "backing of output", outputName, {source.shape(), source.dataType()}, backing);
    if (&source != &backing)
        copyElements(source, *backed->second);
    return backed->second;
}

void ScriptedModel::failAt(std::size_t index, std::string message) {
    const std::lock_guard lock(mutex_);
    failures_[index] = std::move(message);
}

std::size_t ScriptedModel::callCount() const {
    const std::lock_guard lock(mutex_);
    return callCount_;
}

void ScriptedModel::startRecording() {
    const std::lock_guard lock(mutex_);
    recorded_.emplace();
}

std::vector<ScriptedModel::RecordedCall> ScriptedModel::recordedCalls() const {
    const std::lock_guard lock(mutex_);
    return recorded_ ? *recorded_ : std::vector<RecordedCall>();
}

MLModelDescription describeModel(const std::vector<DeclaredFeature>& inputs,
                                 const std::vector<DeclaredFeature>& outputs) {
    MLModelDescription description;
    for (const DeclaredFeature& feature : inputs)
        description.inputDescriptionsByName[feature.name] = {feature.shape, feature.dataType};
    for (const DeclaredFeature& feature : outputs)
        description.outputDescriptionsByName[feature.name] = {feature.shape, feature.dataType};
    return description;
}

} // namespace VarnelSpeech::Testing
