#include "Varnel/Models/MeetingSearch.h"

#include "Varnel/Models/StoreTesting.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

namespace Varnel {
namespace {

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

// The rule, on the records themselves.
bool isMatch(const Meeting& meeting, const QString& typed) {
    QString query = typed;
    while (!query.isEmpty() && (query.front() == u' ' || query.front() == u'\t')) {
        query.remove(0, 1);
    }
    while (!query.isEmpty() && (query.back() == u' ' || query.back() == u'\t')) {
        query.chop(1);
    }
    query = query.toLower();
    if (query.isEmpty() || meeting.title().toLower().contains(query) ||
        meeting.sourceApp().value_or(QString()).toLower().contains(query)) {
        return true;
    }
    for (const auto& speaker : meeting.speakers()) {
        if (speaker->name().toLower().contains(query)) {
            return true;
        }
    }
    for (const auto& segment : meeting.segments()) {
        if (segment->text().toLower().contains(query)) {
            return true;
        }
    }
    return false;
}

class MeetingSearchTest : public testing::Test {
protected:
    ModelContext& context() { return container_.mainContext(); }

    std::shared_ptr<Meeting> add(const char* title, const std::vector<const char*>& lines = {}, qint64 hour = 0) {
        const auto meeting = makeMeeting(text(title));
        meeting->setStartedAt(meeting->startedAt().addSecs(hour * 3600));
        context().insert(meeting);
        for (const char* line : lines) {
            makeSegment(meeting, text(line));
        }
        context().save();
        return meeting;
    }

    // Both ways, which must agree.
    QStringList found(const QString& query) {
        const MeetingSearch search(folder_.file());
        const auto matches = search.matches(query);
        EXPECT_EQ(matches, search.matches(query, {}, MeetingSearch::Method::scan)) << query.toStdString();
        QStringList titles;
        for (const QUuid& id : matches) {
            titles << context().meeting(id)->title();
        }
        return titles;
    }

    QStringList found(const char* query) { return found(text(query)); }

    StoreFolder folder_;
    ModelContainer container_{folder_.file()};
};

TEST_F(MeetingSearchTest, FindsTitleApplicationSpeakersAndLines) {
    add("Budget")->setSourceApp(text("Zoom"));
    makeSpeaker(add("Roadmap"), text("Ana María"));
    add("Review", {"nothing", "the Quarterly numbers"});
    context().save();
    EXPECT_EQ(found("udge"), QStringList{text("Budget")});
    EXPECT_EQ(found("zoom"), QStringList{text("Budget")});
    EXPECT_EQ(found("MARÍA"), QStringList{text("Roadmap")});
    EXPECT_EQ(found("QUARTERLY N"), QStringList{text("Review")});
    EXPECT_EQ(found("q"), QStringList{text("Review")});
    EXPECT_EQ(found("qu"), QStringList{text("Review")});
    EXPECT_TRUE(found("quarterly  numbers").isEmpty());
    EXPECT_TRUE(found("nothing the").isEmpty()); // no hit goes from line to line
    EXPECT_TRUE(found("budget\nzoom").isEmpty());
}

TEST_F(MeetingSearchTest, AQueryOfOnlyBlanksShowsAllNewestFirst) {
    add("old", {}, 1);
    add("new", {}, 3);
    add("middle", {}, 2);
    add("middle too", {}, 2);
    const QStringList all{text("new"), text("middle"), text("middle too"), text("old")};
    EXPECT_EQ(found(""), all);
    EXPECT_EQ(found(" \t "), all);
    EXPECT_EQ(found("\tMIDDLE "), (QStringList{text("middle"), text("middle too")}));
}

TEST_F(MeetingSearchTest, ReservedCharactersAreOrdinary) {
    add("quotes \"AND\" 'x'");
    add("100%_done*");
    add("semi;colon--");
    EXPECT_EQ(found("\"and\""), QStringList{text("quotes \"AND\" 'x'")});
    EXPECT_EQ(found("'x'"), QStringList{text("quotes \"AND\" 'x'")});
    EXPECT_EQ(found("%_d"), QStringList{text("100%_done*")});
    EXPECT_EQ(found("*"), QStringList{text("100%_done*")});
    EXPECT_EQ(found("%"), QStringList{text("100%_done*")});
    EXPECT_EQ(found("n--"), QStringList{text("semi;colon--")});
    EXPECT_TRUE(found("a OR b").isEmpty());
    EXPECT_TRUE(found("NEAR(a b)").isEmpty());
}

TEST_F(MeetingSearchTest, EveryScriptIsFolded) {
    add("ÜBERGRÖSSE Straße");
    add("ПРИВЕТ мир");
    add("ΟΔΥΣΣΕΥΣ");
    add("İSTANBUL");
    add("会議の記録");
    add("🎙️ podcast");
    EXPECT_EQ(found("übergrö"), QStringList{text("ÜBERGRÖSSE Straße")});
    EXPECT_EQ(found("STRASSE"), QStringList());
    EXPECT_EQ(found("STRAßE"), QStringList{text("ÜBERGRÖSSE Straße")});
    EXPECT_EQ(found("привет"), QStringList{text("ПРИВЕТ мир")});
    EXPECT_EQ(found("МИР"), QStringList{text("ПРИВЕТ мир")});
    EXPECT_EQ(found("議の"), QStringList{text("会議の記録")});
    EXPECT_EQ(found("会議の"), QStringList{text("会議の記録")});
    EXPECT_EQ(found("議"), QStringList{text("会議の記録")});
    EXPECT_EQ(found("🎙"), QStringList{text("🎙️ podcast")});
    EXPECT_EQ(found("stanbul"), QStringList{text("İSTANBUL")});
    EXPECT_EQ(found("İstanbul"), QStringList{text("İSTANBUL")});
    EXPECT_EQ(found("οδυσσευσ"), QStringList{text("ΟΔΥΣΣΕΥΣ")});
}

TEST_F(MeetingSearchTest, FollowsEveryKindOfChange) {
    const auto meeting = add("first title", {"spoken words"});
    const auto speaker = makeSpeaker(meeting, text("Benjamin"));
    const auto segment = meeting->segments().front();
    context().save();
    const auto isFound = [&](const char* query) { return !found(query).isEmpty(); };
    EXPECT_TRUE(isFound("first title") && isFound("spoken words") && isFound("benjamin"));
    meeting->setTitle(text("second title"));
    meeting->setSourceApp(text("Webex"));
    segment->setText(text("Другое"));
    speaker->setName(text("Charlotte"));
    context().save();
    EXPECT_TRUE(isFound("second title") && isFound("webex") && isFound("другое") && isFound("charlotte"));
    EXPECT_FALSE(isFound("first title") || isFound("spoken words") || isFound("benjamin"));
    context().remove(segment);
    context().remove(speaker);
    context().save();
    EXPECT_FALSE(isFound("другое") || isFound("charlotte"));
    makeSegment(meeting, text("spoken again"), makeSpeaker(meeting, text("Dorothea")));
    context().save();
    EXPECT_TRUE(isFound("spoken again") && isFound("dorothea"));
    context().remove(meeting);
    context().save();
    EXPECT_FALSE(isFound("spoken again") || isFound("dorothea") || isFound("webex") || isFound("second"));
}

TEST_F(MeetingSearchTest, CommonWordsAreFoundEverywhere) {
    for (int number = 0; number < 120; ++number) { // more than the sample
        add(qPrintable(QStringLiteral("Meeting %1").arg(number)), {"the same words", number % 2 == 0 ? "even" : "odd"});
    }
    EXPECT_EQ(found("the same").size(), 120);
    EXPECT_EQ(found("even").size(), 60);
    EXPECT_EQ(found("meeting 11").size(), 11);
    EXPECT_EQ(found("meeting 117").size(), 1);
}

TEST_F(MeetingSearchTest, ManyCandidatesThatAreNoneGiveTheSame) {
    // All trigrams of the query are in every line, the query in none of them but one.
    std::vector<const char*> lines(2500, "abcx bcdx cdex");
    add("noise", lines);
    EXPECT_TRUE(found("abcde").isEmpty());
    add("hit", {"abcde"});
    EXPECT_EQ(found("abcde"), QStringList{text("hit")});
}

TEST_F(MeetingSearchTest, AStoppedSearchGivesNothing) {
    add("title");
    std::stop_source stop;
    stop.request_stop();
    std::vector<const char*> lines(5000, "abc");
    add("long", lines);
    const MeetingSearch search(folder_.file());
    EXPECT_TRUE(search.matches(text("nowhere"), stop.get_token()).empty());
    EXPECT_TRUE(search.matches(text("title"), stop.get_token()).empty());
    EXPECT_EQ(search.matches(text("title")).size(), 1U);
}

TEST_F(MeetingSearchTest, AnAbsentStoreIsAnError) {
    EXPECT_THROW(MeetingSearch(folder_.folder() / "absent"), StoreError);
    EXPECT_FALSE(std::filesystem::exists(folder_.folder() / "absent"));
}

TEST_F(MeetingSearchTest, LongQueriesAndTextsAreFine) {
    const QString longText = QString(100'000, u'x') + text("needle Ä");
    makeSegment(add("long"), longText);
    context().save();
    EXPECT_EQ(found("needle ä").size(), 1);
    EXPECT_EQ(found(longText.toUpper()).size(), 1);
    EXPECT_TRUE(found(longText + u'!').isEmpty());
}

// Few letters of several scripts, so that hits and near misses are many; every one is a special case of something.
const std::vector<QString>& alphabet() {
    static const std::vector<QString> letters{
        text("a"),       text("A"),      text("b"),    text("B"), text("ß"),          text("İ"),
        text("i"),       text("Σ"),      text("ς"),    text("σ"), text("é"),          text("É"),
        text("e\u0301"), text("\u0307"), text("🎙"), text("Ж"), text("ж"),          text("\""),
        text("'"),       text("%"),      text("_"),    text("*"), text(" "),          text("\n"),
        text("議"),      text("-"),      text("\\"),   text("ǅ"), text("\U00010400"), QString(QChar(u'\0'))};
    return letters;
}

rc::Gen<QString> anyText(int longest) {
    return rc::gen::mapcat(rc::gen::inRange(0, longest), [](int length) {
        return rc::gen::map(
            rc::gen::container<std::vector<QString>>(static_cast<std::size_t>(length), rc::gen::elementOf(alphabet())),
            [](const std::vector<QString>& letters) {
                QString result;
                for (const QString& letter : letters) {
                    result += letter;
                }
                return result;
            });
    });
}

TEST(MeetingSearchProperty, GivesExactlyWhatTheRuleGives) {
    EXPECT_TRUE(rc::check("rule", [] {
        StoreFolder folder;
        ModelContainer container(folder.file());
        auto& context = container.mainContext();
        const auto count = *rc::gen::inRange(1, 6);
        for (int number = 0; number < count; ++number) {
            const auto meeting = makeMeeting(*anyText(6));
            meeting->setStartedAt(meeting->startedAt().addSecs(*rc::gen::inRange(0, 3)));
            if (*rc::gen::arbitrary<bool>()) {
                meeting->setSourceApp(*anyText(5));
            }
            context.insert(meeting);
            for (int lines = *rc::gen::inRange(0, 4); lines > 0; --lines) {
                makeSegment(meeting, *anyText(12));
            }
            if (*rc::gen::arbitrary<bool>()) {
                makeSpeaker(meeting, *anyText(6));
            }
        }
        context.save();
        // Some change again.
        for (const auto& segment : context.fetchSegments()) {
            if (*rc::gen::inRange(0, 3) == 0) {
                segment->setText(*anyText(12));
            }
        }
        context.save();
        const MeetingSearch search(folder.file());
        for (int round = 0; round < 8; ++round) {
            QString query = *anyText(6);
            query.replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter)); // as the records' texts
            std::vector<QUuid> expected;
            for (const auto& meeting : context.fetchMeetings(
                     {{},
                      [](const Meeting&left, const Meeting&right) { return left.startedAt() > right.startedAt(); },
                      {}})) {
                if (isMatch(*meeting, query)) {
                    expected.push_back(meeting->id());
                }
            }
            RC_ASSERT(search.matches(query) == expected);
            RC_ASSERT(search.matches(query, {}, MeetingSearch::Method::scan) == expected);
        }
    }));
}

} // namespace
} // namespace Varnel
