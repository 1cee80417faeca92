#ifndef BW_DB_TABLES_LOADED_SECURITIES_CLIENT_PRICES_H
#define BW_DB_TABLES_LOADED_SECURITIES_CLIENT_PRICES_H

#include <cstdint>
#include <span>

#include "db/table_description.h"
#include "db/table_destination.h"
#include "db/table_source.h"

namespace db {

/// A client's price of a loaded security.
struct DBRowLoadedSecuritiesClientPrices {
  std::int32_t ClientID;
  std::int32_t SecID;
  char Code[13];
  std::int32_t CodeType;
  double Price;
};

std::span<const Column<DBRowLoadedSecuritiesClientPrices>> ColumnsOf(const DBRowLoadedSecuritiesClientPrices& row);

class DBTableLoadedSecuritiesClientPricesSrc final : public DBTableSrc<DBRowLoadedSecuritiesClientPrices> {
 public:
  static TableDescription Description();

  explicit DBTableLoadedSecuritiesClientPricesSrc(const odbc::DBConnection& source);
};

class DBTableLoadedSecuritiesClientPricesDst final : public DBTableDst<DBRowLoadedSecuritiesClientPrices> {
 public:
  explicit DBTableLoadedSecuritiesClientPricesDst(const odbc::DBConnection& destination);
};

}  // namespace db

#endif  // BW_DB_TABLES_LOADED_SECURITIES_CLIENT_PRICES_H
