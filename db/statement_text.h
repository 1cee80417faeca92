#ifndef BW_DB_STATEMENT_TEXT_H
#define BW_DB_STATEMENT_TEXT_H

#include <string>
#include <string_view>

namespace db {

/// Where a statement literal takes the schema prefix of its connection. Each literal holds it once.
inline constexpr std::string_view kSchemaPlaceholder = "{schema}";

/// The literal with the schema prefix, verbatim, in place of the placeholder.
std::string WithSchema(std::string_view literal, std::string_view schemaPrefix);

/// Whether the tables that refer to a destination table are emptied with it.
enum class Truncation { Restrict, Cascade };

/// The statement that empties a destination table and restarts its identities.
std::string TruncateStatement(std::string_view schemaPrefix, std::string_view tableName, Truncation truncation);

}  // namespace db

#endif  // BW_DB_STATEMENT_TEXT_H
