#include "VarnelSpeech/Diarizer/FloatText.h"

#include <fmt/format.h>

#include <cmath>

namespace VarnelSpeech {

std::string floatText(float value) {
    if (std::isnan(value)) {
        return "nan"; // without the sign that the processor may have given it
    }
    std::string text = fmt::format("{}", value);
    if (text.find_first_of(".eni") == std::string::npos) {
        text += ".0";
    }
    return text;
}

} // namespace VarnelSpeech
