#pragma once

#include "VarnelSpeech/Asr/AsrModels.h"

#include <string>
#include <string_view>
#include <vector>

namespace VarnelSpeech {

// The vocabulary's pieces of these tokens joined, word-boundary marks as blanks, without blanks and tabs at both ends.
// Ids that the vocabulary lacks contribute nothing.
std::string transcriptText(const std::vector<int>& tokenIds, const Vocabulary& vocabulary);

// The piece's text for timings: marks as blanks, untrimmed; "token_" and the id where the vocabulary has none.
std::string timedTokenText(int tokenId, const Vocabulary& vocabulary);

// Every "▁" (U+2581, the mark that SentencePiece puts before a word) as a blank.
std::string withBlanks(std::string_view piece);

// Whether UTF-8 text holds nothing but Unicode white space (line ends included). Bytes that are no UTF-8 count as
// text.
bool isBlank(std::string_view text);

} // namespace VarnelSpeech
