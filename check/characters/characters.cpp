#include "check/characters/characters.h"

#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <utility>

#include "check/characters/unicode.h"
#include "check/sql/sql_text.h"
#include "odbc/diagnostics.h"

namespace check::characters {

namespace {

// Of a list in a fact.
constexpr std::size_t kCharactersShown = 24;

constexpr char32_t kFirstBeyondAscii = 0x80;

// Code pages with characters of several bytes: too many to ask for all of them.
bool HasManyCharacters(int codePage) {
  constexpr std::array kNumbers = {0, 932, 936, 949, 950, 65001};
  return std::ranges::find(kNumbers, codePage) != kNumbers.end();
}

std::u32string UpToZero(std::u32string_view text) {
  return std::u32string(text.substr(0, text.find(U'\0')));
}

TextFate FateOf(const Arrival& arrival, std::u32string_view text) {
  if (arrival.kind != Arrival::Kind::Text) {
    return arrival.kind == Arrival::Kind::Refused ? TextFate::Refused : TextFate::Unknown;
  }
  return arrival.text == text ? TextFate::Same : TextFate::Changed;
}

/// What two characters of a text mean for it.
TextFate Worse(TextFate one, TextFate other) {
  constexpr std::array kWorstFirst = {TextFate::Refused, TextFate::Changed, TextFate::Unknown, TextFate::Same};
  return *std::ranges::find_if(kWorstFirst, [=](TextFate fate) { return fate == one || fate == other; });
}

/// The entries, of a long list the first ones and "and N more".
std::string Listed(std::vector<std::string> entries) {
  const std::size_t shown = std::min(entries.size(), kCharactersShown);
  const std::size_t left = entries.size() - shown;
  entries.resize(shown);
  return Joined(entries) + (left == 0 ? "" : " and " + std::to_string(left) + " more");
}

std::string ShownText(const std::u32string& text) {
  std::string shown;
  for (const char32_t character : text) {
    shown += Shown(character);
  }
  return shown.empty() ? "nothing" : shown;
}

}  // namespace

Characters::Characters(const odbc::DBConnection& source, const odbc::DBConnection& trial,
                       const odbc::DBConnection& destination, const std::vector<db::TableDescription>& tables,
                       Progress& progress)
    : destination_(destination) {
  try {
    AskSource(source, trial, tables, progress);
  } catch (const odbc::Error& error) {
    if (error.IsOfClass("08")) {
      throw;
    }
    sourceAnswers_ = false;
    doubtfulColumns_.clear();
    for (const db::TableDescription& table : tables) {
      for (const TextColumn& column : TextColumnsOf(table)) {
        doubtfulColumns_.emplace(std::pair{table.name, column.position}, 0);
      }
    }
    facts_ = {
        "Characters: the source cannot be asked for them. Texts are compared as its driver gives them in UTF-16. " +
        std::string(error.what())};
  }
}

void Characters::AskSource(const odbc::DBConnection& source, const odbc::DBConnection& trial,
                           const std::vector<db::TableDescription>& tables, Progress& progress) {
  std::vector<std::vector<TextColumn>> columns;
  std::map<int, std::set<char32_t>> held;  // By code page, of those with many characters.
  std::uint64_t rows = 0;
  for (const db::TableDescription& table : tables) {
    columns.push_back(ReadTextColumns(source, table));
    std::vector<TextColumn> toRead;
    for (const TextColumn& column : columns.back()) {
      codePages_[column.codePage].collation = column.collation;
      if (HasManyCharacters(column.codePage)) {
        toRead.push_back(column);
      }
    }
    if (toRead.empty()) {
      continue;
    }
    const auto characters = CharactersIn(source, table, toRead, [&] { progress.Rows(++rows); });
    for (std::size_t i = 0; i < toRead.size(); ++i) {
      held[toRead[i].codePage].insert(characters[i].begin(), characters[i].end());
    }
  }
  for (auto& [number, page] : codePages_) {
    if (HasManyCharacters(number)) {
      std::set<char32_t>& characters = held[number];
      for (char32_t ascii = 1; ascii < kFirstBeyondAscii; ++ascii) {
        characters.insert(ascii);
      }
      AskCharacters(trial, BytesOf(trial, characters, page.collation), page);
    } else {
      AskCharacters(trial, CharactersOfCodePage(trial, page.collation), page);
    }
    AddFact(number, page);
  }
  for (std::size_t i = 0; i < tables.size(); ++i) {
    FindDoubtfulColumns(source, tables[i], std::move(columns[i]));
  }
}

void Characters::AskCharacters(const odbc::DBConnection& trial, const CharacterBytes& bytes, CodePage& page) const {
  constexpr char32_t kPlain = U'a';
  if (BytesOf(trial, {kPlain}, page.collation) != CharacterBytes{{kPlain, "a"}}) {
    return;
  }
  std::vector<std::string> texts;
  std::ranges::transform(bytes, std::back_inserter(texts), [](const auto& each) { return each.second; });
  const std::vector<Arrival> arrivals = destination_.Ask(texts);
  auto arrival = arrivals.begin();
  for (const auto& [character, ofDriver] : bytes) {
    const TextFate fate = characters::FateOf(*arrival, std::u32string(1, character));
    page.characters.emplace(character, CharacterFate{.bytes = ofDriver, .fate = fate, .arrives = arrival->text});
    page.longest = std::max(page.longest, ofDriver.size());
    if (fate != TextFate::Same || IsCombining(character)) {
      page.doubtful.insert(character);
    }
    ++arrival;
  }
}

void Characters::FindDoubtfulColumns(const odbc::DBConnection& source, const db::TableDescription& table,
                                     std::vector<TextColumn> columns) {
  std::vector<TextColumn> toAsk;
  std::vector<const std::set<char32_t>*> characters;
  for (TextColumn& column : columns) {
    const CodePage& page = codePages_.at(column.codePage);
    if (page.characters.empty()) {
      doubtfulColumns_.emplace(std::pair{table.name, column.position}, column.codePage);
    } else if (!page.doubtful.empty()) {
      characters.push_back(&page.doubtful);
      toAsk.push_back(std::move(column));
    }
  }
  if (toAsk.empty()) {
    return;
  }
  const std::vector<bool> holds = ColumnsThatHold(source, table, toAsk, characters);
  for (std::size_t i = 0; i < toAsk.size(); ++i) {
    if (holds[i]) {
      doubtfulColumns_.emplace(std::pair{table.name, toAsk[i].position}, toAsk[i].codePage);
    }
  }
}

void Characters::AddFact(int number, const CodePage& page) {
  const auto total = static_cast<std::size_t>(std::ranges::count_if(
      page.characters, [](const auto& character) { return character.first >= kFirstBeyondAscii; }));
  const std::string name = number == 0
                               ? std::string("Characters of texts in UTF-16")
                               : "Characters of code page " + std::to_string(number) + " (" + page.collation + ")";
  if (page.characters.empty()) {
    facts_.push_back(name +
                     ": the source's driver cannot convert one of them, and after that it converts all later texts to "
                     "question marks or others. The encoding of its texts, ClientCharset, must be another one.");
    return;
  }
  if (total == 0) {
    facts_.push_back(name + ": the texts hold none beyond ASCII.");
    return;
  }
  std::vector<std::string> changed;
  std::vector<std::string> refused;
  std::size_t unknown = 0;
  std::size_t same = total;
  for (const char32_t character : page.doubtful) {
    const CharacterFate& fate = page.characters.at(character);
    same -= character >= kFirstBeyondAscii && fate.fate != TextFate::Same ? 1 : 0;
    if (fate.fate == TextFate::Changed) {
      changed.push_back(Shown(character) + " as " + ShownText(fate.arrives));
    } else if (fate.fate == TextFate::Refused) {
      refused.push_back(Shown(character));
    } else if (fate.fate == TextFate::Unknown) {
      ++unknown;
    }
  }
  std::string text = name + ": " + std::to_string(same) + " of " + std::to_string(total) + " beyond ASCII" +
                     (HasManyCharacters(number) ? " in the texts" : "") + " arrive as they are; each takes up to " +
                     Counted(page.longest, "byte") + " where texts are cut by bytes.";
  if (!changed.empty()) {
    text += " Changed: " + Listed(changed) + ".";
  }
  if (!refused.empty()) {
    text += " Refused by the destination: " + Listed(refused) + ".";
  }
  if (!changed.empty() || !refused.empty()) {
    text +=
        " The encodings of the two data sources must agree: ClientCharset of the source, client_encoding of the "
        "destination.";
  }
  if (unknown > 0) {
    text += " The destination stores the bytes of " + std::to_string(unknown) +
            " without knowing what characters they are.";
  }
  facts_.push_back(std::move(text));
}

std::vector<rules::Utf16Column> Characters::DoubtfulColumns(const db::TableDescription& table) const {
  std::vector<rules::Utf16Column> columns;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (!doubtfulColumns_.contains({table.name, i})) {
      continue;
    }
    const db::ColumnDescription& column = table.columns[i];
    columns.push_back({.column = i,
                       .expression = sourceAnswers_ ? Utf16Of(column) : QuotedName(Side::Source, column.name),
                       .cType = static_cast<SQLSMALLINT>(sourceAnswers_ ? SQL_C_BINARY : SQL_C_WCHAR),
                       .size = Utf16Size(column)});
  }
  return columns;
}

const Characters::CodePage& Characters::CodePageOf(const db::TableDescription& table, std::size_t position) const {
  return codePages_.at(doubtfulColumns_.at({table.name, position}));
}

TextFate Characters::FateOf(const db::TableDescription& table, std::size_t position, const SourceText& text) const {
  const std::u32string characters = UpToZero(FromUtf16(text.utf16));
  const std::string_view bytes = text.bytes.substr(0, text.bytes.find('\0'));
  if (!sourceAnswers_) {
    // A question mark may be the driver's own, for what it cannot convert.
    const TextFate fate = FateOfWhole(bytes, text.isCut, characters);
    const bool doubtful = characters.find_first_of(U"?\uFFFD") != std::u32string::npos;
    return fate == TextFate::Same && doubtful ? TextFate::Unknown : fate;
  }
  // A text is its characters one by one, unless a driver joins some: then the whole text has to be sent.
  const auto& known = CodePageOf(table, position).characters;
  std::string sent;
  TextFate fate = TextFate::Same;
  for (const char32_t character : characters) {
    if (text.isCut && sent.size() >= bytes.size()) {
      break;
    }
    const auto found = known.find(character);
    if (found == known.end()) {
      return FateOfWhole(bytes, text.isCut, characters);
    }
    sent += found->second.bytes;
    fate = Worse(fate, found->second.fate);
  }
  const bool asSent = text.isCut ? sent.starts_with(bytes) : sent == bytes;
  return asSent ? fate : FateOfWhole(bytes, text.isCut, characters);
}

TextFate Characters::FateOfWhole(std::string_view bytes, bool isCut, const std::u32string& characters) const {
  const Arrival arrival = destination_.Ask({std::string(bytes)}).front();
  return characters::FateOf(arrival, isCut ? characters.substr(0, arrival.text.size()) : characters);
}

std::string Characters::Described(const SourceText& text) const {
  const std::string bytes(text.bytes.substr(0, text.bytes.find('\0')));
  return "'" + ToUtf8(UpToZero(FromUtf16(text.utf16))) + "' arrives as '" +
         ToUtf8(destination_.Ask({bytes}).front().text) + "'";
}

std::string Characters::Condition(const db::TableDescription& table, std::size_t position) const {
  if (!sourceAnswers_ || CodePageOf(table, position).characters.empty()) {
    return {};
  }
  return HoldsOneOf(table.columns[position], CodePageOf(table, position).doubtful);
}

}  // namespace check::characters
