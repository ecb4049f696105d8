#pragma once

#include "VarnelSpeech/Shared/AppLogger.h"

namespace VarnelSpeech::SpeakerUtilities {

const AppLogger& logger();

} // namespace VarnelSpeech::SpeakerUtilities
