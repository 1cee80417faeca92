-- The number of rows of each table.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT 'SystemData', count(*) FROM "SystemData"
UNION ALL SELECT 'GroupDesc', count(*) FROM "GroupDesc"
UNION ALL SELECT 'Clients', count(*) FROM "Clients"
UNION ALL SELECT 'GroupOrders', count(*) FROM "GroupOrders"
UNION ALL SELECT 'Orders', count(*) FROM "Orders"
UNION ALL SELECT 'SecGroups', count(*) FROM "SecGroups"
UNION ALL SELECT 'SecGrMemb', count(*) FROM "SecGrMemb"
UNION ALL SELECT 'SecMinQt', count(*) FROM "SecMinQt"
UNION ALL SELECT 'ImportLog', count(*) FROM "ImportLog"
UNION ALL SELECT 'LoadedPositions', count(*) FROM "LoadedPositions"
UNION ALL SELECT 'RatingAgencies', count(*) FROM "RatingAgencies"
UNION ALL SELECT 'RatingScales', count(*) FROM "RatingScales"
UNION ALL SELECT 'LoadedSecurities', count(*) FROM "LoadedSecurities"
UNION ALL SELECT 'LoadedSecuritiesClientPrices', count(*) FROM "LoadedSecuritiesClientPrices"
UNION ALL SELECT 'Restrictions', count(*) FROM "Restrictions"
UNION ALL SELECT 'PoolOrders', count(*) FROM "PoolOrders"
UNION ALL SELECT 'OrdersInPool', count(*) FROM "OrdersInPool"
UNION ALL SELECT 'GroupStopOrders', count(*) FROM "GroupStopOrders"
UNION ALL SELECT 'StopOrders', count(*) FROM "StopOrders"
UNION ALL SELECT 'GroupNegOrders', count(*) FROM "GroupNegOrders"
UNION ALL SELECT 'NegOrders', count(*) FROM "NegOrders"
UNION ALL SELECT 'ExportOrder', count(*) FROM "ExportOrder";
