#include "Varnel/Refinement/LenientReply.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

namespace Varnel {
namespace {

const char* const alice = R"([{"speakerKey":"Speaker 1","name":"Alice"}])";
const QList<NameMatch> aliceAlone{{QStringLiteral("Speaker 1"), QStringLiteral("Alice")}};

QList<NameMatch> names(const std::string& reply) {
    return LenientReply::names(QString::fromStdString(reply));
}

QList<ActionItem> items(const char* reply) {
    return LenientReply::actionItems(QString::fromUtf8(reply));
}

QList<Topic> topics(const char* reply) {
    return LenientReply::topics(QString::fromUtf8(reply));
}

std::string unfenced(const char* reply) {
    return LenientReply::withoutFences(QString::fromUtf8(reply)).toStdString();
}

TEST(LenientReply, ReadsACleanArray) {
    EXPECT_EQ(names(alice), aliceAlone);
    EXPECT_EQ(
        items(R"([{"text":"Send it","assignee":"Bo","timestamp":24},{"text":"Read it","assignee":null},{"text":""}])"),
        (QList<ActionItem>{{QStringLiteral("Send it"), QStringLiteral("Bo"), 24.0},
                           {QStringLiteral("Read it"), {}, {}},
                           {QString(), {}, {}}}));
    EXPECT_EQ(topics(R"([{"title":"Intro","startSeconds":0,"endSeconds":30.5}])"),
              (QList<Topic>{{QStringLiteral("Intro"), 0, 30.5}}));
}

TEST(LenientReply, ReadsAFencedArray) {
    const std::string json = alice;
    EXPECT_EQ(names("```json\n" + json + "\n```"), aliceAlone);
    EXPECT_EQ(names("```\n" + json + "\n```"), aliceAlone);
    EXPECT_EQ(names(" \n```json" + json + "```\n\n"), aliceAlone);
    EXPECT_EQ(names("```JSON\n" + json + "\n```"), aliceAlone);
    EXPECT_EQ(names("Here you are:\n```json\n" + json + "\n```"), aliceAlone);
    EXPECT_EQ(names(json + "\n```"), aliceAlone);
}

TEST(LenientReply, TakesFencesOffTheEndsOnly) {
    EXPECT_EQ(unfenced("```json\n[]\n```"), "[]");
    EXPECT_EQ(unfenced("```[]```"), "[]");
    EXPECT_EQ(unfenced("a ```json []``` b"), "a ```json []``` b");
    EXPECT_EQ(unfenced("```"), "");
    EXPECT_EQ(unfenced("````"), "`");
    EXPECT_EQ(unfenced("``````"), "");
    EXPECT_EQ(unfenced("```json"), "");
    EXPECT_EQ(unfenced(""), "");
}

TEST(LenientReply, ToleratesProseAndAWrapperAroundTheArray) {
    const std::string json = alice;
    EXPECT_EQ(names("Sure! " + json + " I hope this helps."), aliceAlone);
    EXPECT_EQ(names("{\"matches\":" + json + "}"), aliceAlone);
}

TEST(LenientReply, AnotherSquareBracketOutsideLosesTheArray) {
    const std::string json = alice;
    EXPECT_TRUE(names("As of [00:00]: " + json).isEmpty());
    EXPECT_TRUE(names(json + " [end]").isEmpty());
    EXPECT_TRUE(names("{\"a\":[],\"matches\":" + json + "}").isEmpty());
}

TEST(LenientReply, OneMalformedElementLosesTheList) {
    EXPECT_TRUE(items(R"([{"text":"a"},{"text":"b","timestamp":"24"}])").isEmpty());
    EXPECT_TRUE(items(R"([{"text":"a"},{"assignee":"b"}])").isEmpty());
    EXPECT_TRUE(items(R"([{"text":"a"},{"text":null}])").isEmpty());
    EXPECT_TRUE(items(R"([{"text":"a"},"b"])").isEmpty());
    EXPECT_TRUE(topics(R"([{"title":"a","startSeconds":0}])").isEmpty());
    EXPECT_TRUE(topics(R"([{"title":"a","startSeconds":0,"endSeconds":"1"}])").isEmpty());
    EXPECT_TRUE(topics(R"([{"title":"a","startSeconds":true,"endSeconds":1}])").isEmpty());
    EXPECT_TRUE(names(R"([{"speakerKey":"Speaker 1"}])").isEmpty());
    EXPECT_TRUE(names(R"([{"speakerKey":1,"name":"Alice"}])").isEmpty());
}

TEST(LenientReply, WhatIsNoListIsAnEmptyOne) {
    for (const char* reply :
         {"", " ", "[", "]", "][", "[]", "[]]", "{}", "null", "none found", "[1, 2]", "[[]]", "[{\"text\":\"a\"",
          "[{'text':'a'}]", "[{\"text\":\"a\"},]", "```", "\xef\xbf\xbd", "<think>"}) {
        EXPECT_TRUE(names(reply).isEmpty()) << reply;
        EXPECT_TRUE(items(reply).isEmpty()) << reply;
        EXPECT_TRUE(topics(reply).isEmpty()) << reply;
    }
}

TEST(LenientReply, AnyDepthAndLengthIsRead) {
    const std::string deep(200'000, '[');
    EXPECT_TRUE(names(deep).isEmpty());
    EXPECT_TRUE(names(deep + std::string(200'000, ']')).isEmpty());
    EXPECT_TRUE(names("[" + std::string(200'000, ' ')).isEmpty());
    std::string many = "[";
    for (int i = 0; i < 20'000; ++i)
        many += R"({"speakerKey":"Speaker 1","name":"Alice"},)";
    many.back() = ']';
    EXPECT_EQ(names(many).size(), 20'000);
}

// Replies as models write them, more or less: pieces of lists, fences and prose in any order.
rc::Gen<std::string> replies() {
    const auto piece = rc::gen::element<std::string>(
        R"([{"speakerKey":"Speaker 1","name":"Alice"}])", R"({"speakerKey":"Speaker 2","name":"Bob"})",
        R"([{"text":"Send it","assignee":"Bob","timestamp":24}])", R"({"text":"Read it","assignee":null})",
        R"([{"title":"Intro","startSeconds":0,"endSeconds":30}])", R"("name":"Carol")", R"("text":)", "[", "]", "{",
        "}", ",", ":", "\"", "```json", "```", "\n", " ", "<think>", "</think>", "null", "24", "1e400", "-", "Sure!",
        "\xc3\xa4", "\xf0\x9f\x98\x80");
    return rc::gen::map(rc::gen::container<std::vector<std::string>>(piece),
                        [](const std::vector<std::string>& pieces) {
                            std::string reply;
                            for (const std::string& part : pieces)
                                reply += part;
                            return reply;
                        });
}

TEST(LenientReply, NeverThrowsAndNeverInvents) {
    const auto holds = [](const QString& reply) {
        for (const NameMatch& match : LenientReply::names(reply))
            RC_ASSERT(reply.contains(match.speakerKey) && reply.contains(match.name));
        for (const ActionItem& item : LenientReply::actionItems(reply)) {
            RC_ASSERT(reply.contains(item.text) && reply.contains(item.assignee.value_or(QString())));
            RC_ASSERT(!item.timestamp || reply.contains(QStringLiteral("24")));
        }
        for (const Topic& topic : LenientReply::topics(reply))
            RC_ASSERT(reply.contains(topic.title));
    };
    EXPECT_TRUE(rc::check("on pieces of replies", [&] { holds(QString::fromStdString(*replies())); }));
    EXPECT_TRUE(rc::check("on any text", [&] {
        const auto units = *rc::gen::arbitrary<std::vector<std::uint16_t>>();
        const QString reply(reinterpret_cast<const QChar*>(units.data()), static_cast<qsizetype>(units.size()));
        LenientReply::names(reply);
        LenientReply::actionItems(reply);
        LenientReply::topics(reply);
    }));
}

TEST(LenientReply, FindsAListWhateverProseWithoutBracketsIsAroundIt) {
    EXPECT_TRUE(rc::check([] {
        const auto prose = rc::gen::container<std::string>(rc::gen::elementOf(std::string("Here it is:\n`{}\"',.")));
        const std::string before = *prose;
        const std::string after = *prose;
        RC_ASSERT(names(before + alice + after) == aliceAlone);
    }));
}

} // namespace
} // namespace Varnel
