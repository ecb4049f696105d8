#include "Varnel/Core/AssistantAnswers.h"

#include "Varnel/Models/ModelContainer.h"
#include "support/EventLoop.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

class AssistantAnswersTest : public ::testing::Test {
protected:
    AssistantAnswersTest() { container_.mainContext().insert(meeting_); }

    std::shared_ptr<Speaker> speaker(const char* name, bool isYou = false) {
        auto speaker =
            std::make_shared<Speaker>(QUuid::createUuid(), QString::fromUtf8(name), QStringLiteral("#EC4899"), isYou);
        container_.mainContext().insert(speaker);
        speaker->setMeeting(meeting_);
        return speaker;
    }

    QStringList names() const {
        QStringList result;
        for (const auto& speaker : meeting_->speakers())
            result += speaker->name();
        return result;
    }

    void rename(std::initializer_list<std::pair<const char*, const char*>> matches) {
        AssistantAnswers answers;
        for (const auto& [key, name] : matches)
            answers.names.append({QString::fromUtf8(key), QString::fromUtf8(name)});
        answers.store(*meeting_);
    }

    static QStringList list(std::initializer_list<const char*> texts) {
        QStringList result;
        for (const char* text : texts)
            result += QString::fromUtf8(text);
        return result;
    }

    ModelContainer container_;
    std::shared_ptr<Meeting> meeting_ = std::make_shared<Meeting>(
        QUuid::createUuid(), QStringLiteral("Planning"), QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC));
};

TEST(AnonymousLabel, IsSpeakerAndDigits) {
    for (const char* name : {"Speaker 1", "Speaker 0", "Speaker 12", "Speaker 0123456789"})
        EXPECT_TRUE(isAnonymousLabel(QString::fromUtf8(name))) << name;
    for (const char* name :
         {"", "Speaker", "Speaker ", "Speaker  1", "speaker 1", "Speaker 1 ", "Speaker 1\n", "\nSpeaker 1",
          "Speaker one", "Speaker 1a", "Speaker \xd9\xa1", "Speaker \xef\xbc\x91", "You", "Alice",
          "Speaker\xc2\xa0"
          "1",
          "Speaker -1"})
        EXPECT_FALSE(isAnonymousLabel(QString::fromUtf8(name))) << name;
}

TEST_F(AssistantAnswersTest, RenamesThoseWhoBearTheLabel) {
    speaker("Speaker 1");
    speaker("Speaker 12");
    rename({{"Speaker 1", "Alice"}});
    EXPECT_EQ(names(), list({"Alice", "Speaker 12"}));
}

TEST_F(AssistantAnswersTest, NeverRenamesSomebodyWhoHasAName) {
    speaker("You", true);
    speaker("Alice");
    speaker("Speaker One");
    rename({{"You", "Ravik"}, {"Alice", "Bob"}, {"Speaker One", "Carol"}, {"Speaker 1", "Dora"}});
    EXPECT_EQ(names(), list({"You", "Alice", "Speaker One"}));
}

TEST_F(AssistantAnswersTest, RenamesEverybodyOfThatLabel) {
    speaker("Speaker 1");
    speaker("Speaker 2");
    speaker("Speaker 1", true);
    rename({{"Speaker 1", "Alice"}});
    EXPECT_EQ(names(), list({"Alice", "Speaker 2", "Alice"}));
    EXPECT_TRUE(meeting_->speakers()[2]->isYou());
    EXPECT_EQ(meeting_->speakers()[0]->colorHex(), QStringLiteral("#EC4899"));
}

TEST_F(AssistantAnswersTest, ALabelMayBecomeAnother) {
    speaker("Speaker 1");
    rename({{"Speaker 1", "Speaker 2"}});
    EXPECT_EQ(names(), list({"Speaker 2"}));
}

TEST_F(AssistantAnswersTest, MatchesTakeEffectInTheirOrder) {
    speaker("Speaker 1");
    speaker("Speaker 2");
    rename({{"Speaker 1", "Speaker 2"}, {"Speaker 2", "Bob"}});
    EXPECT_EQ(names(), list({"Bob", "Bob"}));
    speaker("Speaker 1");
    rename({{"Speaker 1", "Alice"}, {"Speaker 1", "Bob"}});
    EXPECT_EQ(names(), list({"Bob", "Bob", "Alice"})) << "the first one counts";
}

TEST_F(AssistantAnswersTest, ALabelThatNobodyBearsChangesNothing) {
    speaker("Speaker 1");
    rename({{"Speaker 2", "Bob"}, {"speaker 1", "Carol"}, {"Speaker 1 ", "Dora"}});
    EXPECT_EQ(names(), list({"Speaker 1"}));
}

TEST_F(AssistantAnswersTest, WithoutASummaryTheOldOneStays) {
    meeting_->setSummary(QStringLiteral("- Before"));
    AssistantAnswers answers;
    answers.store(*meeting_);
    EXPECT_EQ(meeting_->summary(), QStringLiteral("- Before"));
    answers.summary = QStringLiteral("- After");
    answers.store(*meeting_);
    EXPECT_EQ(meeting_->summary(), QStringLiteral("- After"));
}

TEST_F(AssistantAnswersTest, ListsReplaceTheOldOnesEvenWhenTheyAreEmpty) {
    AssistantAnswers answers;
    answers.actionItems = {{QStringLiteral("Send it"), QStringLiteral("Bo"), 24.0},
                           {QStringLiteral("Read it"), {}, {}}};
    answers.topics = {{QStringLiteral("Intro"), 0, 30.5}};
    answers.store(*meeting_);
    EXPECT_EQ(meeting_->actionItemsJSON(),
              QStringLiteral(R"([{"text":"Send it","assignee":"Bo","timestamp":24},{"text":"Read it"}])"));
    EXPECT_EQ(meeting_->topicsJSON(), QStringLiteral(R"([{"title":"Intro","startSeconds":0,"endSeconds":30.5}])"));
    AssistantAnswers().store(*meeting_);
    EXPECT_EQ(meeting_->actionItemsJSON(), QStringLiteral("[]"));
    EXPECT_EQ(meeting_->topicsJSON(), QStringLiteral("[]"));
}

TEST_F(AssistantAnswersTest, WhatCannotBeEncodedLeavesTheOldValue) {
    meeting_->setTopicsJSON(QStringLiteral("[]"));
    AssistantAnswers answers;
    answers.topics = {{QStringLiteral("Intro"), std::numeric_limits<double>::infinity(), 1}};
    answers.store(*meeting_);
    EXPECT_EQ(meeting_->topicsJSON(), QStringLiteral("[]"));
}

} // namespace
} // namespace Varnel
