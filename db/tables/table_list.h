#ifndef BW_DB_TABLES_TABLE_LIST_H
#define BW_DB_TABLES_TABLE_LIST_H

#include "db/table_pair.h"
#include "db/tables/clients.h"
#include "db/tables/export_order.h"
#include "db/tables/group_desc.h"
#include "db/tables/group_neg_orders.h"
#include "db/tables/group_orders.h"
#include "db/tables/group_stop_orders.h"
#include "db/tables/import_log.h"
#include "db/tables/loaded_positions.h"
#include "db/tables/loaded_securities.h"
#include "db/tables/loaded_securities_client_prices.h"
#include "db/tables/neg_orders.h"
#include "db/tables/orders.h"
#include "db/tables/orders_in_pool.h"
#include "db/tables/pool_orders.h"
#include "db/tables/rating_agencies.h"
#include "db/tables/rating_scales.h"
#include "db/tables/restrictions.h"
#include "db/tables/sec_gr_memb.h"
#include "db/tables/sec_groups.h"
#include "db/tables/sec_min_qt.h"
#include "db/tables/stop_orders.h"
#include "db/tables/system_data.h"

namespace db {

template <class... Pairs>
struct TableList {};

/// The tables in their order. A table whose new identifiers others refer to comes before them. One to a line.
// clang-format off
using Tables = TableList<
    TablePair<DBTableSystemDataSrc, DBTableSystemDataDst>,
    TablePair<DBTableGroupDescSrc, DBTableGroupDescDst>,
    TablePair<DBTableClientsSrc, DBTableClientsDst>,
    TablePair<DBTableGroupOrdersSrc, DBTableGroupOrdersDst>,
    TablePair<DBTableOrdersSrc, DBTableOrdersDst>,
    TablePair<DBTableSecGroupsSrc, DBTableSecGroupsDst>,
    TablePair<DBTableSecGrMembSrc, DBTableSecGrMembDst>,
    TablePair<DBTableSecMinQtSrc, DBTableSecMinQtDst>,
    TablePair<DBTableImportLogSrc, DBTableImportLogDst>,
    TablePair<DBTableLoadedPositionsSrc, DBTableLoadedPositionsDst>,
    TablePair<DBTableRatingAgenciesSrc, DBTableRatingAgenciesDst>,
    TablePair<DBTableRatingScalesSrc, DBTableRatingScalesDst>,
    TablePair<DBTableLoadedSecuritiesSrc, DBTableLoadedSecuritiesDst>,
    TablePair<DBTableLoadedSecuritiesClientPricesSrc, DBTableLoadedSecuritiesClientPricesDst>,
    TablePair<DBTableRestrictionsSrc, DBTableRestrictionsDst>,
    TablePair<DBTablePoolOrdersSrc, DBTablePoolOrdersDst>,
    TablePair<DBTableOrdersInPoolSrc, DBTableOrdersInPoolDst>,
    TablePair<DBTableGroupStopOrdersSrc, DBTableGroupStopOrdersDst>,
    TablePair<DBTableStopOrdersSrc, DBTableStopOrdersDst>,
    TablePair<DBTableGroupNegOrdersSrc, DBTableGroupNegOrdersDst>,
    TablePair<DBTableNegOrdersSrc, DBTableNegOrdersDst>,
    TablePair<DBTableExportOrderSrc, DBTableExportOrderDst>>;
// clang-format on

}  // namespace db

#endif  // BW_DB_TABLES_TABLE_LIST_H
