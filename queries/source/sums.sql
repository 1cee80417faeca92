-- Sums of the columns that arrive unchanged. Below 1e13 they are the same on both sides after a complete run; from
-- there on the cents are rounded differently. Values of 1e12 and more are left out on both sides, among them the 1e50 that
-- replaces a NULL: one of them would hide all others.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' sums.sql

SELECT 'GroupDesc.DefWeight', CAST(SUM([DefWeight]) AS decimal(38, 2)) FROM [dbo].[GroupDesc]
  WHERE ABS([DefWeight]) < 1e12
UNION ALL SELECT 'Clients.Weight', CAST(SUM([Weight]) AS decimal(38, 2)) FROM [dbo].[Clients]
  WHERE ABS([Weight]) < 1e12
UNION ALL SELECT 'GroupOrders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[GroupOrders]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'GroupOrders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[GroupOrders] WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'GroupOrders.BalanceQty', CAST(SUM([BalanceQty]) AS decimal(38, 2)) FROM [dbo].[GroupOrders]
  WHERE ABS([BalanceQty]) < 1e12
UNION ALL SELECT 'Orders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[Orders] WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'Orders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[Orders] WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'Orders.BalanceQty', CAST(SUM([BalanceQty]) AS decimal(38, 2)) FROM [dbo].[Orders]
  WHERE ABS([BalanceQty]) < 1e12
UNION ALL SELECT 'SecGrMemb.MembID', CAST(SUM(CAST([MembID] AS bigint)) AS decimal(38, 2)) FROM [dbo].[SecGrMemb]
UNION ALL SELECT 'SecMinQt.MinQty', CAST(SUM(CAST([MinQty] AS bigint)) AS decimal(38, 2)) FROM [dbo].[SecMinQt]
UNION ALL SELECT 'ImportLog.BWCounter', CAST(SUM(CAST([BWCounter] AS bigint)) AS decimal(38, 2)) FROM [dbo].[ImportLog]
UNION ALL SELECT 'LoadedPositions.OpenBalance', CAST(SUM([OpenBalance]) AS decimal(38, 2)) FROM [dbo].[LoadedPositions]
  WHERE ABS([OpenBalance]) < 1e12
UNION ALL SELECT 'RatingScales.Position', CAST(SUM(CAST([Position] AS bigint)) AS decimal(38, 2))
  FROM [dbo].[RatingScales]
UNION ALL SELECT 'LoadedSecurities.FaceValue', CAST(SUM([FaceValue]) AS decimal(38, 2)) FROM [dbo].[LoadedSecurities]
  WHERE ABS([FaceValue]) < 1e12
UNION ALL SELECT 'LoadedSecurities.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[LoadedSecurities]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'LoadedSecuritiesClientPrices.Price', CAST(SUM([Price]) AS decimal(38, 2))
  FROM [dbo].[LoadedSecuritiesClientPrices]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'Restrictions.Limit', CAST(SUM([Limit]) AS decimal(38, 2)) FROM [dbo].[Restrictions]
  WHERE ABS([Limit]) < 1e12
UNION ALL SELECT 'Restrictions.Value', CAST(SUM([Value]) AS decimal(38, 2)) FROM [dbo].[Restrictions]
  WHERE ABS([Value]) < 1e12
UNION ALL SELECT 'PoolOrders.TotalQty', CAST(SUM([TotalQty]) AS decimal(38, 2)) FROM [dbo].[PoolOrders]
  WHERE ABS([TotalQty]) < 1e12
UNION ALL SELECT 'PoolOrders.ActiveQty', CAST(SUM([ActiveQty]) AS decimal(38, 2)) FROM [dbo].[PoolOrders]
  WHERE ABS([ActiveQty]) < 1e12
UNION ALL SELECT 'OrdersInPool.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[OrdersInPool]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'OrdersInPool.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[OrdersInPool]
  WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'GroupStopOrders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[GroupStopOrders]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'GroupStopOrders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[GroupStopOrders]
  WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'GroupStopOrders.BalanceQty', CAST(SUM([BalanceQty]) AS decimal(38, 2)) FROM [dbo].[GroupStopOrders]
  WHERE ABS([BalanceQty]) < 1e12
UNION ALL SELECT 'StopOrders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[StopOrders]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'StopOrders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[StopOrders] WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'StopOrders.Balance', CAST(SUM([Balance]) AS decimal(38, 2)) FROM [dbo].[StopOrders]
  WHERE ABS([Balance]) < 1e12
UNION ALL SELECT 'GroupNegOrders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[GroupNegOrders]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'GroupNegOrders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[GroupNegOrders]
  WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'NegOrders.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[NegOrders]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'NegOrders.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[NegOrders] WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'ExportOrder.Price', CAST(SUM([Price]) AS decimal(38, 2)) FROM [dbo].[ExportOrder]
  WHERE ABS([Price]) < 1e12
UNION ALL SELECT 'ExportOrder.Qty', CAST(SUM([Qty]) AS decimal(38, 2)) FROM [dbo].[ExportOrder] WHERE ABS([Qty]) < 1e12
UNION ALL SELECT 'ExportOrder.Balance', CAST(SUM([Balance]) AS decimal(38, 2)) FROM [dbo].[ExportOrder]
  WHERE ABS([Balance]) < 1e12;
go
