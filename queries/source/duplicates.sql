-- Rows with the same key. The run ends with state 23505 if the destination has a unique key there. Of two groups or
-- group orders with one identifier the first gets all references; two pools count as two positions. The identifiers of
-- Orders, OrdersInPool, ImportLog and RatingScales are not listed: the destination assigns new ones.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' duplicates.sql

SELECT 'SystemData' AS [table], [KeyName] FROM [dbo].[SystemData] GROUP BY [KeyName] HAVING count(*) > 1;
SELECT 'GroupDesc' AS [table], [GroupID] FROM [dbo].[GroupDesc] GROUP BY [GroupID] HAVING count(*) > 1;
SELECT 'Clients' AS [table], [GroupID], [ClientCode] FROM [dbo].[Clients]
GROUP BY [GroupID], [ClientCode] HAVING count(*) > 1;
SELECT 'GroupOrders' AS [table], [ID] FROM [dbo].[GroupOrders] GROUP BY [ID] HAVING count(*) > 1;
SELECT 'SecGroups' AS [table], [ID] FROM [dbo].[SecGroups] GROUP BY [ID] HAVING count(*) > 1;
SELECT 'SecGrMemb' AS [table], [GroupID], [MembType], [MembCode], [MembClass], [MembID] FROM [dbo].[SecGrMemb]
GROUP BY [GroupID], [MembType], [MembCode], [MembClass], [MembID] HAVING count(*) > 1;
SELECT 'SecMinQt' AS [table], [ClassCode], [SecCode] FROM [dbo].[SecMinQt]
GROUP BY [ClassCode], [SecCode] HAVING count(*) > 1;
SELECT 'LoadedPositions' AS [table], [PosID] FROM [dbo].[LoadedPositions] GROUP BY [PosID] HAVING count(*) > 1;
SELECT 'RatingAgencies' AS [table], [AgencyID] FROM [dbo].[RatingAgencies] GROUP BY [AgencyID] HAVING count(*) > 1;
SELECT 'LoadedSecurities' AS [table], [SecID] FROM [dbo].[LoadedSecurities] GROUP BY [SecID] HAVING count(*) > 1;
SELECT 'LoadedSecuritiesClientPrices' AS [table], [ClientID], [SecID] FROM [dbo].[LoadedSecuritiesClientPrices]
GROUP BY [ClientID], [SecID] HAVING count(*) > 1;
SELECT 'Restrictions' AS [table], [ID] FROM [dbo].[Restrictions] GROUP BY [ID] HAVING count(*) > 1;
SELECT 'PoolOrders' AS [table], [PoolID] FROM [dbo].[PoolOrders] GROUP BY [PoolID] HAVING count(*) > 1;
SELECT 'GroupStopOrders' AS [table], [ID] FROM [dbo].[GroupStopOrders] GROUP BY [ID] HAVING count(*) > 1;
SELECT 'StopOrders' AS [table], [OrderID] FROM [dbo].[StopOrders] GROUP BY [OrderID] HAVING count(*) > 1;
SELECT 'GroupNegOrders' AS [table], [ID] FROM [dbo].[GroupNegOrders] GROUP BY [ID] HAVING count(*) > 1;
SELECT 'NegOrders' AS [table], [OrderId] FROM [dbo].[NegOrders] GROUP BY [OrderId] HAVING count(*) > 1;
SELECT 'ExportOrder' AS [table], [ID] FROM [dbo].[ExportOrder] GROUP BY [ID] HAVING count(*) > 1;
go
