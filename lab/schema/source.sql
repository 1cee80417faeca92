-- The 22 tables of the Brantwell database, schema version 29, in the order in which they are migrated.
--
-- Runs unchanged on SQL Server, in an empty database, and on SQLite with a file attached as dbo. Columns stand in the
-- order in which the migrator reads them. NOT NULL stands wherever the migrator's reader ends at a NULL; the columns
-- declared NULL are those whose reader puts a value in place of NULL.

CREATE TABLE [dbo].[SystemData]
(
    [KeyName] varchar(20) NOT NULL,
    [KeyValue] varchar(50) NOT NULL,
    CONSTRAINT [PK_SystemData] PRIMARY KEY ([KeyName])
);

CREATE TABLE [dbo].[GroupDesc]
(
    [GroupID] int NOT NULL,
    [GroupCode] varchar(64) NOT NULL,
    [GroupName] varchar(255) NOT NULL,
    [disabled] char(1) NOT NULL,
    [Mode] varchar(10) NOT NULL,
    [DefWeight] float NOT NULL,
    [SplitOrders] int NOT NULL,
    CONSTRAINT [PK_GroupDesc] PRIMARY KEY ([GroupID])
);

-- Comment was widened from 50 characters by installations that keep longer notes; the migrator carries 50.
CREATE TABLE [dbo].[Clients]
(
    [ClientCode] varchar(20) NOT NULL,
    [GroupID] int NOT NULL,
    [Num] int NOT NULL,
    [Weight] float NOT NULL,
    [Comment] varchar(100) NOT NULL,
    CONSTRAINT [PK_Clients] PRIMARY KEY ([GroupID], [ClientCode])
);

CREATE TABLE [dbo].[GroupOrders]
(
    [ID] int NOT NULL,
    [GroupID] int NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [Price] float NOT NULL,
    [Qty] float NOT NULL,
    [RealQty] float NOT NULL,
    [BalanceQty] float NOT NULL,
    [KilledQty] float NOT NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [OrdersCount] int NOT NULL,
    [Flags] varchar(10) NOT NULL,
    [PoolID] int NOT NULL,
    [Value] float NOT NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NOT NULL,
    [VisibleQty] float NOT NULL,
    CONSTRAINT [PK_GroupOrders] PRIMARY KEY ([ID])
);

CREATE TABLE [dbo].[Orders]
(
    [OrderID] int NOT NULL,
    [GroupOrderID] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [ClientCode] varchar(12) NOT NULL,
    [TrdAcc] varchar(12) NOT NULL,
    [Price] float NOT NULL,
    [Qty] float NOT NULL,
    [BalanceQty] float NOT NULL,
    [OrderNum] float NOT NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [OrderInPoolID] int NOT NULL,
    [Value] float NOT NULL,
    [VisibleQty] float NOT NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NOT NULL,
    CONSTRAINT [PK_Orders] PRIMARY KEY ([OrderID])
);

CREATE TABLE [dbo].[SecGroups]
(
    [ID] int NOT NULL,
    [SecGCode] varchar(64) NOT NULL,
    [SecGName] varchar(255) NOT NULL,
    [disabled] char(1) NOT NULL,
    [Filter] varchar(10) NOT NULL,
    [mode] varchar(10) NOT NULL,
    [RAgencies] int NOT NULL,
    [ListLevel] int NOT NULL,
    CONSTRAINT [PK_SecGroups] PRIMARY KEY ([ID])
);

CREATE TABLE [dbo].[SecGrMemb]
(
    [GroupID] int NOT NULL,
    [MembType] char(1) NOT NULL,
    [MembCode] varchar(20) NOT NULL,
    [MembClass] varchar(20) NOT NULL,
    [MembID] int NOT NULL,
    CONSTRAINT [PK_SecGrMemb] PRIMARY KEY ([GroupID], [MembType], [MembCode], [MembClass], [MembID])
);

CREATE TABLE [dbo].[SecMinQt]
(
    [ClassCode] varchar(12) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [MinQty] int NOT NULL,
    CONSTRAINT [PK_SecMinQt] PRIMARY KEY ([ClassCode], [SecCode])
);

CREATE TABLE [dbo].[ImportLog]
(
    [ID] int NOT NULL,
    [ImportType] varchar(32) NOT NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NOT NULL,
    CONSTRAINT [PK_ImportLog] PRIMARY KEY ([ID])
);

-- ClientCode was widened from 12 characters by installations with longer client codes; the migrator carries 12.
CREATE TABLE [dbo].[LoadedPositions]
(
    [PosID] int NOT NULL,
    [PosType] int NOT NULL,
    [FirmID] varchar(12) NOT NULL,
    [ActiveCode] varchar(12) NOT NULL,
    [ClientCode] varchar(20) NOT NULL,
    [LimitKind] int NOT NULL,
    [OpenBalance] float NOT NULL,
    CONSTRAINT [PK_LoadedPositions] PRIMARY KEY ([PosID])
);

CREATE TABLE [dbo].[RatingAgencies]
(
    [AgencyID] int NOT NULL,
    [AgencyCode] varchar(20) NOT NULL,
    [AgencyName] varchar(128) NOT NULL,
    CONSTRAINT [PK_RatingAgencies] PRIMARY KEY ([AgencyID])
);

CREATE TABLE [dbo].[RatingScales]
(
    [RatingID] int NOT NULL,
    [AgencyID] int NOT NULL,
    [National] int NOT NULL,
    [Rating] varchar(20) NOT NULL,
    [Position] int NOT NULL,
    CONSTRAINT [PK_RatingScales] PRIMARY KEY ([RatingID])
);

CREATE TABLE [dbo].[LoadedSecurities]
(
    [SecID] int NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [SecName] varchar(16) NOT NULL,
    [SecStyle] varchar(16) NOT NULL,
    [SecType] varchar(32) NOT NULL,
    [FaceValue] float NOT NULL,
    [AccInt] float NOT NULL,
    [Price] float NOT NULL,
    CONSTRAINT [PK_LoadedSecurities] PRIMARY KEY ([SecID])
);

CREATE TABLE [dbo].[LoadedSecuritiesClientPrices]
(
    [ClientID] int NOT NULL,
    [SecID] int NOT NULL,
    [Code] varchar(12) NOT NULL,
    [CodeType] int NOT NULL,
    [Price] float NOT NULL,
    CONSTRAINT [PK_LoadedSecuritiesClientPrices] PRIMARY KEY ([ClientID], [SecID])
);

CREATE TABLE [dbo].[Restrictions]
(
    [ID] int NOT NULL,
    [RestType] char(1) NOT NULL,
    [Client] varchar(20) NOT NULL,
    [Mode] varchar(10) NOT NULL,
    [Limit] float NOT NULL,
    [SecGroupID] int NOT NULL,
    [CoSecGroupID] int NOT NULL,
    [disabled] char(1) NOT NULL,
    [Value] float NOT NULL,
    [NoCheck] int NOT NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NOT NULL,
    [LimitKind] int NOT NULL,
    [RestrCode] varchar(12) NOT NULL,
    [RestrName] varchar(50) NOT NULL,
    CONSTRAINT [PK_Restrictions] PRIMARY KEY ([ID])
);

CREATE TABLE [dbo].[PoolOrders]
(
    [PoolID] int NOT NULL,
    [BrokerPoolID] varchar(32) NOT NULL,
    [PoolName] varchar(128) NOT NULL,
    [LoadDate] int NOT NULL,
    [LoadTime] int NOT NULL,
    [ExpireDate] int NOT NULL,
    [Source] varchar(250) NOT NULL,
    [Status] varchar(50) NOT NULL,
    [KillTime] int NOT NULL,
    [TotalQty] float NOT NULL,
    [SendQty] float NOT NULL,
    [ExecQty] float NOT NULL,
    [RejectQty] float NOT NULL,
    [KilledQty] float NOT NULL,
    [ActiveQty] float NOT NULL,
    CONSTRAINT [PK_PoolOrders] PRIMARY KEY ([PoolID])
);

CREATE TABLE [dbo].[OrdersInPool]
(
    [OrderID] int NOT NULL,
    [PoolID] int NOT NULL,
    [OrderType] char(1) NOT NULL,
    [ClientCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [Price] float NOT NULL,
    [Qty] float NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [SendQty] float NOT NULL,
    [ExecQty] float NOT NULL,
    [RejectQty] float NOT NULL,
    [KillQty] float NOT NULL,
    [ActiveQty] float NOT NULL,
    [Comment] varchar(20) NOT NULL,
    CONSTRAINT [PK_OrdersInPool] PRIMARY KEY ([OrderID])
);

CREATE TABLE [dbo].[GroupStopOrders]
(
    [ID] int NOT NULL,
    [GroupID] int NOT NULL,
    [StopStyle] int NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [ASecCode] varchar(12) NOT NULL,
    [AClassCode] varchar(12) NOT NULL,
    [StopCond] int NOT NULL,
    [TransFlags] int NOT NULL,
    [StopPrice] float NOT NULL,
    [Price] float NOT NULL,
    [LinkedPrice] float NOT NULL,
    [Offset] float NOT NULL,
    [Spread] float NOT NULL,
    [Qty] float NOT NULL,
    [RealQty] float NOT NULL,
    [BalanceQty] float NOT NULL,
    [KilledQty] float NOT NULL,
    [BaseOrderNum] float NOT NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [OrdersCount] int NOT NULL,
    [LinkedGrOrder] int NOT NULL,
    [CoOrderNum] float NOT NULL,
    [Expire] int NOT NULL,
    [StopPrice2] float NOT NULL,
    [ActiveFromTime] int NOT NULL,
    [ActiveToTime] int NOT NULL,
    CONSTRAINT [PK_GroupStopOrders] PRIMARY KEY ([ID])
);

CREATE TABLE [dbo].[StopOrders]
(
    [OrderID] int NOT NULL,
    [GroupOrderID] int NOT NULL,
    [StopStyle] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [ASecCode] varchar(12) NOT NULL,
    [AClassCode] varchar(12) NOT NULL,
    [StopCond] int NOT NULL,
    [TransFlags] int NOT NULL,
    [ClientCode] varchar(12) NOT NULL,
    [StopPrice] float NOT NULL,
    [Price] float NOT NULL,
    [LinkedPrice] float NOT NULL,
    [Offset] float NOT NULL,
    [Spread] float NOT NULL,
    [Qty] float NOT NULL,
    [Balance] float NOT NULL,
    [StopOrderNum] float NOT NULL,
    [LinkedOrderNum] float NOT NULL,
    [BaseOrderNum] float NOT NULL,
    [CoOrderNum] float NOT NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [Expire] int NOT NULL,
    [StopPrice2] float NOT NULL,
    [ActiveFromTime] int NOT NULL,
    [ActiveToTime] int NOT NULL,
    [TrdAcc] varchar(12) NOT NULL,
    CONSTRAINT [PK_StopOrders] PRIMARY KEY ([OrderID])
);

CREATE TABLE [dbo].[GroupNegOrders]
(
    [ID] int NOT NULL,
    [GroupID] int NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [CPFirmID] varchar(12) NOT NULL,
    [SettleCode] varchar(12) NOT NULL,
    [MatchRef] varchar(10) NOT NULL,
    [Price] float NULL,
    [Vozm] float NULL,
    [Qty] float NULL,
    [RealQty] float NULL,
    [KilledQty] float NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [OrdersCount] int NOT NULL,
    [RepoValue] float NULL,
    [RealRepoValue] float NULL,
    [Discount] float NULL,
    [DiscountUpper] float NULL,
    [DiscountLower] float NULL,
    [RepoRate] float NULL,
    [RepoTerm] int NULL,
    [OrderType] int NULL,
    [Flags] int NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NULL,
    CONSTRAINT [PK_GroupNegOrders] PRIMARY KEY ([ID])
);

CREATE TABLE [dbo].[NegOrders]
(
    [OrderId] int NOT NULL,
    [GroupOrderID] int NOT NULL,
    [TradeDate] int NOT NULL,
    [TradeTime] int NOT NULL,
    [Buy] char(1) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [ClientCode] varchar(12) NOT NULL,
    [TrdAcc] varchar(12) NOT NULL,
    [CPFirmId] varchar(12) NOT NULL,
    [SettleCode] varchar(12) NOT NULL,
    [MatchRef] varchar(10) NOT NULL,
    [Price] float NULL,
    [Vozm] float NULL,
    [Qty] float NULL,
    [OrderNum] float NOT NULL,
    [Status] char(1) NOT NULL,
    [Result] char(1) NOT NULL,
    [RepoValue] float NULL,
    [Discount] float NULL,
    [DiscountUpper] float NULL,
    [DiscountLower] float NULL,
    [RepoRate] float NULL,
    [RepoTerm] int NULL,
    [Flags] int NULL,
    [BWUserID] int NOT NULL,
    [BWSessionID] varchar(40) NOT NULL,
    [BWCounter] int NULL,
    CONSTRAINT [PK_NegOrders] PRIMARY KEY ([OrderId])
);

-- BrokerPoolID holds a whole number written as text.
CREATE TABLE [dbo].[ExportOrder]
(
    [ID] int NOT NULL,
    [OrderID] int NOT NULL,
    [GroupOrderID] int NOT NULL,
    [OrderType] int NOT NULL,
    [TradeDate] int NOT NULL,
    [SendDate] int NOT NULL,
    [SendTime] int NOT NULL,
    [OrderTime] int NOT NULL,
    [Status] int NOT NULL,
    [UserGroupID] int NOT NULL,
    [UserGroupCode] varchar(64) NOT NULL,
    [PoolID] int NULL,
    [BrokerPoolID] varchar(32) NULL,
    [ClientCode] varchar(12) NOT NULL,
    [TrdAcc] varchar(12) NOT NULL,
    [Price] float NOT NULL,
    [Qty] float NOT NULL,
    [Balance] float NOT NULL,
    [Buy] char(1) NOT NULL,
    [ML] char(1) NOT NULL,
    [ClassCode] varchar(12) NOT NULL,
    [SecCode] varchar(12) NOT NULL,
    [VisibleQty] float NOT NULL,
    [RepoValue] float NOT NULL,
    [Discount] float NOT NULL,
    [DiscountUpper] float NOT NULL,
    [DiscountLower] float NOT NULL,
    [RepoRate] float NOT NULL,
    [RepoTerm] int NOT NULL,
    CONSTRAINT [PK_ExportOrder] PRIMARY KEY ([ID])
);
