#ifndef BW_CHECK_CHARACTERS_CHARACTERS_H
#define BW_CHECK_CHARACTERS_CHARACTERS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "check/characters/destination_texts.h"
#include "check/characters/source_texts.h"
#include "check/cli/progress.h"
#include "check/rules/source_reader.h"
#include "db/table_description.h"
#include "odbc/connection.h"

/// What becomes of the characters of texts: of those that the source holds, not of bytes as a driver shows them. The
/// characters of each code page in use travel through both data sources as the migrator sends texts, and are compared
/// where they arrive.
namespace check::characters {

/// What becomes of a text, as far as its characters are concerned.
enum class TextFate : std::uint8_t {
  Same,     ///< It arrives, up to where it is cut, with its own characters.
  Changed,  ///< It arrives with other characters.
  Refused,  ///< The destination refuses one of its characters. If it accepts the text, then as another one.
  Unknown,  ///< Nobody can tell.
};

/// A text of the source as the driver gives it to the migrator, and its characters.
struct SourceText {
  std::string_view bytes;
  bool isCut = false;
  std::string_view utf16;
};

class Characters {
 public:
  /// Asks both sides. `trial` is a second connection to the source, of no other use afterwards: the conversion of one
  /// character can spoil that of all later texts. No query may be open on the two. The destination's connection must
  /// outlive the object; the tables must be readable.
  /// All members throw odbc::Error when the destination cannot be asked, or a connection to the source breaks.
  Characters(const odbc::DBConnection& source, const odbc::DBConnection& trial, const odbc::DBConnection& destination,
             const std::vector<db::TableDescription>& tables, Progress& progress);

  /// Lines for the report: which characters arrive.
  const std::vector<std::string>& facts() const noexcept { return facts_; }

  /// The columns of a table that must be looked at, and how they are read in UTF-16: all other texts are Same. None
  /// where the settings are right.
  std::vector<rules::Utf16Column> DoubtfulColumns(const db::TableDescription& table) const;

  /// What becomes of a text of a doubtful column.
  TextFate FateOf(const db::TableDescription& table, std::size_t position, const SourceText& text) const;

  /// A text of a doubtful column and what arrives of it, in UTF-8, such as "'5 €' arrives as '5 ?'".
  std::string Described(const SourceText& text) const;

  /// A condition in SQL, for a person, that a doubtful column's text holds a character that does not arrive; empty
  /// where there is none.
  std::string Condition(const db::TableDescription& table, std::size_t position) const;

 private:
  struct CharacterFate {
    std::string bytes;  ///< As the source's driver gives the character.
    TextFate fate = TextFate::Unknown;
    std::u32string arrives;
  };

  /// What is known of a code page; see TextColumn for number 0.
  struct CodePage {
    std::string collation;
    std::unordered_map<char32_t, CharacterFate> characters;  ///< Empty if one of them spoils later texts.
    std::set<char32_t> doubtful;                             ///< What does not arrive, or only by itself.
    std::size_t longest = 0;                                 ///< Bytes of a character.
  };

  void AskSource(const odbc::DBConnection& source, const odbc::DBConnection& trial,
                 const std::vector<db::TableDescription>& tables, Progress& progress);
  void AskCharacters(const odbc::DBConnection& trial, const CharacterBytes& bytes, CodePage& page) const;
  void FindDoubtfulColumns(const odbc::DBConnection& source, const db::TableDescription& table,
                           std::vector<TextColumn> columns);
  void AddFact(int number, const CodePage& page);
  const CodePage& CodePageOf(const db::TableDescription& table, std::size_t position) const;
  TextFate FateOfWhole(std::string_view bytes, bool isCut, const std::u32string& characters) const;

  DestinationTexts destination_;
  bool sourceAnswers_ = true;
  std::map<int, CodePage> codePages_;
  std::map<std::pair<std::string_view, std::size_t>, int> doubtfulColumns_;  ///< Their code pages.
  std::vector<std::string> facts_;
};

}  // namespace check::characters

#endif  // BW_CHECK_CHARACTERS_CHARACTERS_H
