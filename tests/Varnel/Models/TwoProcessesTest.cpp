#include "Varnel/Models/MeetingSearch.h"
#include "Varnel/Models/StoreTesting.h"
#include "support/ChildProcess.h"
#include "support/EventLoop.h"

#include <QEventLoop>
#include <QTimer>

#include <gtest/gtest.h>

#include <unistd.h>

#include <stdexcept>

namespace Varnel {
namespace {

using VarnelSpeech::Testing::ChildProcess;

// Until the context has seen another's change. The deadline is only there so that a failing test ends.
bool waitForChange(ModelContext& context) {
    QEventLoop loop;
    bool hasCome = false;
    QObject::connect(&context, &ModelContext::changedElsewhere, &loop, [&] {
        hasCome = true;
        loop.quit();
    });
    QTimer::singleShot(30'000, &loop, &QEventLoop::quit);
    loop.exec();
    return hasCome;
}

TEST(TwoContainers, SeeEachOthersChanges) {
    StoreFolder folder;
    ModelContainer here(folder.file());
    ModelContainer there(folder.file());
    const auto meeting = makeMeeting(QStringLiteral("title"));
    here.mainContext().insert(meeting);
    const auto speaker = makeSpeaker(meeting, QStringLiteral("A"), Speaker::Embedding{1});
    const auto line = makeSegment(meeting, QStringLiteral("line"), speaker);
    here.mainContext().save();
    ASSERT_TRUE(waitForChange(there.mainContext()));

    const auto same = there.mainContext().meeting(meeting->id());
    ASSERT_TRUE(same);
    same->setTitle(QStringLiteral("renamed"));
    same->speakers().front()->setName(QStringLiteral("B"));
    same->speakers().front()->setEmbedding(Speaker::Embedding{2});
    same->segments().front()->setText(QStringLiteral("reworded"));
    makeSegment(same, QStringLiteral("second"));
    there.mainContext().save();
    ASSERT_TRUE(waitForChange(here.mainContext()));
    EXPECT_EQ(meeting->title(), QStringLiteral("renamed"));
    EXPECT_EQ(speaker->name(), QStringLiteral("B"));
    EXPECT_EQ(speaker->embedding(), Speaker::Embedding{2});
    EXPECT_EQ(line->text(), QStringLiteral("reworded"));
    EXPECT_EQ(meeting->segments().size(), 2U);
    EXPECT_EQ(meeting->segments().front(), line);
}

TEST(TwoContainers, AnUnsavedChangeOutlivesTheOthersAndTheRestIsReadAgain) {
    StoreFolder folder;
    ModelContainer here(folder.file());
    const auto meeting = makeMeeting(QStringLiteral("title"));
    here.mainContext().insert(meeting);
    here.mainContext().save();
    ModelContainer there(folder.file());
    meeting->setTitle(QStringLiteral("mine"));
    const auto same = there.mainContext().meeting(meeting->id());
    same->setTitle(QStringLiteral("theirs"));
    same->setSummary(QStringLiteral("theirs"));
    there.mainContext().save();
    ASSERT_TRUE(waitForChange(here.mainContext()));
    EXPECT_EQ(meeting->title(), QStringLiteral("mine"));
    EXPECT_EQ(meeting->summary(), QStringLiteral("theirs"));
}

TEST(TwoContainers, ARecordDeletedElsewhereLosesItsContext) {
    StoreFolder folder;
    ModelContainer here(folder.file());
    const auto meeting = makeMeeting();
    const auto other = makeMeeting(QStringLiteral("other"));
    here.mainContext().insert(meeting);
    here.mainContext().insert(other);
    const auto speaker = makeSpeaker(meeting, QStringLiteral("A"));
    const auto line = makeSegment(meeting, QStringLiteral("line"), speaker);
    const auto voice = makeSpeaker(other, QStringLiteral("B"));
    const auto spoken = makeSegment(other, QStringLiteral("spoken"), voice);
    here.mainContext().save();
    ModelContainer there(folder.file());
    there.mainContext().remove(there.mainContext().meeting(meeting->id()));
    there.mainContext().remove(there.mainContext().speaker(voice->id()));
    there.mainContext().save();
    ASSERT_TRUE(waitForChange(here.mainContext()));
    EXPECT_EQ(meeting->context(), nullptr);
    EXPECT_EQ(speaker->context(), nullptr);
    EXPECT_EQ(line->context(), nullptr);
    EXPECT_EQ(voice->context(), nullptr);
    EXPECT_EQ(spoken->speaker(), nullptr);
    EXPECT_TRUE(other->speakers().empty());
    EXPECT_FALSE(here.mainContext().hasChanges());
}

TEST(TwoContainers, ASaveIntoAMeetingThatIsGoneDropsWhatBelongedToIt) {
    StoreFolder folder;
    ModelContainer here(folder.file());
    const auto meeting = makeMeeting();
    here.mainContext().insert(meeting);
    here.mainContext().save();
    {
        ModelContainer there(folder.file());
        there.mainContext().remove(there.mainContext().meeting(meeting->id()));
        there.mainContext().save();
    }
    // No event has come yet; the save finds out by itself.
    const auto line = makeSegment(meeting, QStringLiteral("line"), makeSpeaker(meeting, QStringLiteral("A")));
    const auto fresh = makeMeeting(QStringLiteral("fresh"));
    here.mainContext().insert(fresh);
    int changes = 0;
    QObject::connect(&here.mainContext(), &ModelContext::changedElsewhere, [&] { ++changes; });
    here.mainContext().save();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(line->context(), nullptr);
    EXPECT_EQ(meeting->context(), nullptr);
    EXPECT_TRUE(here.mainContext().fetchSegments().empty());
    EXPECT_EQ(here.mainContext().fetchMeetings(), std::vector{fresh});
}

TEST(TwoContainers, AnOwnSaveIsNoChangeElsewhere) {
    StoreFolder folder;
    ModelContainer container(folder.file());
    int changes = 0;
    QObject::connect(&container.mainContext(), &ModelContext::changedElsewhere, [&] { ++changes; });
    container.mainContext().insert(makeMeeting());
    container.mainContext().save();
    ModelContainer other(folder.file());
    other.mainContext().insert(makeMeeting());
    other.mainContext().save();
    ASSERT_TRUE(waitForChange(container.mainContext()));
    EXPECT_EQ(changes, 1);
}

TEST(TwoProcesses, WriteToOneStoreWithoutLossAndSeeEachOther) {
    StoreFolder folder;
    constexpr int count = 40;
    { const ModelContainer made(folder.file()); }
    const auto writeAll = [&](const QString& title) {
        ModelContainer container(folder.file());
        for (int number = 0; number < count; ++number) {
            const auto meeting = makeMeeting(title + QString::number(number));
            container.mainContext().insert(meeting);
            makeSegment(meeting, QStringLiteral("spoken"), makeSpeaker(meeting, title));
            container.mainContext().save();
        }
    };
    // Before the parent has a connection: SQLite's must not cross a fork.
    ChildProcess child([&] { writeAll(QStringLiteral("child")); });
    writeAll(QStringLiteral("parent"));
    EXPECT_TRUE(child.succeeded());
    ModelContainer container(folder.file());
    const auto meetings = container.mainContext().fetchMeetings();
    EXPECT_EQ(meetings.size(), std::size_t{2 * count});
    EXPECT_EQ(container.mainContext().fetchSegments().size(), std::size_t{2 * count});
    for (const auto& meeting : meetings) {
        EXPECT_EQ(meeting->segments().front()->speaker(), meeting->speakers().front());
    }
    const MeetingSearch search(folder.file());
    EXPECT_EQ(search.matches(QStringLiteral("child")).size(), std::size_t{count});
}

TEST(TwoProcesses, AnotherProcessesSaveIsTold) {
    StoreFolder folder;
    { const ModelContainer made(folder.file()); }
    int gate[2];
    ASSERT_EQ(pipe(gate), 0);
    ChildProcess child([&] {
        char ignored = 0;
        if (read(gate[0], &ignored, 1) != 1)
            throw std::runtime_error("the gate stayed closed");
        ModelContainer container(folder.file());
        container.mainContext().insert(makeMeeting(QStringLiteral("from the child")));
        container.mainContext().save();
    });
    ModelContainer container(folder.file());
    ASSERT_EQ(write(gate[1], "x", 1), 1);
    EXPECT_TRUE(waitForChange(container.mainContext()));
    ASSERT_EQ(container.mainContext().meetingCount(), 1U);
    EXPECT_EQ(container.mainContext().fetchMeetings().front()->title(), QStringLiteral("from the child"));
    EXPECT_TRUE(child.succeeded());
    close(gate[0]);
    close(gate[1]);
}

} // namespace
} // namespace Varnel
