-- References that will lead to another row, or to none, because the row that they refer to gets another number. A
-- reference that leads to no row before and after, such as -1, is not listed.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' references-that-change.sql

SELECT 'SecGrMemb' AS [table], m.[GroupID], m.[MembType], m.[MembCode], m.[MembClass], m.[MembID]
FROM [dbo].[SecGrMemb] m
WHERE (m.[GroupID] IN (SELECT [ID] FROM [dbo].[SecGroups])
       OR m.[GroupID] BETWEEN 1 AND (SELECT count(*) FROM [dbo].[SecGroups]))
  AND NOT EXISTS (SELECT 1 FROM [dbo].[SecGroups] g WHERE g.[ID] = m.[GroupID]
                  AND g.[ID] = (SELECT count(*) FROM [dbo].[SecGroups] b WHERE b.[ID] <= g.[ID]));

SELECT 'Restrictions, SecGroupID' AS [table], r.[ID], r.[SecGroupID] FROM [dbo].[Restrictions] r
WHERE (r.[SecGroupID] IN (SELECT [ID] FROM [dbo].[SecGroups])
       OR r.[SecGroupID] BETWEEN 1 AND (SELECT count(*) FROM [dbo].[SecGroups]))
  AND NOT EXISTS (SELECT 1 FROM [dbo].[SecGroups] g WHERE g.[ID] = r.[SecGroupID]
                  AND g.[ID] = (SELECT count(*) FROM [dbo].[SecGroups] b WHERE b.[ID] <= g.[ID]));

SELECT 'Restrictions, CoSecGroupID' AS [table], r.[ID], r.[CoSecGroupID] FROM [dbo].[Restrictions] r
WHERE (r.[CoSecGroupID] IN (SELECT [ID] FROM [dbo].[SecGroups])
       OR r.[CoSecGroupID] BETWEEN 1 AND (SELECT count(*) FROM [dbo].[SecGroups]))
  AND NOT EXISTS (SELECT 1 FROM [dbo].[SecGroups] g WHERE g.[ID] = r.[CoSecGroupID]
                  AND g.[ID] = (SELECT count(*) FROM [dbo].[SecGroups] b WHERE b.[ID] <= g.[ID]));

SELECT 'RatingScales' AS [table], s.[RatingID], s.[AgencyID] FROM [dbo].[RatingScales] s
WHERE (s.[AgencyID] IN (SELECT [AgencyID] FROM [dbo].[RatingAgencies])
       OR s.[AgencyID] BETWEEN 1 AND (SELECT count(*) FROM [dbo].[RatingAgencies]))
  AND NOT EXISTS (SELECT 1 FROM [dbo].[RatingAgencies] a WHERE a.[AgencyID] = s.[AgencyID]
                  AND a.[AgencyID] = (SELECT count(*) FROM [dbo].[RatingAgencies] b
                                      WHERE b.[AgencyID] <= a.[AgencyID]));

SELECT 'OrdersInPool' AS [table], o.[OrderID], o.[PoolID] FROM [dbo].[OrdersInPool] o
WHERE NOT EXISTS (SELECT 1 FROM [dbo].[PoolOrders] p WHERE p.[PoolID] = o.[PoolID]
                  AND p.[PoolID] = (SELECT count(*) FROM [dbo].[PoolOrders] b WHERE b.[PoolID] <= p.[PoolID]));
go
