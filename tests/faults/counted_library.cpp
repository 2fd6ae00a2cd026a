#include "tests/faults/counted_library.h"

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

// Runs the entry that stands in the table at this member, counted.
template <auto kEntry>
struct Counted;

template <class Result, class... Arguments, Result (*ovra_library_table::*kEntry)(Arguments...)>
struct Counted<kEntry> {
    static Result Call(Arguments... arguments) {
        const Counting counting;
        return (Real().*kEntry)(arguments...);
    }
};

ovra_library_table CountedTable() {
    ovra_library_table table = Real();
    table.database_create = Counted<&ovra_library_table::database_create>::Call;
    table.database_open = Counted<&ovra_library_table::database_open>::Call;
    table.database_open_view = Counted<&ovra_library_table::database_open_view>::Call;
    table.database_query = Counted<&ovra_library_table::database_query>::Call;
    table.database_pack = Counted<&ovra_library_table::database_pack>::Call;
    table.database_error = Counted<&ovra_library_table::database_error>::Call;
    table.view_close = Counted<&ovra_library_table::view_close>::Call;
    table.view_skip = Counted<&ovra_library_table::view_skip>::Call;
    table.view_reveal_structure = Counted<&ovra_library_table::view_reveal_structure>::Call;
    table.view_error = Counted<&ovra_library_table::view_error>::Call;
    table.variable_value_integer = Counted<&ovra_library_table::variable_value_integer>::Call;
    table.variable_value_double = Counted<&ovra_library_table::variable_value_double>::Call;
    table.variable_value_string = Counted<&ovra_library_table::variable_value_string>::Call;
    table.database_set_option = Counted<&ovra_library_table::database_set_option>::Call;
    table.database_free = Counted<&ovra_library_table::database_free>::Call;
    return table;
}

}  // namespace

CountedLibrary::CountedLibrary(const AllocationFault& fault) {
    static const ovra_library_table table = CountedTable();
    ovratest::allocationCount = 0;
    ovratest::failingAllocation = fault.number;
    ovratest::allocationsFailForEver = fault.forEver;
    SetLibrary(&table);
}

CountedLibrary::~CountedLibrary() {
    SetLibrary(nullptr);
    ovratest::failingAllocation = 0;
    ovratest::allocationsFailForEver = false;
}

bool CountedLibrary::HasFailed() {
    return ovratest::allocationCount >= ovratest::failingAllocation;
}

}  // namespace ovrasql
