-- Sums of the columns that arrive unchanged, the same as sums.sql of the source; see there for their limits.

-- The schema of the migration, set here only.
SET search_path TO public;

SELECT 'GroupDesc.DefWeight', round(sum("DefWeight")::numeric, 2) FROM "GroupDesc" WHERE abs("DefWeight") < 1e12
UNION ALL SELECT 'Clients.Weight', round(sum("Weight")::numeric, 2) FROM "Clients" WHERE abs("Weight") < 1e12
UNION ALL SELECT 'GroupOrders.Price', round(sum("Price")::numeric, 2) FROM "GroupOrders" WHERE abs("Price") < 1e12
UNION ALL SELECT 'GroupOrders.Qty', round(sum("Qty")::numeric, 2) FROM "GroupOrders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'GroupOrders.BalanceQty', round(sum("BalanceQty")::numeric, 2) FROM "GroupOrders"
  WHERE abs("BalanceQty") < 1e12
UNION ALL SELECT 'Orders.Price', round(sum("Price")::numeric, 2) FROM "Orders" WHERE abs("Price") < 1e12
UNION ALL SELECT 'Orders.Qty', round(sum("Qty")::numeric, 2) FROM "Orders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'Orders.BalanceQty', round(sum("BalanceQty")::numeric, 2) FROM "Orders" WHERE abs("BalanceQty") < 1e12
UNION ALL SELECT 'SecGrMemb.MembID', round(sum("MembID")::numeric, 2) FROM "SecGrMemb"
UNION ALL SELECT 'SecMinQt.MinQty', round(sum("MinQty")::numeric, 2) FROM "SecMinQt"
UNION ALL SELECT 'ImportLog.BWCounter', round(sum("BWCounter")::numeric, 2) FROM "ImportLog"
UNION ALL SELECT 'LoadedPositions.OpenBalance', round(sum("OpenBalance")::numeric, 2) FROM "LoadedPositions"
  WHERE abs("OpenBalance") < 1e12
UNION ALL SELECT 'RatingScales.Position', round(sum("Position")::numeric, 2) FROM "RatingScales"
UNION ALL SELECT 'LoadedSecurities.FaceValue', round(sum("FaceValue")::numeric, 2) FROM "LoadedSecurities"
  WHERE abs("FaceValue") < 1e12
UNION ALL SELECT 'LoadedSecurities.Price', round(sum("Price")::numeric, 2) FROM "LoadedSecurities"
  WHERE abs("Price") < 1e12
UNION ALL SELECT 'LoadedSecuritiesClientPrices.Price', round(sum("Price")::numeric, 2)
  FROM "LoadedSecuritiesClientPrices"
  WHERE abs("Price") < 1e12
UNION ALL SELECT 'Restrictions.Limit', round(sum("Limit")::numeric, 2) FROM "Restrictions" WHERE abs("Limit") < 1e12
UNION ALL SELECT 'Restrictions.Value', round(sum("Value")::numeric, 2) FROM "Restrictions" WHERE abs("Value") < 1e12
UNION ALL SELECT 'PoolOrders.TotalQty', round(sum("TotalQty")::numeric, 2) FROM "PoolOrders"
  WHERE abs("TotalQty") < 1e12
UNION ALL SELECT 'PoolOrders.ActiveQty', round(sum("ActiveQty")::numeric, 2) FROM "PoolOrders"
  WHERE abs("ActiveQty") < 1e12
UNION ALL SELECT 'OrdersInPool.Price', round(sum("Price")::numeric, 2) FROM "OrdersInPool" WHERE abs("Price") < 1e12
UNION ALL SELECT 'OrdersInPool.Qty', round(sum("Qty")::numeric, 2) FROM "OrdersInPool" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'GroupStopOrders.Price', round(sum("Price")::numeric, 2) FROM "GroupStopOrders"
  WHERE abs("Price") < 1e12
UNION ALL SELECT 'GroupStopOrders.Qty', round(sum("Qty")::numeric, 2) FROM "GroupStopOrders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'GroupStopOrders.BalanceQty', round(sum("BalanceQty")::numeric, 2) FROM "GroupStopOrders"
  WHERE abs("BalanceQty") < 1e12
UNION ALL SELECT 'StopOrders.Price', round(sum("Price")::numeric, 2) FROM "StopOrders" WHERE abs("Price") < 1e12
UNION ALL SELECT 'StopOrders.Qty', round(sum("Qty")::numeric, 2) FROM "StopOrders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'StopOrders.Balance', round(sum("Balance")::numeric, 2) FROM "StopOrders" WHERE abs("Balance") < 1e12
UNION ALL SELECT 'GroupNegOrders.Price', round(sum("Price")::numeric, 2) FROM "GroupNegOrders"
  WHERE abs("Price") < 1e12
UNION ALL SELECT 'GroupNegOrders.Qty', round(sum("Qty")::numeric, 2) FROM "GroupNegOrders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'NegOrders.Price', round(sum("Price")::numeric, 2) FROM "NegOrders" WHERE abs("Price") < 1e12
UNION ALL SELECT 'NegOrders.Qty', round(sum("Qty")::numeric, 2) FROM "NegOrders" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'ExportOrder.Price', round(sum("Price")::numeric, 2) FROM "ExportOrder" WHERE abs("Price") < 1e12
UNION ALL SELECT 'ExportOrder.Qty', round(sum("Qty")::numeric, 2) FROM "ExportOrder" WHERE abs("Qty") < 1e12
UNION ALL SELECT 'ExportOrder.Balance', round(sum("Balance")::numeric, 2) FROM "ExportOrder"
  WHERE abs("Balance") < 1e12;
