#include "Varnel/Core/FileTranscription.h"

#include "Varnel/Core/RecordingsFolder.h"
#include "Varnel/Core/SpeakerBuilding.h"
#include "Varnel/Core/VoiceMatching.h"

#include <QFile>

#include <system_error>
#include <utility>

namespace Varnel {

FileTranscription::FileTranscription(ModelContext& context, const Clock& clock, std::filesystem::path recordingsFolder,
                                     EmbeddingNetwork embeddingNetwork)
    : context_(context),
      clock_(clock),
      recordingsFolder_(std::move(recordingsFolder)),
      embeddingNetwork_(std::move(embeddingNetwork)) {}

std::shared_ptr<Meeting> FileTranscription::save(const std::filesystem::path& file, const Output& output) {
    const std::filesystem::path audio = copyIntoRecordings(file, recordingsFolder_, QUuid::createUuid());
    std::shared_ptr<Meeting> meeting;
    try {
        meeting = insertMeeting(QString::fromStdString(file.stem().string()), audio, output);
        context_.save();
        return meeting;
    } catch (...) {
        if (meeting)
            context_.remove(meeting);
        std::error_code ignored;
        std::filesystem::remove(audio, ignored);
        throw;
    }
}

std::shared_ptr<Meeting> FileTranscription::insertMeeting(const QString& title, const std::filesystem::path& audio,
                                                          const Output& output) {
    const QUuid id = QUuid::createUuid();
    auto meeting = std::make_shared<Meeting>(id, title, clock_.now(), std::nullopt,
                                             QFile::decodeName(QByteArray::fromStdString(audio.string())), std::nullopt,
                                             output.duration);
    context_.insert(meeting);
    const auto digest = embeddingNetwork_.digest();
    const auto match = [&](const Speaker::Embedding& embedding) {
        auto found = matchVoice(embedding, id, context_, digest);
        if (found)
            found->isYou = false; // a file is no recording of the user's own
        return found;
    };
    const SpeakerBuilding building(context_, meeting, match, digest);
    const auto speakers = building.build(output.segments);
    for (const auto& segment : output.segments)
        insertSegment(context_, meeting, segment, speakers.at(segment.speakerKey));
    return meeting;
}

} // namespace Varnel
