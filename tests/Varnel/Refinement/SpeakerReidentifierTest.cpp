#include "Varnel/Refinement/SpeakerReidentifier.h"

#include <gtest/gtest.h>

namespace Varnel {
namespace {

using SpeakerReidentifier::meanEmbedding;

Output::Segment segment(const char* key, std::vector<float> embedding) {
    return {0, 1, QStringLiteral("text"), QString::fromLatin1(key), std::move(embedding)};
}

TEST(SpeakerReidentifier, TheMeanIsNotNormalised) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {1, 2}), segment("2", {50, 50}), segment("1", {3, 8})}),
              (std::vector<float>{2, 5}));
}

TEST(SpeakerReidentifier, AKeyWithoutEmbeddingsHasNoMean) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {}), segment("1", {})}), std::nullopt);
    EXPECT_EQ(meanEmbedding(QStringLiteral("2"), {segment("1", {1})}), std::nullopt);
    EXPECT_EQ(meanEmbedding(QStringLiteral(""), {}), std::nullopt);
}

TEST(SpeakerReidentifier, TheFirstEmbeddingSetsTheDimension) {
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"), {segment("1", {}), segment("1", {1, 2}), segment("1", {9, 9, 9}),
                                                  segment("1", {3, 4}), segment("1", {9})}),
              (std::vector<float>{2, 3}));
}

TEST(SpeakerReidentifier, SumsAreSingleFloatsInOrder) {
    // 2^24 + 1 is no float: the ones vanish one by one.
    EXPECT_EQ(meanEmbedding(QStringLiteral("1"),
                            {segment("1", {16777216.0F}), segment("1", {1}), segment("1", {1}), segment("1", {1})}),
              (std::vector<float>{4194304.0F}));
}

} // namespace
} // namespace Varnel
