#ifndef BW_DB_TABLE_PAIR_H
#define BW_DB_TABLE_PAIR_H

#include "odbc/connection.h"

namespace db {

/// One table's source and destination, the unit that is migrated. The source is built first and destroyed last;
/// building the destination empties its table. The bindings point into the objects, so a pair is neither copied nor
/// moved.
template <class Source, class Destination>
struct TablePair {
  using RowType = typename Source::RowType;

  /// \throws std::runtime_error as the two constructors do.
  TablePair(const odbc::DBConnection& sourceConnection, const odbc::DBConnection& destinationConnection)
      : source(sourceConnection), destination(destinationConnection) {}

  ~TablePair() = default;
  TablePair(const TablePair&) = delete;
  TablePair(TablePair&&) = delete;
  TablePair& operator=(const TablePair&) = delete;
  TablePair& operator=(TablePair&&) = delete;

  Source source;
  Destination destination;
};

}  // namespace db

#endif  // BW_DB_TABLE_PAIR_H
