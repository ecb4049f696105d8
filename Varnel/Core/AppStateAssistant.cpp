// The language model's run over a meeting.

#include "Varnel/Core/AppState.h"
#include "Varnel/Core/AssistantAnswers.h"
#include "Varnel/Refinement/AIPostProcessor.h"
#include "Varnel/Refinement/Export.h"

#include <QPointer>

#include <exception>
#include <functional>
#include <utility>

namespace Varnel {

namespace {

// What the questions are about.
struct Material {
    QString transcript;
    std::optional<QString> invitees;
};

// None for a meeting that is not there, cannot be read, or has no lines.
std::optional<Material> materialOf(const std::shared_ptr<Meeting>& meeting) {
    try {
        if (meeting && !meeting->segments().empty())
            return Material{Export::plainText(*meeting), AIPostProcessor::invitees(*meeting)};
    } catch (const std::exception&) {
    }
    return std::nullopt;
}

using Report = std::function<void(const QString& failure)>;

// A step's answer; an empty one when it fails, which is reported.
template <typename Answer>
QCoro::Task<Answer> answer(QCoro::Task<Answer> step, QString prefix, Report report) {
    QString failure;
    try {
        co_return co_await step;
    } catch (const std::exception& error) {
        failure = QString::fromUtf8(error.what());
    }
    report(prefix + failure);
    co_return Answer{};
}

// All four questions are out before the first answer is waited for.
QCoro::Task<AssistantAnswers> askEverything(LLMClient client, Material material, std::stop_token stop, Report report) {
    const QString& transcript = material.transcript;
    auto names = AIPostProcessor::extractNames(client, transcript, material.invitees, stop);
    auto summary = AIPostProcessor::summarize(client, transcript, stop);
    auto actionItems = AIPostProcessor::extractActionItems(client, transcript, stop);
    auto topics = AIPostProcessor::extractTopics(client, transcript, stop);
    AssistantAnswers answers;
    answers.names = co_await answer(std::move(names), QStringLiteral("Name extraction failed: "), report);
    answers.summary = co_await answer(std::move(summary), QStringLiteral("Summary failed: "), report);
    answers.actionItems = co_await answer(std::move(actionItems), QStringLiteral("Action items failed: "), report);
    answers.topics = co_await answer(std::move(topics), QStringLiteral("Topics failed: "), report);
    co_return answers;
}

} // namespace

void AppState::startAI(const QUuid& meetingID) {
    if (httpClient_ == nullptr || !settings_.boolean(SettingKeys::aiEnabled))
        return;
    QMetaObject::invokeMethod(
        this, [this, meetingID] { runAI(meetingID); }, Qt::QueuedConnection);
}

QCoro::Task<> AppState::runAI(QUuid meetingID, std::stop_token stop) {
    if (httpClient_ == nullptr)
        co_return;
    if (!settings_.boolean(SettingKeys::aiEnabled)) {
        setLastAIError(QStringLiteral("AI assistant is disabled in Settings."));
        co_return;
    }
    const auto config = LLMConfig::fromDefaults(settings_);
    if (!config) {
        setLastAIError(QStringLiteral("Invalid AI base URL in Settings."));
        co_return;
    }
    std::optional<Material> material = materialOf(fetchMeeting(meetingID));
    if (!material) {
        setLastAIError(QStringLiteral("Nothing to process - wait for transcription to finish."));
        co_return;
    }
    setAIProcessing(meetingID, true);
    setLastAIError(std::nullopt);

    const QPointer<AppState> self(this);
    std::stop_source asking; // stopped by the caller, or by the end of this object
    const std::stop_callback byCaller(std::move(stop), [asking]() mutable { asking.request_stop(); });
    const std::stop_callback byEnd(assistantStop_.get_token(), [asking]() mutable { asking.request_stop(); });
    const Report report = [self, asking](const QString& failure) {
        if (self && !asking.stop_requested())
            self->setLastAIError(failure);
    };
    const AssistantAnswers answers =
        co_await askEverything(LLMClient(*config, *httpClient_), *std::move(material), asking.get_token(), report);
    if (!self)
        co_return;
    if (!asking.stop_requested()) // what was not answered replaces nothing
        storeAnswers(meetingID, answers);
    setAIProcessing(meetingID, false);
}

void AppState::storeAnswers(const QUuid& meetingID, const AssistantAnswers& answers) {
    const auto meeting = fetchMeeting(meetingID);
    if (!meeting)
        return;
    try {
        answers.store(*meeting);
    } catch (const std::exception&) { // the speakers cannot be read
    }
    saveIgnoringFailure();
}

void AppState::dismissLastAIError() {
    setLastAIError(std::nullopt);
}

void AppState::setAIProcessing(const QUuid& meetingID, bool isProcessing) {
    const bool was = aiProcessingMeetingIDs_.contains(meetingID);
    if (isProcessing)
        aiProcessingMeetingIDs_.insert(meetingID);
    else
        aiProcessingMeetingIDs_.remove(meetingID);
    if (was != isProcessing)
        Q_EMIT aiProcessingMeetingIDsChanged();
}

void AppState::setLastAIError(std::optional<QString> error) {
    if (lastAIError_ == error)
        return;
    lastAIError_ = std::move(error);
    Q_EMIT lastAIErrorChanged();
}

} // namespace Varnel
