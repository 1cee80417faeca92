-- NULLs in the 19 tables that are read row by row. The table ends before the first such row, without a message: this
-- row and all later rows of the table are lost.
--
-- The schema is dbo. For another one replace every [dbo]: sed 's/\[dbo\]/[sales]/g' nulls-that-end-a-table.sql

SELECT 'SystemData' AS [table], [KeyName] FROM [dbo].[SystemData]
WHERE [KeyName] IS NULL OR [KeyValue] IS NULL;

SELECT 'GroupDesc' AS [table], [GroupID] FROM [dbo].[GroupDesc]
WHERE [GroupID] IS NULL OR [GroupCode] IS NULL OR [GroupName] IS NULL OR [disabled] IS NULL OR [Mode] IS NULL
   OR [DefWeight] IS NULL OR [SplitOrders] IS NULL;

SELECT 'Clients' AS [table], [GroupID], [ClientCode] FROM [dbo].[Clients]
WHERE [ClientCode] IS NULL OR [GroupID] IS NULL OR [Num] IS NULL OR [Weight] IS NULL OR [Comment] IS NULL;

SELECT 'GroupOrders' AS [table], [ID] FROM [dbo].[GroupOrders]
WHERE [ID] IS NULL OR [GroupID] IS NULL OR [TradeDate] IS NULL OR [TradeTime] IS NULL OR [Buy] IS NULL
   OR [ML] IS NULL OR [SecCode] IS NULL OR [ClassCode] IS NULL OR [Price] IS NULL OR [Qty] IS NULL
   OR [RealQty] IS NULL OR [BalanceQty] IS NULL OR [KilledQty] IS NULL OR [Status] IS NULL OR [Result] IS NULL
   OR [OrdersCount] IS NULL OR [Flags] IS NULL OR [PoolID] IS NULL OR [Value] IS NULL OR [BWUserID] IS NULL
   OR [BWSessionID] IS NULL OR [BWCounter] IS NULL OR [VisibleQty] IS NULL;

SELECT 'Orders' AS [table], [OrderID] FROM [dbo].[Orders]
WHERE [OrderID] IS NULL OR [GroupOrderID] IS NULL OR [Buy] IS NULL OR [ML] IS NULL OR [TradeDate] IS NULL
   OR [TradeTime] IS NULL OR [SecCode] IS NULL OR [ClassCode] IS NULL OR [ClientCode] IS NULL OR [TrdAcc] IS NULL
   OR [Price] IS NULL OR [Qty] IS NULL OR [BalanceQty] IS NULL OR [OrderNum] IS NULL OR [Status] IS NULL
   OR [Result] IS NULL OR [OrderInPoolID] IS NULL OR [Value] IS NULL OR [VisibleQty] IS NULL OR [BWUserID] IS NULL
   OR [BWSessionID] IS NULL OR [BWCounter] IS NULL;

SELECT 'SecGroups' AS [table], [ID] FROM [dbo].[SecGroups]
WHERE [ID] IS NULL OR [SecGCode] IS NULL OR [SecGName] IS NULL OR [disabled] IS NULL OR [Filter] IS NULL
   OR [mode] IS NULL OR [RAgencies] IS NULL OR [ListLevel] IS NULL;

SELECT 'SecGrMemb' AS [table], [GroupID], [MembType], [MembCode], [MembClass], [MembID] FROM [dbo].[SecGrMemb]
WHERE [GroupID] IS NULL OR [MembType] IS NULL OR [MembCode] IS NULL OR [MembClass] IS NULL OR [MembID] IS NULL;

SELECT 'SecMinQt' AS [table], [ClassCode], [SecCode] FROM [dbo].[SecMinQt]
WHERE [ClassCode] IS NULL OR [SecCode] IS NULL OR [MinQty] IS NULL;

SELECT 'ImportLog' AS [table], [ID] FROM [dbo].[ImportLog]
WHERE [ID] IS NULL OR [ImportType] IS NULL OR [BWUserID] IS NULL OR [BWSessionID] IS NULL OR [BWCounter] IS NULL;

SELECT 'LoadedPositions' AS [table], [PosID] FROM [dbo].[LoadedPositions]
WHERE [PosID] IS NULL OR [PosType] IS NULL OR [FirmID] IS NULL OR [ActiveCode] IS NULL OR [ClientCode] IS NULL
   OR [LimitKind] IS NULL OR [OpenBalance] IS NULL;

SELECT 'RatingAgencies' AS [table], [AgencyID] FROM [dbo].[RatingAgencies]
WHERE [AgencyID] IS NULL OR [AgencyCode] IS NULL OR [AgencyName] IS NULL;

SELECT 'RatingScales' AS [table], [RatingID] FROM [dbo].[RatingScales]
WHERE [RatingID] IS NULL OR [AgencyID] IS NULL OR [National] IS NULL OR [Rating] IS NULL OR [Position] IS NULL;

SELECT 'LoadedSecurities' AS [table], [SecID] FROM [dbo].[LoadedSecurities]
WHERE [SecID] IS NULL OR [SecCode] IS NULL OR [SecName] IS NULL OR [SecStyle] IS NULL OR [SecType] IS NULL
   OR [FaceValue] IS NULL OR [AccInt] IS NULL OR [Price] IS NULL;

SELECT 'LoadedSecuritiesClientPrices' AS [table], [ClientID], [SecID] FROM [dbo].[LoadedSecuritiesClientPrices]
WHERE [ClientID] IS NULL OR [SecID] IS NULL OR [Code] IS NULL OR [CodeType] IS NULL OR [Price] IS NULL;

SELECT 'Restrictions' AS [table], [ID] FROM [dbo].[Restrictions]
WHERE [ID] IS NULL OR [RestType] IS NULL OR [Client] IS NULL OR [Mode] IS NULL OR [Limit] IS NULL
   OR [SecGroupID] IS NULL OR [CoSecGroupID] IS NULL OR [disabled] IS NULL OR [Value] IS NULL OR [NoCheck] IS NULL
   OR [BWUserID] IS NULL OR [BWSessionID] IS NULL OR [BWCounter] IS NULL OR [LimitKind] IS NULL
   OR [RestrCode] IS NULL OR [RestrName] IS NULL;

SELECT 'PoolOrders' AS [table], [PoolID] FROM [dbo].[PoolOrders]
WHERE [PoolID] IS NULL OR [BrokerPoolID] IS NULL OR [PoolName] IS NULL OR [LoadDate] IS NULL OR [LoadTime] IS NULL
   OR [ExpireDate] IS NULL OR [Source] IS NULL OR [Status] IS NULL OR [KillTime] IS NULL OR [TotalQty] IS NULL
   OR [SendQty] IS NULL OR [ExecQty] IS NULL OR [RejectQty] IS NULL OR [KilledQty] IS NULL OR [ActiveQty] IS NULL;

SELECT 'OrdersInPool' AS [table], [OrderID] FROM [dbo].[OrdersInPool]
WHERE [OrderID] IS NULL OR [PoolID] IS NULL OR [OrderType] IS NULL OR [ClientCode] IS NULL OR [ClassCode] IS NULL
   OR [SecCode] IS NULL OR [Price] IS NULL OR [Qty] IS NULL OR [Buy] IS NULL OR [ML] IS NULL OR [SendQty] IS NULL
   OR [ExecQty] IS NULL OR [RejectQty] IS NULL OR [KillQty] IS NULL OR [ActiveQty] IS NULL OR [Comment] IS NULL;

SELECT 'GroupStopOrders' AS [table], [ID] FROM [dbo].[GroupStopOrders]
WHERE [ID] IS NULL OR [GroupID] IS NULL OR [StopStyle] IS NULL OR [TradeDate] IS NULL OR [TradeTime] IS NULL
   OR [Buy] IS NULL OR [ML] IS NULL OR [SecCode] IS NULL OR [ClassCode] IS NULL OR [ASecCode] IS NULL
   OR [AClassCode] IS NULL OR [StopCond] IS NULL OR [TransFlags] IS NULL OR [StopPrice] IS NULL OR [Price] IS NULL
   OR [LinkedPrice] IS NULL OR [Offset] IS NULL OR [Spread] IS NULL OR [Qty] IS NULL OR [RealQty] IS NULL
   OR [BalanceQty] IS NULL OR [KilledQty] IS NULL OR [BaseOrderNum] IS NULL OR [Status] IS NULL OR [Result] IS NULL
   OR [OrdersCount] IS NULL OR [LinkedGrOrder] IS NULL OR [CoOrderNum] IS NULL OR [Expire] IS NULL
   OR [StopPrice2] IS NULL OR [ActiveFromTime] IS NULL OR [ActiveToTime] IS NULL;

SELECT 'StopOrders' AS [table], [OrderID] FROM [dbo].[StopOrders]
WHERE [OrderID] IS NULL OR [GroupOrderID] IS NULL OR [StopStyle] IS NULL OR [Buy] IS NULL OR [ML] IS NULL
   OR [TradeDate] IS NULL OR [TradeTime] IS NULL OR [SecCode] IS NULL OR [ClassCode] IS NULL OR [ASecCode] IS NULL
   OR [AClassCode] IS NULL OR [StopCond] IS NULL OR [TransFlags] IS NULL OR [ClientCode] IS NULL
   OR [StopPrice] IS NULL OR [Price] IS NULL OR [LinkedPrice] IS NULL OR [Offset] IS NULL OR [Spread] IS NULL
   OR [Qty] IS NULL OR [Balance] IS NULL OR [StopOrderNum] IS NULL OR [LinkedOrderNum] IS NULL
   OR [BaseOrderNum] IS NULL OR [CoOrderNum] IS NULL OR [Status] IS NULL OR [Result] IS NULL OR [Expire] IS NULL
   OR [StopPrice2] IS NULL OR [ActiveFromTime] IS NULL OR [ActiveToTime] IS NULL OR [TrdAcc] IS NULL;
go
