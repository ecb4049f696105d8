#include "VarnelSpeech/Shared/ModelContract.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace VarnelSpeech {

namespace {

using Features = std::map<std::string, MLFeatureDescription, std::less<>>;

const MLFeatureDescription& feature(const ModelContract& contract, std::string_view kind, std::string_view name,
                                    const Features& features, std::optional<ModelContract::Type> type) {
    const auto found = features.find(name);
    if (found == features.end())
        contract.fail(fmt::format("{} '{}' is missing", kind, name));
    if (type && found->second.dataType != *type)
        contract.fail(fmt::format("{} '{}' has the type {}, expected {}", kind, name,
                                  VarnelSpeech::name(found->second.dataType), VarnelSpeech::name(*type)));
    return found->second;
}

// "[1, any, 7]"
std::string describeWanted(const MLShape& shape) {
    std::string text;
    for (const std::int64_t size : shape)
        text += (text.empty() ? "" : ", ") + (size == ModelContract::any ? "any" : std::to_string(size));
    return "[" + text + "]";
}

void require(const ModelContract& contract, std::string_view kind, std::string_view name, const MLShape& declared,
             const MLShape& wanted) {
    if (!ModelContract::fits(declared, wanted))
        contract.fail(fmt::format("{} '{}' has the shape {}, expected {}", kind, name, describe(declared),
                                  describeWanted(wanted)));
}

} // namespace

bool ModelContract::fits(std::int64_t declared, std::int64_t wanted) {
    return declared == wanted || declared < 0 || wanted == any;
}

bool ModelContract::fits(const MLShape& declared, const MLShape& wanted) {
    return std::equal(declared.begin(), declared.end(), wanted.begin(), wanted.end(),
                      [](std::int64_t a, std::int64_t b) { return fits(a, b); });
}

const MLFeatureDescription& ModelContract::input(std::string_view name, std::optional<Type> type) const {
    return feature(*this, "input", name, description_.inputDescriptionsByName, type);
}

const MLFeatureDescription& ModelContract::output(std::string_view name, std::optional<Type> type) const {
    return feature(*this, "output", name, description_.outputDescriptionsByName, type);
}

void ModelContract::takes(std::string_view name, Type type, const MLShape& shape) const {
    require(*this, "input", name, input(name, type).shape, shape);
}

void ModelContract::gives(std::string_view name, std::optional<Type> type, const MLShape& shape) const {
    require(*this, "output", name, output(name, type).shape, shape);
}

void ModelContract::takesOnly(const std::vector<std::string_view>& names) const {
    for (const auto& [name, description] : description_.inputDescriptionsByName)
        if (std::find(names.begin(), names.end(), name) == names.end())
            fail(fmt::format("input '{}' is none that {} gives", name, user_));
}

void ModelContract::fail(const std::string& what) const {
    throw Mismatch(fmt::format("{}: {}", bundle_, what));
}

} // namespace VarnelSpeech
