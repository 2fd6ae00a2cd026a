#include "compile/sql_code_generator.h"
#include "compile/tree/sql_statements.h"

// Data definition: one instruction a statement. Whether names and columns are good is looked at
// when it runs. The lists are borrowed from the tree.

namespace ovrasql {

bool SQLCreateTableStatement::Generate() {
    generator->Emit(SQL_Create_Table, 0, 0, 0, tableName, TextView(), &columns);
    return true;
}

bool SQLAlterTableAddStatement::Generate() {
    generator->Emit(SQL_Alter_Table_Add, 0, 0, 0, tableName, TextView(), &columns);
    return true;
}

bool SQLAlterTableDropStatement::Generate() {
    generator->Emit(SQL_Alter_Table_Drop, 0, 0, 0, tableName, columnName);
    return true;
}

bool SQLDropTableStatement::Generate() {
    generator->Emit(SQL_Drop_Table, 0, 0, 0, tableName);
    return true;
}

bool SQLCreateIndexStatement::Generate() {
    generator->Emit(SQL_Create_Index, unique, 0, 0, tableName, indexName, &columns);
    return true;
}

bool SQLDropIndexStatement::Generate() {
    generator->Emit(SQL_Drop_Index, 0, 0, 0, indexName);
    return true;
}

}  // namespace ovrasql
