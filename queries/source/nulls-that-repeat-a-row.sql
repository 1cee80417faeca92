-- NULLs in GroupNegOrders, NegOrders and ExportOrder that bw_db_migrate does not replace. With FreeTDS the row arrives
-- with the value of the previous row in that column.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' nulls-that-repeat-a-row.sql

SELECT 'GroupNegOrders' AS [table], [ID] FROM [dbo].[GroupNegOrders]
WHERE [ID] IS NULL OR [GroupID] IS NULL OR [TradeDate] IS NULL OR [TradeTime] IS NULL OR [Buy] IS NULL
   OR [SecCode] IS NULL OR [ClassCode] IS NULL OR [CPFirmID] IS NULL OR [SettleCode] IS NULL OR [MatchRef] IS NULL
   OR [Status] IS NULL OR [Result] IS NULL OR [OrdersCount] IS NULL OR [BWUserID] IS NULL OR [BWSessionID] IS NULL;

SELECT 'NegOrders' AS [table], [OrderId] FROM [dbo].[NegOrders]
WHERE [OrderId] IS NULL OR [GroupOrderID] IS NULL OR [TradeDate] IS NULL OR [TradeTime] IS NULL OR [Buy] IS NULL
   OR [ClassCode] IS NULL OR [SecCode] IS NULL OR [ClientCode] IS NULL OR [TrdAcc] IS NULL OR [CPFirmId] IS NULL
   OR [SettleCode] IS NULL OR [MatchRef] IS NULL OR [OrderNum] IS NULL OR [Status] IS NULL OR [Result] IS NULL
   OR [BWUserID] IS NULL OR [BWSessionID] IS NULL;

SELECT 'ExportOrder' AS [table], [ID] FROM [dbo].[ExportOrder]
WHERE [ID] IS NULL OR [OrderID] IS NULL OR [GroupOrderID] IS NULL OR [OrderType] IS NULL OR [TradeDate] IS NULL
   OR [SendDate] IS NULL OR [SendTime] IS NULL OR [OrderTime] IS NULL OR [Status] IS NULL OR [UserGroupID] IS NULL
   OR [UserGroupCode] IS NULL OR [ClientCode] IS NULL OR [TrdAcc] IS NULL OR [Price] IS NULL OR [Qty] IS NULL
   OR [Balance] IS NULL OR [Buy] IS NULL OR [ML] IS NULL OR [ClassCode] IS NULL OR [SecCode] IS NULL
   OR [VisibleQty] IS NULL OR [RepoValue] IS NULL OR [Discount] IS NULL OR [DiscountUpper] IS NULL
   OR [DiscountLower] IS NULL OR [RepoRate] IS NULL OR [RepoTerm] IS NULL;
go
