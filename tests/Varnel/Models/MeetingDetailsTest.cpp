#include "Varnel/Models/MeetingDetails.h"

#include "Varnel/Models/DecimalForm.h"
#include "Varnel/Models/Meeting.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cmath>
#include <limits>

namespace Varnel {
namespace {

QString text(const char* utf8) {
    return QString::fromUtf8(utf8);
}

TEST(MeetingDetails, AreWrittenCompactlyInTheOrderOfTheirFields) {
    EXPECT_EQ(encode(QList<ActionItem>{{text("Ship \"it\" / ü"), text("Ana"), 24.5}, {text("b"), {}, 3600.0}}),
              text(R"([{"text":"Ship \"it\" / ü","assignee":"Ana","timestamp":24.5},{"text":"b","timestamp":3600}])"));
    EXPECT_EQ(encode(QList<Topic>{{text("t"), 0, 1e-7}}),
              text(R"([{"title":"t","startSeconds":0,"endSeconds":1e-07}])"));
    EXPECT_EQ(encode(QList<CalendarAttendee>{{text("n"), text("e@x")}}), text(R"([{"name":"n","email":"e@x"}])"));
}

TEST(MeetingDetails, AnEmptyListIsStoredAsTwoBrackets) {
    EXPECT_EQ(encode(QList<ActionItem>{}), text("[]"));
    EXPECT_EQ(encode(QList<Topic>{}), text("[]"));
    EXPECT_EQ(encode(QList<CalendarAttendee>{}), text("[]"));
    EXPECT_TRUE(decodeTopics(text("[]")).isEmpty());
}

TEST(MeetingDetails, AnActionItemWithoutAssigneeAndTimeHasNeitherKey) {
    const QList<ActionItem> items{{text("call"), {}, {}}};
    EXPECT_EQ(encode(items), text(R"([{"text":"call"}])"));
    EXPECT_EQ(decodeActionItems(encode(items)), items);
}

TEST(MeetingDetails, ATimeThatIsNotFiniteLeavesTheColumnAsItWas) {
    Meeting meeting(QUuid::createUuid(), text("m"), QDateTime());
    meeting.setTopics({{text("t"), 1, 2}});
    const auto before = meeting.topicsJSON();
    meeting.setTopics({{text("t"), std::numeric_limits<double>::quiet_NaN(), 2}});
    EXPECT_EQ(meeting.topicsJSON(), before);
    meeting.setActionItems({{text("t"), {}, std::numeric_limits<double>::infinity()}});
    EXPECT_EQ(meeting.actionItemsJSON(), std::nullopt);
}

TEST(MeetingDetails, WhatDoesNotDecodeIsAnEmptyList) {
    EXPECT_TRUE(decodeTopics(std::nullopt).isEmpty());
    for (const char* json : {
             "",
             " ",
             "no JSON",
             "[",
             "[{]",
             "{}",
             "null",
             "1",
             "\"x\"",
             "[1]",
             "[null]",
             "[[]]",
             "[\"x\"]",
             "[true]",
             R"({"title":"a","startSeconds":1,"endSeconds":2})",                 // no array
             R"([{"startSeconds":1,"endSeconds":2}])",                           // a required key missing
             R"([{"title":"a","startSeconds":1}])",                              //
             R"([{"title":null,"startSeconds":1,"endSeconds":2}])",              // null is no text
             R"([{"title":"a","startSeconds":"1","endSeconds":2}])",             // a number as a text
             R"([{"title":7,"startSeconds":1,"endSeconds":2}])",                 // a text as a number
             R"([{"title":true,"startSeconds":1,"endSeconds":2}])",              //
             R"([{"title":["a"],"startSeconds":1,"endSeconds":2}])",             //
             R"([{"title":{},"startSeconds":1,"endSeconds":2}])",                //
             R"([{"title":"a","startSeconds":1e999,"endSeconds":2}])",           // no double
             R"([{"title":"a","startSeconds":1,"endSeconds":2},{"title":"b"}])", // one bad of two
             R"([{"title":"a","startSeconds":1,"endSeconds":2}] trailing)",      //
             "[{\"title\":\"a\\ud800\",\"startSeconds\":1,\"endSeconds\":2}]",   // half a character
         }) {
        EXPECT_TRUE(decodeTopics(text(json)).isEmpty()) << json;
    }
    EXPECT_TRUE(decodeActionItems(text(R"([{"text":"a","assignee":1}])")).isEmpty());
    EXPECT_TRUE(decodeActionItems(text(R"([{"text":"a","timestamp":"1"}])")).isEmpty());
    EXPECT_TRUE(decodeCalendarAttendees(text(R"([{"email":"x"}])")).isEmpty());
    Meeting meeting(QUuid::createUuid(), text("m"), QDateTime());
    meeting.setTopicsJSON(text("{damaged"));
    EXPECT_TRUE(meeting.topics().isEmpty());
}

TEST(MeetingDetails, OnlyTheKeysOfTheRecordAreRead) {
    EXPECT_EQ(decodeTopics(text(R"( [ {"x":{"title":3,"y":[1,[2,{"z":null}]]},"title":"a","startSeconds":1,
                                     "endSeconds":2.5,"more":true,"none":null} ] )")),
              (QList<Topic>{{text("a"), 1, 2.5}}));
    EXPECT_EQ(decodeActionItems(text(R"([{"text":"a","assignee":null,"timestamp":null}])")),
              (QList<ActionItem>{{text("a"), {}, {}}}));
}

TEST(MeetingDetails, DeepAndLongTextDoesNoHarm) {
    constexpr qsizetype depth = 1'000'000;
    EXPECT_TRUE(decodeTopics(QString(depth, u'[')).isEmpty());
    EXPECT_TRUE(decodeTopics(text("[{\"x\":") + QString(depth, u'[')).isEmpty());
    const QString nested = text(R"([{"x":)") + QString(depth, u'[') + QString(depth, u']') +
                           text(R"(,"title":"a","startSeconds":1,"endSeconds":2}])");
    EXPECT_EQ(decodeTopics(nested).size(), 1);
    EXPECT_TRUE(decodeTopics(u'[' + text("{},").repeated(100'000) + text("{}]")).isEmpty());
}

TEST(MeetingDetails, EveryListSurvivesEncodingAndDecoding) {
    EXPECT_TRUE(
        rc::check("items", [](const std::vector<std::tuple<std::string, bool, std::string, bool, double>>& raw) {
            QList<ActionItem> items;
            for (const auto& [what, hasWho, who, hasTime, time] : raw) {
                ActionItem item{QString::fromLatin1(what.data(), static_cast<qsizetype>(what.size())), {}, {}};
                if (hasWho) {
                    item.assignee = QString::fromLatin1(who.data(), static_cast<qsizetype>(who.size()));
                }
                if (hasTime && std::isfinite(time)) {
                    item.timestamp = time;
                }
                items << item;
            }
            RC_ASSERT(decodeActionItems(encode(items)) == items);
        }));
}

TEST(MeetingDetails, IdsAreMadeOfTheFieldsAndTheDecimalFormOfTheTime) {
    EXPECT_EQ((ActionItem{text("call"), {}, {}}.id()), text("call||-1.0"));
    EXPECT_EQ((ActionItem{text("call"), text("Ana"), 24.0}.id()), text("call|Ana|24.0"));
    EXPECT_EQ((ActionItem{text("call"), text("Ana"), 0.1}.id()), text("call|Ana|0.1"));
    EXPECT_EQ((Topic{text("Plan"), 62.5, 70}.id()), text("Plan|62.5"));
    EXPECT_EQ((ActionItem{text("a"), {}, 1}.id()), (ActionItem{text("a"), {}, 1}.id()));
}

TEST(DecimalForm, HasAFractionOrIsTheShortestThatReadsBack) {
    EXPECT_EQ(decimalForm(0), text("0.0"));
    EXPECT_EQ(decimalForm(-1), text("-1.0"));
    EXPECT_EQ(decimalForm(100'000), text("100000.0"));
    EXPECT_EQ(decimalForm(0.1 + 0.2), text("0.30000000000000004"));
    EXPECT_EQ(jsonNumber(100'000), text("100000"));
    EXPECT_EQ(jsonNumber(0.25), text("0.25"));
    EXPECT_EQ(jsonNumber(-0.0), text("0"));
    EXPECT_TRUE(rc::check("reads back", [](double value) {
        RC_PRE(std::isfinite(value));
        RC_ASSERT(decimalForm(value).toDouble() == value);
        RC_ASSERT(jsonNumber(value).toDouble() == value);
    }));
}

} // namespace
} // namespace Varnel
