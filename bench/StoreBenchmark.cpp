// The store at the size of a long working life: how fast meetings are written, how long until the list stands, and
// how fast the search is against reading all texts of the same database.
//
//   bench_store [--meetings N] [--segments M] [--queries Q]
//
// The database is made below TMPDIR and removed at the end.
#include "Varnel/Models/MeetingSearch.h"
#include "Varnel/Models/ModelContainer.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

namespace {

using namespace Varnel;

struct Sizes {
    int meetings = 10'000;
    int segments = 500;
    int queries = 9; // in each class
};

// Lines with the statistics that matter to a search: few words that are everywhere, many that are rare, capitals and
// punctuation, and one meeting in ten in another script.
class Author {
public:
    Author() : random_(20'261'121) {
        const char* const common =
            "the to and of a in we that it is for on you this have be with not so are i what can do if at they just "
            "about from think will would one need there more like your all how know as up time but was now out or "
            "when get our new work next make should week team want because let see go really could some than then "
            "project customer release budget meeting question number design today tomorrow maybe already people";
        words_ = QString::fromLatin1(common).split(u' ');
        const char* const onsets[] = {"b", "br", "c", "ch", "d", "f", "g",  "gr", "h", "l",
                                      "m", "n",  "p", "pl", "r", "s", "st", "t",  "v", "w"};
        const char* const vowels[] = {"a", "e", "i", "o", "u", "ea", "ai", "ou"};
        const char* const codas[] = {"", "n", "r", "s", "t", "l", "nd", "ck", "m", "ng", "st", "x"};
        while (words_.size() < 20'000) {
            QString word;
            for (auto syllables = 2 + random_() % 3; syllables > 0; --syllables) {
                word += QString::fromLatin1(onsets[random_() % std::size(onsets)]) +
                        QString::fromLatin1(vowels[random_() % std::size(vowels)]) +
                        QString::fromLatin1(codas[random_() % std::size(codas)]);
            }
            words_ << word;
        }
    }

    QString line(bool isInOtherScript) {
        QString line;
        for (auto count = 6 + random_() % 12; count > 0; --count) {
            line += word() + u' ';
        }
        line.chop(1);
        if (isInOtherScript) {
            for (QChar& character : line) {
                if (character.isLower()) {
                    character = QChar(static_cast<char16_t>(u'а' + (character.unicode() - u'a')));
                }
            }
        }
        line[0] = line[0].toUpper();
        return line + (random_() % 5 == 0 ? u'?' : u'.');
    }

    // Rank r has the weight 1/r.
    QString word() {
        const double uniform = std::uniform_real_distribution<>(0, 1)(random_);
        const double rank = std::pow(static_cast<double>(words_.size()), uniform) - 1;
        return words_.at(static_cast<qsizetype>(rank));
    }

    std::mt19937& random() { return random_; }

private:
    std::mt19937 random_;
    QStringList words_;
};

double seconds(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) * 1e-9;
}

double percentile(std::vector<double> values, double share) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1) + 0.5)];
}

void fill(const std::filesystem::path& file, const Sizes& sizes, Author& author) {
    ModelContainer container(file);
    auto& context = container.mainContext();
    QElapsedTimer timer;
    timer.start();
    for (int number = 0; number < sizes.meetings; ++number) {
        const auto meeting = std::make_shared<Meeting>(
            QUuid::createUuid(), author.line(false),
            QDateTime::fromMSecsSinceEpoch(1'500'000'000'000 + number * 3'600'000LL, Qt::UTC), QStringLiteral("Zoom"));
        context.insert(meeting);
        std::vector<std::shared_ptr<Speaker>> speakers;
        for (int voice = 0; voice < 4; ++voice) {
            speakers.push_back(std::make_shared<Speaker>(QUuid::createUuid(), author.word() + u' ' + author.word(),
                                                         QStringLiteral("#EC4899"), voice == 0,
                                                         Speaker::Embedding(256, 0.5F)));
            speakers.back()->setMeeting(meeting);
        }
        for (int line = 0; line < sizes.segments; ++line) {
            const auto segment = std::make_shared<TranscriptSegment>(
                QUuid::createUuid(), line * 4.0, line * 4.0 + 3.5, author.line(number % 10 == 9),
                speakers[static_cast<std::size_t>(line) % speakers.size()]);
            segment->setMeeting(meeting);
        }
        context.save();
    }
    const double elapsed = seconds(timer);
    const double segments = static_cast<double>(sizes.meetings) * sizes.segments;
    std::printf("insert: %d meetings, %.0f segments, one save a meeting: %.1f s, %.0f segments/s, %.1f ms a save\n",
                sizes.meetings, segments, elapsed, segments / elapsed, elapsed * 1e3 / sizes.meetings);
}

void openAndList(const std::filesystem::path& file, const Sizes& sizes) {
    QElapsedTimer timer;
    timer.start();
    ModelContainer container(file);
    const double opened = seconds(timer);
    const auto meetings = container.mainContext().fetchMeetings(
        {{}, [](const Meeting& left, const Meeting& right) { return left.startedAt() > right.startedAt(); }, {}});
    const double listed = seconds(timer);
    const std::size_t lines = meetings.front()->segments().size();
    const double shown = seconds(timer);
    std::printf("open: %.1f ms; open and list %zu meetings: %.1f ms; and the newest's %zu lines: %.1f ms\n",
                opened * 1e3, meetings.size(), listed * 1e3, lines, shown * 1e3);
    QElapsedTimer removal;
    removal.start();
    container.mainContext().remove(meetings[static_cast<std::size_t>(sizes.meetings) / 2]);
    container.mainContext().save();
    std::printf("delete one meeting with its lines: %.1f ms\n", seconds(removal) * 1e3);
}

struct Timing {
    double automatic;
    double scan;

    double ratio() const { return scan / automatic; }
};

// Pieces of random lines, and the same with their letters in another order, which nobody said.
std::vector<QString> makeQueries(const std::filesystem::path& file, const Sizes& sizes, Author& author, int length,
                                 bool shallHit) {
    ModelContainer container(file);
    const auto meetings = container.mainContext().fetchMeetings();
    std::vector<QString> queries;
    while (queries.size() < static_cast<std::size_t>(sizes.queries)) {
        const auto& meeting = meetings[author.random()() % meetings.size()];
        const auto& segments = meeting->segments();
        const QString line = segments[author.random()() % segments.size()]->text();
        if (line.size() < length + 2) {
            continue;
        }
        QString query =
            line.mid(static_cast<qsizetype>(author.random()() % static_cast<unsigned>(line.size() - length)), length);
        if (query.trimmed().size() != length) {
            continue;
        }
        if (!shallHit) {
            if (length < 3) {
                query.fill(QChar(static_cast<char16_t>(0x2600 + author.random()() % 100)));
            } else {
                std::reverse(query.begin(), query.end());
                query[length / 2] = u'q';
            }
        }
        queries.push_back(query);
    }
    return queries;
}

bool search(const std::filesystem::path& file, const Sizes& sizes, Author& author) {
    const MeetingSearch search(file);
    bool isRight = true;
    std::vector<Timing> rare;
    std::vector<Timing> other;
    std::printf("\n%-12s %8s | %19s | %19s | %s\n", "query", "meetings", "search p50  p95 ms", "scan p50   p95 ms",
                "scan/search at worst: rare, other");
    for (const int length : {1, 2, 3, 8, 20}) {
        for (const bool shallHit : {true, false}) {
            std::vector<double> automatic;
            std::vector<double> scan;
            double worstRare = 0;
            double worstOther = 0;
            std::size_t found = 0;
            for (const QString& query : makeQueries(file, sizes, author, length, shallHit)) {
                QElapsedTimer timer;
                Timing timing{1e9, 1e9};
                std::vector<QUuid> matches;
                std::vector<QUuid> expected;
                // The best of some rounds, of more where one is short: the second has in memory what the first read.
                for (int round = 0; round < (timing.scan < 0.2 ? 9 : 2); ++round) {
                    timer.start();
                    matches = search.matches(query);
                    timing.automatic = std::min(timing.automatic, seconds(timer));
                    timer.start();
                    expected = search.matches(query, {}, MeetingSearch::Method::scan);
                    timing.scan = std::min(timing.scan, seconds(timer));
                }
                if (matches != expected) {
                    std::printf("DIFFERENT RESULTS for '%s'\n", query.toUtf8().constData());
                    isRight = false;
                }
                found += matches.size();
                automatic.push_back(timing.automatic * 1e3);
                scan.push_back(timing.scan * 1e3);
                const bool isRare = length >= 3 && matches.size() * 100 <= static_cast<std::size_t>(sizes.meetings);
                (isRare ? rare : other).push_back(timing);
                double& worst = isRare ? worstRare : worstOther;
                worst = worst == 0 ? timing.ratio() : std::min(worst, timing.ratio());
                if (std::getenv("BENCH_VERBOSE") != nullptr) {
                    std::printf("  '%s' %zu: %.2f %.1f\n", query.toUtf8().constData(), matches.size(),
                                timing.automatic * 1e3, timing.scan * 1e3);
                }
            }
            std::printf("%2d %-9s %8zu | %9.2f %9.2f | %9.1f %9.1f | %8.1f %8.2f\n", length,
                        shallHit ? "hits" : "misses", found / static_cast<std::size_t>(sizes.queries),
                        percentile(automatic, 0.5), percentile(automatic, 0.95), percentile(scan, 0.5),
                        percentile(scan, 0.95), worstRare, worstOther);
        }
    }
    const auto ratios = [](const std::vector<Timing>& timings) {
        std::vector<double> result;
        for (const Timing& timing : timings) {
            result.push_back(timing.ratio());
        }
        return result;
    };
    std::printf("\nthree letters and more, at most 1%% of the meetings: %zu queries, scan/search p50 %.0f, p5 %.0f, "
                "worst %.0f\n",
                rare.size(), percentile(ratios(rare), 0.5), percentile(ratios(rare), 0.05),
                percentile(ratios(rare), 0));
    std::vector<double> costs;
    for (const Timing& timing : other) {
        costs.push_back(timing.automatic / timing.scan);
    }
    std::printf("any other: %zu queries, search/scan p50 %.2f, p95 %.2f, worst %.2f\n", other.size(),
                percentile(costs, 0.5), percentile(costs, 0.95), percentile(costs, 1));
    return isRight;
}

} // namespace

int main(int argc, char** argv) {
    Sizes sizes;
    for (int index = 1; index + 1 < argc; index += 2) {
        const int value = std::max(1, std::atoi(argv[index + 1]));
        if (std::strcmp(argv[index], "--meetings") == 0) {
            sizes.meetings = value;
        } else if (std::strcmp(argv[index], "--segments") == 0) {
            sizes.segments = value;
        } else if (std::strcmp(argv[index], "--queries") == 0) {
            sizes.queries = value;
        } else {
            std::fprintf(stderr, "bench_store [--meetings N] [--segments M] [--queries Q]\n");
            return 2;
        }
    }
    const QTemporaryDir folder;
    const std::filesystem::path file = folder.path().toStdString() + "/Varnel.store";
    Author author;
    fill(file, sizes, author);
    const double bytes = static_cast<double>(std::filesystem::file_size(file));
    std::printf("database: %.0f MiB, %.0f bytes a segment\n", bytes / 1048576, bytes / sizes.meetings / sizes.segments);
    openAndList(file, sizes);
    return search(file, sizes, author) ? 0 : 1;
}
