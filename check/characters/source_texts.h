#ifndef BW_CHECK_CHARACTERS_SOURCE_TEXTS_H
#define BW_CHECK_CHARACTERS_SOURCE_TEXTS_H

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "db/table_description.h"
#include "odbc/connection.h"

/// What SQL Server is asked about the characters of its texts. FreeTDS answers one query at a time on a connection, so
/// none may be open. All functions throw odbc::Error when the source does not answer.
namespace check::characters {

/// A column whose texts the migrator sends as texts.
struct TextColumn {
  std::size_t position;  ///< In the table's columns.
  int codePage = 0;      ///< 0 where the source keeps the texts in UTF-16, or does not tell.
  std::string collation{};
};

/// The columns, without their collations.
std::vector<TextColumn> TextColumnsOf(const db::TableDescription& table);

/// The same with their collations.
std::vector<TextColumn> ReadTextColumns(const odbc::DBConnection& source, const db::TableDescription& table);

/// Characters, and their bytes as the source's driver gives them.
using CharacterBytes = std::map<char32_t, std::string>;

/// All characters of a code page of one byte for each.
CharacterBytes CharactersOfCodePage(const odbc::DBConnection& source, std::string_view collation);

/// These characters, as a text of the collation; without one, as a text in UTF-16.
CharacterBytes BytesOf(const odbc::DBConnection& source, const std::set<char32_t>& characters,
                       std::string_view collation);

/// The characters beyond ASCII that columns hold, as far as they are migrated; one set for each column. `onRow` is
/// called for each row that is read.
std::vector<std::set<char32_t>> CharactersIn(const odbc::DBConnection& source, const db::TableDescription& table,
                                             const std::vector<TextColumn>& columns,
                                             const std::function<void()>& onRow);

/// Which of the columns hold one of the characters, where they are migrated; one set of characters for each column.
std::vector<bool> ColumnsThatHold(const odbc::DBConnection& source, const db::TableDescription& table,
                                  const std::vector<TextColumn>& columns,
                                  const std::vector<const std::set<char32_t>*>& characters);

/// The condition in SQL that a column's text holds one of the characters where it is migrated. Of very many characters,
/// that it holds one beyond ASCII.
std::string HoldsOneOf(const db::ColumnDescription& column, const std::set<char32_t>& characters);

/// The expression in SQL for the bytes of a column's text in UTF-16, as far as the text is migrated.
std::string Utf16Of(const db::ColumnDescription& column);

/// The most bytes that Utf16Of gives.
std::size_t Utf16Size(const db::ColumnDescription& column);

}  // namespace check::characters

#endif  // BW_CHECK_CHARACTERS_SOURCE_TEXTS_H
