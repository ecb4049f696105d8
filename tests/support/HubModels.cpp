#include "support/HubModels.h"

#include "support/OnnxModelBuilder.h"
#include "support/TemporaryFolder.h"

namespace VarnelSpeech::Testing {

namespace {

std::string inSubfolder(Repo repo, const std::string& path) {
    const std::string subfolder(remoteSubfolder(repo));
    if (subfolder.empty() || path.empty())
        return subfolder + path;
    return subfolder + "/" + path;
}

} // namespace

void addModels(TestHub& hub, Repo repo, std::string_view variant, std::size_t parameters) {
    const TemporaryFolder folder;
    const auto size = static_cast<std::int64_t>(parameters);
    std::vector<float> weights(parameters);
    for (std::size_t index = 0; index < parameters; ++index)
        weights[index] = static_cast<float>(index);
    for (const std::string& name : ModelNames::getRequiredModelNames(repo, variant)) {
        if (!ModelNames::isBundle(name)) {
            hub.addFile(std::string(remoteName(repo)), inSubfolder(repo, name), R"({"0": "▁a", "1": "b"})");
            continue;
        }
        OnnxModelBuilder()
            .input("x", {size})
            .constant("weights", {size}, weights)
            .node("Add", {"x", "weights"}, {"y"})
            .output("y", {size})
            .writeBundle(folder / name);
    }
    const std::string subfolder(remoteSubfolder(repo));
    hub.addFolder(std::string(remoteName(repo)), folder.path(), subfolder.empty() ? subfolder : subfolder + "/");
}

std::vector<std::string> bundleNames(Repo repo, std::string_view variant) {
    std::vector<std::string> names;
    for (const std::string& name : ModelNames::getRequiredModelNames(repo, variant))
        if (ModelNames::isBundle(name))
            names.push_back(name);
    return names;
}

std::string hubFilePath(Repo repo, const std::string& path) {
    return TestHub::filePath(std::string(remoteName(repo)), inSubfolder(repo, path));
}

std::string hubListingPath(Repo repo, const std::string& folder) {
    return TestHub::listingPath(std::string(remoteName(repo)), inSubfolder(repo, folder));
}

} // namespace VarnelSpeech::Testing
