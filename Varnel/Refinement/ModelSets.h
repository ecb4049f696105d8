#pragma once

#include "Varnel/Platform/SettingsStore.h"
#include "VarnelSpeech/Shared/DownloadUtils.h"
#include "VarnelSpeech/Shared/ModelNames.h"

#include <QString>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Varnel {

// One whole set of speech models in a root of its own. Sets never mix.
struct ModelSet {
    enum class Kind {
        hub,     // the cache of what was fetched from the model hub
        starter, // the small networks that come with the program, read-only
        folder,  // a folder of the user's, never changed
    };

    Kind kind = Kind::hub;
    std::filesystem::path root; // holds one folder a repository

    std::filesystem::path folder(VarnelSpeech::Repo repo) const { return root / VarnelSpeech::folderName(repo); }

    // Only the cache may be fetched, and deleted and fetched again.
    VarnelSpeech::DownloadUtils::Fetching fetching() const;

    bool operator==(const ModelSet&) const = default;
};

// "hub", "starter", or the folder's path.
QString name(const ModelSet& set);

// A choice of models that does not hold, with a text for the user.
class ModelSetError : public std::runtime_error {
public:
    enum class Case {
        noSuchFolder,  // the folder that was named is not there
        noStarterSet,  // the program was installed without one
        incompleteHub, // the hub's set was chosen but not (wholly) fetched
    };

    ModelSetError(Case error, const std::string& text) : std::runtime_error(text), error_(error) {}

    Case error() const { return error_; }

private:
    Case error_;
};

// Which models are used: the folder named at the command line; else the set that the user chose; else the hub's when
// it is complete; else the starter set. Looks at the disk at every call. Main context only.
class ModelSets {
public:
    struct Places {
        std::filesystem::path hubRoot;
        std::vector<std::filesystem::path> starterRoots; // the first that is there counts

        // The hub's default root, and the starter set beside the programs: $VARNEL_STARTER_MODELS alone when it is
        // set, else ../share/varnel/models/starter from the program's folder, else `sourceTree` (a build that was
        // not installed; may be empty).
        static Places standard(const std::filesystem::path& programFolder, const std::filesystem::path& sourceTree);
    };

    enum class Reason { named, chosen, complete, fallback };

    struct InUse {
        ModelSet set;
        Reason reason = Reason::fallback;
    };

    ModelSets(Places places, SettingsStore& settings) : places_(std::move(places)), settings_(settings) {}

    ModelSet hub() const { return {ModelSet::Kind::hub, places_.hubRoot}; }

    // None when the program was installed without one.
    std::optional<ModelSet> starter() const;
    // The set that the user chose; none when there was no choice.
    std::optional<ModelSet> chosen() const;

    // Throws ModelSetError.
    InUse inUse(const std::optional<std::filesystem::path>& named = {}) const;

    // Keeps the choice: "hub", "starter" or a folder. Throws ModelSetError for a set that is not there; an incomplete
    // hub set may be chosen before it is fetched.
    ModelSet choose(const std::string& hubStarterOrFolder);

private:
    ModelSet folderSet(const std::filesystem::path& folder) const;

    Places places_;
    SettingsStore& settings_;
};

// One file or bundle that a set should hold.
struct ModelSetItem {
    enum class State { complete, incomplete, missing };
    std::string name;
    State state = State::missing;
    std::uint64_t bytes = 0; // on disk
};

// What a set holds of a repository: its required bundles and its vocabulary, without loading any.
std::vector<ModelSetItem> items(const ModelSet& set, VarnelSpeech::Repo repo);
bool isComplete(const ModelSet& set, VarnelSpeech::Repo repo);

} // namespace Varnel
