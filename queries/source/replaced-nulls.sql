-- NULLs that arrive as 1e50, -2147483648, -1 or an empty text.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' replaced-nulls.sql

SELECT 'GroupNegOrders' AS [table], [ID] FROM [dbo].[GroupNegOrders]
WHERE [Price] IS NULL OR [Vozm] IS NULL OR [Qty] IS NULL OR [RealQty] IS NULL OR [KilledQty] IS NULL
   OR [RepoValue] IS NULL OR [RealRepoValue] IS NULL OR [Discount] IS NULL OR [DiscountUpper] IS NULL
   OR [DiscountLower] IS NULL OR [RepoRate] IS NULL OR [RepoTerm] IS NULL OR [OrderType] IS NULL OR [Flags] IS NULL
   OR [BWCounter] IS NULL;

SELECT 'NegOrders' AS [table], [OrderId] FROM [dbo].[NegOrders]
WHERE [Price] IS NULL OR [Vozm] IS NULL OR [Qty] IS NULL OR [RepoValue] IS NULL OR [Discount] IS NULL
   OR [DiscountUpper] IS NULL OR [DiscountLower] IS NULL OR [RepoRate] IS NULL OR [RepoTerm] IS NULL
   OR [Flags] IS NULL OR [BWCounter] IS NULL;

SELECT 'ExportOrder' AS [table], [ID] FROM [dbo].[ExportOrder] WHERE [PoolID] IS NULL OR [BrokerPoolID] IS NULL;
go
