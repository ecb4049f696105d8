#include "VarnelSpeech/Shared/ModelNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VarnelSpeech {
namespace {

using testing::UnorderedElementsAre;

TEST(Repo, HasItsIdAndItsFolder) {
    const auto describe = [](Repo repo) { return std::pair(repositoryId(repo), folderName(repo)); };
    using P = std::pair<std::string_view, std::string_view>;
    EXPECT_EQ(describe(Repo::vad), P("Riogleiz/silero-vad-coreml", "silero-vad-coreml"));
    EXPECT_EQ(describe(Repo::parakeet), P("Riogleiz/parakeet-tdt-0.6b-v3-coreml", "parakeet-tdt-0.6b-v3-coreml"));
    EXPECT_EQ(describe(Repo::parakeetV2), P("Riogleiz/parakeet-tdt-0.6b-v2-coreml", "parakeet-tdt-0.6b-v2-coreml"));
    EXPECT_EQ(describe(Repo::parakeetEou160),
              P("Riogleiz/parakeet-realtime-eou-120m-coreml/160ms", "parakeet-eou-streaming/160ms"));
    EXPECT_EQ(describe(Repo::parakeetEou320),
              P("Riogleiz/parakeet-realtime-eou-120m-coreml/320ms", "parakeet-eou-streaming/320ms"));
    EXPECT_EQ(describe(Repo::diarizer), P("Riogleiz/speaker-diarization-coreml", "speaker-diarization-coreml"));
    EXPECT_EQ(describe(Repo::kokoro), P("Riogleiz/kokoro-82m-coreml", "kokoro-82m-coreml"));
}

TEST(Repo, IsListedInItsRepositoryWithTheSubfolderAsPrefix) {
    for (const Repo repo : allRepos) {
        const std::string prefix(remoteSubfolder(repo));
        EXPECT_EQ(repositoryId(repo), std::string(remoteName(repo)) + (prefix.empty() ? "" : "/") + prefix);
    }
    EXPECT_EQ(remoteName(Repo::parakeetEou320), "Riogleiz/parakeet-realtime-eou-120m-coreml");
    EXPECT_EQ(remoteSubfolder(Repo::parakeetEou160), "160ms");
    EXPECT_EQ(remoteSubfolder(Repo::parakeetEou320), "320ms");
    EXPECT_EQ(remoteSubfolder(Repo::parakeet), "");
}

TEST(RequiredModelNames, AreTheBundlesAndTheVocabulary) {
    using ModelNames::getRequiredModelNames;
    for (const Repo repo : {Repo::parakeet, Repo::parakeetV2})
        EXPECT_THAT(getRequiredModelNames(repo),
                    UnorderedElementsAre("Preprocessor.mlmodelc", "Encoder.mlmodelc", "Decoder.mlmodelc",
                                         "JointDecision.mlmodelc", "parakeet_vocab.json"));
    for (const Repo repo : {Repo::parakeetEou160, Repo::parakeetEou320})
        EXPECT_THAT(getRequiredModelNames(repo),
                    UnorderedElementsAre("parakeet_eou_preprocessor.mlmodelc", "streaming_encoder.mlmodelc",
                                         "decoder.mlmodelc", "joint_decision.mlmodelc", "vocab.json"));
    EXPECT_THAT(getRequiredModelNames(Repo::vad), UnorderedElementsAre("silero-vad-unified-256ms-v6.0.0.mlmodelc"));
}

TEST(RequiredModelNames, OfTheDiarizerAreThoseOfTheVariant) {
    EXPECT_THAT(ModelNames::getRequiredModelNames(Repo::diarizer),
                UnorderedElementsAre("pyannote_segmentation.mlmodelc", "wespeaker_v2.mlmodelc"));
    EXPECT_THAT(ModelNames::getRequiredModelNames(Repo::diarizer, "offline"),
                UnorderedElementsAre("Segmentation.mlmodelc", "Embedding.mlmodelc", "FBank.mlmodelc",
                                     "PldaRho.mlmodelc", "plda-parameters.json"));
}

TEST(RequiredModelNames, OfTheSpeechSynthesizerAreThoseOfTheVariant) {
    const std::string five(ModelNames::TTS::fileName(ModelNames::TTS::Variant::fiveSecond));
    const std::string fifteen(ModelNames::TTS::fileName(ModelNames::TTS::Variant::fifteenSecond));
    EXPECT_EQ(five, "kokoro_21_5s.mlmodelc");
    EXPECT_EQ(fifteen, "kokoro_21_15s.mlmodelc");
    EXPECT_THAT(ModelNames::getRequiredModelNames(Repo::kokoro, five), UnorderedElementsAre(five));
    EXPECT_THAT(ModelNames::getRequiredModelNames(Repo::kokoro, fifteen), UnorderedElementsAre(fifteen));
    EXPECT_THAT(ModelNames::getRequiredModelNames(Repo::kokoro), UnorderedElementsAre(five, fifteen));
}

TEST(NamesOfOtherVariants, AreDisjointFromTheVariantsOwn) {
    for (const std::string_view variant : {"", "offline"}) {
        const auto own = ModelNames::getRequiredModelNames(Repo::diarizer, variant);
        const auto others = ModelNames::namesOfOtherVariants(Repo::diarizer, variant);
        EXPECT_FALSE(others.empty());
        for (const std::string& name : own)
            EXPECT_FALSE(others.contains(name)) << name;
    }
    EXPECT_TRUE(ModelNames::namesOfOtherVariants(Repo::parakeet, "").empty());
}

TEST(Tokenizer, ComesWithTheEndOfUtteranceSetsAlone) {
    for (const Repo repo : allRepos)
        EXPECT_EQ(hasTokenizer(repo), repo == Repo::parakeetEou160 || repo == Repo::parakeetEou320);
}

} // namespace
} // namespace VarnelSpeech
