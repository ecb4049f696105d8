#pragma once

#include <map>
#include <string>

namespace VarnelSpeech {

// How long each stage of a diarization took, in seconds.
struct PipelineTimings {
    PipelineTimings() = default;
    // Derives the two totals.
    PipelineTimings(double modelCompilation, double audioLoading, double segmentation, double embeddingExtraction,
                    double speakerClustering, double postProcessing);

    double modelCompilationSeconds = 0;
    double audioLoadingSeconds = 0;
    double segmentationSeconds = 0;
    double embeddingExtractionSeconds = 0;
    double speakerClusteringSeconds = 0;
    double postProcessingSeconds = 0;
    double totalInferenceSeconds = 0;  // segmentation, embedding and clustering
    double totalProcessingSeconds = 0; // all six

    bool operator==(const PipelineTimings&) const = default;

    // Stage ("Model Compilation", "Audio Loading", "Segmentation", "Embedding Extraction", "Speaker Clustering",
    // "Post Processing") to its share of the whole in per cent. Empty when the whole is not above 0.
    std::map<std::string, double> stagePercentages() const;
    // The stage that took longest, the earlier of two.
    std::string bottleneckStage() const;

    // JSON with the fields' names as keys.
    std::string toJson() const;
    // Throws std::invalid_argument for text that is not such an object.
    static PipelineTimings fromJson(const std::string& json);
};

} // namespace VarnelSpeech
