#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "support/EnvironmentScope.h"
#include "support/LogRecorder.h"
#include "support/TemporaryFolder.h"
#include "support/TestHub.h"

#include <gtest/gtest.h>

namespace VarnelSpeech::Testing {

// A hub that the client finds, an empty models' root, and the log.
class HubTest : public ::testing::Test {
protected:
    TestHub hub;
    HubEnvironment environment{hub.url()};
    TemporaryFolder root;
    const std::filesystem::path folder = root / folderName(Repo::vad);
    DownloadUtils::DownloadConfig config;
    LogRecorder log;
};

} // namespace VarnelSpeech::Testing
