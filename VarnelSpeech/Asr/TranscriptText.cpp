#include "VarnelSpeech/Asr/TranscriptText.h"

#include <algorithm>
#include <array>

namespace VarnelSpeech {

namespace {

constexpr std::string_view wordBoundary = "\xE2\x96\x81"; // U+2581

// The characters of Unicode's property White_Space (PropList.txt), as UTF-8.
constexpr std::array<std::string_view, 25> whiteSpace{
    "\x09",         "\x0A",         "\x0B",         "\x0C",         "\x0D",         " ",
    "\xC2\x85",     "\xC2\xA0",     "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82",
    "\xE2\x80\x83", "\xE2\x80\x84", "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8", "\xE2\x80\xA9", "\xE2\x80\xAF", "\xE2\x81\x9F",
    "\xE3\x80\x80"};

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

} // namespace

std::string withBlanks(std::string_view piece) {
    std::string text;
    text.reserve(piece.size());
    for (std::size_t place = 0; place < piece.size();) {
        if (piece.substr(place, wordBoundary.size()) == wordBoundary) {
            text += ' ';
            place += wordBoundary.size();
        } else {
            text += piece[place++];
        }
    }
    return text;
}

std::string transcriptText(const std::vector<int>& tokenIds, const Vocabulary& vocabulary) {
    std::string joined;
    for (const int tokenId : tokenIds) {
        const auto entry = vocabulary.find(tokenId);
        if (entry != vocabulary.end()) {
            joined += entry->second;
        }
    }
    return std::string(trimmed(withBlanks(joined)));
}

std::string timedTokenText(int tokenId, const Vocabulary& vocabulary) {
    const auto entry = vocabulary.find(tokenId);
    return withBlanks(entry != vocabulary.end() ? entry->second : "token_" + std::to_string(tokenId));
}

bool isBlank(std::string_view text) {
    while (!text.empty()) {
        const auto blank = std::find_if(whiteSpace.begin(), whiteSpace.end(),
                                        [&](std::string_view character) { return text.starts_with(character); });
        if (blank == whiteSpace.end()) {
            return false;
        }
        text.remove_prefix(blank->size());
    }
    return true;
}

} // namespace VarnelSpeech
