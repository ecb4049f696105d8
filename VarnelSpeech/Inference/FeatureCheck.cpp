#include "VarnelSpeech/Inference/FeatureCheck.h"

#include <fmt/format.h>

namespace VarnelSpeech {
namespace {

bool fits(const MLShape& declared, const MLShape& given) {
    if (declared.size() != given.size())
        return false;
    for (std::size_t axis = 0; axis < declared.size(); ++axis)
        if (declared[axis] >= 0 && declared[axis] != given[axis])
            return false;
    return true;
}

} // namespace

void checkFeature(std::string_view model, std::string_view role, std::string_view name,
                  const MLFeatureDescription& expected, const MLMultiArray& given) {
    if (given.dataType() == expected.dataType && fits(expected.shape, given.shape()))
        return;
    throw MLModelError(fmt::format("model '{}': {} '{}' is {} {}, expected {} {}", model, role, name,
                                   VarnelSpeech::name(given.dataType()), describe(given.shape()),
                                   VarnelSpeech::name(expected.dataType), describe(expected.shape)));
}

std::shared_ptr<MLMultiArray> requireFeature(std::string_view model, const MLFeatureProvider& provider,
                                             std::string_view name) {
    std::shared_ptr<MLMultiArray> value = provider.featureValue(name);
    if (!value)
        throw MLModelError(fmt::format("model '{}': input '{}' is missing", model, name));
    return value;
}

} // namespace VarnelSpeech
