#pragma once

#include "Varnel/Core/AppState.h"
#include "Varnel/Models/ModelContainer.h"
#include "support/ApplicationLogRecorder.h"
#include "support/EventLoop.h"
#include "support/ManualClock.h"
#include "support/MemorySettingsStore.h"
#include "support/ScriptedRecogniser.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace Varnel {

// A file chooser that answers at once, or when the test lets it.
class ScriptedFileChooser final : public FileChooser {
public:
    QCoro::Task<std::optional<std::filesystem::path>> chooseFile(QStringList mimeTypes) override {
        asked = std::move(mimeTypes);
        co_return choice;
    }

    QStringList asked;
    std::optional<std::filesystem::path> choice;
};

class RecordedWaveformCache final : public WaveformCacheHooks {
public:
    void forget(const QString& path) override { forgotten += path; }

    QStringList forgotten;
};

// An AppState over a store on disk, with meetings to change.
class EditedLibrary : public ::testing::Test {
protected:
    ModelContext& context() { return container_.mainContext(); }

    std::shared_ptr<Meeting> addMeeting(const QString& title, int hour = 0,
                                        const std::optional<std::filesystem::path>& audio = {},
                                        const std::optional<std::filesystem::path>& systemAudio = {}) {
        const auto text = [](const std::optional<std::filesystem::path>& path) {
            return path ? std::optional(QString::fromStdString(path->string())) : std::nullopt;
        };
        auto meeting = std::make_shared<Meeting>(QUuid::createUuid(), title, clock_.now().addSecs(3600 * hour),
                                                 std::nullopt, text(audio), text(systemAudio));
        context().insert(meeting);
        context().save();
        return meeting;
    }

    std::shared_ptr<Speaker> addSpeaker(const std::shared_ptr<Meeting>& meeting, const QString& name,
                                        bool isYou = false) {
        auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), name, QStringLiteral("#EC4899"), isYou,
                                                 Speaker::Embedding{1, 2});
        context().insert(speaker);
        speaker->setMeeting(meeting);
        context().save();
        return speaker;
    }

    std::shared_ptr<TranscriptSegment> addLine(const std::shared_ptr<Meeting>& meeting, const QString& text,
                                               const std::shared_ptr<Speaker>& speaker) {
        auto line = std::make_shared<TranscriptSegment>(QUuid::createUuid(), 0, 1, text, speaker);
        context().insert(line);
        line->setMeeting(meeting);
        context().save();
        return line;
    }

    std::filesystem::path addRecording(const std::string& name) {
        std::filesystem::create_directories(recordings_);
        VarnelSpeech::Testing::ScriptedRecogniser::writeSpokenWAV(recordings_ / name, 2, {{3, 1}});
        return recordings_ / name;
    }

    // Another process that does not let go of the store: every save fails while it lives.
    class Lock {
    public:
        explicit Lock(const std::filesystem::path& file) {
            EXPECT_EQ(sqlite3_open(file.string().c_str(), &connection_), SQLITE_OK);
            EXPECT_EQ(sqlite3_exec(connection_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
        }

        ~Lock() { sqlite3_close(connection_); }

        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        sqlite3* connection_ = nullptr;
    };

    // The name of each line's speaker, as another process reads it.
    QStringList storedLines(const QUuid& meetingID) const {
        ModelContainer other(container_.file());
        QStringList result;
        const auto meeting = other.mainContext().meeting(meetingID);
        if (!meeting)
            return {QStringLiteral("no meeting")};
        for (const auto& line : meeting->segments())
            result +=
                (line->speaker() ? line->speaker()->name() : QStringLiteral("?")) + QStringLiteral(": ") + line->text();
        return result;
    }

    VarnelSpeech::Testing::TemporaryFolder folder_;
    Testing::ApplicationLogRecorder log_;
    Testing::ManualClock clock_;
    Testing::MemorySettingsStore settingsStore_;
    Settings settings_{settingsStore_};
    std::filesystem::path recordings_ = folder_ / "Recordings";
    ModelContainer container_{folder_ / "store/Varnel.store", std::chrono::milliseconds(0)};
    VarnelSpeech::Testing::ScriptedRecogniser recogniser_{{"▁hello", "▁there"}};
    TranscriptionEngine engine_{[this] { return recogniser_.models(); }};
    ScriptedFileChooser chooser_;
    RecordedWaveformCache waveforms_;
    std::unique_ptr<AppState> state_ =
        std::make_unique<AppState>(AppState::Collaborators{.modelContext = container_.mainContext(),
                                                           .settings = settings_,
                                                           .transcriptionEngine = engine_,
                                                           .recordingsFolder = recordings_,
                                                           .clock = &clock_,
                                                           .fileChooser = &chooser_,
                                                           .waveforms = &waveforms_});
};

} // namespace Varnel
