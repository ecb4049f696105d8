#include "Varnel/CommandLine/ModelVerification.h"

#include "Varnel/CommandLine/ErrorLine.h"
#include "VarnelSpeech/Asr/AsrModels.h"
#include "VarnelSpeech/Diarizer/DiarizerModels.h"
#include "VarnelSpeech/Inference/ModelBundle.h"

#include <algorithm>

namespace Varnel::CommandLine {

namespace {

std::string problemOf(const std::filesystem::path& bundle) {
    try {
        VarnelSpeech::ModelBundle::read(bundle).verify();
        return {};
    } catch (const std::exception& error) {
        return describe(error);
    }
}

std::string problemOfLoading(const ModelSet& set, VarnelSpeech::Repo repo) {
    using namespace VarnelSpeech;
    try {
        MLModelConfiguration configuration;
        configuration.computeUnits = MLComputeUnits::cpuOnly;
        if (repo == Repo::diarizer)
            DiarizerModels::load(ModelPaths::inFolder(set.folder(repo)), configuration);
        else
            AsrModels::load(set.folder(repo), configuration, AsrModelVersion::v3, DownloadUtils::Fetching::never);
        return {};
    } catch (const std::exception& error) {
        return describe(error);
    }
}

} // namespace

std::vector<ModelVerdict> verifyModels(const ModelSet& set, VarnelSpeech::Repo repo) {
    std::vector<ModelVerdict> verdicts;
    for (const ModelSetItem& item : items(set, repo)) {
        ModelVerdict verdict{item.name, {}, item.bytes};
        if (item.state == ModelSetItem::State::missing)
            verdict.problem = "is missing";
        else if (std::filesystem::path(item.name).extension() == ".mlmodelc")
            verdict.problem = problemOf(set.folder(repo) / item.name);
        else if (item.bytes == 0)
            verdict.problem = "is empty";
        verdicts.push_back(std::move(verdict));
    }
    const bool allGood =
        std::all_of(verdicts.begin(), verdicts.end(), [](const ModelVerdict& verdict) { return verdict.isGood(); });
    if (allGood)
        verdicts.push_back({"loads and fits together", problemOfLoading(set, repo), 0});
    return verdicts;
}

} // namespace Varnel::CommandLine
