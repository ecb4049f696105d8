#pragma once

#include "VarnelSpeech/Shared/ModelNames.h"
#include "support/TestHub.h"

#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech::Testing {

// Puts a whole set on the hub: a network that loads for each required bundle, and the required data files
// (a vocabulary of two tokens under each name). `parameters` is the number of each network's weights, for its size.
void addModels(TestHub& hub, Repo repo, std::string_view variant = {}, std::size_t parameters = 4);

// The bundles among the required names.
std::vector<std::string> bundleNames(Repo repo, std::string_view variant = {});

// The hub's path for a file of the set, sub-folder included.
std::string hubFilePath(Repo repo, const std::string& path);
// The hub's path for the listing of the set, or of a folder in it.
std::string hubListingPath(Repo repo, const std::string& folder = {});

} // namespace VarnelSpeech::Testing
