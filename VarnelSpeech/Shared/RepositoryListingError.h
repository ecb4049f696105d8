#pragma once

#include <stdexcept>
#include <string>

namespace VarnelSpeech {

// A listing that is well-formed and still not followed: nothing is fetched and nothing is deleted after it.
class RepositoryListingError : public std::runtime_error {
public:
    enum class Case {
        unsafePath,       // a path that would leave the repository's folder, or is neither file nor directory
        missingModelFile, // a required bundle without a network for this runtime
    };

    static RepositoryListingError unsafePath(const std::string& path);
    static RepositoryListingError missingModelFile(const std::string& repository, const std::string& path);

    Case error() const { return error_; }

private:
    RepositoryListingError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error_;
};

} // namespace VarnelSpeech
