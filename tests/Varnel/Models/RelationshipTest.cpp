#include "Varnel/Models/StoreTesting.h"

#include <gtest/gtest.h>

#include <functional>

namespace Varnel {
namespace {

QStringList texts(const std::vector<std::shared_ptr<TranscriptSegment>>& segments) {
    QStringList result;
    for (const auto& segment : segments) {
        result << segment->text();
    }
    return result;
}

QStringList words(const char* list) {
    return QString::fromLatin1(list).split(u' ', Qt::SkipEmptyParts);
}

// Every rule holds for records that were never saved, for saved ones in memory, and for such as must be read first.
enum class State { unsaved, saved, reopened };

class Relationships : public testing::TestWithParam<State> {
protected:
    void SetUp() override {
        container_ = std::make_unique<ModelContainer>(folder_.file());
        meeting = makeMeeting();
        context().insert(meeting);
        alice = makeSpeaker(meeting, QStringLiteral("Alice"));
        bob = makeSpeaker(meeting, QStringLiteral("Bob"));
        makeSegment(meeting, QStringLiteral("one"), alice);
        makeSegment(meeting, QStringLiteral("two"), bob);
        makeSegment(meeting, QStringLiteral("three"), alice);
        if (GetParam() != State::unsaved) {
            context().save();
        }
        if (GetParam() == State::reopened) {
            reopen();
        }
    }

    ModelContext& context() { return container_->mainContext(); }

    void reopen() {
        const QUuid id = meeting->id();
        const QUuid aliceID = alice->id();
        const QUuid bobID = bob->id();
        meeting.reset();
        alice.reset();
        bob.reset();
        container_.reset();
        container_ = std::make_unique<ModelContainer>(folder_.file());
        meeting = context().meeting(id);
        alice = context().speaker(aliceID);
        bob = context().speaker(bobID);
    }

    // The rule, as it shows before the save, after it, and to the next program.
    void always(const std::function<void()>& rule) {
        rule();
        context().save();
        rule();
        reopen();
        rule();
    }

    StoreFolder folder_;
    std::unique_ptr<ModelContainer> container_;
    std::shared_ptr<Meeting> meeting;
    std::shared_ptr<Speaker> alice;
    std::shared_ptr<Speaker> bob;
};

INSTANTIATE_TEST_SUITE_P(Store, Relationships, testing::Values(State::unsaved, State::saved, State::reopened));

TEST_P(Relationships, AreListedInTheOrderOfInsertion) {
    EXPECT_EQ(texts(meeting->segments()), words("one two three"));
    EXPECT_EQ(texts(alice->segments()), words("one three"));
    makeSegment(meeting, QStringLiteral("four"), alice);
    always([&] {
        EXPECT_EQ(texts(meeting->segments()), words("one two three four"));
        EXPECT_EQ(texts(alice->segments()), words("one three four"));
    });
}

TEST_P(Relationships, ASpeakerDeletedAloneLeavesItsSegmentsWithoutOne) {
    const QUuid aliceID = alice->id();
    context().remove(alice);
    EXPECT_EQ(alice->context(), nullptr);
    const auto rule = [&] {
        EXPECT_EQ(context().speaker(aliceID), nullptr);
        EXPECT_EQ(texts(meeting->segments()), words("one two three"));
        EXPECT_EQ(meeting->segments()[0]->speaker(), nullptr);
        EXPECT_EQ(meeting->segments()[1]->speaker(), bob);
        EXPECT_EQ(meeting->segments()[2]->speaker(), nullptr);
        EXPECT_EQ(meeting->speakers(), std::vector{bob});
    };
    rule();
    context().save();
    rule();
    alice = bob; // for reopening
    reopen();
    rule();
}

TEST_P(Relationships, AMeetingDeletedTakesItsSpeakersAndSegments) {
    const auto other = makeMeeting(QStringLiteral("other"));
    context().insert(other);
    makeSegment(other, QStringLiteral("stays"), makeSpeaker(other, QStringLiteral("Carol")));
    context().remove(meeting);
    EXPECT_EQ(meeting->context(), nullptr);
    EXPECT_EQ(alice->context(), nullptr);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(context().fetchMeetings(), std::vector{other});
        EXPECT_EQ(texts(context().fetchSegments()), words("stays"));
        EXPECT_EQ(context().fetchSpeakers().size(), 1U);
        EXPECT_EQ(context().meetingCount(), 1U);
        context().save();
    }
    ModelContainer second(folder_.file());
    EXPECT_EQ(second.mainContext().fetchMeetings().size(), 1U);
    EXPECT_EQ(texts(second.mainContext().fetchSegments()), words("stays"));
    EXPECT_EQ(second.mainContext().fetchSpeakers().size(), 1U);
}

TEST_P(Relationships, ASegmentDeletedLeavesBothLists) {
    context().remove(meeting->segments()[0]);
    always([&] {
        EXPECT_EQ(texts(meeting->segments()), words("two three"));
        EXPECT_EQ(texts(alice->segments()), words("three"));
        EXPECT_EQ(texts(context().fetchSegments()), words("two three"));
    });
}

TEST_P(Relationships, AllRecordsOfAMeetingCanBeRemovedWhileTheListsAreWalked) {
    for (const auto& segment : meeting->segments()) {
        context().remove(segment);
    }
    for (const auto& speaker : meeting->speakers()) {
        context().remove(speaker);
    }
    const auto replacement = makeSpeaker(meeting, QStringLiteral("You"));
    makeSegment(meeting, QStringLiteral("again"), replacement);
    alice = bob = replacement;
    always([&] {
        EXPECT_EQ(texts(meeting->segments()), words("again"));
        ASSERT_EQ(meeting->speakers().size(), 1U);
        EXPECT_EQ(meeting->speakers()[0]->name(), QStringLiteral("You"));
        EXPECT_EQ(meeting->segments()[0]->speaker(), meeting->speakers()[0]);
        EXPECT_EQ(context().fetchSpeakers().size(), 1U);
    });
}

TEST_P(Relationships, ASegmentCanGoToAnotherSpeaker) {
    meeting->segments()[1]->setSpeaker(alice);
    always([&] {
        EXPECT_EQ(texts(alice->segments()), words("one two three"));
        EXPECT_TRUE(bob->segments().empty());
    });
}

TEST_P(Relationships, ASegmentCanGoToAnotherMeeting) {
    const auto other = makeMeeting(QStringLiteral("other"));
    const QUuid otherID = other->id();
    context().insert(other);
    meeting->segments()[1]->setMeeting(other);
    always([&] {
        EXPECT_EQ(texts(meeting->segments()), words("one three"));
        EXPECT_EQ(texts(context().meeting(otherID)->segments()), words("two"));
    });
}

TEST_P(Relationships, ASpeakerCanGoToAnotherMeeting) {
    const auto other = makeMeeting(QStringLiteral("other"));
    const QUuid otherID = other->id();
    context().insert(other);
    alice->setMeeting(other);
    always([&] {
        EXPECT_EQ(meeting->speakers(), std::vector{bob});
        EXPECT_EQ(context().meeting(otherID)->speakers(), std::vector{alice});
        EXPECT_EQ(alice->meeting(), context().meeting(otherID));
    });
}

TEST_P(Relationships, ASegmentFindsItsMeetingThatNobodyHolds) {
    const QUuid id = meeting->id();
    const auto segment = meeting->segments()[0];
    if (GetParam() == State::unsaved) {
        context().save();
    }
    meeting.reset();
    ASSERT_TRUE(segment->meeting());
    EXPECT_EQ(segment->meeting()->id(), id);
}

TEST(RelationshipsOutsideOfAContext, HoldBothWays) {
    const auto meeting = makeMeeting();
    const auto speaker = makeSpeaker(meeting, QStringLiteral("A"));
    const auto segment = makeSegment(meeting, QStringLiteral("x"), speaker);
    EXPECT_EQ(meeting->speakers(), std::vector{speaker});
    EXPECT_EQ(meeting->segments(), std::vector{segment});
    EXPECT_EQ(speaker->segments(), std::vector{segment});
    segment->setMeeting({});
    EXPECT_TRUE(meeting->segments().empty());
    // And the whole is inserted with any of its records.
    ModelContainer container;
    container.mainContext().insert(speaker);
    EXPECT_EQ(meeting->context(), &container.mainContext());
    container.mainContext().save();
    EXPECT_EQ(container.mainContext().fetchSpeakers().front()->meeting(), meeting);
}

TEST(RelationshipsOutsideOfAContext, ASegmentWithoutMeetingIsStoredToo) {
    StoreFolder folder;
    {
        ModelContainer container(folder.file());
        container.mainContext().insert(
            std::make_shared<TranscriptSegment>(QUuid::createUuid(), 0, 1, QStringLiteral("alone")));
        container.mainContext().save();
    }
    ModelContainer container(folder.file());
    ASSERT_EQ(container.mainContext().fetchSegments().size(), 1U);
    EXPECT_EQ(container.mainContext().fetchSegments()[0]->meeting(), nullptr);
}

} // namespace
} // namespace Varnel
