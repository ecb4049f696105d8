#include "Varnel/Refinement/AIPostProcessor.h"

#include "Varnel/Platform/ApplicationLog.h"
#include "Varnel/Refinement/AIPrompts.h"
#include "Varnel/Refinement/TrimmedText.h"

#include <algorithm>
#include <utility>

namespace Varnel::AIPostProcessor {

namespace {

struct Question {
    const char* system;
    double temperature;
    double timeout; // seconds
};

const Question namesQuestion{AIPrompts::names, 0.0, 120};
const Question summaryQuestion{AIPrompts::summary, 0.3, 180}; // a server with one queue may take it last
const Question actionItemsQuestion{AIPrompts::actionItems, 0.1, 120};
const Question topicsQuestion{AIPrompts::topics, 0.1, 120};

constexpr qsizetype replyInLog = 500; // characters

QString transcriptMessage(const QString& transcript) {
    return QStringLiteral("Transcript:\n\n") + transcript;
}

QString outputRequest() {
    return QStringLiteral("\n\nOutput:");
}

QCoro::Task<QString> ask(const LLMClient& client, const Question& question, QString message, std::stop_token stop) {
    return client.chat(QString::fromLatin1(question.system), std::move(message), question.temperature, question.timeout,
                       std::move(stop));
}

void logReply(const char* operation, const LLMClient& client, const QString& reply) {
    log(QStringLiteral("AIPostProcessor.%1 raw response: ").arg(QLatin1String(operation)) +
        firstCharacters(client.withoutKey(reply), replyInLog));
}

template <typename Value, typename IsUseless>
void drop(QList<Value>& values, IsUseless isUseless) {
    values.erase(std::remove_if(values.begin(), values.end(), isUseless), values.end());
}

} // namespace

QCoro::Task<QList<NameMatch>> extractNames(LLMClient client, QString transcript, std::optional<QString> invitees,
                                           std::stop_token stop) {
    QString message = transcriptMessage(transcript);
    if (invitees && !invitees->isEmpty())
        message += QStringLiteral("\n\nKnown calendar invitees: ") + *invitees;
    message += outputRequest();
    const QString reply = co_await ask(client, namesQuestion, std::move(message), std::move(stop));
    logReply("extractNames", client, reply);
    QList<NameMatch> matches = LenientReply::names(reply);
    drop(matches, [](const NameMatch& match) { return match.speakerKey.isEmpty() || match.name.isEmpty(); });
    co_return matches;
}

QCoro::Task<std::optional<QString>> summarize(LLMClient client, QString transcript, std::stop_token stop) {
    const QString reply = co_await ask(client, summaryQuestion, transcriptMessage(transcript), std::move(stop));
    const QString summary = reply.trimmed();
    co_return summary.isEmpty() ? std::nullopt : std::optional(summary);
}

QCoro::Task<QList<ActionItem>> extractActionItems(LLMClient client, QString transcript, std::stop_token stop) {
    const QString reply =
        co_await ask(client, actionItemsQuestion, transcriptMessage(transcript) + outputRequest(), std::move(stop));
    logReply("extractActionItems", client, reply);
    QList<ActionItem> items = LenientReply::actionItems(reply);
    drop(items, [](const ActionItem& item) { return trimmedOfBlanks(item.text).isEmpty(); });
    co_return items;
}

QCoro::Task<QList<Topic>> extractTopics(LLMClient client, QString transcript, std::stop_token stop) {
    const QString reply =
        co_await ask(client, topicsQuestion, transcriptMessage(transcript) + outputRequest(), std::move(stop));
    logReply("extractTopics", client, reply);
    QList<Topic> topics = LenientReply::topics(reply);
    drop(topics, [](const Topic& topic) { return trimmedOfBlanks(topic.title).isEmpty(); });
    std::stable_sort(topics.begin(), topics.end(),
                     [](const Topic& left, const Topic& right) { return left.startSeconds < right.startSeconds; });
    co_return topics;
}

std::optional<QString> invitees(const Meeting& meeting) {
    QStringList names;
    const QList<CalendarAttendee> attendees = meeting.calendarAttendees();
    for (const CalendarAttendee& attendee : attendees) {
        if (!attendee.name.isEmpty())
            names += attendee.name;
    }
    return names.isEmpty() ? std::nullopt : std::optional(names.join(QStringLiteral(", ")));
}

} // namespace Varnel::AIPostProcessor
