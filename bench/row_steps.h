#ifndef BW_BENCH_ROW_STEPS_H
#define BW_BENCH_ROW_STEPS_H

#include <array>
#include <cstdint>
#include <ctime>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "bench/typical_values.h"
#include "db/identifier_maps.h"
#include "db/migrate_table.h"
#include "logging/logger.h"
#include "odbc/connection.h"

namespace bench {

/// What the migration does for every row, in its order; then its text and log by plain stream insertion, to compare.
enum class Step { Fetch, Text, Log, Write, StreamText, StreamLog };

constexpr std::string_view StepName(Step step) {
  switch (step) {
    case Step::Fetch:
      return "fetch";
    case Step::Text:
      return "text";
    case Step::Log:
      return "log";
    case Step::Write:
      return "write";
    case Step::StreamText:
      return "stream text";
    case Step::StreamLog:
      return "stream log";
  }
  return "";
}

/// Forgets all identifiers but the typical one, so that every look-up succeeds and takes as long as in a small map.
inline void ResetIdentifiers() {
  for (db::IdentifierMap* map : {&db::GroupIdMap, &db::GroupOrderIdMap, &db::PoolIdMap}) {
    map->clear();
    db::Record(*map, kTypicalInteger, 1);
  }
  db::nextPoolId = 1;
}

/// One table's steps, each by itself and as often as wanted, on ODBC functions that do nothing. The identifiers must be
/// reset beforehand.
template <class Pair>
class RowSteps {
 public:
  RowSteps() : pair_(connection_, connection_) {
    log_.Open("/dev/null");
    pair_.source.Open();
    pair_.destination.Open();
    row_ = pair_.source.Next();
    Text();
  }

  const std::string& tableName() const { return pair_.source.tableName(); }

  void Do(Step step) {
    switch (step) {
      case Step::Fetch:
        return Keep(pair_.source.Next());
      case Step::Text:
        return Text();
      case Step::Log:
        return log_.Log(text_);
      case Step::Write:
        return Keep(pair_.destination.Write(*row_));
      case Step::StreamText:
        return StreamText();
      case Step::StreamLog:
        return StreamLog();
    }
  }

 private:
  /// Makes the compiler produce the value.
  template <class Value>
  static void Keep(const Value& value) {
    asm volatile("" : : "g"(&value) : "memory");
  }

  void Text() { db::DescribeRow(text_, rowNumber_, *row_); }

  void StreamText() {
    std::ostringstream stream;
    stream << "insert row(" << rowNumber_ << "): " << *row_ << std::endl;
    streamText_ = stream.str();
  }

  void StreamLog() {
    const std::time_t now = std::time(nullptr);
    std::array<char, 80> timeStamp;
    std::strftime(timeStamp.data(), timeStamp.size(), "%Y-%m-%d %X", std::localtime(&now));
    streamLog_ << timeStamp.data() << " :: " << streamText_;
  }

  odbc::DBConnection connection_{"", "", "", "public."};
  Pair pair_;
  std::optional<typename Pair::RowType> row_;
  std::uint64_t rowNumber_ = 123456;
  std::string text_;
  Logger log_;
  std::string streamText_;
  std::ofstream streamLog_{"/dev/null"};
};

}  // namespace bench

#endif  // BW_BENCH_ROW_STEPS_H
