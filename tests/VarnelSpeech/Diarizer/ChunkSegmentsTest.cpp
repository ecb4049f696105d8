#include "VarnelSpeech/Diarizer/ChunkSegments.h"

#include "rapidcheck.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <unordered_set>

namespace VarnelSpeech {
namespace {

constexpr std::size_t frames = 592;

void activate(SpeakerActivity& activity, std::size_t speaker, std::size_t from, std::size_t to) {
    for (std::size_t frame = from; frame < to; ++frame)
        activity.frame(frame)[speaker] = 1;
}

// Three speakers "1", "2" and "3" with voices of a norm of 5.
std::vector<LocalSpeaker> known(const SpeakerActivity& activity) {
    std::vector<LocalSpeaker> speakers;
    for (std::size_t index = 0; index < 3; ++index)
        speakers.push_back({std::to_string(index + 1), {3, 4}, activity.total(index)});
    return speakers;
}

std::vector<TimedSpeakerSegment> segments(const SpeakerActivity& activity, double offset = 0) {
    return chunkSegments(activity, known(activity), offset, {});
}

TEST(CleanFrameMasks, LeaveOutFramesOfTwoSpeakers) {
    SpeakerActivity activity(4);
    activate(activity, 0, 1, 3);
    activate(activity, 2, 2, 4);
    std::vector<std::vector<float>> masks{{9, 9}}; // of an earlier chunk
    fillCleanFrameMasks(activity, masks);
    EXPECT_EQ(masks, (std::vector<std::vector<float>>{{0, 1, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 1}}));
}

TEST(ChunkSegments, RunFromTheFirstActiveFrameToTheFirstThatIsNot) {
    SpeakerActivity activity(frames);
    activate(activity, 1, 100, 200);
    const auto found = segments(activity, 30);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].speakerId, "2");
    EXPECT_FLOAT_EQ(found[0].startTimeSeconds, 31.6875F);
    EXPECT_FLOAT_EQ(found[0].endTimeSeconds, 33.375F);
    EXPECT_EQ(found[0].embedding, (std::vector<float>{3, 4}));
    EXPECT_FLOAT_EQ(found[0].qualityScore, 0.5F); // all of it active, half a full voice
}

TEST(ChunkSegments, RunToTheChunksEndWhenStillOpen) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 500, frames);
    const auto found = segments(activity);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_FLOAT_EQ(found[0].endTimeSeconds, 9.99F);
}

TEST(ChunkSegments, AreOfBothSpeakersWhereTwoSpeak) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 0, 200);
    activate(activity, 1, 100, 300);
    const auto found = segments(activity);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_FLOAT_EQ(found[0].endTimeSeconds, 3.375F);
    EXPECT_FLOAT_EQ(found[1].startTimeSeconds, 1.6875F);
}

TEST(ChunkSegments, AreDroppedWhenTheyAreTooShort) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 0, 59);    // 0.996 s
    activate(activity, 0, 100, 160); // 1.0125 s
    activate(activity, 0, 300, 413); // 1.9 s
    const auto found = segments(activity);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_FLOAT_EQ(found[0].startTimeSeconds, 1.6875F);
    EXPECT_FLOAT_EQ(found[1].startTimeSeconds, 5.0625F);
    // The speaker's whole activity over each stretch's length: above 1 is no mistake.
    EXPECT_FLOAT_EQ(found[0].qualityScore, 232.0F / 60 * 0.5F);
    EXPECT_FLOAT_EQ(found[1].qualityScore, 232.0F / 113 * 0.5F);
}

TEST(ChunkSegments, AreSortedByTheirStartAndKeepTheSpeakersOrder) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 300, 400);
    activate(activity, 1, 0, 100);
    activate(activity, 2, 300, 500);
    const auto found = segments(activity);
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(found[0].speakerId, "2");
    EXPECT_EQ(found[1].speakerId, "1");
    EXPECT_EQ(found[2].speakerId, "3");
}

TEST(ChunkSegments, AreOfSpeakersWithAnIdAndAVoiceWhoAreActiveEnough) {
    SpeakerActivity activity(frames);
    for (const std::size_t speaker : {0U, 1U, 2U})
        activate(activity, speaker, 0, 100);
    auto speakers = known(activity);
    speakers[0].id.clear();
    speakers[1].embedding.clear();
    speakers[2].activity = 9;
    EXPECT_TRUE(chunkSegments(activity, speakers, 0, {}).empty());
    speakers[2].activity = 10;
    EXPECT_EQ(chunkSegments(activity, speakers, 0, {}).size(), 1U);
}

TEST(ChunkSegments, CountALoudVoiceOnce) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 0, 100);
    auto speakers = known(activity);
    speakers[0].embedding = std::vector<float>(256, 4);
    EXPECT_FLOAT_EQ(chunkSegments(activity, speakers, 0, {}).at(0).qualityScore, 1);
}

TEST(ChunkSegments, AreOpenedByLessWhereAnotherSpeaks) {
    SpeakerActivity activity(frames);
    for (std::size_t frame = 0; frame < 200; ++frame)
        activity.frame(frame)[0] = 0.2F;
    activate(activity, 1, 0, 100);
    auto speakers = known(activity);
    const auto found = chunkSegments(activity, speakers, 0, {});
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].speakerId, "1");
    EXPECT_FLOAT_EQ(found[0].endTimeSeconds, 1.6875F); // 0.2 is not enough alone
}

TEST(ChunkSegments, AreIdentifiedAndHashedByFreshIds) {
    SpeakerActivity activity(frames);
    activate(activity, 0, 0, 100);
    activate(activity, 1, 0, 100);
    auto found = segments(activity);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_NE(found[0].id, found[1].id);
    EXPECT_EQ(found[0].id.size(), 36U);
    found.push_back(found[0]);
    EXPECT_EQ(std::unordered_set<TimedSpeakerSegment>(found.begin(), found.end()).size(), 2U);
}

TEST(ChunkSegments, CoverExactlyTheActiveFrames) {
    EXPECT_TRUE(rc::check([] {
        const auto active = *rc::gen::container<std::vector<bool>>(200, rc::gen::arbitrary<bool>());
        SpeakerActivity activity(active.size());
        for (std::size_t frame = 0; frame < active.size(); ++frame)
            activity.frame(frame)[1] = active[frame] ? 1.0F : 0.0F;
        DiarizerConfig config;
        config.minSpeechDuration = 0;
        config.minActiveFramesCount = 0;
        std::vector<bool> covered(active.size());
        for (const auto& segment : chunkSegments(activity, known(activity), 0, config)) {
            const auto from = std::lround(segment.startTimeSeconds / SpeakerActivity::secondsPerFrame);
            const auto to = std::lround(segment.endTimeSeconds / SpeakerActivity::secondsPerFrame);
            for (long frame = from; frame < to; ++frame)
                covered[static_cast<std::size_t>(frame)] = true;
        }
        RC_ASSERT(covered == active);
    }));
}

} // namespace
} // namespace VarnelSpeech
