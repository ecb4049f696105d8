#pragma once

#include "VarnelSpeech/Inference/MLModel.h"
#include "VarnelSpeech/Inference/PredictionPool.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech::Testing {

// A model whose outputs a function computes: the twin of a loaded network. It behaves as one towards its caller:
//  - inputs are checked against the declaration (a missing one, another shape or type is an MLModelError);
//  - output backings are written to, through their strides, and only after the script is through, so that a backing
//    may be an input of the same call; the result holds the backing itself;
//  - results and unbacked outputs are handed out again once nobody holds them: with a script that allocates nothing,
//    steady calls allocate nothing (as long as recording is off);
//  - one call at a time.
class ScriptedModel final : public MLModel {
public:
    // What a script sees of one prediction. References are valid during the script only.
    class Call {
    public:
        // From 0.
        std::size_t index() const { return index_; }

        // Throws MLModelError for a name that is not declared.
        const MLMultiArray& input(std::string_view name) const;

        // A gap-free tensor of the declared shape (a dimension that is not fixed counts as 1) to write into. Every
        // call's outputs start zeroed.
        MLMultiArray& output(std::string_view name);

        // Puts another tensor in place of output(name): of a shape that is not fixed, or one that breaks the
        // declaration on purpose. Where the caller gave a backing, it must fit the backing.
        void setOutput(std::string_view name, std::shared_ptr<MLMultiArray> value);

        // Leaves the output out of the result, as a network does that has none of that name.
        void omitOutput(std::string_view name);

        // One element read or written, by its index in row-major order (through the strides).
        float inputFloat(std::string_view name, std::int64_t element = 0) const;
        std::int32_t inputInt(std::string_view name, std::int64_t element = 0) const;
        void setFloat(std::string_view name, float value, std::int64_t element = 0);
        void setInt(std::string_view name, std::int32_t value, std::int64_t element = 0);

    private:
        friend class ScriptedModel;

        struct Output {
            std::shared_ptr<MLMultiArray> scratch; // of the declared shape
            std::shared_ptr<MLMultiArray> replacement;
            bool isOmitted = false;
        };

        std::map<std::string, std::shared_ptr<MLMultiArray>, std::less<>> inputs_;
        std::map<std::string, Output, std::less<>> outputs_;
        std::size_t index_ = 0;
    };

    using Script = std::function<void(Call&)>;
    using Dictionary = MLDictionaryFeatureProvider::Dictionary;

    ScriptedModel(MLModelDescription description, Script script, std::string name = "scripted");

    // A script that answers the n-th call with the n-th dictionary (an output that it lacks is omitted) and fails
    // when none is left.
    static Script cannedAnswers(std::vector<Dictionary> answers);

    const MLModelDescription& modelDescription() const override { return description_; }

    std::shared_ptr<const MLFeatureProvider> prediction(const MLFeatureProvider& input,
                                                        const MLPredictionOptions& options = {}) override;

    // Makes call number `index` (from 0) throw MLModelError before its script runs.
    void failAt(std::size_t index, std::string message = "scripted failure");

    // Predictions asked for, those that failed included.
    std::size_t callCount() const;

    struct RecordedCall {
        Dictionary inputs;                   // gap-free copies, as they were before the call
        std::set<std::string> backedOutputs; // the outputs for which the caller gave a tensor
    };

    // Off unless asked for: recording allocates.
    void startRecording();
    std::vector<RecordedCall> recordedCalls() const;

private:
    void record(const MLPredictionOptions& options);
    void prepare(const MLFeatureProvider& input);
    std::shared_ptr<const MLFeatureProvider> deliver(const MLPredictionOptions& options);
    std::shared_ptr<MLMultiArray> finish(std::size_t index, Call::Output& output, const MLPredictionOptions& options);

    const MLModelDescription description_;
    const Script script_;
    const std::string name_;

    mutable std::mutex mutex_;
    Call call_; // reused
    PredictionPool pool_;
    std::size_t callCount_ = 0;
    std::map<std::size_t, std::string> failures_;
    std::optional<std::vector<RecordedCall>> recorded_;
};

// A shorthand for declarations: describeFeatures({{"x", {1, 2}, MLMultiArrayDataType::float32}}).
struct DeclaredFeature {
    std::string name;
    MLShape shape;
    MLMultiArrayDataType dataType = MLMultiArrayDataType::float32;
};

MLModelDescription describeModel(const std::vector<DeclaredFeature>& inputs,
                                 const std::vector<DeclaredFeature>& outputs);

} // namespace VarnelSpeech::Testing
