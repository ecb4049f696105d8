#include "Varnel/Models/KnownSpeakers.h"

#include "Varnel/Models/StoreTesting.h"

#include <gtest/gtest.h>

#include <limits>

namespace Varnel {
namespace {

class KnownSpeakersTest : public testing::Test {
protected:
    ModelContext& context() { return container_.mainContext(); }

    std::shared_ptr<Meeting> addMeeting() {
        auto meeting = makeMeeting();
        context().insert(meeting);
        return meeting;
    }

    std::vector<KnownSpeaker> known() {
        context().save();
        return knownSpeakers(folder_.file());
    }

    StoreFolder folder_;
    ModelContainer container_{folder_.file()};
};

const QString ada = QStringLiteral("Ada");

TEST_F(KnownSpeakersTest, OfANewStoreAreNone) {
    EXPECT_TRUE(known().empty());
}

TEST_F(KnownSpeakersTest, AreOneForEachName) {
    const auto first = addMeeting();
    const auto second = addMeeting();
    const auto adaOnce = makeSpeaker(first, ada, Speaker::Embedding{1, 2});
    makeSpeaker(first, QStringLiteral("ben"));
    const auto adaAgain = makeSpeaker(second, ada);
    adaAgain->setColorHex(QStringLiteral("#123456"));
    adaAgain->setIsYou(true);
    makeSegment(first, QStringLiteral("One"), adaOnce);
    makeSegment(first, QStringLiteral("Two"), adaOnce, 10)->setEndTime(12.5);
    makeSegment(second, QStringLiteral("Three"), adaAgain);
    EXPECT_EQ(known(),
              (std::vector<KnownSpeaker>{{ada, QStringLiteral("#123456"), true, true, 2, 4.5},
                                         {QStringLiteral("ben"), QStringLiteral("#EC4899"), false, false, 1, 0}}));
}

TEST_F(KnownSpeakersTest, AreSortedByNameWhateverTheCase) {
    const auto meeting = addMeeting();
    for (const char* name : {"ben", "Ada", "Çelik", "ada"})
        makeSpeaker(meeting, QString::fromUtf8(name));
    QStringList names;
    for (const KnownSpeaker& speaker : known())
        names << speaker.name;
    EXPECT_EQ(names, (QStringList{QStringLiteral("Ada"), QStringLiteral("ada"), QStringLiteral("ben"),
                                  QString::fromUtf8("Çelik")}));
}

TEST_F(KnownSpeakersTest, CountOddTimesForNothing) {
    const auto meeting = addMeeting();
    const auto speaker = makeSpeaker(meeting, ada);
    makeSegment(meeting, QStringLiteral("One"), speaker);
    makeSegment(meeting, QStringLiteral("Two"), speaker, 10)->setEndTime(2);
    makeSegment(meeting, QStringLiteral("Three"), speaker)->setEndTime(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(known().at(0).secondsSpoken, 1);
}

TEST_F(KnownSpeakersTest, CountASpeakerWithTwoRecordsInOneMeetingOnce) {
    const auto meeting = addMeeting();
    makeSpeaker(meeting, ada);
    makeSpeaker(meeting, ada, Speaker::Embedding{});
    const auto orphan = makeSpeaker(addMeeting(), ada);
    context().save();
    orphan->setMeeting(nullptr);
    const auto speakers = known();
    EXPECT_EQ(speakers.at(0).meetings, 1U);
    EXPECT_FALSE(speakers.at(0).hasVoice) << "an empty embedding is no voice";
}

TEST(KnownSpeakers, OfAStoreThatIsNotThereAreAnError) {
    const StoreFolder folder;
    EXPECT_THROW(knownSpeakers(folder.file()), StoreError);
}

} // namespace
} // namespace Varnel
