-- References to groups, group orders and pools that do not exist. Each row ends the run at its table, with
-- "invalid map<K, T> key" in the log. A NULL that ends GroupDesc, GroupOrders or PoolOrders early makes more of them.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' missing-references.sql

SELECT 'Clients' AS [table], c.[GroupID], c.[ClientCode] FROM [dbo].[Clients] c
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[GroupDesc] g WHERE g.[GroupID] = c.[GroupID]);

SELECT 'GroupOrders' AS [table], o.[ID], o.[GroupID] FROM [dbo].[GroupOrders] o
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[GroupDesc] g WHERE g.[GroupID] = o.[GroupID]);

SELECT 'Orders' AS [table], s.[OrderID], s.[GroupOrderID] FROM [dbo].[Orders] s
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[GroupOrders] o WHERE o.[ID] = s.[GroupOrderID]);

SELECT 'GroupNegOrders' AS [table], n.[ID], n.[GroupID] FROM [dbo].[GroupNegOrders] n
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[GroupDesc] g WHERE g.[GroupID] = n.[GroupID]);

SELECT 'OrdersInPool' AS [table], [OrderID], [PoolID] FROM [dbo].[OrdersInPool]
WHERE [PoolID] < 1 OR [PoolID] > (SELECT count(*) FROM [dbo].[PoolOrders]);
go
