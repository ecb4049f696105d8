// Recognising one voice among all stored speakers, against a bare scalar loop over the same embeddings in memory.
//
//   bench_find_match [--speakers N] [--dimension D] [--repeats R]
//
// The store is made below TMPDIR, on disk, and removed at the end; nothing of it is in memory as records.
#include "Varnel/Models/ModelContainer.h"
#include "Varnel/Refinement/SpeakerReidentifier.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace {

using namespace Varnel;

constexpr int speakersPerMeeting = 10;

struct Sizes {
    int speakers = 100'000;
    int dimension = 256;
    int repeats = 5;
};

double seconds(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) * 1e-9;
}

// All embeddings one after the other, as the store holds them.
std::vector<float> fill(const std::filesystem::path& file, const Sizes& sizes) {
    std::mt19937 random(20'261'121);
    std::normal_distribution<float> normal;
    std::vector<float> all;
    all.reserve(static_cast<std::size_t>(sizes.speakers) * static_cast<std::size_t>(sizes.dimension));
    ModelContainer container(file);
    auto& context = container.mainContext();
    std::shared_ptr<Meeting> meeting;
    for (int number = 0; number < sizes.speakers; ++number) {
        if (number % speakersPerMeeting == 0) {
            meeting = std::make_shared<Meeting>(QUuid::createUuid(), QStringLiteral("Meeting"),
                                                QDateTime::fromMSecsSinceEpoch(1'700'000'000'000, Qt::UTC));
            context.insert(meeting);
        }
        Speaker::Embedding embedding(static_cast<std::size_t>(sizes.dimension));
        std::generate(embedding.begin(), embedding.end(), [&] { return normal(random); });
        all.insert(all.end(), embedding.begin(), embedding.end());
        const auto speaker = std::make_shared<Speaker>(QUuid::createUuid(), QStringLiteral("Speaker %1").arg(number),
                                                       QStringLiteral("#EC4899"), false, std::move(embedding));
        speaker->setEmbeddingModelDigest(QString(64, u'a'));
        context.insert(speaker);
        speaker->setMeeting(meeting);
        if (number % 5000 == 4999)
            context.save();
    }
    context.save();
    return all;
}

// The rule's own loop: three sums in order, in single floats.
float bestOf(const std::vector<float>& query, const std::vector<float>& all) {
    const std::size_t dimension = query.size();
    float best = -1;
    for (std::size_t start = 0; start < all.size(); start += dimension) {
        float dot = 0;
        float na = 0;
        float nb = 0;
        for (std::size_t i = 0; i < dimension; ++i) {
            const float a = query[i];
            const float b = all[start + i];
            dot += a * b;
            na += a * a;
            nb += b * b;
        }
        const float d = std::sqrt(na) * std::sqrt(nb);
        best = std::max(best, d == 0 ? 0 : dot / d);
    }
    return best;
}

template <typename Run>
double fastest(int repeats, const Run& run) {
    double best = HUGE_VAL;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        QElapsedTimer timer;
        timer.start();
        run();
        best = std::min(best, seconds(timer));
    }
    return best;
}

} // namespace

int main(int count, char** arguments) {
    Sizes sizes;
    for (int i = 1; i + 1 < count; i += 2) {
        const int value = std::max(1, std::atoi(arguments[i + 1]));
        if (std::strcmp(arguments[i], "--speakers") == 0)
            sizes.speakers = value;
        else if (std::strcmp(arguments[i], "--dimension") == 0)
            sizes.dimension = value;
        else if (std::strcmp(arguments[i], "--repeats") == 0)
            sizes.repeats = value;
    }
    const QTemporaryDir folder;
    const std::filesystem::path file = std::filesystem::path(folder.path().toStdString()) / "store/Varnel.store";
    const std::vector<float> all = fill(file, sizes);
    // Close to the speaker in the middle.
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(sizes.speakers / 2) * sizes.dimension;
    std::vector<float> query(middle, middle + sizes.dimension);
    query.front() += 1;

    ModelContainer container(file);
    const std::optional<QString> digest(QString(64, u'a'));
    float bareScore = 0;
    float storedScore = 0;
    const double bare = fastest(sizes.repeats, [&] { bareScore = bestOf(query, all); });
    const double stored = fastest(sizes.repeats, [&] {
        const auto match = SpeakerReidentifier::findMatch(query, std::nullopt, container.mainContext(), 0.65F, digest);
        storedScore = match ? match->similarity : -1;
    });
    std::printf("speakers %d, dimension %d\n", sizes.speakers, sizes.dimension);
    std::printf("bare loop in memory  %8.1f ms\n", bare * 1e3);
    std::printf("findMatch, on disk   %8.1f ms\n", stored * 1e3);
    std::printf("ratio                %8.2f\n", stored / bare);
    if (bareScore != storedScore) {
        std::printf("the scores differ: %.9g and %.9g\n", static_cast<double>(bareScore),
                    static_cast<double>(storedScore));
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
