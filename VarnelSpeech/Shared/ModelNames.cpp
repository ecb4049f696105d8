#include "VarnelSpeech/Shared/ModelNames.h"

namespace VarnelSpeech {

namespace {

struct RepoNames {
    std::string_view id;
    std::string_view remoteName;
    std::string_view subfolder;
    std::string_view folder;
};

const RepoNames& names(Repo repo) {
    static constexpr std::string_view realtime = "Riogleiz/parakeet-realtime-eou-120m-coreml";
    static constexpr RepoNames vad{"Riogleiz/silero-vad-coreml", "Riogleiz/silero-vad-coreml", "", "silero-vad-coreml"};
    static constexpr RepoNames parakeet{"Riogleiz/parakeet-tdt-0.6b-v3-coreml", "Riogleiz/parakeet-tdt-0.6b-v3-coreml",
                                        "", "parakeet-tdt-0.6b-v3-coreml"};
    static constexpr RepoNames parakeetV2{"Riogleiz/parakeet-tdt-0.6b-v2-coreml",
                                          "Riogleiz/parakeet-tdt-0.6b-v2-coreml", "", "parakeet-tdt-0.6b-v2-coreml"};
    static constexpr RepoNames parakeetEou160{"Riogleiz/parakeet-realtime-eou-120m-coreml/160ms", realtime, "160ms",
                                              "parakeet-eou-streaming/160ms"};
    static constexpr RepoNames parakeetEou320{"Riogleiz/parakeet-realtime-eou-120m-coreml/320ms", realtime, "320ms",
                                              "parakeet-eou-streaming/320ms"};
    static constexpr RepoNames diarizer{"Riogleiz/speaker-diarization-coreml", "Riogleiz/speaker-diarization-coreml",
                                        "", "speaker-diarization-coreml"};
    static constexpr RepoNames kokoro{"Riogleiz/kokoro-82m-coreml", "Riogleiz/kokoro-82m-coreml", "",
                                      "kokoro-82m-coreml"};
    switch (repo) {
    case Repo::vad:
        return vad;
    case Repo::parakeet:
        return parakeet;
    case Repo::parakeetV2:
        return parakeetV2;
    case Repo::parakeetEou160:
        return parakeetEou160;
    case Repo::parakeetEou320:
        return parakeetEou320;
    case Repo::diarizer:
        return diarizer;
    case Repo::kokoro:
        return kokoro;
    }
    return parakeet;
}

template <typename... Names>
std::set<std::string> setOf(Names... names) {
    return {std::string(names)...};
}

} // namespace

std::string_view repositoryId(Repo repo) {
    return names(repo).id;
}

std::string_view remoteName(Repo repo) {
    return names(repo).remoteName;
}

std::string_view remoteSubfolder(Repo repo) {
    return names(repo).subfolder;
}

std::string_view folderName(Repo repo) {
    return names(repo).folder;
}

bool hasTokenizer(Repo repo) {
    return repo == Repo::parakeetEou160 || repo == Repo::parakeetEou320;
}

namespace ModelNames {

std::string_view TTS::fileName(Variant variant) {
    return variant == Variant::fiveSecond ? "kokoro_21_5s.mlmodelc" : "kokoro_21_15s.mlmodelc";
}

bool isBundle(std::string_view name) {
    return name.ends_with(".mlmodelc");
}

std::set<std::string> getRequiredModelNames(Repo repo, std::string_view variant) {
    switch (repo) {
    case Repo::vad:
        return setOf(VAD::silero);
    case Repo::parakeet:
    case Repo::parakeetV2:
        return setOf(ASR::preprocessor, ASR::encoder, ASR::decoder, ASR::joint, ASR::vocabulary);
    case Repo::parakeetEou160:
    case Repo::parakeetEou320:
        return setOf(ParakeetEOU::preprocessor, ParakeetEOU::encoder, ParakeetEOU::decoder, ParakeetEOU::joint,
                     ParakeetEOU::vocabulary);
    case Repo::diarizer:
        if (variant == OfflineDiarizer::variant)
            return setOf(OfflineDiarizer::segmentation, OfflineDiarizer::embedding, OfflineDiarizer::fbank,
                         OfflineDiarizer::pldaRho, OfflineDiarizer::pldaParameters);
        return setOf(Diarizer::segmentation, Diarizer::embedding);
    case Repo::kokoro: {
        const auto five = TTS::fileName(TTS::Variant::fiveSecond);
        const auto fifteen = TTS::fileName(TTS::Variant::fifteenSecond);
        if (variant == five || variant == fifteen)
            return setOf(variant);
        return setOf(five, fifteen);
    }
    }
    return {};
}

std::set<std::string> namesOfOtherVariants(Repo repo, std::string_view variant) {
    if (repo != Repo::diarizer)
        return {};
    if (variant == OfflineDiarizer::variant)
        return getRequiredModelNames(repo);
    auto names = getRequiredModelNames(repo, OfflineDiarizer::variant);
    names.emplace("offline");
    return names;
}

} // namespace ModelNames

} // namespace VarnelSpeech
