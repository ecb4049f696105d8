#pragma once

#include <array>
#include <set>
#include <string>
#include <string_view>

namespace VarnelSpeech {

// The model repositories of the hub.
enum class Repo { vad, parakeet, parakeetV2, parakeetEou160, parakeetEou320, diarizer, kokoro };

inline constexpr std::array allRepos{
    Repo::vad,      Repo::parakeet, Repo::parakeetV2, Repo::parakeetEou160, Repo::parakeetEou320,
    Repo::diarizer, Repo::kokoro};

// The repository's id, with the folder inside it that the two end-of-utterance sets have.
std::string_view repositoryId(Repo repo);
// The repository to list and to fetch from, without that folder.
std::string_view remoteName(Repo repo);
// The path prefix inside the repository, empty for most.
std::string_view remoteSubfolder(Repo repo);
// The folder of the set below the models' root, such as "parakeet-tdt-0.6b-v3-coreml".
std::string_view folderName(Repo repo);
// Whether the repository delivers a tokenizer ("*.model") beside its networks.
bool hasTokenizer(Repo repo);

namespace ModelNames {
namespace ASR {
inline constexpr std::string_view preprocessor = "Preprocessor.mlmodelc";
inline constexpr std::string_view encoder = "Encoder.mlmodelc";
inline constexpr std::string_view decoder = "Decoder.mlmodelc";
inline constexpr std::string_view joint = "JointDecision.mlmodelc";
inline constexpr std::string_view vocabulary = "parakeet_vocab.json";
} // namespace ASR

namespace Diarizer {
inline constexpr std::string_view segmentation = "pyannote_segmentation.mlmodelc";
inline constexpr std::string_view embedding = "wespeaker_v2.mlmodelc";
} // namespace Diarizer

namespace OfflineDiarizer {
inline constexpr std::string_view variant = "offline";
inline constexpr std::string_view segmentation = "Segmentation.mlmodelc";
inline constexpr std::string_view embedding = "Embedding.mlmodelc";
inline constexpr std::string_view fbank = "FBank.mlmodelc";
inline constexpr std::string_view pldaRho = "PldaRho.mlmodelc";
inline constexpr std::string_view pldaParameters = "plda-parameters.json";
} // namespace OfflineDiarizer

namespace VAD {
inline constexpr std::string_view silero = "silero-vad-unified-256ms-v6.0.0.mlmodelc";
} // namespace VAD

namespace ParakeetEOU {
inline constexpr std::string_view preprocessor = "parakeet_eou_preprocessor.mlmodelc";
inline constexpr std::string_view encoder = "streaming_encoder.mlmodelc";
inline constexpr std::string_view decoder = "decoder.mlmodelc";
inline constexpr std::string_view joint = "joint_decision.mlmodelc";
inline constexpr std::string_view vocabulary = "vocab.json";
inline constexpr std::string_view tokenizer = "tokenizer.model";
} // namespace ParakeetEOU

namespace TTS {
enum class Variant { fiveSecond, fifteenSecond };
std::string_view fileName(Variant variant);
} // namespace TTS

// Whether a name is that of a bundle, a directory, and not of a data file.
bool isBundle(std::string_view name);

// What must be on disk for a repository: its bundles, and its vocabulary where it has one. The variant chooses among
// the files of `kokoro` (the name of one bundle; any other: both) and between the two sets of `diarizer` (none: the
// chunked diarizer's two bundles; "offline": the other one's four and "plda-parameters.json").
std::set<std::string> getRequiredModelNames(Repo repo, std::string_view variant = {});

// What lies in the same folder but belongs to the repository's other variants alone, so that a failure of this one
// leaves it in place. Empty for all but `diarizer`.
std::set<std::string> namesOfOtherVariants(Repo repo, std::string_view variant);
} // namespace ModelNames

} // namespace VarnelSpeech
