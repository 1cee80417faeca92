#ifndef BW_LAB_TDS_SERVER_FUNCTIONS_H
#define BW_LAB_TDS_SERVER_FUNCTIONS_H

#include <sqlite3.h>

#include "lab/tds_server/collations.h"

namespace tds {

/// Defines what SQLite lacks of Transact-SQL, on one connection: DATALENGTH, NCHAR, CONCAT, PATINDEX, CONVERT to
/// varchar, nvarchar and varbinary, OBJECT_ID, COLLATIONPROPERTY, and the view sys.columns. A collation is an argument
/// of its own here, see PassCollations.
///
/// The collations must outlive the connection. \throws SqlError when SQLite refuses a definition.
void DefineFunctions(sqlite3* database, Collations& collations);

/// Whether a value is a text in UTF-16.
bool IsUtf16(sqlite3_value* value);

/// The code page of a value that CONVERT made with a collation; null for another value.
const CodePage* CodePageOf(sqlite3_value* value);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_FUNCTIONS_H
