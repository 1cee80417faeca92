#include "check/report/text_report.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <iomanip>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/report/characters.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

constexpr std::size_t kWidth = 100;
constexpr std::size_t kTableNameWidth = 30;
constexpr std::size_t kNumberWidth = 14;

constexpr std::string_view kPartial =
    "Partial report: only the tables below were looked at. It promises nothing about the whole run.";

constexpr std::string_view kRed = "\x1b[1;31m";
constexpr std::string_view kYellow = "\x1b[1;33m";
constexpr std::string_view kGreen = "\x1b[1;32m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string Seconds(std::int64_t milliseconds) {
  std::array<char, 32> text{};
  const int length = std::snprintf(text.data(), text.size(), "%.3f s", static_cast<double>(milliseconds) / 1000);
  return {text.data(), static_cast<std::size_t>(length)};
}

/// How much of a line of SQL to print on one line. It is broken at blanks that mean nothing, so those in quotes stay.
std::size_t SqlThatFits(std::string_view line, std::size_t width) {
  if (line.size() <= width || line.find("--") != std::string_view::npos) {
    return line.size();
  }
  std::size_t length = line.size();
  char closing = '\0';
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (i > width && length < line.size()) {
      break;
    }
    const char letter = line[i];
    if (closing != '\0') {
      closing = letter == closing ? '\0' : closing;
    } else if (letter == '\'' || letter == '"') {
      closing = letter;
    } else if (letter == '[') {
      closing = ']';
    } else if (letter == ' ') {
      length = i;
    }
  }
  return length;
}

class Printer {
 public:
  Printer(std::ostream& stream, Colour colour) : stream_(stream), colour_(colour) {}

  void Print(const Report& report) {
    stream_ << "bw_db_check " << NameOf(report.command) << '\n';
    Print(report.identity);
    if (report.IsPartial()) {
      stream_ << '\n' << kPartial << '\n';
    }
    stream_ << (report.facts.empty() ? "" : "\n");
    for (const std::string& fact : report.facts) {
      Wrapped(0, fact);
    }
    if (!report.general.empty()) {
      stream_ << "\nGeneral\n";
      Findings(report.general);
    }
    Tables(report);
    stream_ << '\n'
            << Coloured(report.HasNewFindings() ? kYellow : kGreen) << StatusLine(report) << ". "
            << Printable(report.verdict) << Coloured(kPlain) << '\n';
  }

 private:
  void Print(const Identity& identity) {
    if (identity.time.empty()) {
      return;
    }
    Wrapped(0, "Version " + identity.programVersion + ", " + identity.time + ", on " + identity.host +
                   (identity.options.empty() ? "" : ", options " + Joined(identity.options, " ")));
    stream_ << '\n';
    Print("Source", identity.source);
    Print("Destination", identity.destination);
  }

  void Print(const std::string& title, const ComparedSide& side) {
    const auto known = [](const std::string& text) { return text.empty() ? "unknown" : "'" + text + "'"; };
    Wrapped(0, title + ": data source " + known(side.dataSource) + ", server " + known(side.server) + ", port " +
                   known(side.port) + ", database " + known(side.database) + ", schema " + known(side.schema) +
                   ", login " + known(side.login) + ".");
  }

  std::string_view Coloured(std::string_view sequence) const {
    return colour_ == Colour::On ? sequence : std::string_view{};
  }

  /// Prints a text in lines of at most kWidth bytes, if its words allow that.
  void Wrapped(std::size_t indent, std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    std::string line;
    for (std::size_t begin = text.find_first_not_of(blanks); begin != std::string_view::npos;
         begin = text.find_first_not_of(blanks, begin)) {
      const std::size_t end = std::min(text.find_first_of(blanks, begin), text.size());
      const std::string word = Printable(text.substr(begin, end - begin));
      begin = end;
      if (!line.empty() && indent + line.size() + 1 + word.size() > kWidth) {
        Line(indent, line);
        line.clear();
      }
      line += line.empty() ? "" : " ";
      line += word;
    }
    if (!line.empty()) {
      Line(indent, line);
    }
  }

  void Line(std::size_t indent, std::string_view text) { stream_ << std::string(indent, ' ') << text << '\n'; }

  void Tables(const Report& report) {
    if (report.tables.empty()) {
      return;
    }
    const bool before = report.command == Command::Before;
    stream_ << '\n';
    TableLine("Table", before ? std::vector<std::string>{"Source", "Arriving", "Unchanged", "Refused", "Time"}
                              : std::vector<std::string>{"Source", "Expected", "Destination", "Time"});
    bool blockBefore = false;
    for (const TableReport& table : report.tables) {
      const bool block = !table.findings.empty();
      if (block || blockBefore) {
        stream_ << '\n';
      }
      blockBefore = block;
      const auto number = [](const std::optional<std::uint64_t>& rows) { return rows ? std::to_string(*rows) : "?"; };
      std::vector<std::string> columns = {number(table.sourceRows), number(table.arrivingRows),
                                          number(before ? table.unchangedRows : table.destinationRows)};
      if (before) {
        columns.push_back(number(table.refusedRows));
      }
      columns.push_back(Seconds(table.milliseconds));
      TableLine(table.table, columns);
      Findings(table.findings);
    }
  }

  void TableLine(std::string_view name, const std::vector<std::string>& columns) {
    stream_ << std::left << std::setw(kTableNameWidth) << name << std::right;
    for (const std::string& column : columns) {
      stream_ << std::setw(kNumberWidth) << column;
    }
    stream_ << '\n';
  }

  void Findings(const std::vector<Finding>& findings) {
    for (const Finding* const finding : ByCost(findings)) {
      Print(*finding);
    }
  }

  void Print(const Finding& finding) {
    stream_ << "  " << Coloured(finding.cost <= Cost::RowsLost ? kRed : kYellow) << InWords(NameOf(finding.cost))
            << Coloured(kPlain);
    for (const std::string& column : finding.columns) {
      stream_ << ", " << Printable(column);
    }
    if (finding.rows) {
      stream_ << ", " << Counted(*finding.rows, "row");
    }
    stream_ << " [" << finding.kind->id << (finding.accepted ? "], accepted\n" : "]\n");
    Wrapped(4, finding.text);
    Rows(finding);
    if (finding.query) {
      Show(*finding.query);
    }
  }

  /// On one line if they are no more than keys and fit on it. They are never broken: a blank may be part of a key.
  void Rows(const Finding& finding) {
    if (finding.keys.empty()) {
      return;
    }
    const std::string line =
        "First rows: " + Joined(finding.keys, "; ", [](const std::string& key) { return Printable(key); });
    if (finding.arrives.empty() && 4 + line.size() <= kWidth) {
      Line(4, line);
      return;
    }
    Line(4, "First rows:");
    for (std::size_t i = 0; i < finding.keys.size(); ++i) {
      const bool known = i < finding.arrives.size() && !finding.arrives[i].empty();
      Line(6, Printable(finding.keys[i]) + (known ? ": " + Printable(finding.arrives[i]) : ""));
    }
  }

  void Show(const Query& query) {
    Line(4, query.side == Side::Source ? "SQL on the source:" : "SQL on the destination:");
    std::string_view text = query.text;
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    for (std::size_t begin = 0; begin <= text.size();) {
      const std::size_t end = std::min(text.find('\n', begin), text.size());
      for (std::string_view rest = text.substr(begin, end - begin);;) {
        const std::size_t length = SqlThatFits(rest, kWidth - 6);
        Line(6, Printable(rest.substr(0, length), "\t"));
        if (length == rest.size()) {
          break;
        }
        rest.remove_prefix(length + 1);
      }
      begin = end + 1;
    }
  }

  std::ostream& stream_;
  Colour colour_;
};

}  // namespace

void PrintReport(std::ostream& stream, const Report& report, Colour colour) {
  Printer(stream, colour).Print(report);
}

}  // namespace check
