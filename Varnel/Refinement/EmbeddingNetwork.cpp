#include "Varnel/Refinement/EmbeddingNetwork.h"

#include "VarnelSpeech/Inference/ModelBundle.h"

#include <exception>

namespace Varnel {

EmbeddingNetwork::EmbeddingNetwork(const ModelSet& set)
    : bundle_(set.folder(VarnelSpeech::Repo::diarizer) / VarnelSpeech::ModelNames::Diarizer::embedding) {}

std::optional<QString> EmbeddingNetwork::digest() const {
    if (bundle_.empty())
        return std::nullopt;
    try {
        const auto bundle = VarnelSpeech::ModelBundle::read(bundle_);
        return QString::fromStdString(bundle.files.at(VarnelSpeech::ModelBundle::networkName).sha256);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace Varnel
