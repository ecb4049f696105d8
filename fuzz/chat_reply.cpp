// Any bytes as the reply of a chat endpoint: a text or an error, and lists that hold nothing but what was said.
#include "Varnel/Refinement/ChatReply.h"
#include "Varnel/Refinement/LLMClientError.h"
#include "Varnel/Refinement/LenientReply.h"

#include <cstdint>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

// Where nothing is escaped, what was read stands in the reply as it is.
void requireListsFrom(const QString& reply) {
    const auto names = Varnel::LenientReply::names(reply);
    const auto items = Varnel::LenientReply::actionItems(reply);
    const auto topics = Varnel::LenientReply::topics(reply);
    if (reply.contains(u'\\'))
        return;
    for (const auto& match : names)
        require(reply.contains(match.speakerKey) && reply.contains(match.name));
    for (const auto& item : items)
        require(reply.contains(item.text) && reply.contains(item.assignee.value_or(QString())));
    for (const auto& topic : topics)
        require(reply.contains(topic.title));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    requireListsFrom(QString::fromUtf8(bytes));
    try {
        const QString text = Varnel::ChatReply::text(bytes);
        const QString cleaned = Varnel::ChatReply::withoutReasoning(text);
        require(cleaned.size() <= text.size());
        requireListsFrom(cleaned);
    } catch (const Varnel::LLMClientError&) {
    }
    return 0;
}
