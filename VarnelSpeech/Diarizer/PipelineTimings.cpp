#include "VarnelSpeech/Diarizer/PipelineTimings.h"

#include <nlohmann/json.hpp>

#include <array>
#include <stdexcept>
#include <utility>

namespace VarnelSpeech {

namespace {

using Json = nlohmann::ordered_json;
using Stage = std::pair<const char*, double PipelineTimings::*>;

constexpr std::array<Stage, 6> stages{{{"Model Compilation", &PipelineTimings::modelCompilationSeconds},
                                       {"Audio Loading", &PipelineTimings::audioLoadingSeconds},
                                       {"Segmentation", &PipelineTimings::segmentationSeconds},
                                       {"Embedding Extraction", &PipelineTimings::embeddingExtractionSeconds},
                                       {"Speaker Clustering", &PipelineTimings::speakerClusteringSeconds},
                                       {"Post Processing", &PipelineTimings::postProcessingSeconds}}};

constexpr std::array<Stage, 8> fields{{{"modelCompilationSeconds", &PipelineTimings::modelCompilationSeconds},
                                       {"audioLoadingSeconds", &PipelineTimings::audioLoadingSeconds},
                                       {"segmentationSeconds", &PipelineTimings::segmentationSeconds},
                                       {"embeddingExtractionSeconds", &PipelineTimings::embeddingExtractionSeconds},
                                       {"speakerClusteringSeconds", &PipelineTimings::speakerClusteringSeconds},
                                       {"postProcessingSeconds", &PipelineTimings::postProcessingSeconds},
                                       {"totalInferenceSeconds", &PipelineTimings::totalInferenceSeconds},
                                       {"totalProcessingSeconds", &PipelineTimings::totalProcessingSeconds}}};

} // namespace

PipelineTimings::PipelineTimings(double modelCompilation, double audioLoading, double segmentation,
                                 double embeddingExtraction, double speakerClustering, double postProcessing)
    : modelCompilationSeconds(modelCompilation),
      audioLoadingSeconds(audioLoading),
      segmentationSeconds(segmentation),
      embeddingExtractionSeconds(embeddingExtraction),
      speakerClusteringSeconds(speakerClustering),
      postProcessingSeconds(postProcessing),
      totalInferenceSeconds(segmentation + embeddingExtraction + speakerClustering),
      totalProcessingSeconds(modelCompilation + audioLoading + segmentation + embeddingExtraction + speakerClustering +
                             postProcessing) {}

std::map<std::string, double> PipelineTimings::stagePercentages() const {
    std::map<std::string, double> percentages;
    if (totalProcessingSeconds > 0)
        for (const auto& [label, seconds] : stages)
            percentages[label] = 100 * (this->*seconds) / totalProcessingSeconds;
    return percentages;
}

std::string PipelineTimings::bottleneckStage() const {
    const Stage* slowest = &stages.front();
    for (const Stage& stage : stages)
        if (this->*stage.second > this->*slowest->second)
            slowest = &stage;
    return slowest->first;
}

std::string PipelineTimings::toJson() const {
    Json json = Json::object();
    for (const auto& [name, seconds] : fields)
        json[name] = this->*seconds;
    return json.dump();
}

PipelineTimings PipelineTimings::fromJson(const std::string& json) {
    try {
        const Json object = Json::parse(json);
        PipelineTimings timings;
        for (const auto& [name, seconds] : fields) {
            const Json& value = object.at(name);
            if (!value.is_number())
                throw std::invalid_argument(std::string("not pipeline timings: '") + name + "' is not a number");
            timings.*seconds = value.get<double>();
        }
        return timings;
    } catch (const Json::exception& error) {
        throw std::invalid_argument(std::string("not pipeline timings: ") + error.what());
    }
}

} // namespace VarnelSpeech
