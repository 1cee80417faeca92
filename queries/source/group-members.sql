-- What belongs to each group, in the order of the groups. The result is the same on both sides after a complete run.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' group-members.sql

SELECT g.[GroupCode],
       (SELECT count(*) FROM [dbo].[Clients] c WHERE c.[GroupID] = g.[GroupID]) AS [clients],
       (SELECT count(*) FROM [dbo].[GroupOrders] o WHERE o.[GroupID] = g.[GroupID]) AS [group orders],
       (SELECT count(*) FROM [dbo].[Orders] s JOIN [dbo].[GroupOrders] o ON o.[ID] = s.[GroupOrderID]
        WHERE o.[GroupID] = g.[GroupID]) AS [orders],
       (SELECT count(*) FROM [dbo].[GroupNegOrders] n WHERE n.[GroupID] = g.[GroupID]) AS [group neg orders]
FROM [dbo].[GroupDesc] g ORDER BY g.[GroupID];
go
