-- Values that arrive as another value, without an error.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' changed-values.sql

SELECT 'NegOrders' AS [table], [OrderId], [RepoTerm], [Flags] FROM [dbo].[NegOrders]
WHERE [RepoTerm] <> 0 OR [Flags] <> 0;

SELECT 'Restrictions' AS [table], [ID], [Mode] FROM [dbo].[Restrictions];

SELECT 'ExportOrder' AS [table], [ID], [BrokerPoolID] FROM [dbo].[ExportOrder]
WHERE DATALENGTH([BrokerPoolID]) > 0;
go
