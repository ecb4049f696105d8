#include "Varnel/CommandLine/MeetingReference.h"

#include "Varnel/CommandLine/CommandError.h"
#include "Varnel/Models/Identifier.h"
#include "Varnel/Models/ModelContainer.h"

#include "support/ErrorText.h"

#include <gtest/gtest.h>

namespace Varnel::CommandLine {
namespace {

class MeetingReferenceTest : public ::testing::Test {
protected:
    void add(const char* id, const char* title, int minute) {
        context().insert(std::make_shared<Meeting>(QUuid::fromString(QLatin1String(id)), QString::fromUtf8(title),
                                                   QDateTime(QDate(2026, 11, 21), QTime(10, minute), Qt::UTC)));
        context().save();
    }

    ModelContext& context() { return container.mainContext(); }

    std::string titleOf(const std::string& reference) {
        return meetingNamed(reference, context())->title().toStdString();
    }

    ModelContainer container;
};

TEST_F(MeetingReferenceTest, FindsAMeetingByItsIdOrAUniqueBeginning) {
    add("1F2E0000-0000-4000-8000-00000000000A", "first", 1);
    add("1F2E1000-0000-4000-8000-00000000000B", "second", 2);
    EXPECT_EQ(titleOf("1F2E0000-0000-4000-8000-00000000000A"), "first");
    EXPECT_EQ(titleOf("1f2e0"), "first") << "letters of either case";
    EXPECT_EQ(titleOf("1F2E1000-0"), "second");
    EXPECT_EQ(titleOf("1F2E100000004000"), "second") << "without hyphens";
}

TEST_F(MeetingReferenceTest, FindsTheLatest) {
    add("AAAAAAAA-0000-4000-8000-000000000001", "older", 1);
    add("AAAAAAAA-0000-4000-8000-000000000002", "latest", 30);
    add("AAAAAAAA-0000-4000-8000-000000000003", "oldest", 0);
    EXPECT_EQ(titleOf("latest"), "latest");
}

TEST_F(MeetingReferenceTest, OfTwoThatStartedTogetherTakesTheOneStoredLater) {
    add("AAAAAAAA-0000-4000-8000-000000000001", "one", 1);
    add("AAAAAAAA-0000-4000-8000-000000000002", "two", 1);
    EXPECT_EQ(titleOf("latest"), "two");
}

TEST_F(MeetingReferenceTest, NamesTheCandidatesOfAnAmbiguousOne) {
    add("1F2E0000-0000-4000-8000-00000000000A", "it's\nfirst", 1);
    add("1F2E1000-0000-4000-8000-00000000000B", "second", 2);
    EXPECT_EQ(Varnel::Testing::errorText([&] { titleOf("1F"); }),
              "'1F' is the beginning of 2 meetings' ids: 1F2E1000-0000-4000-8000-00000000000B 'second', "
              "1F2E0000-0000-4000-8000-00000000000A 'it\\'s\\nfirst'");
    for (int i = 0; i < 5; ++i)
        add(("1F2E100" + std::to_string(i) + "-0000-4000-8000-000000000001").c_str(), "more", 3 + i);
    EXPECT_TRUE(Varnel::Testing::errorText([&] { titleOf("1F"); }).ends_with(", and 3 more"));
}

TEST_F(MeetingReferenceTest, SaysWhenThereIsNone) {
    EXPECT_EQ(Varnel::Testing::errorText([&] { titleOf("latest"); }), "there are no meetings yet");
    add("1F2E0000-0000-4000-8000-00000000000A", "first", 1);
    EXPECT_EQ(Varnel::Testing::errorText([&] { titleOf("ABC"); }),
              "no meeting's id begins with 'ABC' (see 'varnel meetings list')");
    for (const std::string reference : {"", "-", "Weekly", "../x", "1F2\n"})
        EXPECT_TRUE(Varnel::Testing::errorText([&] { titleOf(reference); }).starts_with("no meeting is named '"))
            << reference;
}

TEST(ShortId, IsTheFirstEightCharacters) {
    EXPECT_EQ(shortId(QUuid::fromString(QLatin1String("1f2e0000-0000-4000-8000-00000000000a"))),
              QStringLiteral("1F2E0000"));
}

} // namespace
} // namespace Varnel::CommandLine
