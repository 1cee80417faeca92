#include "contract/tables/table_pairs.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "db/migrate_table.h"
#include "db/tables/table_list.h"

namespace contract {

namespace {

template <class Pair>
class TypedPair final : public AnyTablePair {
 public:
  TypedPair(const odbc::DBConnection& source, const odbc::DBConnection& destination) : pair_(source, destination) {}

  const void* sourceRow() const override { return &pair_.source.row(); }
  const void* destinationRow() const override { return &pair_.destination.row(); }
  void Migrate(Logger& log, std::ostream& console) override { db::MigrateTable(pair_, log, console); }
  void ReadRow() override { static_cast<void>(pair_.source.Next()); }
  void OpenDestination() override { pair_.destination.Open(); }
  void WriteZeros() override { pair_.destination.Write(typename Pair::RowType{}); }

 private:
  Pair pair_;
};

using Maker = std::unique_ptr<AnyTablePair> (*)(const odbc::DBConnection&, const odbc::DBConnection&);

struct Table {
  const char* name;
  Maker make;
};

template <class Source, class Destination>
Table MakerOf(const char* name) {
  return {.name = name, .make = [](const auto& source, const auto& destination) -> std::unique_ptr<AnyTablePair> {
            return std::make_unique<TypedPair<db::TablePair<Source, Destination>>>(source, destination);
          }};
}

#define BW_TABLE(X) MakerOf<db::DBTable##X##Src, db::DBTable##X##Dst>(#X)

const std::array kTables = {
    BW_TABLE(SystemData),       BW_TABLE(GroupDesc),
    BW_TABLE(Clients),          BW_TABLE(GroupOrders),
    BW_TABLE(Orders),           BW_TABLE(SecGroups),
    BW_TABLE(SecGrMemb),        BW_TABLE(SecMinQt),
    BW_TABLE(ImportLog),        BW_TABLE(LoadedPositions),
    BW_TABLE(RatingAgencies),   BW_TABLE(RatingScales),
    BW_TABLE(LoadedSecurities), BW_TABLE(LoadedSecuritiesClientPrices),
    BW_TABLE(Restrictions),     BW_TABLE(PoolOrders),
    BW_TABLE(OrdersInPool),     BW_TABLE(GroupStopOrders),
    BW_TABLE(StopOrders),       BW_TABLE(GroupNegOrders),
    BW_TABLE(NegOrders),        BW_TABLE(ExportOrder),
};

}  // namespace

std::unique_ptr<AnyTablePair> MakeTablePair(const std::string& table, const odbc::DBConnection& source,
                                            const odbc::DBConnection& destination) {
  return std::find_if(kTables.begin(), kTables.end(), [&](const Table& entry) { return entry.name == table; })
      ->make(source, destination);
}

std::vector<std::string> TableNames() {
  std::vector<std::string> names;
  std::transform(kTables.begin(), kTables.end(), std::back_inserter(names),
                 [](const Table& entry) { return entry.name; });
  return names;
}

}  // namespace contract
