#include "db/tables/clients.h"

#include <array>
#include <string_view>

#include "db/identifier_maps.h"

namespace db {

namespace {

Logger logger;  // Never opened: the truncate notice goes nowhere.

struct Clients {
  using Row = DBRowClients;

  static constexpr std::string_view name = "Clients";

  static constexpr std::array columns = {
      VarChar<&Row::ClientCode>, Int32<&Row::GroupID>, Int32<&Row::Num>, Double<&Row::Weight>, VarChar<&Row::Comment>,
  };
  static constexpr std::string_view select =
      "SELECT [ClientCode], [GroupID], [Num], [Weight], [Comment] FROM {schema}[Clients];";

  static constexpr std::array parameters = AllInput(columns);
  static constexpr std::string_view write =
      R"(INSERT INTO {schema}"Clients"("ClientCode", "GroupID", "Num", "Weight", "Comment") VALUES (? ,? ,? ,? ,?);)";

  static constexpr Truncation truncation = Truncation::Restrict;
};

}  // namespace

std::span<const Column<DBRowClients>> ColumnsOf(const DBRowClients& /*row*/) {
  return Clients::columns;
}

TableDescription DBTableClientsSrc::Description() {
  return Describe<Clients>();
}

DBTableClientsSrc::DBTableClientsSrc(const odbc::DBConnection& source) : DBTableSrc(source, Clients{}) {}

DBTableClientsDst::DBTableClientsDst(const odbc::DBConnection& destination)
    : DBTableDst(destination, Clients{}, logger) {}

bool DBTableClientsDst::Write(const DBRowClients& row) {
  DBRowClients mapped = row;
  mapped.GroupID = LookUp(GroupIdMap, row.GroupID);
  return DBTableDst::Write(mapped);
}

}  // namespace db
