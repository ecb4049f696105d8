#pragma once

#include "Varnel/Models/Meeting.h"
#include "Varnel/Refinement/LLMClient.h"
#include "Varnel/Refinement/LenientReply.h"

#include <QCoroTask>
#include <QList>
#include <QString>

#include <optional>
#include <stop_token>

namespace Varnel::AIPostProcessor {

// What a language model is asked about a transcript: its prompts, and how its replies are read. Each operation is one
// request and fails with what LLMClient::chat fails with; a reply that cannot be read is an empty list, and no error.
// Logs the beginning of each list's reply. Main context only.

// Who is behind the anonymous labels. `invitees`: names that are likely, if any are known.
QCoro::Task<QList<NameMatch>> extractNames(LLMClient client, QString transcript, std::optional<QString> invitees,
                                           std::stop_token stop = {});
// Markdown bullets; none when the model said nothing.
QCoro::Task<std::optional<QString>> summarize(LLMClient client, QString transcript, std::stop_token stop = {});
QCoro::Task<QList<ActionItem>> extractActionItems(LLMClient client, QString transcript, std::stop_token stop = {});
// By their beginnings.
QCoro::Task<QList<Topic>> extractTopics(LLMClient client, QString transcript, std::stop_token stop = {});

// The names of the meeting's calendar attendees, "Ana, Bo"; none when nobody has one.
std::optional<QString> invitees(const Meeting& meeting);

} // namespace Varnel::AIPostProcessor
