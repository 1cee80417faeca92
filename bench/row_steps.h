#ifndef BW_BENCH_ROW_STEPS_H
#define BW_BENCH_ROW_STEPS_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "bench/typical_values.h"
#include "db/identifier_maps.h"
#include "db/migrate_table.h"
#include "db/text_stream.h"
#include "logging/logger.h"
#include "odbc/connection.h"

namespace bench {

/// What the migration does for every row, in its order.
enum class Step { Fetch, Text, Log, Write };

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
        return log_.Log(text_.text());
      case Step::Write:
        return Keep(pair_.destination.Write(*row_));
    }
  }

 private:
  /// Makes the compiler produce the value.
  template <class Value>
  static void Keep(const Value& value) {
    asm volatile("" : : "g"(&value) : "memory");
  }

  void Text() { db::DescribeRow(text_, rowNumber_, *row_); }

  odbc::DBConnection connection_{"", "", "", "public."};
  Pair pair_;
  std::optional<typename Pair::RowType> row_;
  std::uint64_t rowNumber_ = 123456;
  db::TextStream text_;
  Logger log_;
};

}  // namespace bench

#endif  // BW_BENCH_ROW_STEPS_H
