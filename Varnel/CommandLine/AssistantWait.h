#pragma once

#include "Varnel/Core/AppState.h"

#include <stop_token>

namespace Varnel::CommandLine {

// Runs the event loop until the assistant's run that follows a transcription has ended, if there is one, or until a
// stop is requested. Whether it went well is the hub's lastAIError.
void waitForAssistant(AppState& app, std::stop_token stop);

} // namespace Varnel::CommandLine
