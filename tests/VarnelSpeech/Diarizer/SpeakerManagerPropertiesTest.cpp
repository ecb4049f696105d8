// Whatever was done to a database, it finds what a plain scan over its speakers finds.
#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/SpeakerUtilities.h"
#include "VoiceFixtures.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <random>

using namespace VarnelSpeech;
using namespace VarnelSpeech::Testing;

namespace {

using Matches = std::vector<std::pair<std::string, float>>;

Matches distancesTo(const SpeakerManager& manager, const std::vector<float>& embedding) {
    Matches distances;
    manager.forEachSpeaker([&](const Speaker& known) {
        distances.emplace_back(known.id(), SpeakerUtilities::cosineDistance(embedding, known.currentEmbedding()));
    });
    return distances;
}

SpeakerManager::Match nearest(const SpeakerManager& manager, const std::vector<float>& embedding) {
    SpeakerManager::Match best{std::nullopt, infinity};
    for (const auto& [id, distance] : distancesTo(manager, embedding)) {
        if (distance < best.distance) {
            best = {id, distance};
        }
    }
    return best;
}

Matches within(const SpeakerManager& manager, const std::vector<float>& embedding, float threshold) {
    Matches matches;
    for (const auto& match : distancesTo(manager, embedding)) {
        if (match.second <= threshold) {
            matches.push_back(match);
        }
    }
    std::stable_sort(matches.begin(), matches.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    return matches;
}

// Few voices, so that many embeddings are equal, nearly equal, opposite, or no use at all.
std::vector<float> anyVoice(unsigned seed) {
    std::mt19937 random(seed / 16 % 5);
    std::normal_distribution<float> normal;
    std::vector<float> values(256);
    std::generate(values.begin(), values.end(), [&] { return normal(random); });
    std::mt19937 variation(seed);
    const auto scaleBy = [&values](float factor) {
        for (float& value : values) {
            value *= factor;
        }
    };
    switch (seed % 16) {
    case 0:
        scaleBy(0.0F);
        break;
    case 1:
        values[5] = noNumber;
        break;
    case 2:
        values.resize(255);
        break;
    case 3:
        scaleBy(-1.0F);
        break;
    case 4:
        scaleBy(1e-18F);
        break;
    case 5:
        scaleBy(1e17F);
        break;
    case 6:
        values[variation() % 256] *= 1.000001F; // the last bits differ
        break;
    case 7:
        values[variation() % 256] += 1.0F;
        break;
    case 8:
        for (float& value : values) {
            value += normal(variation);
        }
        break;
    case 9:
        l2Normalize(values);
        break;
    default:
        break;
    }
    return values;
}

enum class Step { assign, upsert, remove, merge, seed, reassign, resetAll };

void apply(SpeakerManager& manager, Step step, unsigned a, unsigned b) {
    const auto id = [&manager](unsigned index) {
        const auto ids = manager.speakerIds();
        return ids.empty() ? std::string("none") : ids[index % ids.size()];
    };
    switch (step) {
    case Step::assign:
        manager.assignSpeaker(anyVoice(a), 1.0F, b % 2 == 0 ? std::optional<float>() : 0.05F);
        break;
    case Step::upsert:
        manager.upsertSpeaker(fieldsOf(b % 3 == 0 ? id(b) : std::to_string(b % 90), anyVoice(a)));
        break;
    case Step::remove:
        manager.removeSpeaker(id(a), PermanentSpeakers::keep);
        break;
    case Step::merge:
        manager.mergeSpeaker(id(a), id(b), std::nullopt, PermanentSpeakers::keep);
        break;
    case Step::seed:
        manager.initializeKnownSpeakers({speaker(std::to_string(b % 90), anyVoice(a))},
                                        b % 2 == 0 ? SpeakerInitializationMode::overwrite
                                                   : SpeakerInitializationMode::merge);
        break;
    case Step::reassign:
        if (const auto known = manager.getSpeaker(id(a)); known && !known->rawEmbeddings().empty()) {
            manager.reassignSegment(known->rawEmbeddings()[0].segmentId, id(a), id(b));
        }
        break;
    case Step::resetAll:
        if (b % 8 == 0) {
            manager.reset(PermanentSpeakers::keep);
        }
        break;
    }
}

void expectSameAsScan(const SpeakerManager& manager, const std::vector<float>& query, float threshold) {
    const auto expected = nearest(manager, query);
    const auto found = manager.findSpeaker(query, infinity);
    RC_ASSERT(found.id == expected.id);
    RC_ASSERT(found.distance == expected.distance);
    RC_ASSERT(manager.findMatchingSpeakers(query, threshold) == within(manager, query, threshold));
}

} // namespace

TEST(SpeakerManagerProperties, FindsWhatAPlainScanFinds) {
    EXPECT_TRUE(rc::check([] {
        Registry registry;
        // Wide enough for several blocks of rows.
        const auto start = *rc::gen::inRange(0U, 80U);
        for (unsigned i = 0; i < start; ++i) {
            registry->upsertSpeaker(fieldsOf(std::to_string(i), anyVoice(i * 7)));
        }
        const auto steps = *rc::gen::container<std::vector<unsigned>>(rc::gen::arbitrary<unsigned>());
        for (const unsigned random : steps) {
            apply(registry.manager, static_cast<Step>(random % 7), random / 7 % 4096, random / 4099);
        }
        const auto query = anyVoice(*rc::gen::inRange(0U, 4096U));
        const float threshold = static_cast<float>(*rc::gen::inRange(0, 21)) / 10.0F;
        expectSameAsScan(registry.manager, query, threshold);
        expectSameAsScan(registry.manager, l2Normalized(query), threshold);
    }));
}

TEST(SpeakerManagerProperties, AssignsAsAPlainScanDecides) {
    EXPECT_TRUE(rc::check([] {
        Registry registry;
        const auto seeds = *rc::gen::container<std::vector<unsigned>>(40, rc::gen::inRange(0U, 4096U));
        for (const unsigned seed : seeds) {
            const auto embedding = anyVoice(seed);
            const float seconds = seed % 3 == 0 ? 0.5F : 1.5F;
            const auto expected = nearest(registry.manager, l2Normalized(embedding));
            const auto count = registry->speakerCount();
            const auto next = std::to_string(registry->nextSpeakerId());
            const auto assigned = registry->assignSpeaker(embedding, seconds);
            if (embedding.size() != 256) {
                RC_ASSERT(!assigned);
            } else if (expected.distance < 0.84F) {
                RC_ASSERT(assigned && assigned->id() == *expected.id);
            } else if (seconds < 1.0F) {
                RC_ASSERT(!assigned);
            } else {
                RC_ASSERT(assigned && assigned->id() == next);
                RC_ASSERT(registry->speakerCount() == count + 1);
            }
        }
    }));
}
