#ifndef BW_APP_TABLES_H
#define BW_APP_TABLES_H

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

namespace app {

template <class... Pairs>
struct TableList {};

/// The tables in their order. A table whose new identifiers others refer to comes before them.
using Tables =
    TableList<db::TablePair<db::DBTableSystemDataSrc, db::DBTableSystemDataDst>,
              db::TablePair<db::DBTableGroupDescSrc, db::DBTableGroupDescDst>,
              db::TablePair<db::DBTableClientsSrc, db::DBTableClientsDst>,
              db::TablePair<db::DBTableGroupOrdersSrc, db::DBTableGroupOrdersDst>,
              db::TablePair<db::DBTableOrdersSrc, db::DBTableOrdersDst>,
              db::TablePair<db::DBTableSecGroupsSrc, db::DBTableSecGroupsDst>,
              db::TablePair<db::DBTableSecGrMembSrc, db::DBTableSecGrMembDst>,
              db::TablePair<db::DBTableSecMinQtSrc, db::DBTableSecMinQtDst>,
              db::TablePair<db::DBTableImportLogSrc, db::DBTableImportLogDst>,
              db::TablePair<db::DBTableLoadedPositionsSrc, db::DBTableLoadedPositionsDst>,
              db::TablePair<db::DBTableRatingAgenciesSrc, db::DBTableRatingAgenciesDst>,
              db::TablePair<db::DBTableRatingScalesSrc, db::DBTableRatingScalesDst>,
              db::TablePair<db::DBTableLoadedSecuritiesSrc, db::DBTableLoadedSecuritiesDst>,
              db::TablePair<db::DBTableLoadedSecuritiesClientPricesSrc, db::DBTableLoadedSecuritiesClientPricesDst>,
              db::TablePair<db::DBTableRestrictionsSrc, db::DBTableRestrictionsDst>,
              db::TablePair<db::DBTablePoolOrdersSrc, db::DBTablePoolOrdersDst>,
              db::TablePair<db::DBTableOrdersInPoolSrc, db::DBTableOrdersInPoolDst>,
              db::TablePair<db::DBTableGroupStopOrdersSrc, db::DBTableGroupStopOrdersDst>,
              db::TablePair<db::DBTableStopOrdersSrc, db::DBTableStopOrdersDst>,
              db::TablePair<db::DBTableGroupNegOrdersSrc, db::DBTableGroupNegOrdersDst>,
              db::TablePair<db::DBTableNegOrdersSrc, db::DBTableNegOrdersDst>,
              db::TablePair<db::DBTableExportOrderSrc, db::DBTableExportOrderDst>>;

}  // namespace app

#endif  // BW_APP_TABLES_H
