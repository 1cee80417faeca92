#include "check/before/refusals.h"

#include <sql.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "check/rules/table_rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "db/statement_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check {

namespace {

// More keys than these that several rows have are not looked at one by one.
constexpr std::size_t kMostCandidates = 10'000;

/// The number as PostgreSQL reads it back exactly.
std::string Exactly(double real) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.begin(), text.end(), real).ptr};
}

std::string TypedLiteral(const Value& value) {
  switch (value.kind) {
    case Value::Kind::Null:
      return "NULL";
    case Value::Kind::Int32:
    case Value::Kind::Token:
      return "(" + std::to_string(value.number) + ")::integer";
    case Value::Kind::Double:
      return "'" + Exactly(value.real) + "'::double precision";
    case Value::Kind::Text:
      return Literal(value.text) + "::varchar";
  }
  return {};
}

std::string_view WithoutTrailingBlanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// A part of a key as SQL Server compares it by default: blanks at the end and the case of letters do not count.
std::string AsTheSourceCompares(std::string_view text) {
  std::string folded(WithoutTrailingBlanks(text));
  std::transform(folded.begin(), folded.end(), folded.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  return folded;
}

std::string PlainText(const Value& value) {
  switch (value.kind) {
    case Value::Kind::Null:
      return {};
    case Value::Kind::Int32:
    case Value::Kind::Token:
      return std::to_string(value.number);
    case Value::Kind::Double:
      return Exactly(value.real);
    case Value::Kind::Text:
      return value.text;
  }
  return {};
}

}  // namespace

LetterCheck::LetterCheck(const odbc::DBConnection& destination)
    : destination_(destination), utf8_(QueryValue(destination, "SHOW client_encoding") == "UTF8") {}

std::size_t LetterCheck::LetterSize(std::string_view text) const {
  const auto first = static_cast<unsigned char>(text.front());
  if (!utf8_ || first < 0xC0) {
    return 1;
  }
  const std::size_t announced = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  std::size_t size = 1;
  while (size < announced && size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0U) == 0x80U) {
    ++size;
  }
  return size;
}

bool LetterCheck::Accepts(std::string_view text) {
  while (!text.empty()) {
    if (static_cast<unsigned char>(text.front()) < 0x80) {
      text.remove_prefix(1);
      continue;
    }
    const std::string letter(text.substr(0, LetterSize(text)));
    const auto [known, isNew] = known_.emplace(letter, true);
    if (isNew) {
      const odbc::Statement statement(destination_);
      known->second = odbc::Succeeded(odbc::ExecuteDirect(statement.handle(), "SELECT " + Literal(letter)));
      if (!known->second) {
        const std::string diagnostics = odbc::GetStatementDiagnostics(statement.handle());
        if (diagnostics.find("State = 22") == std::string::npos) {
          throw std::runtime_error(diagnostics);
        }
      }
    }
    if (!known->second) {
      return false;
    }
    text.remove_prefix(letter.size());
  }
  return true;
}

std::size_t LetterCheck::LettersIn(std::string_view text) const {
  std::size_t letters = 0;
  for (; !text.empty(); ++letters) {
    text.remove_prefix(LetterSize(text));
  }
  return letters;
}

Refusals::Refusals(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                   const db::TableDescription& table, const DestinationSchema& schema, LetterCheck& letters,
                   ArrivedKeys& arrivedKeys)
    : destination_(destination),
      table_(table),
      sourceSchema_(source.schema()),
      letters_(letters),
      arrivedKeys_(arrivedKeys),
      widths_(table.columns.size()) {
  const std::string& assigned = std::string(RulesFor(table.name).assigned);
  if (!assigned.empty()) {
    assigned_ = Positions({assigned})->front();
  }
  if (const auto widths = schema.textWidths.find(table.name); widths != schema.textWidths.end()) {
    for (const auto& [column, width] : widths->second) {
      if (const auto position = Positions({column})) {
        widths_[position->front()] = width;
      }
    }
  }
  for (const UniqueKey& key : schema.uniqueKeys) {
    if (key.table == table.name) {
      AddUnique(source, key);
    }
  }
  for (const ForeignKey& key : schema.foreignKeys) {
    if (key.table == table.name) {
      AddForeign(key);
    }
    if (key.referredTable == table.name) {
      if (const auto positions = Positions(key.referredColumns)) {
        const std::string place = key.table + "." + key.name;
        referred_.push_back({.columns = *positions, .place = place});
        arrivedKeys_[place];
      }
    }
  }
  std::copy_if(schema.checks.begin(), schema.checks.end(), std::back_inserter(checks_),
               [&table](const CheckConstraint& check) { return check.table == table.name; });
}

std::optional<std::vector<std::size_t>> Refusals::Positions(const std::vector<std::string>& columns) const {
  std::vector<std::size_t> positions;
  for (const std::string& column : columns) {
    const auto found = std::find_if(table_.columns.begin(), table_.columns.end(),
                                    [&column](const auto& each) { return each.name == column; });
    if (found == table_.columns.end()) {
      return std::nullopt;
    }
    positions.push_back(static_cast<std::size_t>(found - table_.columns.begin()));
  }
  return positions;
}

std::string Refusals::DuplicatesQueryOf(const std::vector<std::size_t>& columns) const {
  std::string list;
  for (const std::size_t column : columns) {
    const db::ColumnDescription& description = table_.columns[column];
    const std::string name = "[" + std::string(description.name) + "]";
    list += list.empty() ? "" : ", ";
    list += description.kind == db::ValueKind::Text
                ? "SUBSTRING(" + name + ", 1, " + std::to_string(description.size - 1) + ")"
                : name;
  }
  return "SELECT " + list + " FROM " + sourceSchema_ + "[" + std::string(table_.name) + "] GROUP BY " + list +
         " HAVING COUNT(*) > 1;";
}

std::string Refusals::DuplicatesQuery(std::string_view constraint) const {
  const auto found = std::find_if(uniques_.begin(), uniques_.end(),
                                  [constraint](const Unique& each) { return each.name == constraint; });
  return found == uniques_.end() ? "" : DuplicatesQueryOf(found->columns);
}

void Refusals::AddUnique(const odbc::DBConnection& source, const UniqueKey& key) {
  const std::optional<std::vector<std::size_t>> positions = Positions(key.columns);
  if (!positions) {
    return;  // A column that the migrator does not know is filled by the destination.
  }
  const TableRules& rules = RulesFor(table_.name);
  std::vector<std::size_t> own;
  for (const std::size_t column : *positions) {
    if (column == assigned_) {
      return;  // Every row gets another number.
    }
    const Treatment treatment = RuleOf(rules, table_.columns[column].name).treatment;
    if (treatment == Treatment::Plain) {
      own.push_back(column);
    }
  }
  Unique unique{.name = key.name, .columns = *positions, .candidates = {}, .seen = {}};
  const odbc::Statement statement(source);
  statement.Execute(DuplicatesQueryOf(*positions));
  std::array<char, 1024> part{};
  for (;;) {
    const SQLRETURN fetched = SQLFetch(statement.handle());
    if (fetched == SQL_NO_DATA) {
      break;
    }
    odbc::RequireSuccess(fetched, statement.handle());
    if (unique.candidates.size() == kMostCandidates) {
      unforeseen_.push_back("more than " + std::to_string(kMostCandidates) + " keys of " + key.name +
                            " are there twice; the run may end earlier in this table than said");
      break;
    }
    std::string candidate;
    for (std::size_t i = 0; i < positions->size(); ++i) {
      SQLLEN length = 0;
      const std::size_t column = (*positions)[i];
      odbc::RequireSuccess(SQLGetData(statement.handle(), static_cast<SQLUSMALLINT>(i + 1), SQL_C_CHAR, part.data(),
                                      static_cast<SQLLEN>(part.size()), &length),
                           statement.handle());
      if (std::find(own.begin(), own.end(), column) == own.end()) {
        continue;
      }
      std::string_view text = length == SQL_NULL_DATA ? std::string_view() : std::string_view(part.data());
      if (table_.columns[column].kind == db::ValueKind::Text) {
        text = text.substr(0, table_.columns[column].size - 1);
      }
      candidate += AsTheSourceCompares(text) + '\0';
    }
    unique.candidates.insert(std::move(candidate));
  }
  uniques_.push_back(std::move(unique));
}

void Refusals::AddForeign(const ForeignKey& key) {
  const std::optional<std::vector<std::size_t>> positions = Positions(key.columns);
  const std::string place = key.table + "." + key.name;
  if (!positions || (!arrivedKeys_.contains(place) && key.referredTable != table_.name)) {
    unforeseen_.push_back("the foreign key " + key.name + " refers to " + key.referredTable +
                          ", which is migrated later: what it finds there cannot be told");
    return;
  }
  foreigns_.push_back({.name = key.name, .columns = *positions, .referred = place});
}

const Value* Refusals::Find(const Values& values, const std::vector<std::size_t>& sent, std::size_t column) const {
  const auto found = std::find(sent.begin(), sent.end(), column);
  return found == sent.end() ? nullptr : &values[static_cast<std::size_t>(found - sent.begin())];
}

std::uint64_t Refusals::KeyHash(const Values& values, const std::vector<std::size_t>& sent,
                                const std::vector<std::size_t>& columns, std::uint64_t position) const {
  Values key;
  for (const std::size_t column : columns) {
    const Value* const value = Find(values, sent, column);
    Value part;
    part.kind = Value::Kind::Text;
    // By its text: a number that is translated and the number that it is translated to are the same.
    part.text = value != nullptr ? PlainText(*value) : std::to_string(position);
    key.push_back(std::move(part));
  }
  return HashOf(key).low;
}

std::optional<Refusal> Refusals::Check(const Values& values, const std::vector<std::size_t>& sent,
                                       std::uint64_t position) {
  for (std::size_t i = 0; i < values.size(); ++i) {
    const Value& value = values[i];
    if (value.kind != Value::Kind::Text) {
      continue;
    }
    if (!letters_.Accepts(value.text)) {
      return Refusal{.kind = &finding::CharacterRefused, .constraint = {}, .column = sent[i]};
    }
    const std::optional<std::size_t>& width = widths_[sent[i]];
    // Blanks behind the width are dropped by the destination without an error.
    if (width && value.text.size() > *width && letters_.LettersIn(WithoutTrailingBlanks(value.text)) > *width) {
      return Refusal{.kind = &finding::TextTooLong, .constraint = {}, .column = sent[i]};
    }
  }
  for (Unique& unique : uniques_) {
    if (unique.candidates.empty()) {
      continue;
    }
    std::string candidate;
    std::string key;
    const TableRules& rules = RulesFor(table_.name);
    for (const std::size_t column : unique.columns) {
      const Value* const value = Find(values, sent, column);
      const std::string text = value == nullptr ? std::string() : PlainText(*value);
      key += text + '\0';
      if (RuleOf(rules, table_.columns[column].name).treatment == Treatment::Plain) {
        candidate += AsTheSourceCompares(text) + '\0';
      }
    }
    if (unique.candidates.contains(candidate) && !unique.seen.insert(key).second) {
      return Refusal{.kind = &finding::DuplicateKey, .constraint = unique.name, .column = unique.columns.front()};
    }
  }
  for (const Referred& referred : referred_) {
    arrivedKeys_[referred.place].insert(KeyHash(values, sent, referred.columns, position));
  }
  for (const Foreign& foreign : foreigns_) {
    if (!arrivedKeys_[foreign.referred].contains(KeyHash(values, sent, foreign.columns, position))) {
      return Refusal{.kind = &finding::ForeignKey, .constraint = foreign.name, .column = foreign.columns.front()};
    }
  }
  return std::nullopt;
}

std::optional<std::pair<std::size_t, Refusal>> Refusals::CheckAll(const std::vector<Values>& rows,
                                                                  const std::vector<std::size_t>& sent) {
  std::optional<std::pair<std::size_t, Refusal>> first;
  std::string names = "\"#\"";
  for (const std::size_t column : sent) {
    names += ", \"" + std::string(table_.columns[column].name) + '"';
  }
  std::string literals;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    literals += i == 0 ? "(" : ", (";
    literals += std::to_string(i);
    for (const Value& value : rows[i]) {
      literals += ", " + TypedLiteral(value);
    }
    literals += ')';
  }
  for (std::size_t i = 0; i < checks_.size();) {
    const CheckConstraint& check = checks_[i];
    const odbc::Statement statement(destination_);
    std::string query = "SELECT \"#\" FROM (VALUES ";
    query.append(literals).append(") AS v(").append(names).append(") WHERE NOT (").append(check.expression);
    query.append(") ORDER BY \"#\" LIMIT 1");
    if (!odbc::Succeeded(odbc::ExecuteDirect(statement.handle(), query))) {
      const std::string diagnostics = odbc::GetStatementDiagnostics(statement.handle());
      // Throws when it is not the constraint but the connection that failed.
      static_cast<void>(QueryValue(destination_, "SELECT 1"));
      unforeseen_.push_back("the check constraint " + check.name + " cannot be asked for beforehand: " + diagnostics);
      checks_.erase(checks_.begin() + static_cast<std::ptrdiff_t>(i));
      continue;
    }
    const SQLRETURN fetched = SQLFetch(statement.handle());
    if (fetched != SQL_NO_DATA) {
      odbc::RequireSuccess(fetched, statement.handle());
      SQLINTEGER row = 0;
      odbc::RequireSuccess(SQLGetData(statement.handle(), 1, SQL_C_LONG, &row, sizeof(row), nullptr),
                           statement.handle());
      if (!first || static_cast<std::size_t>(row) < first->first) {
        first = {static_cast<std::size_t>(row),
                 Refusal{.kind = &finding::CheckViolated, .constraint = check.name, .column = std::nullopt}};
      }
    }
    ++i;
  }
  return first;
}

}  // namespace check
