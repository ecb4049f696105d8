#include "StoreTesting.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <array>

namespace Varnel {
namespace {

const QString networkA = QStringLiteral("aaaa");
const QString networkB = QStringLiteral("bbbb");

// "name colour flag [embedding]" of each voice, in order.
QStringList scan(const ModelContext& context, const VoiceFilter& filter = {}) {
    QStringList result;
    context.scanVoices(filter, [&](const StoredVoice& voice) {
        QStringList values;
        for (const float value : voice.embedding())
            values += QString::number(static_cast<double>(value));
        result += voice.name() + u' ' + voice.colorHex() + (voice.isYou() ? u'*' : u' ') + values.join(u',');
    });
    return result;
}

// What the scan must give: the rule over the fetched records.
QStringList fetched(const ModelContext& context, const VoiceFilter& filter) {
    QStringList result;
    for (const auto& speaker : context.fetchSpeakers()) {
        const auto meeting = speaker->meeting();
        const bool isExcluded = filter.excludedMeetingID && meeting && meeting->id() == *filter.excludedMeetingID;
        const auto& digest = speaker->embeddingModelDigest();
        const bool isComparable = !filter.embeddingModelDigest || !digest || digest == filter.embeddingModelDigest;
        if (isExcluded || !isComparable || !speaker->embedding() || speaker->embedding()->empty())
            continue;
        QStringList values;
        for (const float value : *speaker->embedding())
            values += QString::number(static_cast<double>(value));
        result += speaker->name() + u' ' + speaker->colorHex() + (speaker->isYou() ? u'*' : u' ') + values.join(u',');
    }
    return result;
}

TEST(VoiceScan, PassesVoicesInTheOrderOfInsertion) {
    ModelContainer container;
    auto& context = container.mainContext();
    EXPECT_TRUE(scan(context).isEmpty());
    const auto meeting = makeMeeting();
    context.insert(meeting);
    for (const char* name : {"b", "a", "c"})
        context.insert(makeSpeaker(meeting, QString::fromLatin1(name), Speaker::Embedding{1, -2.5F}));
    const QStringList all{QStringLiteral("b #EC4899 1,-2.5"), QStringLiteral("a #EC4899 1,-2.5"),
                          QStringLiteral("c #EC4899 1,-2.5")};
    EXPECT_EQ(scan(context), all) << "before the save";
    context.save();
    EXPECT_EQ(scan(context), all) << "after it";
}

TEST(VoiceScan, ReadsRowsThatAreNotInMemory) {
    const StoreFolder store;
    const auto meeting = makeMeeting();
    {
        ModelContainer container(store.file());
        const auto speaker = makeSpeaker(meeting, QStringLiteral("Zoë"), Speaker::Embedding(300, 0.5F));
        speaker->setIsYou(true);
        container.mainContext().insert(speaker);
        container.mainContext().insert(makeSpeaker(meeting, QStringLiteral("mute")));
        container.mainContext().insert(makeSpeaker(meeting, QStringLiteral("empty"), Speaker::Embedding{}));
        container.mainContext().save();
    }
    ModelContainer container(store.file());
    int voices = 0;
    container.mainContext().scanVoices({}, [&](const StoredVoice& voice) {
        ++voices;
        EXPECT_EQ(voice.name(), QStringLiteral("Zoë"));
        EXPECT_TRUE(voice.isYou());
        EXPECT_TRUE(std::ranges::equal(voice.embedding(), std::vector<float>(300, 0.5F)));
    });
    EXPECT_EQ(voices, 1);
    EXPECT_TRUE(scan(container.mainContext(), {meeting->id(), {}}).isEmpty());
    EXPECT_EQ(scan(container.mainContext(), {QUuid::createUuid(), {}}).size(), 1);
}

TEST(VoiceScan, ALoadedSpeakerWhoseVoiceWasNotReadYetHasTheStoredOne) {
    const StoreFolder store;
    {
        ModelContainer container(store.file());
        const auto speaker = makeSpeaker(makeMeeting(), QStringLiteral("old name"), Speaker::Embedding{1, 2});
        speaker->setEmbeddingModelDigest(networkA);
        container.mainContext().insert(speaker);
        container.mainContext().save();
    }
    ModelContainer container(store.file());
    const auto speaker = container.mainContext().fetchSpeakers().at(0);
    speaker->setName(QStringLiteral("new name"));
    EXPECT_EQ(scan(container.mainContext()), QStringList{QStringLiteral("new name #EC4899 1,2")});
    EXPECT_EQ(scan(container.mainContext(), {{}, networkA}).size(), 1);
    EXPECT_TRUE(scan(container.mainContext(), {{}, networkB}).isEmpty());
    speaker->setEmbedding(std::nullopt);
    EXPECT_TRUE(scan(container.mainContext()).isEmpty());
}

TEST(VoiceScan, LeavesOutTheVoicesOfOtherNetworks) {
    ModelContainer container;
    auto& context = container.mainContext();
    const auto a = makeSpeaker({}, QStringLiteral("a"), Speaker::Embedding{1});
    const auto b = makeSpeaker({}, QStringLiteral("b"), Speaker::Embedding{1});
    const auto unknown = makeSpeaker({}, QStringLiteral("unknown"), Speaker::Embedding{1});
    a->setEmbeddingModelDigest(networkA);
    b->setEmbeddingModelDigest(networkB);
    for (const auto& speaker : {a, b, unknown})
        context.insert(speaker);
    for (const bool isSaved : {false, true}) {
        if (isSaved)
            context.save();
        EXPECT_EQ(scan(context).size(), 3);
        EXPECT_EQ(scan(context, {{}, networkA}),
                  (QStringList{QStringLiteral("a #EC4899 1"), QStringLiteral("unknown #EC4899 1")}));
    }
}

// Whatever waits for a save, the scan gives what a fetch would.
TEST(VoiceScan, AgreesWithAFetch) {
    EXPECT_TRUE(rc::check([] {
        ModelContainer container;
        auto& context = container.mainContext();
        std::vector<std::shared_ptr<Meeting>> meetings;
        std::vector<std::shared_ptr<Speaker>> held; // the others leave memory after a save
        const auto oneOf = [](const auto& records) {
            return records.at(*rc::gen::inRange<std::size_t>(0, records.size()));
        };
        const auto anyMeeting = [&]() -> std::shared_ptr<Meeting> {
            return meetings.empty() || *rc::gen::inRange(0, 4) == 0 ? nullptr : oneOf(meetings);
        };
        const auto anyVoice = []() -> std::optional<Speaker::Embedding> {
            if (*rc::gen::inRange(0, 4) == 0)
                return std::nullopt;
            return *rc::gen::container<Speaker::Embedding>(
                *rc::gen::inRange<std::size_t>(0, 3),
                rc::gen::map(rc::gen::inRange(-9, 9), [](int value) { return static_cast<float>(value); }));
        };
        const std::array digests{std::optional<QString>(), std::optional(networkA), std::optional(networkB)};
        for (int step = *rc::gen::inRange(0, 40), number = 0; number < step; ++number) {
            const int action = *rc::gen::inRange(0, 10);
            if (action == 0) {
                meetings.push_back(makeMeeting());
                context.insert(meetings.back());
            } else if (action <= 3) {
                const auto speaker = makeSpeaker(anyMeeting(), QString::number(number), anyVoice());
                speaker->setEmbeddingModelDigest(oneOf(digests));
                context.insert(speaker);
                if (*rc::gen::arbitrary<bool>())
                    held.push_back(speaker);
            } else if (action == 4) {
                context.save();
            } else if (action == 5 && !meetings.empty()) {
                const auto meeting = oneOf(meetings);
                context.remove(meeting);
                std::erase(meetings, meeting);
            } else if (!held.empty()) {
                const auto speaker = oneOf(held);
                if (speaker->context() == nullptr)
                    continue;
                if (action == 6)
                    context.remove(speaker);
                else if (action == 7)
                    speaker->setEmbedding(anyVoice());
                else if (action == 8)
                    speaker->setMeeting(anyMeeting());
                else
                    speaker->setEmbeddingModelDigest(oneOf(digests));
            }
        }
        VoiceFilter filter{{}, oneOf(digests)};
        if (const auto meeting = anyMeeting())
            filter.excludedMeetingID = meeting->id();
        // The scan first: the fetch brings everything into memory.
        const QStringList scanned = scan(context, filter);
        RC_ASSERT(scanned == fetched(context, filter));
        RC_ASSERT(scan(context, filter) == scanned);
    }));
}

} // namespace
} // namespace Varnel
