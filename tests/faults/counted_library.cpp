#include "tests/faults/counted_library.h"

#include <algorithm>
#include <type_traits>

namespace ovrasql {

namespace {

const ovra_library_table& Real() {
    return *static_cast<const ovra_library_table*>(ovra_database_library());
}

class Counting {
  public:
    Counting() { ovratest::countingAllocations = true; }
    ~Counting() { ovratest::countingAllocations = false; }
    Counting(const Counting&) = delete;
    Counting& operator=(const Counting&) = delete;
};

std::vector<EntryInSpite>& Worked() {
    static std::vector<EntryInSpite> entries;
    return entries;
}

int64_t FailedAllocations() {
    const int64_t failed = ovratest::allocationCount - ovratest::failingAllocation + 1;
    return std::max<int64_t>(
        0, ovratest::allocationsFailForEver ? failed : std::min<int64_t>(failed, 1));
}

bool LastHasFailed() {
    return ovratest::allocationsFailForEver ||
           ovratest::allocationCount == ovratest::failingAllocation;
}

// Runs the entry that stands in the table at this member, counted.
template <auto kEntry>
struct Counted;

template <class Result, class... Arguments, Result (*ovra_library_table::*kEntry)(Arguments...)>
struct Counted<kEntry> {
    static inline const char* name = "";

    static Result Call(Arguments... arguments) {
        const int64_t failedBefore = FailedAllocations();
        if constexpr (std::is_same_v<Result, int32_t>) {
            const int32_t result = CallCounted(arguments...);
            const int64_t failed = FailedAllocations() - failedBefore;
            if (result != 0 && failed != 0) {
                Worked().push_back({name, failed == 1 && LastHasFailed()});
            }
            return result;
        } else {
            return CallCounted(arguments...);
        }
    }
    static Result CallCounted(Arguments... arguments) {
        const Counting counting;
        return (Real().*kEntry)(arguments...);
    }
};

template <auto kEntry>
void Count(ovra_library_table* table, const char* name) {
    Counted<kEntry>::name = name;
    table->*kEntry = Counted<kEntry>::Call;
}

ovra_library_table CountedTable() {
    ovra_library_table table = Real();
    Count<&ovra_library_table::database_create>(&table, "database_create");
    Count<&ovra_library_table::database_open>(&table, "database_open");
    Count<&ovra_library_table::database_open_view>(&table, "database_open_view");
    Count<&ovra_library_table::database_query>(&table, "database_query");
    Count<&ovra_library_table::database_pack>(&table, "database_pack");
    Count<&ovra_library_table::database_error>(&table, "database_error");
    Count<&ovra_library_table::view_close>(&table, "view_close");
    Count<&ovra_library_table::view_skip>(&table, "view_skip");
    Count<&ovra_library_table::view_reveal_structure>(&table, "view_reveal_structure");
    Count<&ovra_library_table::view_error>(&table, "view_error");
    Count<&ovra_library_table::variable_value_integer>(&table, "variable_value_integer");
    Count<&ovra_library_table::variable_value_double>(&table, "variable_value_double");
    Count<&ovra_library_table::variable_value_string>(&table, "variable_value_string");
    Count<&ovra_library_table::database_set_option>(&table, "database_set_option");
    Count<&ovra_library_table::database_free>(&table, "database_free");
    return table;
}

}  // namespace

CountedLibrary::CountedLibrary(const AllocationFault& fault) {
    static const ovra_library_table table = CountedTable();
    ovratest::allocationCount = 0;
    ovratest::failingAllocation = fault.number;
    ovratest::allocationsFailForEver = fault.forEver;
    Worked().clear();
    SetLibrary(&table);
}

CountedLibrary::~CountedLibrary() {
    SetLibrary(nullptr);
    ovratest::failingAllocation = 0;
    ovratest::allocationsFailForEver = false;
}

bool CountedLibrary::HasFailed() { return FailedAllocations() != 0; }

const std::vector<EntryInSpite>& CountedLibrary::WorkedInSpite() { return Worked(); }

}  // namespace ovrasql
