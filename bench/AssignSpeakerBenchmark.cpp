// One assignSpeaker against 10, 1,000 and 100,000 speakers, next to a bare BLAS matrix-vector product over the same
// embeddings, one thread of BLAS. Three outcomes: speech attributed to the nearest speaker, speech that the speaker
// also learns from (its history of 50 embeddings full, so the oldest leaves and the mean is taken anew), and speech
// too short to found a speaker (which logs a line). Prints medians and their ratio.
#include "VarnelSpeech/Diarizer/EmbeddingMath.h"
#include "VarnelSpeech/Diarizer/SpeakerManager.h"

#include <cblas.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace VarnelSpeech;

namespace {

constexpr std::size_t size = SpeakerManager::embeddingSize;
constexpr std::size_t spokenTo = 10; // speakers that the measured speech belongs to
constexpr std::size_t queryCount = 50;

using Embedding = std::vector<float>;

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

class Voices {
public:
    explicit Voices(std::size_t count) : count_(count) {
        references_.reserve(count * size);
        for (std::size_t i = 0; i < count; ++i) {
            const Embedding voice = randomVoice();
            references_.insert(references_.end(), voice.begin(), voice.end());
        }
    }

    const std::vector<float>& references() const { return references_; }

    // Speech at about this cosine to one of the first speakers.
    Embedding speech(std::size_t speaker, float cosine) {
        Embedding mixed = randomVoice();
        const float* const reference = references_.data() + speaker * size;
        for (std::size_t i = 0; i < size; ++i) {
            mixed[i] = cosine * reference[i] + std::sqrt(1.0F - cosine * cosine) * mixed[i];
        }
        return mixed;
    }

    void fill(SpeakerManager& manager) {
        for (std::size_t i = 0; i < count_; ++i) {
            const float* const reference = references_.data() + i * size;
            SpeakerFields fields;
            fields.id = std::to_string(i + 1);
            fields.name = "Speaker " + fields.id;
            fields.currentEmbedding.assign(reference, reference + size);
            for (std::size_t raw = 0; i < spokenTo && raw < Speaker::maximumRawEmbeddings; ++raw) {
                fields.rawEmbeddings.emplace_back(UUID::fresh(), speech(i, 0.9F), std::chrono::system_clock::now());
            }
            manager.upsertSpeaker(std::move(fields));
        }
    }

private:
    Embedding randomVoice() {
        Embedding voice(size);
        std::generate(voice.begin(), voice.end(), [this] { return normal_(random_); });
        l2Normalize(voice);
        return voice;
    }

    std::size_t count_;
    std::mt19937 random_{20261121};
    std::normal_distribution<float> normal_;
    std::vector<float> references_;
};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

// Seconds a call of both, measured by turns.
struct Pair {
    double bare;
    double assign;
};

Pair measure(std::size_t speakers, const std::function<void(std::size_t)>& bare,
             const std::function<void(std::size_t)>& assign) {
    const std::size_t calls = std::clamp<std::size_t>(200000 / speakers, 1, 2000);
    const std::size_t rounds = speakers >= 100000 ? 25 : 61;
    std::vector<double> bareTimes;
    std::vector<double> assignTimes;
    std::size_t query = 0;
    const auto time = [&](const auto& work, std::vector<double>& times) {
        const double start = processorSeconds();
        for (std::size_t call = 0; call < calls; ++call) {
            work(query++ % queryCount);
        }
        times.push_back((processorSeconds() - start) / static_cast<double>(calls));
    };
    for (std::size_t round = 0; round < rounds; ++round) {
        time(bare, bareTimes);
        time(assign, assignTimes);
    }
    return {median(bareTimes), median(assignTimes)};
}

bool measureOutcome(const char* name, std::size_t speakers, float cosine, float seconds, float threshold) {
    Voices voices(speakers);
    SpeakerManager manager(0.84F, 0.56F, 1.0F, 2.0F);
    voices.fill(manager);
    std::vector<Embedding> queries;
    for (std::size_t i = 0; i < queryCount; ++i) {
        queries.push_back(voices.speech(i % spokenTo, cosine));
    }
    const bool shouldMatch = threshold > 0;
    std::vector<float> products(speakers);
    std::size_t wrong = 0;
    const auto bare = [&](std::size_t query) {
        cblas_sgemv(CblasRowMajor, CblasNoTrans, static_cast<blasint>(speakers), static_cast<blasint>(size), 1.0F,
                    voices.references().data(), static_cast<blasint>(size), queries[query].data(), 1, 0.0F,
                    products.data(), 1);
    };
    const auto assign = [&](std::size_t query) {
        const auto speaker = manager.assignSpeaker(queries[query], seconds, threshold);
        wrong += (speaker != nullptr) == shouldMatch ? 0U : 1U;
    };
    const Pair times = measure(speakers, bare, assign);
    std::printf("%9zu  %-12s %12.3f %12.3f %8.2f\n", speakers, name, times.bare * 1e6, times.assign * 1e6,
                times.assign / times.bare);
    return wrong == 0 && manager.speakerCount() == speakers;
}

} // namespace

int main() {
    openblas_set_num_threads(1);
    std::printf("assignSpeaker and a bare matrix-vector product (sgemv) over the same embeddings, medians\n");
    std::printf("%9s  %-12s %12s %12s %8s\n", "speakers", "outcome", "sgemv us", "assign us", "ratio");
    bool isRight = true;
    for (const std::size_t speakers : {std::size_t{10}, std::size_t{1000}, std::size_t{100000}}) {
        isRight &= measureOutcome("attributed", speakers, 0.35F, 3.0F, 0.84F);
        isRight &= measureOutcome("learnt from", speakers, 0.9F, 3.0F, 0.84F);
        isRight &= measureOutcome("too short", speakers, 0.35F, 0.5F, 0.0F);
    }
    if (!isRight) {
        std::printf("an assignment came out wrong\n");
    }
    return isRight ? 0 : 1;
}
