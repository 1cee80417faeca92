-- Security groups, agencies and pools that get another number in the destination, if rows are read in the order of
-- their numbers (reading-order.sql shows the order).
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' renumbered.sql

SELECT 'SecGroups' AS [table], g.[ID],
       (SELECT count(*) FROM [dbo].[SecGroups] b WHERE b.[ID] <= g.[ID]) AS [becomes]
FROM [dbo].[SecGroups] g
WHERE g.[ID] <> (SELECT count(*) FROM [dbo].[SecGroups] b WHERE b.[ID] <= g.[ID]);

SELECT 'RatingAgencies' AS [table], a.[AgencyID],
       (SELECT count(*) FROM [dbo].[RatingAgencies] b WHERE b.[AgencyID] <= a.[AgencyID]) AS [becomes]
FROM [dbo].[RatingAgencies] a
WHERE a.[AgencyID] <> (SELECT count(*) FROM [dbo].[RatingAgencies] b WHERE b.[AgencyID] <= a.[AgencyID]);

SELECT 'PoolOrders' AS [table], p.[PoolID],
       (SELECT count(*) FROM [dbo].[PoolOrders] b WHERE b.[PoolID] <= p.[PoolID]) AS [becomes]
FROM [dbo].[PoolOrders] p
WHERE p.[PoolID] <> (SELECT count(*) FROM [dbo].[PoolOrders] b WHERE b.[PoolID] <= p.[PoolID]);
go
