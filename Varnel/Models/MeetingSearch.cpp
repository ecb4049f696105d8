#include "Varnel/Models/MeetingSearch.h"

#include "Varnel/Models/SearchQuery.h"
#include "Varnel/Models/StoreStatement.h"

#include <QStringList>

#include <SQLiteCpp/Database.h>
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <numeric>
#include <set>
#include <tuple>

namespace Varnel {

namespace {

// The rule, for one meeting. The order is that of cost, and the first hit ends the reading.
constexpr const char* rule =
    "(hit(title, titleFolded) OR hit(sourceApp, sourceAppFolded)"
    " OR EXISTS(SELECT 1 FROM speakers WHERE meeting = meetings.row AND hit(name, nameFolded))"
    " OR EXISTS(SELECT 1 FROM segments WHERE meeting = meetings.row AND hit(text, textFolded)))";

// The same for the rows that the index names.
constexpr const char* indexed[] = {
    "SELECT row FROM meetingIndex CROSS JOIN meetings ON row = meetingIndex.rowid WHERE meetingIndex MATCH ? "
    "AND (hit(title, titleFolded) OR hit(sourceApp, sourceAppFolded))",
    "SELECT meeting FROM speakerIndex CROSS JOIN speakers ON row = speakerIndex.rowid WHERE speakerIndex MATCH ? "
    "AND hit(name, nameFolded)",
    "SELECT meeting FROM segmentIndex CROSS JOIN segments ON row = segmentIndex.rowid WHERE segmentIndex MATCH ? "
    "AND hit(segments.text, textFolded)",
};

// Before the index is asked, the rule is tried on meetings evenly spread over the library. With more hits among them
// than this the query is a common one, and reading on until each meeting's first hit is the faster way; what was read
// counts already.
constexpr std::int64_t sampleSize = 24;
constexpr std::size_t commonHits = 3;
// The first texts of the sample also tell how common the query's trigrams are. Only the rarest are looked up: reading
// the long lists of the others would cost more than the candidates that they rule out.
constexpr std::int64_t textsCounted = 1500;
constexpr std::size_t trigramsLookedUp = 4;
// Rows named by the index cost some twenty times what a row costs in a scan. Beyond this share of the rows the scan
// takes over, at a small part of its time lost.
constexpr std::int64_t rowsForOneCandidate = 300;
constexpr std::int64_t fewestCandidates = 1000;
// How many steps of SQLite's machine pass between two looks at the stop token.
constexpr int stepsBetweenLooks = 2000;

std::string_view view(sqlite3_value* value) {
    // The bytes after the text: the first call may convert.
    const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

// So many meetings are looked up one by one; more, by a walk over all.
constexpr std::size_t fewHits = 200;

// All reading in between sees the same state of the store.
class ReadTransaction {
public:
    explicit ReadTransaction(StoreConnection& connection) : connection_(connection) { connection.execute("BEGIN"); }

    ~ReadTransaction() { connection_.database().tryExec("COMMIT"); }

    ReadTransaction(const ReadTransaction&) = delete;
    ReadTransaction& operator=(const ReadTransaction&) = delete;

private:
    StoreConnection& connection_;
};

} // namespace

// One connection, one query at a time.
struct MeetingSearch::Private {
    explicit Private(const std::filesystem::path& store) : connection(store, StoreConnection::Access::readOnly) {
        sqlite3* const database = connection.database().getHandle();
        sqlite3_create_function_v2(database, "hit", 2, SQLITE_UTF8, this, &Private::hit, nullptr, nullptr, nullptr);
        sqlite3_progress_handler(database, stepsBetweenLooks, &Private::shallStop, this);
    }

    // hit(text, folded) in SQL: whether the row's text holds the query. Past the bound every row is a hit, so that the
    // reader of the rows gets its turn.
    static void hit(sqlite3_context* context, int, sqlite3_value** values) {
        auto& self = *static_cast<Private*>(sqlite3_user_data(context));
        ++self.textsTried;
        if (self.textsTried > self.bound) {
            sqlite3_result_int(context, 1);
            return;
        }
        const auto text = view(values[0]);
        if (text.data() == nullptr) {
            sqlite3_result_int(context, 0);
            return;
        }
        const auto folded = view(values[1]);
        if (self.isSampling && self.textsTried <= textsCounted) {
            self.query->countTrigrams(text, folded, self.trigramCounts);
        }
        sqlite3_result_int(context, self.query->isIn(text, folded) ? 1 : 0);
    }

    static int shallStop(void* self) { return static_cast<Private*>(self)->stop.stop_requested() ? 1 : 0; }

    std::int64_t number(const char* sql) {
        StoreStatement statement(connection, sql);
        return statement.next() ? statement.integer(0) : 0;
    }

    void trySample() {
        isSampling = true;
        textsTried = 0;
        trigramCounts.assign(query->trigrams().size(), 0);
        const std::int64_t newest = number("SELECT max(row) FROM meetings");
        const std::int64_t distance = std::max<std::int64_t>(1, newest / sampleSize);
        for (std::int64_t from = 1; from <= newest && found.size() <= commonHits; from += distance) {
            StoreStatement statement(connection, std::string("SELECT row, ") + rule +
                                                     " FROM meetings WHERE row >= ? ORDER BY row LIMIT 1");
            if (statement.bind(from).next() && statement.integer(1) != 0) {
                found.insert(statement.integer(0));
            }
        }
        isSampling = false;
    }

    // The full-text expression for the trigrams that were rarest in the sample.
    QString expression() const {
        std::vector<std::size_t> order(trigramCounts.size());
        std::iota(order.begin(), order.end(), std::size_t{0});
        std::stable_sort(order.begin(), order.end(), [this](std::size_t left, std::size_t right) {
            return trigramCounts[left] < trigramCounts[right];
        });
        order.resize(std::min(order.size(), trigramsLookedUp));
        QStringList terms;
        for (const std::size_t index : order) {
            QString term = QString::fromStdString(query->trigrams()[index]);
            terms << u'"' + term.replace(u'"', QStringLiteral("\"\"")) + u'"';
        }
        return terms.join(QStringLiteral(" AND "));
    }

    // False if the index names too many rows.
    bool tryIndex() {
        textsTried = 0;
        bound = std::max(fewestCandidates, number("SELECT max(row) FROM segments") / rowsForOneCandidate);
        for (const char* const sql : indexed) {
            StoreStatement statement(connection, sql);
            statement.bind(expression());
            while (statement.next()) {
                if (textsTried > bound) {
                    return false;
                }
                found.insert(statement.integer(0)); // 0 for a line without a meeting
            }
        }
        return true;
    }

    void scan() {
        bound = std::numeric_limits<std::int64_t>::max();
        StoreStatement statement(connection, std::string("SELECT row FROM meetings WHERE ") + rule);
        while (statement.next()) {
            found.insert(statement.integer(0));
        }
    }

    std::vector<QUuid> newestFirst() {
        std::vector<std::tuple<double, std::int64_t, QUuid>> hits;
        const auto take = [&](const StoreStatement& statement) {
            const double startedAt = statement.isNull(1) ? -std::numeric_limits<double>::infinity() : statement.real(1);
            hits.emplace_back(-startedAt, statement.integer(0), statement.uuid(2));
        };
        if (found.size() <= fewHits) {
            for (const std::int64_t row : found) {
                StoreStatement statement(connection, "SELECT row, startedAt, id FROM meetings WHERE row = ?");
                if (statement.bind(row).next()) {
                    take(statement);
                }
            }
        } else {
            StoreStatement statement(connection, "SELECT row, startedAt, id FROM meetings");
            while (statement.next()) {
                if (found.contains(statement.integer(0))) {
                    take(statement);
                }
            }
        }
        std::sort(hits.begin(), hits.end(), [](const auto& left, const auto& right) {
            return std::tie(std::get<0>(left), std::get<1>(left)) < std::tie(std::get<0>(right), std::get<1>(right));
        });
        std::vector<QUuid> result;
        result.reserve(hits.size());
        for (const auto& [age, row, id] : hits) {
            result.push_back(id);
        }
        return result;
    }

    StoreConnection connection;
    const SearchQuery* query = nullptr;
    std::stop_token stop;
    std::set<std::int64_t> found; // the rows of matching meetings
    std::int64_t textsTried = 0;
    bool isSampling = false;
    std::vector<int> trigramCounts; // texts of the sample with each of the query's trigrams
    std::int64_t bound = std::numeric_limits<std::int64_t>::max(); // of textsTried
};

MeetingSearch::MeetingSearch(const std::filesystem::path& store) : d(std::make_unique<Private>(store)) {}

MeetingSearch::~MeetingSearch() = default;

std::vector<QUuid> MeetingSearch::matches(const QString& typed, std::stop_token stop, Method method) const {
    const SearchQuery query(typed);
    d->query = &query;
    d->stop = std::move(stop);
    d->found.clear();
    d->bound = std::numeric_limits<std::int64_t>::max();
    d->isSampling = false;
    try {
        const ReadTransaction oneState(d->connection);
        if (method == Method::automatic && !query.trigrams().empty()) {
            d->trySample();
            if (d->found.size() > commonHits || !d->tryIndex()) {
                d->scan();
            }
        } else {
            d->scan();
        }
        return d->newestFirst();
    } catch (const StoreError&) {
        if (d->stop.stop_requested()) {
            return {};
        }
        throw;
    }
}

} // namespace Varnel
