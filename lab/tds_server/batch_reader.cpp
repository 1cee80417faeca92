#include "lab/tds_server/batch_reader.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::string_view kGlobalPrefix = "@@";

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '@' ||
         c == '#' || c == '$' || static_cast<std::uint8_t>(c) >= 0x80;
}

/// Length of the text up to and with `end`, of the whole text where it does not come.
std::size_t LengthThrough(std::string_view text, std::string_view end, std::size_t from) {
  const std::size_t found = text.find(end, from);
  return found == std::string_view::npos ? text.size() : found + end.size();
}

template <typename Predicate>
std::size_t LengthWhile(std::string_view text, Predicate predicate) {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), predicate) - text.begin());
}

bool IsComment(std::string_view token) {
  return token.starts_with("--") || token.starts_with("/*");
}

/// The token that a non-empty text starts with: a run of blanks, a comment, a quoted text or name, a word, or one
/// character. A doubled quote inside a quoted text makes two tokens of it, which does no harm here.
std::string_view FirstToken(std::string_view text) {
  const char first = text.front();
  std::size_t length = 1;
  if (IsBlank(first)) {
    length = LengthWhile(text, IsBlank);
  } else if (text.starts_with("--")) {
    length = LengthThrough(text, "\n", 2);
  } else if (text.starts_with("/*")) {
    length = LengthThrough(text, "*/", 2);
  } else if (first == '\'' || first == '"') {
    length = LengthThrough(text, text.substr(0, 1), 1);
  } else if (first == '[') {
    length = LengthThrough(text, "]", 1);
  } else if (IsWordCharacter(first)) {
    length = LengthWhile(text, IsWordCharacter);
  }
  return text.substr(0, length);
}

/// Steps through the tokens that mean something.
class TokenCursor {
 public:
  explicit TokenCursor(std::string_view text) : rest_(text) { SkipMeaningless(); }

  std::string_view Rest() const { return rest_; }

  /// The token at the cursor, empty at the end.
  std::string_view Peek() const { return rest_.empty() ? rest_ : FirstToken(rest_); }

  std::string_view Take() {
    const std::string_view token = Peek();
    rest_.remove_prefix(token.size());
    SkipMeaningless();
    return token;
  }

  bool TakeWord(std::string_view word) {
    const bool matches = EqualsIgnoringCase(Peek(), word);
    if (matches) {
      Take();
    }
    return matches;
  }

 private:
  void SkipMeaningless() {
    while (!rest_.empty()) {
      const std::string_view token = FirstToken(rest_);
      if (!IsBlank(token.front()) && !IsComment(token)) {
        return;
      }
      rest_.remove_prefix(token.size());
    }
  }

  std::string_view rest_;
};

bool StartsStatement(std::string_view token) {
  constexpr std::array<std::string_view, 13> kFirstWords = {"SELECT", "INSERT",   "UPDATE", "DELETE", "CREATE",
                                                            "DROP",   "ALTER",    "SET",    "USE",    "BEGIN",
                                                            "COMMIT", "ROLLBACK", "IF"};
  return std::any_of(kFirstWords.begin(), kFirstWords.end(),
                     [token](std::string_view word) { return EqualsIgnoringCase(token, word); });
}

bool EndsStatement(std::string_view token) {
  return token.empty() || token == ";" || StartsStatement(token);
}

std::string_view WithoutBrackets(std::string_view name) {
  return name.size() >= 2 && name.front() == '[' && name.back() == ']' ? name.substr(1, name.size() - 2) : name;
}

bool TakeTransactionWord(TokenCursor& cursor) {
  return cursor.TakeWord("TRANSACTION") || cursor.TakeWord("TRAN");
}

void SkipTransactionName(TokenCursor& cursor) {
  if (!EndsStatement(cursor.Peek())) {
    cursor.Take();
  }
}

BatchStatement TakeSetOption(TokenCursor& cursor) {
  const std::string_view name = EndsStatement(cursor.Peek()) ? std::string_view{} : cursor.Take();
  while (!EndsStatement(cursor.Peek())) {
    cursor.Take();
  }
  return {BatchStatement::Kind::SetOption, name};
}

std::optional<BatchStatement> TakeHousekeeping(TokenCursor& cursor) {
  if (cursor.TakeWord("SET")) {
    return TakeSetOption(cursor);
  }
  if (cursor.TakeWord("USE") && !EndsStatement(cursor.Peek())) {
    return BatchStatement{BatchStatement::Kind::UseDatabase, WithoutBrackets(cursor.Take())};
  }
  if (cursor.TakeWord("BEGIN") && TakeTransactionWord(cursor)) {
    SkipTransactionName(cursor);
    return BatchStatement{BatchStatement::Kind::BeginTransaction, {}};
  }
  for (const auto& [word, kind] : {std::pair{"COMMIT", BatchStatement::Kind::CommitTransaction},
                                   std::pair{"ROLLBACK", BatchStatement::Kind::RollbackTransaction}}) {
    if (cursor.TakeWord(word)) {
      if (TakeTransactionWord(cursor)) {
        SkipTransactionName(cursor);
      } else {
        cursor.TakeWord("WORK");
      }
      return BatchStatement{kind, {}};
    }
  }
  if (cursor.TakeWord("IF") && cursor.TakeWord("@@TRANCOUNT") && cursor.TakeWord(">") && cursor.TakeWord("0")) {
    return BatchStatement{BatchStatement::Kind::IfInTransaction, {}};
  }
  return std::nullopt;
}

std::string_view TakeQuery(TokenCursor& cursor) {
  const std::string_view start = cursor.Rest();
  while (!cursor.Peek().empty() && cursor.Peek() != ";") {
    cursor.Take();
  }
  return start.substr(0, start.size() - cursor.Rest().size());
}

}  // namespace

std::optional<BatchStatement> BatchReader::Next() {
  TokenCursor cursor(rest_);
  while (cursor.TakeWord(";")) {
  }
  std::optional<BatchStatement> statement;
  if (!cursor.Peek().empty()) {
    TokenCursor attempt = cursor;
    statement = TakeHousekeeping(attempt);
    if (statement) {
      cursor = attempt;
    } else {
      statement = BatchStatement{BatchStatement::Kind::Query, TakeQuery(cursor)};
    }
  }
  rest_ = cursor.Rest();
  return statement;
}

std::string ReplaceGlobalVariables(std::string_view sql, const GlobalVariables& variables) {
  std::string replaced;
  while (!sql.empty()) {
    const std::string_view token = FirstToken(sql);
    sql.remove_prefix(token.size());
    if (!token.starts_with(kGlobalPrefix)) {
      replaced += token;
      continue;
    }
    const std::optional<std::string> value = variables(token.substr(kGlobalPrefix.size()));
    if (!value) {
      throw SqlError(137, 15, 2, "Must declare the scalar variable \"" + std::string(token) + "\".");
    }
    replaced += *value;
  }
  return replaced;
}

std::string PassCollations(std::string_view sql) {
  TokenCursor start(sql);
  if (!start.TakeWord("SELECT") && !start.TakeWord("WITH")) {
    return std::string(sql);
  }
  std::string passed;
  int depth = 0;
  while (!sql.empty()) {
    const std::string_view token = FirstToken(sql);
    TokenCursor ahead(sql);
    if (depth > 0 && ahead.TakeWord("COLLATE")) {
      const std::string_view name = ahead.Take();
      passed += ", '" + std::string(name) + "'";
      sql.remove_prefix(static_cast<std::size_t>(name.data() + name.size() - sql.data()));
      continue;
    }
    depth += token == "(" ? 1 : token == ")" ? -1 : 0;
    passed += token;
    sql.remove_prefix(token.size());
  }
  return passed;
}

}  // namespace tds
