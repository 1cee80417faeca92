#include "lab/tds_server/functions.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "lab/tds_server/column_type.h"
#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

// A value's subtype says how its text is encoded on the server: 0 in the server's code page, 1 and more in that at the
// position before, kUtf16 in UTF-16.
constexpr unsigned kUtf16 = 255;

constexpr std::string_view kBinaryCollation = "Latin1_General_BIN2";

using Arguments = std::span<sqlite3_value*>;

void Fail(sqlite3_context* context, const std::string& message) {
  sqlite3_result_error(context, message.c_str(), -1);
}

std::string_view Text(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr ? std::string_view{}
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

bool IsNull(sqlite3_value* value) {
  return sqlite3_value_type(value) == SQLITE_NULL;
}

void ReturnText(sqlite3_context* context, std::string_view text, unsigned subtype = 0) {
  sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  sqlite3_result_subtype(context, subtype);
}

/// The encoder of a text's code page.
TextEncoder& EncoderOf(Collations& collations, sqlite3_value* value) {
  const CodePage* codePage = CodePageOf(value);
  return collations.EncoderFor(codePage == nullptr ? collations.OfServer() : *codePage);
}

void DataLength(sqlite3_context* context, Collations& collations, Arguments arguments) {
  sqlite3_value* const value = arguments[0];
  switch (sqlite3_value_type(value)) {
    case SQLITE_NULL:
      sqlite3_result_null(context);
      return;
    case SQLITE_BLOB:
      sqlite3_result_int64(context, sqlite3_value_bytes(value));
      return;
    case SQLITE_TEXT:
      sqlite3_result_int64(context,
                           static_cast<std::int64_t>(
                               IsUtf16(value) ? Utf16Bytes(Text(value)).size()
                                              : EncoderOf(collations, value).Encode(Text(value), kMaxTextSize).size()));
      return;
    default:
      Fail(context, "DATALENGTH is supported for texts only");
  }
}

void Nchar(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  const std::int64_t number = sqlite3_value_int64(arguments[0]);
  if (number < 1 || number > 0xFFFF) {
    sqlite3_result_null(context);
    return;
  }
  // By hand, since half of a surrogate pair has to stay what it is until CONCAT joins it with the other.
  const auto byte = [](std::int64_t value) { return static_cast<char>(value); };
  std::string text;
  if (number < 0x80) {
    text = {byte(number)};
  } else if (number < 0x800) {
    text = {byte(0xC0 | number >> 6), byte(0x80 | (number & 0x3F))};
  } else {
    text = {byte(0xE0 | number >> 12), byte(0x80 | (number >> 6 & 0x3F)), byte(0x80 | (number & 0x3F))};
  }
  ReturnText(context, text, kUtf16);
}

/// The UTF-16 unit of a surrogate that the text starts with, in three bytes; 0 where there is none.
std::uint32_t SurrogateAt(std::string_view text) {
  const auto at = [text](std::size_t i) { return static_cast<std::uint32_t>(static_cast<std::uint8_t>(text[i])); };
  return text.size() >= 3 && at(0) == 0xED && at(1) >= 0xA0 ? 0xD000U | (at(1) & 0x3FU) << 6U | (at(2) & 0x3FU) : 0;
}

/// Makes characters of surrogate pairs whose halves are encoded one by one.
std::string JoinSurrogates(std::string_view text) {
  std::string joined;
  while (!text.empty()) {
    const std::uint32_t high = SurrogateAt(text);
    const std::uint32_t low = high == 0 ? 0 : SurrogateAt(text.substr(3));
    if (high >= 0xD800 && high < 0xDC00 && low >= 0xDC00) {
      ByteWriter pair;
      pair.U16(static_cast<std::uint16_t>(high));
      pair.U16(static_cast<std::uint16_t>(low));
      joined += Utf16ToUtf8(pair.Content());
      text.remove_prefix(6);
    } else {
      joined += text.front();
      text.remove_prefix(1);
    }
  }
  return joined;
}

void Concat(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  std::string text;
  for (sqlite3_value* const argument : arguments) {
    text += Text(argument);
  }
  ReturnText(context, JoinSurrogates(text), kUtf16);
}

/// Whether the character is in a set such as "[a-z]" or "[^a-z]"; `set` is what stands between the brackets.
bool IsInSet(char16_t unit, std::u16string_view set) {
  const bool negated = set.starts_with(u'^');
  set.remove_prefix(negated ? 1 : 0);
  bool found = false;
  while (!set.empty() && !found) {
    const bool range = set.size() >= 3 && set[1] == u'-';
    found = range ? unit >= set[0] && unit <= set[2] : unit == set[0];
    set.remove_prefix(range ? 3 : 1);
  }
  return found != negated;
}

bool Matches(std::u16string_view pattern, std::u16string_view text) {
  if (pattern.empty()) {
    return text.empty();
  }
  if (pattern[0] == u'%') {
    return pattern.size() == 1 || Matches(pattern.substr(1), text) ||
           (!text.empty() && Matches(pattern, text.substr(1)));
  }
  if (text.empty()) {
    return false;
  }
  const std::size_t close = pattern[0] == u'[' ? pattern.find(u']') : std::u16string_view::npos;
  if (close != std::u16string_view::npos) {
    return IsInSet(text[0], pattern.substr(1, close - 1)) && Matches(pattern.substr(close + 1), text.substr(1));
  }
  return (pattern[0] == u'_' || pattern[0] == text[0]) && Matches(pattern.substr(1), text.substr(1));
}

void PatIndex(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  if (arguments.size() != 3 || !EqualsIgnoringCase(Text(arguments[2]), kBinaryCollation)) {
    Fail(context, "PATINDEX is supported with the collation Latin1_General_BIN2 only");
    return;
  }
  if (IsNull(arguments[0]) || IsNull(arguments[1])) {
    sqlite3_result_null(context);
    return;
  }
  const std::u16string pattern = Utf8ToUtf16(Text(arguments[0]));
  const std::u16string text = Utf8ToUtf16(Text(arguments[1]));
  const bool anywhere = pattern.starts_with(u'%');
  const std::u16string_view rest = std::u16string_view(pattern).substr(anywhere ? 1 : 0);
  for (std::size_t start = 0; start <= (anywhere ? text.size() : 0); ++start) {
    if (Matches(rest, std::u16string_view(text).substr(start))) {
      sqlite3_result_int64(context, static_cast<std::int64_t>(start + 1));
      return;
    }
  }
  sqlite3_result_int64(context, 0);
}

/// A type such as varchar(20), as the functions of the types' names give it to CONVERT.
template <char Kind>
void Type(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  ReturnText(context, Kind + std::string(Text(arguments[0])));
}

std::string ConvertedToCodePage(std::string_view text, TextEncoder& encoder, std::size_t size) {
  std::string converted;
  std::size_t encoded = 0;
  while (!text.empty()) {
    const std::size_t length = std::max<std::size_t>(Utf8SequenceLength(text), 1);
    const std::string_view character = text.substr(0, length);
    const std::string_view bytes = encoder.Encode(character, kMaxTextSize);
    encoded += bytes.size();
    if (encoded > size) {
      break;
    }
    converted += bytes == "?" ? bytes : character;
    text.remove_prefix(length);
  }
  return converted;
}

void Convert(sqlite3_context* context, Collations& collations, Arguments arguments) {
  if (arguments.size() < 2 || arguments.size() > 3) {
    Fail(context, "CONVERT is supported with a type, a value and a collation");
    return;
  }
  const std::string_view type = Text(arguments[0]);
  if (IsNull(arguments[1])) {
    sqlite3_result_null(context);
    return;
  }
  const std::string_view number = type.substr(std::min<std::size_t>(type.size(), 1));
  std::size_t size = 0;
  std::from_chars(number.data(), number.data() + number.size(), size);
  const std::string_view text = Text(arguments[1]);
  switch (type.empty() ? '\0' : type[0]) {
    case 'v': {
      const CodePage* codePage = arguments.size() == 3 ? &FindCollation(Text(arguments[2])) : nullptr;
      TextEncoder& encoder = collations.EncoderFor(codePage == nullptr ? collations.OfServer() : *codePage);
      ReturnText(context, ConvertedToCodePage(text, encoder, size),
                 codePage == nullptr ? 0 : static_cast<unsigned>(PositionOf(*codePage) + 1));
      return;
    }
    case 'n': {
      Bytes utf16 = Utf16Bytes(text);
      utf16.resize(std::min(utf16.size(), 2 * size));
      ReturnText(context, Utf16ToUtf8(utf16), kUtf16);
      return;
    }
    case 'b': {
      if (!IsUtf16(arguments[1])) {
        Fail(context, "CONVERT to varbinary is supported for nvarchar only");
        return;
      }
      const Bytes utf16 = Utf16Bytes(text);
      sqlite3_result_blob64(context, utf16.data(), std::min(utf16.size(), size), SQLITE_TRANSIENT);
      return;
    }
    default:
      Fail(context, "CONVERT is supported to varchar, nvarchar and varbinary only");
  }
}

void ObjectId(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  std::string_view name = Text(arguments[0]);
  name.remove_prefix(std::min(name.size(), name.rfind('.') + 1));
  if (name.starts_with('[') && name.ends_with(']')) {
    name = name.substr(1, name.size() - 2);
  }
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(sqlite3_context_db_handle(context),
                     "SELECT rowid FROM dbo.sqlite_master WHERE type = 'table' AND name = ? COLLATE NOCASE", -1,
                     &statement, nullptr);
  sqlite3_bind_text(statement, 1, name.data(), static_cast<int>(name.size()), SQLITE_TRANSIENT);
  if (sqlite3_step(statement) == SQLITE_ROW) {
    sqlite3_result_int64(context, sqlite3_column_int64(statement, 0));
  }
  sqlite3_finalize(statement);
}

void CollationProperty(sqlite3_context* context, Collations& /*collations*/, Arguments arguments) {
  if (!EqualsIgnoringCase(Text(arguments[1]), "CodePage")) {
    Fail(context, "COLLATIONPROPERTY is supported for CodePage only");
  } else if (!IsNull(arguments[0])) {
    sqlite3_result_int(context, FindCollation(Text(arguments[0])).number);
  }
}

void CollationOfColumn(sqlite3_context* context, Collations& collations, Arguments arguments) {
  ReturnText(context, collations.OfColumn(Text(arguments[0]), Text(arguments[1])).collationName);
}

using Function = void (*)(sqlite3_context*, Collations&, Arguments);

template <Function function>
void Call(sqlite3_context* context, int count, sqlite3_value** arguments) {
  try {
    function(context, *static_cast<Collations*>(sqlite3_user_data(context)),
             Arguments(arguments, static_cast<std::size_t>(count)));
  } catch (const std::exception& failure) {
    Fail(context, failure.what());
  }
}

// Libraries from 3.45 on may insist that a function says so when its results have subtypes.
#ifndef SQLITE_RESULT_SUBTYPE
#define SQLITE_RESULT_SUBTYPE 0
#endif

template <Function function>
void Define(sqlite3* database, const char* name, int arguments, Collations& collations) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_SUBTYPE | SQLITE_RESULT_SUBTYPE;
  if (sqlite3_create_function_v2(database, name, arguments, kFlags, &collations, Call<function>, nullptr, nullptr,
                                 nullptr) != SQLITE_OK) {
    throw TranslateSqliteError(sqlite3_extended_errcode(database), sqlite3_errmsg(database));
  }
}

constexpr const char* kSystemViews =
    "ATTACH ':memory:' AS sys;"
    "CREATE VIEW sys.columns AS SELECT OBJECT_ID(t.name) AS object_id, c.name AS name, c.cid + 1 AS column_id,"
    " CASE WHEN c.type LIKE 'nvarchar%' THEN 231 WHEN c.type LIKE 'varchar%' THEN 167 WHEN c.type LIKE 'char%' THEN "
    "175 WHEN c.type LIKE 'float%' THEN 62"
    " WHEN c.type LIKE 'bigint%' THEN 127 ELSE 56 END AS system_type_id,"
    " CASE WHEN c.type LIKE '%char%' THEN collation_of_column(t.name, c.name) END AS collation_name"
    " FROM pragma_table_list AS t JOIN pragma_table_info(t.name, 'dbo') AS c"
    " WHERE t.schema = 'dbo' AND t.type = 'table'";

}  // namespace

void DefineFunctions(sqlite3* database, Collations& collations) {
  constexpr int kAnyNumber = -1;
  Define<DataLength>(database, "DATALENGTH", 1, collations);
  Define<Nchar>(database, "NCHAR", 1, collations);
  Define<Concat>(database, "CONCAT", kAnyNumber, collations);
  Define<PatIndex>(database, "PATINDEX", kAnyNumber, collations);
  Define<Type<'v'>>(database, "varchar", 1, collations);
  Define<Type<'n'>>(database, "nvarchar", 1, collations);
  Define<Type<'b'>>(database, "varbinary", 1, collations);
  Define<Convert>(database, "CONVERT", kAnyNumber, collations);
  Define<ObjectId>(database, "OBJECT_ID", 1, collations);
  Define<CollationProperty>(database, "COLLATIONPROPERTY", 2, collations);
  Define<CollationOfColumn>(database, "collation_of_column", 2, collations);
  if (sqlite3_exec(database, kSystemViews, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw TranslateSqliteError(sqlite3_extended_errcode(database), sqlite3_errmsg(database));
  }
}

bool IsUtf16(sqlite3_value* value) {
  return sqlite3_value_subtype(value) == kUtf16;
}

const CodePage* CodePageOf(sqlite3_value* value) {
  const unsigned subtype = sqlite3_value_subtype(value);
  return subtype == 0 || subtype == kUtf16 ? nullptr : &CodePageAt(subtype - 1);
}

}  // namespace tds
