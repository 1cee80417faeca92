#include "db/statement_text.h"

namespace db {

std::string WithSchema(std::string_view literal, std::string_view schemaPrefix) {
  const std::size_t placeholder = literal.find(kSchemaPlaceholder);
  std::string text(literal.substr(0, placeholder));
  text += schemaPrefix;
  text += literal.substr(placeholder + kSchemaPlaceholder.size());
  return text;
}

std::string TruncateStatement(std::string_view schemaPrefix, std::string_view tableName, Truncation truncation) {
  std::string text = "TRUNCATE ";
  text += schemaPrefix;
  text += '"';
  text += tableName;
  text += "\" RESTART IDENTITY";
  if (truncation == Truncation::Cascade) {
    text += " CASCADE";
  }
  text += ';';
  return text;
}

}  // namespace db
