#include "Varnel/Refinement/ChatReply.h"

#include "Varnel/Refinement/LLMClientError.h"

#include "rapidcheck.h"
#include <gmock/gmock.h>

namespace Varnel {
namespace {

std::string read(const QByteArray& json) {
    return ChatReply::text(json).toStdString();
}

std::string problem(const QByteArray& json) {
    try {
        ChatReply::text(json);
    } catch (const LLMClientError& error) {
        EXPECT_EQ(error.error(), LLMClientError::Case::malformedReply);
        return error.what();
    }
    return "none";
}

std::string cleaned(const char* text) {
    return ChatReply::withoutReasoning(QString::fromUtf8(text)).toStdString();
}

TEST(ChatReply, IsTheFirstChoicesContent) {
    EXPECT_EQ(read(R"({"choices":[{"message":{"role":"assistant","content":"One"}},)"
                   R"({"message":{"role":"assistant","content":"Two"}}]})"),
              "One");
    EXPECT_EQ(read(R"({"choices":[{"message":{"content":"a\n\u00e4\ud83d\ude00","role":""}}]})"),
              "a\n\xc3\xa4\xf0\x9f\x98\x80");
}

TEST(ChatReply, WithoutChoicesIsEmpty) {
    EXPECT_EQ(read(R"({"choices":[]})"), "");
}

TEST(ChatReply, IgnoresEverythingElse) {
    EXPECT_EQ(read(R"( {"id":7,"choices":[{"index":0,"logprobs":null,"delta":{"content":3,"message":[]},)"
                   R"("message":{"refusal":null,"tool_calls":[{"content":[1,{"role":2}]}],"content":"Yes","role":"x"},)"
                   R"("choices":"no"}],"usage":{"choices":[1,2],"message":{}},"message":"x"} )"),
              "Yes");
}

TEST(ChatReply, OfARepeatedMemberIsTheLast) {
    EXPECT_EQ(read(R"({"choices":[{"message":{"role":"a","content":"One"}}],)"
                   R"("choices":[{"message":{"role":"a","content":"Two","content":"Three"}}]})"),
              "Three");
}

TEST(ChatReply, MustHaveAMessageOfRoleAndContentInEveryChoice) {
    for (const char* json : {R"({})",
                             R"({"choices":null})",
                             R"({"choices":{}})",
                             R"({"choices":"x"})",
                             R"({"choices":[1]})",
                             R"({"choices":[null]})",
                             R"({"choices":[[]]})",
                             R"({"choices":[{}]})",
                             R"({"choices":[{"message":null}]})",
                             R"({"choices":[{"message":"x"}]})",
                             R"({"choices":[{"message":[]}]})",
                             R"({"choices":[{"message":{}}]})",
                             R"({"choices":[{"message":{"role":"a"}}]})",
                             R"({"choices":[{"message":{"content":"a"}}]})",
                             R"({"choices":[{"message":{"role":"a","content":null}}]})",
                             R"({"choices":[{"message":{"role":null,"content":"a"}}]})",
                             R"({"choices":[{"message":{"role":"a","content":1}}]})",
                             R"({"choices":[{"message":{"role":"a","content":[]}}]})",
                             R"({"choices":[{"message":{"role":"a","content":{}}}]})",
                             R"({"choices":[{"message":{"role":"a","content":"b"}},{}]})",
                             R"([])",
                             R"("text")",
                             R"(7)",
                             R"(null)"})
        EXPECT_THAT(problem(json), ::testing::StartsWith("The reply is no chat completion: ")) << json;
    EXPECT_EQ(problem(R"({"choices":[{"message":{"role":"a","content":null}}]})"),
              "The reply is no chat completion: 'content' is of another type.");
    EXPECT_EQ(problem(R"({"choices":[{"message":{"role":"a"}}]})"),
              "The reply is no chat completion: 'content' is missing.");
}

TEST(ChatReply, ThatIsNoJSONIsTheParsersOwnError) {
    for (const QByteArray json :
         {"", "{", "<html>busy</html>", "{\"choices\":[]} x", "{'choices':[]}", "{\"choices\":[],}", "{\"a\":\"\xff\"}",
          "{\"a\":\"\xc3\"}", "{\"a\":\"\xed\xa0\x80\"}", "{\"a\":1e999}", "{\"a\":\"\\ud800\"}", "\xff\xfe{"})
        EXPECT_THAT(problem(json), ::testing::StartsWith("[json.exception.")) << json.toStdString();
    EXPECT_LE(problem("{\"" + QByteArray(100'000, 'x')).size(), 300U);
}

TEST(ChatReply, AnyDepthIsRead) {
    const QByteArray deep(200'000, '[');
    EXPECT_NE(problem("{\"a\":" + deep), "none");
    EXPECT_EQ(read("{\"a\":" + deep + QByteArray(200'000, ']') + ",\"choices\":[]}"), "");
}

TEST(Reasoning, IsTakenOut) {
    EXPECT_EQ(cleaned("<think>hm</think>Yes"), "Yes");
    EXPECT_EQ(cleaned("<think>first\nsecond\n</think>\n\nYes\n"), "Yes");
    EXPECT_EQ(cleaned("<think></think>"), "");
    EXPECT_EQ(cleaned(" \n<think>only this</think>\t\n "), "");
    EXPECT_EQ(cleaned("<think>a</think>between<think>b</think>"), "between");
    EXPECT_EQ(cleaned("a<think>b</think> c"), "a c");
}

TEST(Reasoning, EndsAtTheFirstEnd) {
    EXPECT_EQ(cleaned("<think>a<think>b</think>c</think>d"), "c</think>d");
}

TEST(Reasoning, WithoutItsEndStays) {
    EXPECT_EQ(cleaned(" <think>still thinking "), "<think>still thinking");
    EXPECT_EQ(cleaned("<think>a</think>b<think>c"), "b<think>c");
    EXPECT_EQ(cleaned("a</think>b"), "a</think>b");
    EXPECT_EQ(cleaned("<Think>a</Think>"), "<Think>a</Think>");
}

TEST(Reasoning, OfAnyLengthIsReadInOnePass) {
    QString text;
    for (int i = 0; i < 200'000; ++i)
        text += QStringLiteral("<think>");
    EXPECT_EQ(ChatReply::withoutReasoning(text), text);
}

TEST(Reasoning, WhatIsSaidIsKeptAndWhatIsThoughtIsNot) {
    EXPECT_TRUE(rc::check([] {
        const auto letters = rc::gen::container<std::string>(rc::gen::elementOf(std::string("ab <>[]\n/tk")));
        const auto parts =
            *rc::gen::container<std::vector<std::pair<std::string, std::string>>>(rc::gen::pair(letters, letters));
        QString reply;
        QString said;
        for (const auto& [thought, words] : parts) {
            reply += QStringLiteral("<think>") + QString::fromStdString(thought) + QStringLiteral("</think>") +
                     QString::fromStdString(words);
            said += QString::fromStdString(words);
        }
        RC_PRE(!said.contains(QLatin1String("<think>")));
        RC_ASSERT(ChatReply::withoutReasoning(reply) == said.trimmed());
    }));
}

} // namespace
} // namespace Varnel
