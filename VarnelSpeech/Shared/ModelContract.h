#pragma once

#include "VarnelSpeech/Inference/MLModel.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// What a network declares against what its role asks for, by name, shape and type, so that a wrong network is found
// at load and not in mid-work. A dimension that the network leaves open fits anything, and so does one that is asked
// for as `any`.
class ModelContract {
public:
    using Type = MLMultiArrayDataType;

    static constexpr std::int64_t any = -1;

    // "Encoder.mlmodelc: output 'encoder_length' is missing"
    class Mismatch : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    // `user` is who gives the inputs, for the texts: "the recogniser". What is referred to outlives the object.
    ModelContract(std::string_view bundle, const MLModelDescription& description, std::string_view user)
        : bundle_(bundle), description_(description), user_(user) {}

    // These throw Mismatch.
    const MLFeatureDescription& input(std::string_view name, std::optional<Type> type) const;
    const MLFeatureDescription& output(std::string_view name, std::optional<Type> type) const;
    void takes(std::string_view name, Type type, const MLShape& shape) const;
    void gives(std::string_view name, std::optional<Type> type, const MLShape& shape) const;
    // No inputs but these.
    void takesOnly(const std::vector<std::string_view>& names) const;
    [[noreturn]] void fail(const std::string& what) const;

    static bool fits(std::int64_t declared, std::int64_t wanted);
    static bool fits(const MLShape& declared, const MLShape& wanted);

private:
    std::string_view bundle_;
    const MLModelDescription& description_;
    std::string_view user_;
};

} // namespace VarnelSpeech
