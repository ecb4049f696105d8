#pragma once

#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/HttpSession.h"

namespace VarnelSpeech {

// A request to the hub with the user's token, if there is one, and the limits of `download`.
HttpRequest hubRequest(std::string url, const DownloadUtils::DownloadConfig& download);

} // namespace VarnelSpeech
