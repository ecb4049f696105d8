#pragma once

#include <QByteArray>
#include <QString>

namespace Varnel::ChatReply {

// The text of the first choice of a chat completion; empty when there is no choice. Reads in one pass that keeps
// nothing else. Throws LLMClientError (malformedReply) for what is no JSON (RFC 8259, UTF-8) and for a choice without
// a message of role and content; other members are ignored.
QString text(const QByteArray& json);

// Without what a model thought aloud between "<think>" and "</think>", each pair by itself, and without white space at
// both ends. A "<think>" without its end stays.
QString withoutReasoning(const QString& text);

} // namespace Varnel::ChatReply
