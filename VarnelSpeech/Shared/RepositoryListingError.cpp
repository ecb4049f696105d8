#include "VarnelSpeech/Shared/RepositoryListingError.h"

#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>

namespace VarnelSpeech {

RepositoryListingError RepositoryListingError::unsafePath(const std::string& path) {
    // A path from outside may be of any length.
    return {Case::unsafePath, fmt::format("Refused a path in the model hub's listing that does not stay in the "
                                          "repository: '{}'",
                                          printable(path.substr(0, 200)))};
}

RepositoryListingError RepositoryListingError::missingModelFile(const std::string& repository,
                                                                const std::string& path) {
    return {Case::missingModelFile,
            fmt::format("The model hub's repository {} has no models for this program: '{}' is missing from its "
                        "listing. Nothing was downloaded or deleted.",
                        repository, path)};
}

} // namespace VarnelSpeech
