#include "Varnel/Refinement/ModelSets.h"

#include "VarnelSpeech/Inference/ModelBundle.h"
#include "VarnelSpeech/Shared/PrintableText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <system_error>

namespace Varnel {

namespace fs = std::filesystem;
using VarnelSpeech::Repo;

namespace {

const QString modelSetKey = QStringLiteral("linux/modelSet");

fs::path pathOf(const QString& text) {
    return fs::path(text.toStdString());
}

std::uint64_t sizeOf(const fs::path& path) {
    std::error_code error;
    if (fs::is_regular_file(path, error)) {
        const auto bytes = fs::file_size(path, error);
        return error ? 0 : bytes;
    }
    std::uint64_t sum = 0;
    for (fs::recursive_directory_iterator it(path, error), end; !error && it != end; it.increment(error)) {
        std::error_code fileError;
        if (it->is_regular_file(fileError)) {
            const auto bytes = it->file_size(fileError);
            sum += fileError ? 0 : bytes;
        }
    }
    return sum;
}

// Whether a bundle holds every file that its manifest names, in the size that it names.
bool isBundleComplete(const fs::path& folder) {
    try {
        const auto bundle = VarnelSpeech::ModelBundle::read(folder);
        return std::all_of(bundle.files.begin(), bundle.files.end(), [&](const auto& entry) {
            std::error_code error;
            return fs::is_regular_file(folder / entry.first, error) &&
                   sizeOf(folder / entry.first) == entry.second.size;
        });
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

VarnelSpeech::DownloadUtils::Fetching ModelSet::fetching() const {
    using VarnelSpeech::DownloadUtils::Fetching;
    return kind == Kind::hub ? Fetching::whenMissing : Fetching::never;
}

QString name(const ModelSet& set) {
    switch (set.kind) {
    case ModelSet::Kind::hub:
        return QStringLiteral("hub");
    case ModelSet::Kind::starter:
        return QStringLiteral("starter");
    case ModelSet::Kind::folder:
        break;
    }
    return QString::fromStdString(set.root.string());
}

ModelSets::Places ModelSets::Places::standard(const fs::path& programFolder, const fs::path& sourceTree) {
    Places places;
    places.hubRoot = VarnelSpeech::DownloadUtils::defaultModelsRoot();
    if (const char* named = std::getenv("VARNEL_STARTER_MODELS"); named != nullptr && *named != '\0') {
        places.starterRoots.emplace_back(named);
        return places;
    }
    if (!programFolder.empty())
        places.starterRoots.push_back((programFolder / "../share/varnel/models/starter").lexically_normal());
    if (!sourceTree.empty())
        places.starterRoots.push_back(sourceTree);
    return places;
}

std::optional<ModelSet> ModelSets::starter() const {
    for (const fs::path& root : places_.starterRoots) {
        std::error_code error;
        if (fs::is_directory(root, error))
            return ModelSet{ModelSet::Kind::starter, root};
    }
    return std::nullopt;
}

std::optional<ModelSet> ModelSets::chosen() const {
    const std::optional<QString> choice = settings_.value(modelSetKey);
    if (!choice || choice->isEmpty())
        return std::nullopt;
    if (*choice == QLatin1String("hub"))
        return hub();
    if (*choice == QLatin1String("starter")) {
        if (auto set = starter())
            return set;
        throw ModelSetError(ModelSetError::Case::noStarterSet,
                            "the starter models are chosen, but the program was installed without them");
    }
    return folderSet(pathOf(*choice));
}

ModelSet ModelSets::folderSet(const fs::path& folder) const {
    std::error_code error;
    if (!fs::is_directory(folder, error))
        throw ModelSetError(ModelSetError::Case::noSuchFolder, fmt::format("there is no folder '{}' with models",
                                                                           VarnelSpeech::printable(folder.string())));
    return {ModelSet::Kind::folder, fs::absolute(folder)};
}

ModelSets::InUse ModelSets::inUse(const std::optional<fs::path>& named) const {
    if (named)
        return {folderSet(*named), Reason::named};
    if (auto set = chosen()) {
        if (set->kind == ModelSet::Kind::hub && !isComplete(*set, Repo::parakeet))
            throw ModelSetError(ModelSetError::Case::incompleteHub,
                                "the hub's models are chosen, but not all of them are there; "
                                "'varnel models fetch' fetches them, 'varnel models use starter' goes back");
        return {*set, Reason::chosen};
    }
    if (isComplete(hub(), Repo::parakeet))
        return {hub(), Reason::complete};
    if (auto set = starter())
        return {*set, Reason::fallback};
    throw ModelSetError(ModelSetError::Case::noStarterSet,
                        "there are no models: the program was installed without the starter models, and none were "
                        "fetched; 'varnel models fetch' fetches them");
}

ModelSet ModelSets::choose(const std::string& hubStarterOrFolder) {
    ModelSet set = hub();
    if (hubStarterOrFolder == "starter") {
        const auto found = starter();
        if (!found)
            throw ModelSetError(ModelSetError::Case::noStarterSet, "the program was installed without starter models");
        set = *found;
    } else if (hubStarterOrFolder != "hub") {
        set = folderSet(hubStarterOrFolder);
        if (pathOf(name(set)) != set.root)
            throw ModelSetError(ModelSetError::Case::noSuchFolder,
                                fmt::format("the folder's name '{}' is not UTF-8 and cannot be kept in the settings",
                                            VarnelSpeech::printable(set.root.string())));
    }
    settings_.setValue(modelSetKey, name(set));
    return set;
}

std::vector<ModelSetItem> items(const ModelSet& set, Repo repo) {
    std::vector<ModelSetItem> result;
    const fs::path folder = set.folder(repo);
    const auto add = [&](const std::string& name, bool complete) {
        std::error_code error;
        const fs::path path = folder / name;
        const auto state = complete                  ? ModelSetItem::State::complete
                           : fs::exists(path, error) ? ModelSetItem::State::incomplete
                                                     : ModelSetItem::State::missing;
        result.push_back({name, state, sizeOf(path)});
    };
    for (const std::string& name : VarnelSpeech::ModelNames::getRequiredModelNames(repo)) {
        const bool isBundle = fs::path(name).extension() == ".mlmodelc";
        add(name, isBundle ? isBundleComplete(folder / name) : sizeOf(folder / name) > 0);
    }
    return result;
}

bool isComplete(const ModelSet& set, Repo repo) {
    if (VarnelSpeech::DownloadUtils::isFetchUnfinished(set.folder(repo)))
        return false;
    const auto all = items(set, repo);
    return std::all_of(all.begin(), all.end(),
                       [](const ModelSetItem& item) { return item.state == ModelSetItem::State::complete; });
}

} // namespace Varnel
