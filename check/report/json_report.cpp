#include "check/report/json_report.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <fstream>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "check/report/utf8.h"

namespace check {

namespace {

constexpr std::string_view kFormat = "bw_db_check report";
constexpr std::uint64_t kFormatVersion = 2;

/// Builds a JSON text, a member or an element on each line.
class JsonWriter {
 public:
  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }

  /// The value follows.
  JsonWriter& Name(std::string_view name) {
    Separate();
    Quoted(name);
    text_ += ": ";
    named_ = true;
    return *this;
  }

  JsonWriter& String(std::string_view value) {
    Separate();
    Quoted(value);
    return *this;
  }

  JsonWriter& Number(std::uint64_t value) { return Literal(std::to_string(value)); }
  JsonWriter& Number(const std::optional<std::uint64_t>& value) { return value ? Number(*value) : Null(); }
  JsonWriter& Null() { return Literal("null"); }

  std::string TakeText() {
    text_ += '\n';
    return std::move(text_);
  }

 private:
  JsonWriter& Begin(char bracket) {
    Separate();
    text_ += bracket;
    ++depth_;
    first_ = true;
    return *this;
  }

  JsonWriter& End(char bracket) {
    --depth_;
    if (!first_) {
      NewLine();
    }
    text_ += bracket;
    first_ = false;
    return *this;
  }

  JsonWriter& Literal(std::string_view value) {
    Separate();
    text_ += value;
    return *this;
  }

  /// Puts what has to stand in front of a value or a name.
  void Separate() {
    if (named_ || depth_ == 0) {
      named_ = false;
      return;
    }
    text_ += first_ ? "" : ",";
    first_ = false;
    NewLine();
  }

  void NewLine() {
    text_ += '\n';
    text_.append(2 * depth_, ' ');
  }

  /// A byte that is no UTF-8 is written as the letter of its number, so that every text can be written.
  void Quoted(std::string_view value) {
    constexpr std::string_view digits = "0123456789abcdef";
    text_ += '"';
    while (!value.empty()) {
      const std::size_t length = Utf8Length(value);
      const char byte = value.front();
      const auto number = static_cast<unsigned char>(byte);
      if (byte == '"' || byte == '\\') {
        text_ += {'\\', byte};
      } else if (byte == '\n') {
        text_ += "\\n";
      } else if (length == 0 || number < 0x20) {
        text_ += {'\\', 'u', '0', '0', digits[number / 16], digits[number % 16]};
      } else {
        text_ += value.substr(0, length);
      }
      value.remove_prefix(std::max<std::size_t>(length, 1));
    }
    text_ += '"';
  }

  std::string text_;
  std::size_t depth_ = 0;
  bool first_ = true;   // Nothing stands between the innermost brackets yet.
  bool named_ = false;  // A name stands there, its value does not.
};

void WriteTexts(JsonWriter& json, std::string_view name, const std::vector<std::string>& texts) {
  json.Name(name).BeginArray();
  for (const std::string& text : texts) {
    json.String(text);
  }
  json.EndArray();
}

void WriteFinding(JsonWriter& json, const Finding& finding) {
  json.BeginObject();
  json.Name("id").String(finding.kind->id);
  json.Name("cost").String(NameOf(finding.cost));
  WriteTexts(json, "columns", finding.columns);
  json.Name("rows").Number(finding.rows);
  WriteTexts(json, "keys", finding.keys);
  WriteTexts(json, "arrives", finding.arrives);
  json.Name("text").String(finding.text);
  json.Name("query");
  if (finding.query) {
    json.BeginObject();
    json.Name("side").String(finding.query->side == Side::Source ? "source" : "destination");
    json.Name("text").String(finding.query->text);
    json.EndObject();
  } else {
    json.Null();
  }
  json.EndObject();
}

void WriteFindings(JsonWriter& json, std::string_view name, const std::vector<Finding>& findings) {
  json.Name(name).BeginArray();
  for (const Finding* const finding : ByCost(findings)) {
    WriteFinding(json, *finding);
  }
  json.EndArray();
}

void WriteTable(JsonWriter& json, const TableReport& table) {
  json.BeginObject();
  json.Name("table").String(table.table);
  json.Name("source_rows").Number(table.sourceRows);
  json.Name("arriving_rows").Number(table.arrivingRows);
  json.Name("unchanged_rows").Number(table.unchangedRows);
  json.Name("refused_rows").Number(table.refusedRows);
  json.Name("destination_rows").Number(table.destinationRows);
  json.Name("milliseconds").Number(static_cast<std::uint64_t>(std::max<std::int64_t>(table.milliseconds, 0)));
  WriteFindings(json, "findings", table.findings);
  json.EndObject();
}

[[noreturn]] void Fail(const std::filesystem::path& path, std::string_view reason) {
  throw std::runtime_error("cannot write " + path.string() + ": " + std::string(reason));
}

}  // namespace

std::string JsonReport(const Report& report, std::string_view programVersion) {
  JsonWriter json;
  json.BeginObject();
  json.Name("format").String(kFormat);
  json.Name("version").Number(kFormatVersion);
  json.Name("program_version").String(programVersion);
  json.Name("command").String(NameOf(report.command));
  WriteTexts(json, "facts", report.facts);
  WriteFindings(json, "general", report.general);
  json.Name("tables").BeginArray();
  for (const TableReport& table : report.tables) {
    WriteTable(json, table);
  }
  json.EndArray();
  json.Name("findings")
      .Number(std::accumulate(report.tables.begin(), report.tables.end(),
                              static_cast<std::uint64_t>(report.general.size()),
                              [](std::uint64_t sum, const TableReport& table) { return sum + table.findings.size(); }));
  json.Name("run_ends_in");
  report.runEndsIn ? json.String(*report.runEndsIn) : json.Null();
  json.Name("verdict").String(report.verdict);
  json.Name("exit_code").Number(report.HasFindings() ? 1 : 0);
  json.EndObject();
  return json.TakeText();
}

JsonFile::JsonFile(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    Fail(path, "it is no regular file");
  }
  // A link stays; what it leads to is replaced.
  path_ = std::filesystem::weakly_canonical(path, error);
  if (error) {
    Fail(path, error.message());
  }
  beside_ = path_;
  beside_ += ".part";
  WriteBeside({});
  std::filesystem::remove(beside_, error);
}

void JsonFile::Write(std::string_view text) const {
  WriteBeside(text);
  std::error_code error;
  std::filesystem::rename(beside_, path_, error);
  if (error) {
    std::error_code ignored;
    std::filesystem::remove(beside_, ignored);
    Fail(path_, error.message());
  }
}

void JsonFile::WriteBeside(std::string_view text) const {
  errno = 0;
  std::ofstream file(beside_, std::ios_base::binary | std::ios_base::trunc);
  file << text;
  file.close();
  if (!file) {
    const std::string reason = std::generic_category().message(errno);
    std::error_code ignored;
    std::filesystem::remove(beside_, ignored);
    Fail(path_, reason);
  }
}

}  // namespace check
