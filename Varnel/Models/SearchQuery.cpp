#include "Varnel/Models/SearchQuery.h"

#include "Varnel/Models/StorableText.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Varnel {

namespace {

QString trimmed(const QString& query) {
    const auto isBlank = [](QChar character) {
        return character == u'\t' || character.category() == QChar::Separator_Space;
    };
    qsizetype begin = 0;
    qsizetype end = query.size();
    while (begin < end && isBlank(query.at(begin))) {
        ++begin;
    }
    while (end > begin && isBlank(query.at(end - 1))) {
        --end;
    }
    return query.mid(begin, end - begin);
}

bool holds(std::string_view text, std::string_view needle) {
    return ::memmem(text.data(), text.size(), needle.data(), needle.size()) != nullptr;
}

// Into `to`, ASCII letters lower-cased. A loop that the compiler makes wide.
void lowerAscii(const char* from, std::size_t size, char* to) {
    for (std::size_t index = 0; index < size; ++index) {
        const char character = from[index];
        const bool isUpper = character >= 'A' && character <= 'Z';
        to[index] = static_cast<char>(character | (isUpper ? 0x20 : 0));
    }
}

// Calls `use` with the lower-cased text.
template <typename Use>
void withLowerCased(std::string_view text, std::string_view folded, Use use) {
    if (folded.data() != nullptr) {
        use(folded);
        return;
    }
    std::array<char, 4096> buffer;
    if (text.size() <= buffer.size()) {
        lowerAscii(text.data(), text.size(), buffer.data());
        use(std::string_view(buffer.data(), text.size()));
        return;
    }
    std::string lowered(text.size(), '\0');
    lowerAscii(text.data(), text.size(), lowered.data());
    use(std::string_view(lowered));
}

} // namespace

SearchQuery::SearchQuery(const QString& typed) : needle_(storable(trimmed(typed)).toLower().toStdString()) {
    const std::u32string characters = QString::fromStdString(needle_).toStdU32String();
    if (characters.size() < 3) {
        return;
    }
    const std::size_t available = characters.size() - 2;
    const std::size_t taken = std::min(available, mostTrigrams);
    for (std::size_t index = 0; index < taken; ++index) {
        const std::size_t at = index * available / taken;
        std::string trigram = QString::fromStdU32String(characters.substr(at, 3)).toStdString();
        if (std::find(trigrams_.begin(), trigrams_.end(), trigram) == trigrams_.end()) {
            trigrams_.push_back(std::move(trigram));
        }
    }
}

bool SearchQuery::isIn(std::string_view text, std::string_view folded) const {
    bool result = false;
    withLowerCased(text, folded, [&](std::string_view lowered) { result = holds(lowered, needle_); });
    return result;
}

void SearchQuery::countTrigrams(std::string_view text, std::string_view folded, std::vector<int>& counts) const {
    withLowerCased(text, folded, [&](std::string_view lowered) {
        for (std::size_t index = 0; index < trigrams_.size(); ++index) {
            counts[index] += holds(lowered, trigrams_[index]) ? 1 : 0;
        }
    });
}

} // namespace Varnel
