// scale: how time and memory grow with the number of rows. Every measure runs at a tenth of the
// size and at the full size, each in a process of its own, so that the peak memory is that
// measure's. The last column is the growth of the processor time, 10 for a linear one; the elapsed
// time counts waiting for the disk and for other programs, too.
//
// The last measures leave indexes behind and take records away, so they stand in this order.
//
// Usage: scale [folder] [rows]     (a temporary folder and 1,000,000 rows when none are named)

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "ovrasql/ovrasql.h"

namespace {

using Work = std::function<void(const std::string& folder, int64_t rows)>;

class Connection {
  public:
    explicit Connection(const std::string& path, bool create = false) {
        Check(create ? ovra_create(path.c_str(), &database_) : ovra_open(path.c_str(), &database_));
    }
    ~Connection() { ovra_close(database_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void Run(const std::string& statement, const std::vector<std::string>& values = {}) {
        const std::vector<ovra_parameter> parameters = ParametersOf(values);
        Check(ovra_query(database_, statement.c_str(), -1, parameters.data(),
                         static_cast<int32_t>(parameters.size())));
    }

    // How many rows there were; each value of each row is read.
    int64_t Walk(const std::string& statement, const std::vector<std::string>& values = {}) {
        const std::vector<ovra_parameter> parameters = ParametersOf(values);
        ovra_view* view = ovra_open_view(database_, statement.c_str(), -1, parameters.data(),
                                         static_cast<int32_t>(parameters.size()));
        Check(view != nullptr);
        int64_t rows = 0;
        int64_t bytes = 0;
        while (ovra_next(view) == 1) {
            for (int32_t i = 0; i < ovra_column_count(view); ++i) {
                int32_t length = 0;
                ovra_text(view, i, &length);
                bytes += length;
            }
            ++rows;
        }
        ovra_close_view(view);
        return bytes >= 0 ? rows : -1;
    }

    void Pack() { Check(ovra_pack(database_)); }

  private:
    static std::vector<ovra_parameter> ParametersOf(const std::vector<std::string>& values) {
        std::vector<ovra_parameter> parameters;
        for (const std::string& value : values) {
            parameters.push_back({value.c_str(), static_cast<int32_t>(value.size())});
        }
        return parameters;
    }
    void Check(int32_t good) const {
        if (good != 1) {
            throw std::runtime_error(ovra_error(database_));
        }
    }

    ovra_database* database_ = nullptr;
};

void Expect(int64_t found, int64_t wanted) {
    if (found != wanted) {
        throw std::runtime_error("found " + std::to_string(found) + " rows instead of " +
                                 std::to_string(wanted));
    }
}

// A number that looks random and is the same in every run: a step of a full-period generator.
uint64_t Scattered(int64_t i) {
    uint64_t x = static_cast<uint64_t>(i) * 0x9E3779B97F4A7C15U;
    x ^= x >> 29;
    x *= 0xBF58476D1CE4E5B9U;
    return x ^ (x >> 32);
}

std::string DatabasePath(const std::string& folder) { return folder + "/scale.dbf"; }

// Six columns; `half` has half as many different values as there are rows, `fifth` a
// fifth, `hundred` a hundred.
void Fill(const std::string& folder, int64_t rows) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    Connection connection(DatabasePath(folder), true);
    connection.Run(
        "create table t (id integer, half integer, fifth integer, word char(20), price "
        "numeric(8,2), hundred integer)");
    for (int64_t i = 0; i < rows; ++i) {
        const uint64_t x = Scattered(i);
        connection.Run("insert into t values (?, ?, ?, ?, ?, ?)",
                       {std::to_string(i + 1), std::to_string(i % (rows / 2)),
                        std::to_string(i % (rows / 5)), "word" + std::to_string(x % 1000003),
                        std::to_string(x % 100000) + ".25", std::to_string(x % 100)});
    }
}

struct Measure {
    const char* name;
    int64_t divisor;  // of the number of rows
    Work prepare;
    Work run;
};

void Scan(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select id, word from t where price = 0.5"), 0);
    (void)rows;
}

void WalkAll(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select * from t"), rows);
}

void Sort(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select id, word from t order by word"), rows);
}

void SortNumbers(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select id, price from t order by price desc"),
           rows);
}

void Distinct(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select distinct half from t"), rows / 2);
}

void DistinctRows(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select distinct * from t"), rows);
}

void CountDistinct(const std::string& folder, int64_t rows) {
    Expect(Connection(DatabasePath(folder)).Walk("select count(distinct half) from t"), 1);
    (void)rows;
}

void Group(const std::string& folder, int64_t rows) {
    Expect(
        Connection(DatabasePath(folder))
            .Walk("select fifth, count(*), sum(price), min(word), max(id) from t group by fifth"),
        rows / 5);
}

void GroupFew(const std::string& folder, int64_t /*rows*/) {
    Expect(
        Connection(DatabasePath(folder))
            .Walk(
                "select hundred, count(*), sum(price), min(word), max(id) from t group by hundred"),
        100);
}

void CreateIndex(const std::string& folder, int64_t /*rows*/) {
    Connection(DatabasePath(folder)).Run("create index by_id on t (id)");
}

// A tenth as many look-ups as there are rows, all over the table.
void LookUp(const std::string& folder, int64_t rows) {
    Connection connection(DatabasePath(folder));
    int64_t found = 0;
    for (int64_t i = 0; i < rows / 10; ++i) {
        const uint64_t id = Scattered(i) % static_cast<uint64_t>(rows) + 1;
        found += connection.Walk("select word from t where id = ?", {std::to_string(id)});
    }
    Expect(found, rows / 10);
}

// A second index, and a tenth of the records deleted.
void PreparePack(const std::string& folder, int64_t /*rows*/) {
    Connection connection(DatabasePath(folder));
    connection.Run("create index by_word on t (word)");
    connection.Run("delete from t where price < 10000");
}

void Pack(const std::string& folder, int64_t /*rows*/) { Connection(DatabasePath(folder)).Pack(); }

void Nothing(const std::string& /*folder*/, int64_t /*rows*/) {}

struct Result {
    double seconds = 0;
    double processorSeconds = 0;
    long kilobytes = 0;
};

// Runs the work in a process of its own. Ends this program when the work fails.
Result RunAlone(const Measure& measure, const std::string& folder, int64_t rows) {
    int channel[2];
    if (::pipe(channel) != 0) {
        std::perror("pipe");
        std::exit(1);
    }
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            measure.prepare(folder, rows);
            const auto start = std::chrono::steady_clock::now();
            const std::clock_t processorStart = std::clock();
            measure.run(folder, rows);
            const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
            const double processor = static_cast<double>(std::clock() - processorStart);
            const double seconds[] = {elapsed.count(), processor / CLOCKS_PER_SEC};
            ::_exit(::write(channel[1], seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
        } catch (const std::exception& error) {
            std::fprintf(stderr, "%s: %s\n", measure.name, error.what());
            ::_exit(1);
        }
    }
    ::close(channel[1]);
    double seconds[2] = {};
    const bool read = ::read(channel[0], seconds, sizeof seconds) == sizeof seconds;
    ::close(channel[0]);
    int status = 0;
    rusage usage{};
    ::wait4(child, &status, 0, &usage);
    if (!read || status != 0) {
        std::exit(1);
    }
    return Result{seconds[0], seconds[1], usage.ru_maxrss};
}

}  // namespace

int main(int argc, char** argv) {
    const std::string folder =
        argc > 1 ? argv[1] : (std::filesystem::temp_directory_path() / "ovrasql-scale").string();
    const int64_t rows = argc > 2 ? std::atoll(argv[2]) : 1000000;
    const std::vector<Measure> measures = {
        {"insert (rows / 10)", 10, Nothing, Fill},
        {"scan, no row matches", 1, Nothing, Scan},
        {"walk every value", 1, Nothing, WalkAll},
        {"order by a text", 1, Nothing, Sort},
        {"order by a number", 1, Nothing, SortNumbers},
        {"distinct, half differ", 1, Nothing, Distinct},
        {"distinct, all differ", 1, Nothing, DistinctRows},
        {"count distinct, half", 1, Nothing, CountDistinct},
        {"group into 100", 1, Nothing, GroupFew},
        {"group into a fifth", 1, Nothing, Group},
        {"create index", 1, Nothing, CreateIndex},
        {"look up (rows / 10)", 1, Nothing, LookUp},
        {"pack, two indexes", 1, PreparePack, Pack},
    };
    const std::string small = folder + "/small";
    const std::string large = folder + "/large";
    std::printf("%-24s %10s %10s %9s %9s %10s %7s\n", "measure", "rows", "tenth s", "full s",
                "full cpu", "peak KiB", "growth");
    for (const Measure& measure : measures) {
        const int64_t full = rows / measure.divisor;
        // The first measure that reads needs the tables at their full sizes.
        if (&measure == &measures[1]) {
            Fill(small, rows / 10);
            Fill(large, rows);
        }
        const Result tenth = RunAlone(measure, small, full / 10);
        const Result whole = RunAlone(measure, large, full);
        std::printf("%-24s %10lld %10.3f %9.3f %9.3f %10ld %7.1f\n", measure.name,
                    static_cast<long long>(full), tenth.seconds, whole.seconds,
                    whole.processorSeconds, whole.kilobytes,
                    whole.processorSeconds / tenth.processorSeconds);
        std::fflush(stdout);
    }
    return 0;
}
