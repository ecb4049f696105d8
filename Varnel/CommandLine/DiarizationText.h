#pragma once

#include "Varnel/CommandLine/TerminalColors.h"
#include "VarnelSpeech/Diarizer/DiarizationResult.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace Varnel::CommandLine {

// Who spoke when, in the forms that `diarize` prints. Segments come in the order of their starts.

// A row a segment, and the speakers with the time that each spoke.
std::string diarizationTable(const VarnelSpeech::DiarizationResult& result, TerminalColors colors);

// SPEAKER lines of Rich Transcription Time Marked.
std::string diarizationRttm(const VarnelSpeech::DiarizationResult& result, std::string_view recording);

enum class Embeddings { included, leftOut };

// An array of objects under the segments' field names.
nlohmann::ordered_json diarizationJson(const VarnelSpeech::DiarizationResult& result, Embeddings embeddings);

} // namespace Varnel::CommandLine
