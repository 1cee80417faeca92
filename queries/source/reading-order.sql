-- The order in which bw_db_migrate reads security groups, agencies and pools. They get the numbers 1, 2, 3 ... in this
-- order. Where the first column is 1, 2, 3 ... no number changes.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' reading-order.sql

SELECT [ID], [SecGCode], [SecGName], [disabled], [Filter], [mode], [RAgencies], [ListLevel] FROM [dbo].[SecGroups];

SELECT [AgencyID], [AgencyCode], [AgencyName] FROM [dbo].[RatingAgencies];

SELECT [PoolID], [BrokerPoolID], [PoolName], [LoadDate], [LoadTime], [ExpireDate], [Source], [Status],
       [KillTime], [TotalQty], [SendQty], [ExecQty], [RejectQty], [KilledQty], [ActiveQty] FROM [dbo].[PoolOrders];
go
