#include "Varnel/Models/ModelContext.h"

#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Models/StoreTesting.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace Varnel {
namespace {

QStringList titles(const std::vector<std::shared_ptr<Meeting>>& meetings) {
    QStringList result;
    for (const auto& meeting : meetings) {
        result << meeting->title();
    }
    return result;
}

TEST(ModelContext, KeepsEveryFieldAcrossARestart) {
    StoreFolder folder;
    const QUuid meetingID = QUuid::createUuid();
    const QUuid speakerID = QUuid::createUuid();
    const QUuid segmentID = QUuid::createUuid();
    const QDateTime startedAt = QDateTime::fromMSecsSinceEpoch(1'734'567'890'987, Qt::UTC);
    {
        ModelContainer container(folder.file());
        auto meeting = std::make_shared<Meeting>(meetingID, QStringLiteral("Größe 🎙 \"quoted\""), startedAt,
                                                 QStringLiteral("Zoom"), QStringLiteral("/dev/null"),
                                                 QStringLiteral("/a b/c.wav"), 12.625);
        meeting->setSummary(QStringLiteral("short"));
        meeting->setCalendarEventTitle(QStringLiteral("Event"));
        meeting->setActionItems({{QStringLiteral("do"), {}, {}}});
        meeting->setTopics({{QStringLiteral("t"), 1, 2.5}});
        meeting->setCalendarAttendees({{QStringLiteral("n"), QStringLiteral("n@example.org")}});
        auto speaker = std::make_shared<Speaker>(speakerID, QStringLiteral("You"), QStringLiteral("#3B82F6"), true,
                                                 Speaker::Embedding{1.0F, -0.25F, 3e-30F});
        speaker->setEmbeddingModelDigest(QStringLiteral("abc"));
        speaker->setMeeting(meeting);
        auto segment =
            std::make_shared<TranscriptSegment>(segmentID, 0.1, 7.3, QStringLiteral(" \n\tHello\u00a0"), speaker);
        segment->setMeeting(meeting);
        container.mainContext().insert(meeting);
        container.mainContext().insert(speaker);
        container.mainContext().insert(segment);
        container.mainContext().save();
    }
    ModelContainer container(folder.file());
    const auto meeting = container.mainContext().meeting(meetingID);
    ASSERT_TRUE(meeting);
    EXPECT_EQ(meeting->title(), QStringLiteral("Größe 🎙 \"quoted\""));
    EXPECT_EQ(meeting->startedAt(), startedAt);
    EXPECT_EQ(meeting->startedAt().timeSpec(), Qt::UTC);
    EXPECT_EQ(meeting->duration(), 12.625);
    EXPECT_EQ(meeting->sourceApp(), QStringLiteral("Zoom"));
    EXPECT_EQ(meeting->audioFilePath(), QStringLiteral("/dev/null"));
    EXPECT_EQ(meeting->audioFileURL(), QUrl::fromLocalFile(QStringLiteral("/dev/null")));
    EXPECT_EQ(meeting->systemAudioFileURL(), QUrl::fromLocalFile(QStringLiteral("/a b/c.wav")));
    EXPECT_EQ(meeting->summary(), QStringLiteral("short"));
    EXPECT_EQ(meeting->calendarEventTitle(), QStringLiteral("Event"));
    EXPECT_EQ(meeting->actionItems(), (QList<ActionItem>{{QStringLiteral("do"), {}, {}}}));
    EXPECT_EQ(meeting->topics(), (QList<Topic>{{QStringLiteral("t"), 1, 2.5}}));
    EXPECT_EQ(meeting->calendarAttendees(),
              (QList<CalendarAttendee>{{QStringLiteral("n"), QStringLiteral("n@example.org")}}));
    ASSERT_EQ(meeting->speakers().size(), 1U);
    const auto speaker = meeting->speakers().front();
    EXPECT_EQ(speaker->id(), speakerID);
    EXPECT_EQ(speaker->name(), QStringLiteral("You"));
    EXPECT_EQ(speaker->colorHex(), QStringLiteral("#3B82F6"));
    EXPECT_TRUE(speaker->isYou());
    EXPECT_EQ(speaker->embedding(), (Speaker::Embedding{1.0F, -0.25F, 3e-30F}));
    EXPECT_EQ(speaker->embeddingModelDigest(), QStringLiteral("abc"));
    EXPECT_EQ(speaker->meeting(), meeting);
    ASSERT_EQ(meeting->segments().size(), 1U);
    const auto segment = meeting->segments().front();
    EXPECT_EQ(segment->id(), segmentID);
    EXPECT_EQ(segment->startTime(), 0.1);
    EXPECT_EQ(segment->endTime(), 7.3);
    EXPECT_EQ(segment->text(), QStringLiteral("Hello"));
    EXPECT_EQ(segment->speaker(), speaker);
    EXPECT_EQ(segment->meeting(), meeting);
    EXPECT_EQ(speaker->segments().size(), 1U);
}

TEST(ModelContext, ANewMeetingHasNothingButWhatItWasGiven) {
    const Meeting meeting(QUuid::createUuid(), QStringLiteral("Untitled"), QDateTime::currentDateTimeUtc());
    EXPECT_EQ(meeting.sourceApp(), std::nullopt);
    EXPECT_EQ(meeting.audioFilePath(), std::nullopt);
    EXPECT_EQ(meeting.audioFileURL(), std::nullopt);
    EXPECT_EQ(meeting.systemAudioFileURL(), std::nullopt);
    EXPECT_EQ(meeting.summary(), std::nullopt);
    EXPECT_EQ(meeting.actionItemsJSON(), std::nullopt);
    EXPECT_EQ(meeting.topicsJSON(), std::nullopt);
    EXPECT_EQ(meeting.calendarEventTitle(), std::nullopt);
    EXPECT_EQ(meeting.calendarAttendeesJSON(), std::nullopt);
    EXPECT_TRUE(meeting.speakers().empty());
    EXPECT_TRUE(meeting.segments().empty());
    EXPECT_EQ(meeting.context(), nullptr);
    const Speaker speaker(QUuid::createUuid(), QStringLiteral("A"), QStringLiteral("#000000"), false);
    EXPECT_EQ(speaker.meeting(), nullptr);
    EXPECT_TRUE(speaker.segments().empty());
    const TranscriptSegment segment(QUuid::createUuid(), 0, 1, QStringLiteral("x"));
    EXPECT_EQ(segment.meeting(), nullptr);
    EXPECT_EQ(segment.speaker(), nullptr);
}

TEST(ModelContext, FetchesSeeWhatWaitsForTheSave) {
    ModelContainer container;
    auto& context = container.mainContext();
    const auto stored = makeMeeting(QStringLiteral("stored"));
    const auto doomed = makeMeeting(QStringLiteral("doomed"));
    context.insert(stored);
    context.insert(doomed);
    context.save();
    EXPECT_FALSE(context.hasChanges());

    const auto fresh = makeMeeting(QStringLiteral("fresh"));
    context.insert(fresh);
    context.remove(doomed);
    stored->setTitle(QStringLiteral("changed"));
    EXPECT_TRUE(context.hasChanges());
    EXPECT_EQ(titles(context.fetchMeetings()), (QStringList{QStringLiteral("changed"), QStringLiteral("fresh")}));
    EXPECT_EQ(context.meetingCount(), 2U);
    EXPECT_EQ(context.meeting(fresh->id()), fresh);
    EXPECT_EQ(context.meeting(doomed->id()), nullptr);
    EXPECT_EQ(doomed->context(), nullptr);
    EXPECT_EQ(titles(context.fetchMeetings(
                  {[](const Meeting& meeting) { return meeting.title() == QStringLiteral("changed"); }, {}, {}})),
              QStringList{QStringLiteral("changed")});
}

TEST(ModelContext, GivesRecordsInTheOrderOfTheirInsertionAlsoBetweenEqualKeys) {
    StoreFolder folder;
    {
        ModelContainer container(folder.file());
        for (const char* title : {"c", "a", "b"}) {
            container.mainContext().insert(makeMeeting(QString::fromLatin1(title)));
        }
        container.mainContext().save();
    }
    ModelContainer container(folder.file());
    auto& context = container.mainContext();
    context.insert(makeMeeting(QStringLiteral("0")));
    const QStringList inOrder{QStringLiteral("c"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("0")};
    EXPECT_EQ(titles(context.fetchMeetings()), inOrder);
    // All four began at the same moment.
    EXPECT_EQ(
        titles(context.fetchMeetings(
            {{}, [](const Meeting& left, const Meeting& right) { return left.startedAt() > right.startedAt(); }, {}})),
        inOrder);
    const auto byTitle = [](const Meeting& left, const Meeting& right) { return left.title() < right.title(); };
    EXPECT_EQ(titles(context.fetchMeetings({{}, byTitle, 2})), (QStringList{QStringLiteral("0"), QStringLiteral("a")}));
    EXPECT_EQ(titles(context.fetchMeetings({{}, {}, 1})), QStringList{QStringLiteral("c")});
    EXPECT_TRUE(context.fetchMeetings({{}, {}, 0}).empty());
}

TEST(ModelContext, HasOneObjectForARecord) {
    StoreFolder folder;
    const auto id = [&] {
        ModelContainer container(folder.file());
        const auto meeting = makeMeeting();
        container.mainContext().insert(meeting);
        makeSegment(meeting, QStringLiteral("line"), makeSpeaker(meeting, QStringLiteral("A")));
        container.mainContext().save();
        EXPECT_EQ(container.mainContext().meeting(meeting->id()), meeting);
        return meeting->id();
    }();
    ModelContainer container(folder.file());
    auto& context = container.mainContext();
    const auto meeting = context.meeting(id);
    EXPECT_EQ(context.fetchMeetings().front(), meeting);
    EXPECT_EQ(context.fetchSegments().front()->meeting(), meeting);
    EXPECT_EQ(context.fetchSegments().front()->speaker(), meeting->speakers().front());
    EXPECT_EQ(context.speaker(meeting->speakers().front()->id()), meeting->speakers().front());
}

TEST(ModelContext, AChangedRecordWaitsForTheSaveWhenNobodyElseHoldsIt) {
    StoreFolder folder;
    const auto meeting = makeMeeting();
    {
        ModelContainer container(folder.file());
        container.mainContext().insert(meeting);
        container.mainContext().save();
        EXPECT_EQ(meeting->context(), &container.mainContext());
    }
    EXPECT_EQ(meeting->context(), nullptr);
    {
        ModelContainer container(folder.file());
        container.mainContext().meeting(meeting->id())->setTitle(QStringLiteral("renamed"));
        EXPECT_EQ(container.mainContext().meeting(meeting->id())->title(), QStringLiteral("renamed"));
        container.mainContext().save();
        EXPECT_FALSE(container.mainContext().hasChanges());
    }
    ModelContainer container(folder.file());
    EXPECT_EQ(container.mainContext().meeting(meeting->id())->title(), QStringLiteral("renamed"));
}

TEST(ModelContext, EveryColumnCanBeChangedByItself) {
    StoreFolder folder;
    const auto text = QStringLiteral("new");
    {
        ModelContainer container(folder.file());
        auto& context = container.mainContext();
        const auto meeting = makeMeeting();
        const auto other = makeMeeting(QStringLiteral("other"));
        const auto speaker = makeSpeaker(meeting, QStringLiteral("A"), Speaker::Embedding{1, 2});
        speaker->setEmbeddingModelDigest(QStringLiteral("old"));
        const auto segment = makeSegment(meeting, QStringLiteral("line"), speaker);
        context.insert(meeting);
        context.insert(other);
        context.save();
        const auto set = [&](auto change) {
            change();
            EXPECT_TRUE(context.hasChanges());
            context.save();
        };
        set([&] { meeting->setTitle(text); });
        set([&] { meeting->setStartedAt(QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC)); });
        set([&] { meeting->setDuration(2); });
        set([&] { meeting->setSourceApp(text); });
        set([&] { meeting->setAudioFilePath(text); });
        set([&] { meeting->setSystemAudioFilePath(text); });
        set([&] { meeting->setSummary(text); });
        set([&] { meeting->setActionItemsJSON(text); });
        set([&] { meeting->setTopicsJSON(text); });
        set([&] { meeting->setCalendarEventTitle(text); });
        set([&] { meeting->setCalendarAttendeesJSON(text); });
        set([&] { speaker->setName(text); });
        set([&] { speaker->setColorHex(text); });
        set([&] { speaker->setIsYou(true); });
        set([&] { speaker->setEmbedding(Speaker::Embedding{3}); });
        set([&] { speaker->setEmbeddingModelDigest(text); });
        set([&] { segment->setStartTime(5); });
        set([&] { segment->setEndTime(6); });
        set([&] { segment->setText(text); });
        set([&] { segment->setSpeaker({}); });
        set([&] { segment->setMeeting(other); });
        set([&] { speaker->setMeeting(other); });
    }
    ModelContainer container(folder.file());
    const auto meetings = container.mainContext().fetchMeetings();
    ASSERT_EQ(meetings.size(), 2U);
    const auto& meeting = *meetings[0];
    EXPECT_EQ(meeting.title(), text);
    EXPECT_EQ(meeting.startedAt(), QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC));
    EXPECT_EQ(meeting.duration(), 2);
    EXPECT_EQ(meeting.sourceApp(), text);
    EXPECT_EQ(meeting.audioFilePath(), text);
    EXPECT_EQ(meeting.systemAudioFilePath(), text);
    EXPECT_EQ(meeting.summary(), text);
    EXPECT_EQ(meeting.actionItemsJSON(), text);
    EXPECT_EQ(meeting.topicsJSON(), text);
    EXPECT_EQ(meeting.calendarEventTitle(), text);
    EXPECT_EQ(meeting.calendarAttendeesJSON(), text);
    EXPECT_TRUE(meeting.speakers().empty());
    EXPECT_TRUE(meeting.segments().empty());
    ASSERT_EQ(meetings[1]->speakers().size(), 1U);
    const auto& speaker = *meetings[1]->speakers().front();
    EXPECT_EQ(speaker.name(), text);
    EXPECT_EQ(speaker.colorHex(), text);
    EXPECT_TRUE(speaker.isYou());
    EXPECT_EQ(speaker.embedding(), Speaker::Embedding{3});
    EXPECT_EQ(speaker.embeddingModelDigest(), text);
    ASSERT_EQ(meetings[1]->segments().size(), 1U);
    const auto& segment = *meetings[1]->segments().front();
    EXPECT_EQ(segment.startTime(), 5);
    EXPECT_EQ(segment.endTime(), 6);
    EXPECT_EQ(segment.text(), text);
    EXPECT_EQ(segment.speaker(), nullptr);
}

TEST(ModelContext, APredicateMayFetchItself) {
    ModelContainer container;
    auto& context = container.mainContext();
    for (int number = 0; number < 3; ++number) {
        const auto meeting = makeMeeting(QString::number(number));
        context.insert(meeting);
        makeSpeaker(meeting, QStringLiteral("A"));
    }
    context.save();
    const auto found = context.fetchSpeakers({[&](const Speaker& speaker) {
                                                  return context.fetchSpeakers().size() == 3 &&
                                                         speaker.meeting()->title() == QStringLiteral("1");
                                              },
                                              {},
                                              {}});
    EXPECT_EQ(found.size(), 1U);
}

TEST(ModelContext, ManyRecordsArriveCompleteAndInOrder) {
    StoreFolder folder;
    constexpr int count = 2000; // more than one batch of the reader
    {
        ModelContainer container(folder.file());
        const auto meeting = makeMeeting();
        container.mainContext().insert(meeting);
        for (int number = 0; number < count; ++number) {
            makeSegment(meeting, QString::number(number));
        }
        container.mainContext().save();
    }
    ModelContainer container(folder.file());
    const auto segments = container.mainContext().fetchSegments();
    ASSERT_EQ(segments.size(), std::size_t{count});
    for (std::size_t index = 0; index < segments.size(); ++index) {
        ASSERT_EQ(segments[index]->text(), QString::number(index));
    }
}

TEST(ModelContext, NumbersThatAreNoneAndInfiniteOnesReadBack) {
    StoreFolder folder;
    {
        ModelContainer container(folder.file());
        const auto meeting = makeMeeting();
        meeting->setDuration(std::numeric_limits<double>::infinity());
        meeting->setStartedAt(QDateTime());
        container.mainContext().insert(meeting);
        const auto segment = makeSegment(meeting, QStringLiteral("x"));
        segment->setStartTime(std::numeric_limits<double>::quiet_NaN());
        container.mainContext().save();
    }
    ModelContainer container(folder.file());
    const auto meeting = container.mainContext().fetchMeetings().front();
    EXPECT_EQ(meeting->duration(), std::numeric_limits<double>::infinity());
    EXPECT_FALSE(meeting->startedAt().isValid());
    EXPECT_TRUE(std::isnan(meeting->segments().front()->startTime()));
}

TEST(ModelContext, TextOfEveryKindReadsBackAsItWasInMemory) {
    const QChar high(0xD83D);
    const std::vector<QString> hard{
        QString(),
        QStringLiteral("🎙️👩‍👩‍👧"),
        QStringLiteral("a\'b\"c%_*"),
        QStringLiteral("line\nline\r\n\ttab"),
        QStringLiteral("before") + QChar(u'\0') + QStringLiteral("after"),
        QStringLiteral("lone ") + high,
        high + QStringLiteral(" lone"),
        QString(10'000'000, u'x') + QStringLiteral("ß"),
        QStringLiteral("e\u0301\u0327"),
        QString(QChar(0xFFFE)) + QChar(0xFFFF),
    };
    StoreFolder folder;
    std::vector<QString> inMemory;
    {
        ModelContainer container(folder.file());
        for (const QString& title : hard) {
            const auto meeting = makeMeeting(title);
            inMemory.push_back(meeting->title());
            container.mainContext().insert(meeting);
        }
        container.mainContext().save();
    }
    // What text cannot hold is replaced when it is set.
    EXPECT_EQ(inMemory[4], QStringLiteral("before\uFFFDafter"));
    EXPECT_EQ(inMemory[5], QStringLiteral("lone \uFFFD"));
    EXPECT_EQ(inMemory[6], QStringLiteral("\uFFFD lone"));
    ModelContainer container(folder.file());
    const auto meetings = container.mainContext().fetchMeetings();
    ASSERT_EQ(meetings.size(), hard.size());
    for (std::size_t index = 0; index < hard.size(); ++index) {
        EXPECT_TRUE(meetings[index]->title() == inMemory[index]) << index;
        if (index < 4 || index > 6) {
            EXPECT_TRUE(inMemory[index] == hard[index]) << index;
        }
    }
}

TEST(ModelContext, TellsOfItsSaves) {
    ModelContainer container;
    int saves = 0;
    QObject::connect(&container.mainContext(), &ModelContext::saved, [&] { ++saves; });
    container.mainContext().save(); // nothing to write
    EXPECT_EQ(saves, 0);
    container.mainContext().insert(makeMeeting());
    container.mainContext().save();
    EXPECT_EQ(saves, 1);
}

TEST(ModelContext, MemoryHoldsOnlyWhatIsInUse) {
    StoreFolder folder;
    ModelContainer container(folder.file());
    std::weak_ptr<Meeting> watched;
    {
        const auto meeting = makeMeeting();
        watched = meeting;
        container.mainContext().insert(meeting);
        makeSegment(meeting, QStringLiteral("line"), makeSpeaker(meeting, QStringLiteral("A")));
    }
    EXPECT_FALSE(watched.expired()); // it waits for the save
    container.mainContext().save();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(container.mainContext().fetchMeetings().front()->segments().size(), 1U);
}

} // namespace
} // namespace Varnel
