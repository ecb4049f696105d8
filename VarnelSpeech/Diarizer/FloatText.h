#pragma once

#include <string>

namespace VarnelSpeech {

// A float in log lines: the shortest digits that read back the same, with a fraction ("1.0", "0.56"); "inf", "nan".
std::string floatText(float value);

} // namespace VarnelSpeech
