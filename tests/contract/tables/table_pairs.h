#ifndef BW_TESTS_CONTRACT_TABLES_TABLE_PAIRS_H
#define BW_TESTS_CONTRACT_TABLES_TABLE_PAIRS_H

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "logging/logger.h"
#include "odbc/connection.h"

namespace contract {

/// A table's source and destination, whichever table it is.
class AnyTablePair {
 public:
  AnyTablePair() = default;
  AnyTablePair(const AnyTablePair&) = delete;
  AnyTablePair(AnyTablePair&&) = delete;
  AnyTablePair& operator=(const AnyTablePair&) = delete;
  AnyTablePair& operator=(AnyTablePair&&) = delete;
  virtual ~AnyTablePair() = default;

  virtual const void* sourceRow() const = 0;
  virtual const void* destinationRow() const = 0;
  virtual void Migrate(Logger& log, std::ostream& console) = 0;
  virtual void ReadRow() = 0;
  virtual void OpenDestination() = 0;
  /// Writes a row of zeros.
  virtual void WriteZeros() = 0;
};

std::unique_ptr<AnyTablePair> MakeTablePair(const std::string& table, const odbc::DBConnection& source,
                                            const odbc::DBConnection& destination);

/// In the order of their migration.
std::vector<std::string> TableNames();

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_TABLES_TABLE_PAIRS_H
