#include "VarnelSpeech/Shared/SampleCollector.h"

#include "rapidcheck.h"
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

using namespace VarnelSpeech;

namespace {

std::vector<float> count(std::size_t samples) {
    std::vector<float> values(samples);
    std::iota(values.begin(), values.end(), 0.0F);
    return values;
}

} // namespace

TEST(SampleCollector, ReservesWhatIsExpectedAndNoMore) {
    const auto values = count(1000);
    SampleCollector collector(1000);
    collector.append(values);
    const auto result = collector.take();
    EXPECT_EQ(result, values);
    EXPECT_EQ(result.capacity(), 1000U);
}

TEST(SampleCollector, TakesMoreThanExpected) {
    const auto values = count(5'000'000); // several pages
    for (const std::size_t expected : {std::size_t{0}, std::size_t{10}, std::size_t{1'000'000}}) {
        SampleCollector collector(expected);
        for (std::size_t from = 0; from < values.size(); from += 70'000)
            collector.append(std::span(values).subspan(from, std::min<std::size_t>(70'000, values.size() - from)));
        EXPECT_EQ(collector.size(), values.size());
        const auto result = collector.take();
        EXPECT_TRUE(result == values);
        EXPECT_EQ(result.capacity(), values.size());
    }
}

TEST(SampleCollector, TakesFewerThanExpected) {
    SampleCollector collector(1000);
    collector.append(count(10));
    EXPECT_EQ(collector.take(), count(10));
}

TEST(SampleCollector, DoesWithoutAReservationThatCannotBe) {
    SampleCollector collector(std::size_t{1} << 61U);
    collector.append(count(10));
    EXPECT_EQ(collector.take(), count(10));
}

TEST(SampleCollector, ForgetsWhatIsTruncated) {
    EXPECT_TRUE(rc::check([] {
        const auto expected = *rc::gen::inRange<std::size_t>(0, 40);
        const auto first = *rc::gen::inRange<std::size_t>(0, 30);
        const auto second = *rc::gen::inRange<std::size_t>(0, 30);
        const auto kept = *rc::gen::inRange<std::size_t>(0, 70);
        auto values = count(first + second);
        SampleCollector collector(expected);
        collector.append(std::span(values).first(first));
        collector.append(std::span(values).subspan(first));
        collector.truncate(kept);
        values.resize(std::min(kept, values.size()));
        RC_ASSERT(collector.take() == values);
    }));
}
