-- The number of rows of each table.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' counts.sql

SELECT 'SystemData', count(*) FROM [dbo].[SystemData]
UNION ALL SELECT 'GroupDesc', count(*) FROM [dbo].[GroupDesc]
UNION ALL SELECT 'Clients', count(*) FROM [dbo].[Clients]
UNION ALL SELECT 'GroupOrders', count(*) FROM [dbo].[GroupOrders]
UNION ALL SELECT 'Orders', count(*) FROM [dbo].[Orders]
UNION ALL SELECT 'SecGroups', count(*) FROM [dbo].[SecGroups]
UNION ALL SELECT 'SecGrMemb', count(*) FROM [dbo].[SecGrMemb]
UNION ALL SELECT 'SecMinQt', count(*) FROM [dbo].[SecMinQt]
UNION ALL SELECT 'ImportLog', count(*) FROM [dbo].[ImportLog]
UNION ALL SELECT 'LoadedPositions', count(*) FROM [dbo].[LoadedPositions]
UNION ALL SELECT 'RatingAgencies', count(*) FROM [dbo].[RatingAgencies]
UNION ALL SELECT 'RatingScales', count(*) FROM [dbo].[RatingScales]
UNION ALL SELECT 'LoadedSecurities', count(*) FROM [dbo].[LoadedSecurities]
UNION ALL SELECT 'LoadedSecuritiesClientPrices', count(*) FROM [dbo].[LoadedSecuritiesClientPrices]
UNION ALL SELECT 'Restrictions', count(*) FROM [dbo].[Restrictions]
UNION ALL SELECT 'PoolOrders', count(*) FROM [dbo].[PoolOrders]
UNION ALL SELECT 'OrdersInPool', count(*) FROM [dbo].[OrdersInPool]
UNION ALL SELECT 'GroupStopOrders', count(*) FROM [dbo].[GroupStopOrders]
UNION ALL SELECT 'StopOrders', count(*) FROM [dbo].[StopOrders]
UNION ALL SELECT 'GroupNegOrders', count(*) FROM [dbo].[GroupNegOrders]
UNION ALL SELECT 'NegOrders', count(*) FROM [dbo].[NegOrders]
UNION ALL SELECT 'ExportOrder', count(*) FROM [dbo].[ExportOrder];
go
