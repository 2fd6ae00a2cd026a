#pragma once

// The pieces of a table's loop that a query block and an UPDATE share. Both emit code for a table
// whose search condition, index and bounds are settled.

namespace ovrasql {

class SQLTableReference;

// The key values and SQL_Cursor_Index, if the table has an index. The first key part is popped
// first, so it is pushed last.
[[nodiscard]] bool GenerateIndexSearch(SQLTableReference* table);

// The test that ends a scan along an index, if there is a stop bound; its jump is `stopJump`.
[[nodiscard]] bool GenerateStopTest(SQLTableReference* table);

// The search condition, if there is one; `testJump` leaves when it differs from 1.
[[nodiscard]] bool GenerateSearchTest(SQLTableReference* table);

}  // namespace ovrasql
