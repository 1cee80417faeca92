"""What the migrator reads and writes, table by table in the order of the migration: the lab's schemas must offer it.

A field is written NAME:KIND, where KIND is int, float or, for texts, the number of characters that are migrated.
"""

_FIELDS = {
    "SystemData": "KeyName:20 KeyValue:50",
    "GroupDesc": "GroupID:int GroupCode:64 GroupName:255 disabled:1 Mode:10 DefWeight:float SplitOrders:int",
    "Clients": "ClientCode:20 GroupID:int Num:int Weight:float Comment:50",
    "GroupOrders": """
        ID:int GroupID:int TradeDate:int TradeTime:int Buy:1 ML:1 SecCode:12 ClassCode:12 Price:float Qty:float
        RealQty:float BalanceQty:float KilledQty:float Status:1 Result:1 OrdersCount:int Flags:10 PoolID:int
        Value:float BWUserID:int BWSessionID:40 BWCounter:int VisibleQty:float
    """,
    "Orders": """
        OrderID:int GroupOrderID:int Buy:1 ML:1 TradeDate:int TradeTime:int SecCode:12 ClassCode:12 ClientCode:12
        TrdAcc:12 Price:float Qty:float BalanceQty:float OrderNum:float Status:1 Result:1 OrderInPoolID:int
        Value:float VisibleQty:float BWUserID:int BWSessionID:40 BWCounter:int
    """,
    "SecGroups": "ID:int SecGCode:64 SecGName:255 disabled:1 Filter:10 mode:10 RAgencies:int ListLevel:int",
    "SecGrMemb": "GroupID:int MembType:1 MembCode:20 MembClass:20 MembID:int",
    "SecMinQt": "ClassCode:12 SecCode:12 MinQty:int",
    "ImportLog": "ID:int ImportType:32 BWUserID:int BWSessionID:40 BWCounter:int",
    "LoadedPositions": "PosID:int PosType:int FirmID:12 ActiveCode:12 ClientCode:12 LimitKind:int OpenBalance:float",
    "RatingAgencies": "AgencyID:int AgencyCode:20 AgencyName:128",
    "RatingScales": "RatingID:int AgencyID:int National:int Rating:20 Position:int",
    "LoadedSecurities": """
        SecID:int SecCode:12 SecName:16 SecStyle:16 SecType:32 FaceValue:float AccInt:float Price:float
    """,
    "LoadedSecuritiesClientPrices": "ClientID:int SecID:int Code:12 CodeType:int Price:float",
    "Restrictions": """
        ID:int RestType:1 Client:20 Mode:10 Limit:float SecGroupID:int CoSecGroupID:int disabled:1 Value:float
        NoCheck:int BWUserID:int BWSessionID:40 BWCounter:int LimitKind:int RestrCode:12 RestrName:50
    """,
    "PoolOrders": """
        PoolID:int BrokerPoolID:32 PoolName:128 LoadDate:int LoadTime:int ExpireDate:int Source:250 Status:50
        KillTime:int TotalQty:float SendQty:float ExecQty:float RejectQty:float KilledQty:float ActiveQty:float
    """,
    "OrdersInPool": """
        OrderID:int PoolID:int OrderType:1 ClientCode:12 ClassCode:12 SecCode:12 Price:float Qty:float Buy:1 ML:1
        SendQty:float ExecQty:float RejectQty:float KillQty:float ActiveQty:float Comment:20
    """,
    "GroupStopOrders": """
        ID:int GroupID:int StopStyle:int TradeDate:int TradeTime:int Buy:1 ML:1 SecCode:12 ClassCode:12 ASecCode:12
        AClassCode:12 StopCond:int TransFlags:int StopPrice:float Price:float LinkedPrice:float Offset:float
        Spread:float Qty:float RealQty:float BalanceQty:float KilledQty:float BaseOrderNum:float Status:1 Result:1
        OrdersCount:int LinkedGrOrder:int CoOrderNum:float Expire:int StopPrice2:float ActiveFromTime:int
        ActiveToTime:int
    """,
    "StopOrders": """
        OrderID:int GroupOrderID:int StopStyle:int Buy:1 ML:1 TradeDate:int TradeTime:int SecCode:12 ClassCode:12
        ASecCode:12 AClassCode:12 StopCond:int TransFlags:int ClientCode:12 StopPrice:float Price:float
        LinkedPrice:float Offset:float Spread:float Qty:float Balance:float StopOrderNum:float LinkedOrderNum:float
        BaseOrderNum:float CoOrderNum:float Status:1 Result:1 Expire:int StopPrice2:float ActiveFromTime:int
        ActiveToTime:int TrdAcc:12
    """,
    "GroupNegOrders": """
        ID:int GroupID:int TradeDate:int TradeTime:int Buy:1 SecCode:12 ClassCode:12 CPFirmID:12 SettleCode:12
        MatchRef:10 Price:float Vozm:float Qty:float RealQty:float KilledQty:float Status:1 Result:1 OrdersCount:int
        RepoValue:float RealRepoValue:float Discount:float DiscountUpper:float DiscountLower:float RepoRate:float
        RepoTerm:int OrderType:int Flags:int BWUserID:int BWSessionID:40 BWCounter:int
    """,
    "NegOrders": """
        OrderId:int GroupOrderID:int TradeDate:int TradeTime:int Buy:1 ClassCode:12 SecCode:12 ClientCode:12
        TrdAcc:12 CPFirmId:12 SettleCode:12 MatchRef:10 Price:float Vozm:float Qty:float OrderNum:float Status:1
        Result:1 RepoValue:float Discount:float DiscountUpper:float DiscountLower:float RepoRate:float RepoTerm:int
        Flags:int BWUserID:int BWSessionID:40 BWCounter:int
    """,
    "ExportOrder": """
        ID:int OrderID:int GroupOrderID:int OrderType:int TradeDate:int SendDate:int SendTime:int OrderTime:int
        Status:int UserGroupID:int UserGroupCode:64 PoolID:int BrokerPoolID:32 ClientCode:12 TrdAcc:12 Price:float
        Qty:float Balance:float Buy:1 ML:1 ClassCode:12 SecCode:12 VisibleQty:float RepoValue:float Discount:float
        DiscountUpper:float DiscountLower:float RepoRate:float RepoTerm:int
    """,
}

# Table -> [(field, kind)], in the order in which the migrator selects the columns.
FIELDS = {table: [tuple(field.split(":")) for field in fields.split()] for table, fields in _FIELDS.items()}

# The columns in place of whose NULL the migrator writes a value; at a NULL in any other column it stops reading.
NULLABLE = {
    "GroupNegOrders": {
        "Price", "Vozm", "Qty", "RealQty", "KilledQty", "RepoValue", "RealRepoValue", "Discount", "DiscountUpper",
        "DiscountLower", "RepoRate", "RepoTerm", "OrderType", "Flags", "BWCounter",
    },
    "NegOrders": {
        "Price", "Vozm", "Qty", "RepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm",
        "Flags", "BWCounter",
    },
    "ExportOrder": {"PoolID", "BrokerPoolID"},
}

# The columns that the migrator does not write, because the destination assigns their values.
ASSIGNED = {
    "GroupDesc": {"GroupID"},
    "GroupOrders": {"ID", "BWCounter"},
    "Orders": {"OrderID", "BWCounter"},
    "SecGroups": {"ID"},
    "ImportLog": {"ID"},
    "RatingAgencies": {"AgencyID"},
    "RatingScales": {"RatingID"},
    "PoolOrders": {"PoolID"},
    "OrdersInPool": {"OrderID"},
}

# The tables that the migrator empties with CASCADE.
CASCADING = {"GroupDesc", "GroupOrders", "LoadedSecurities", "PoolOrders"}


def truncate_statement(table: str) -> str:
    """The statement with which the migrator empties a table of the destination."""
    return f'TRUNCATE "{table}" RESTART IDENTITY{" CASCADE" if table in CASCADING else ""};'
