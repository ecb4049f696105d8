#pragma once

#include "EndToEnd/Sandbox.h"

#include "support/TestHub.h"

namespace Varnel::Testing {

// The built program, and a hub on this machine that serves the starter models as if they were the full ones.
class HubSandbox : public Sandbox {
protected:
    HubSandbox();

    // The hub's path for the largest network.
    static std::string encoder();
    // Which set `models list` marks as the one in use.
    std::string setInUse();

    VarnelSpeech::Testing::TestHub hub;
};

} // namespace Varnel::Testing
