"""A complete migration of all 22 tables: every value of the destination and every line of the log.

The rules of `migration.py` say what is expected of all rows; values written out by hand say it again for the odd ones.
"""

import contextlib
import sqlite3

import pytest

import expectations
import sample_data
from migration import Migration, assert_destination

INT_MAX = 2147483647
INT_MIN = -2147483648


@pytest.fixture(scope="module")
def migrated(shared_lab):
    """The sample data, migrated; tests only read it."""
    with shared_lab.workspace(sample_data.fill) as workspace:
        workspace.run()
        yield workspace


def _descriptions(log: str, table: str) -> list[str]:
    """What a log without times says of the rows of a table."""
    start = f"<time> :: Start migrate {table} table\n"
    of_table = log.partition(start)[2].partition("<time> :: Complete migrate")[0]
    return [line.partition("): ")[2] for line in of_table.splitlines()]


@pytest.mark.parametrize("scale", [1, 25])
def test_every_value_arrives_and_every_row_is_reported(new_workspace, scale):
    workspace = new_workspace(system_data=(), fill=lambda path: sample_data.fill(path, scale))
    expected = Migration(workspace.source_file)

    run = workspace.run()

    assert_destination(workspace, expected)
    rows = {table: len(of_table) for table, of_table in expected.rows.items()}
    assert rows == sample_data.row_counts(scale)
    assert expectations.masked(run.console) == expectations.complete_console(rows)
    log = expectations.masked(workspace.log_file.read_text())
    for table, descriptions in expected.descriptions.items():
        assert _descriptions(log, table) == descriptions, table
    assert log == expectations.complete_log(expected.descriptions)
    assert run.errors == ""
    assert run.exit_code == 0


def test_second_run_leaves_the_same_destination(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()

    workspace.run()

    assert_destination(workspace, Migration(workspace.source_file))


# Each case: a query on the source and its rows, a query on the destination and its rows.
ODD_VALUES = {
    "texts that fill their column": (
        "SELECT KeyName, KeyValue FROM SystemData LIMIT 1 OFFSET 4",
        [("settlement_codes_set", "T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+")],
        'SELECT "KeyName", "KeyValue" FROM "SystemData" ORDER BY ctid LIMIT 1 OFFSET 4',
        [("settlement_codes_set", "T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+2;T+")],
    ),
    "texts of 255 bytes": (
        "SELECT GroupName FROM GroupDesc WHERE GroupID = 15",
        [("Clients of the branch, " * 11 + "Cl",)],
        'SELECT "GroupName" FROM "GroupDesc" WHERE "GroupID" = 3',
        [("Clients of the branch, " * 11 + "Cl",)],
    ),
    "texts longer than what is migrated": (
        "SELECT Comment, length(Comment) FROM Clients WHERE GroupID = 16 AND Num = 3",
        [
            (
                "Calls only in the morning, never on Fridays. Calls only in the morning, never on Fridays. "
                "Calls only",
                100,
            )
        ],
        'SELECT "Comment", length("Comment") FROM "Clients" WHERE "Num" = 3',
        [("Calls only in the morning, never on Fridays. Calls", 50)],
    ),
    "codes longer than what is migrated": (
        "SELECT ClientCode FROM LoadedPositions WHERE PosID IN (2, 18)",
        [("KL0000000001/SUB1",), ("KL0000000009/SUB0",)],
        'SELECT "ClientCode" FROM "LoadedPositions" WHERE "PosID" IN (2, 18) ORDER BY ctid',
        [("KL0000000001",), ("KL0000000009",)],
    ),
    "empty texts and texts that end with blanks": (
        "SELECT Num, Comment FROM Clients WHERE Num IN (2147483647, 4)",
        [(INT_MAX, ""), (4, "Calls back  ")],
        'SELECT "Num", "Comment" FROM "Clients" WHERE "Num" IN (2147483647, 4) ORDER BY ctid',
        [(INT_MAX, ""), (4, "Calls back  ")],
    ),
    "letters beyond ASCII": (
        "SELECT AgencyName FROM RatingAgencies WHERE AgencyCode = 'AG001'",
        [("Agence d'évaluation Père & Müller",)],
        """SELECT "AgencyName" FROM "RatingAgencies" WHERE "AgencyCode" = 'AG001'""",
        [("Agence d'évaluation Père & Müller",)],
    ),
    "the ends of the range of integers": (
        "SELECT PosID, LimitKind FROM LoadedPositions LIMIT 3",
        [(1, INT_MIN), (2, INT_MAX), (5, -1)],
        'SELECT "PosID", "LimitKind" FROM "LoadedPositions" ORDER BY ctid LIMIT 3',
        [(1, INT_MIN), (2, INT_MAX), (5, -1)],
    ),
    "the ends of the range of doubles, to the last bit": (
        'SELECT "Limit" FROM Restrictions LIMIT 9',
        [
            (1e300,),
            (-1e-300,),
            (1.7976931348623157e308,),
            (5e-324,),
            (-1.7976931348623157e308,),
            (2.2250738585072014e-308,),
            (0.3333333333333333,),
            (0.30000000000000004,),
            (-0.001,),
        ],
        'SELECT "Limit" FROM "Restrictions" ORDER BY ctid LIMIT 9',
        [
            (1e300,),
            (-1e-300,),
            (1.7976931348623157e308,),
            (5e-324,),
            (-1.7976931348623157e308,),
            (2.2250738585072014e-308,),
            (0.3333333333333333,),
            (0.30000000000000004,),
            (-0.001,),
        ],
    ),
    "order numbers of 16 digits": (
        "SELECT OrderNum FROM Orders LIMIT 2",
        [(9007199254740991.0,), (1892734650000001.0,)],
        'SELECT "OrderNum" FROM "Orders" ORDER BY ctid LIMIT 2',
        [(9007199254740991.0,), (1892734650000001.0,)],
    ),
    "client groups with gaps": (
        "SELECT GroupID, GroupCode FROM GroupDesc WHERE GroupID <> 15",
        [(11, "GRP00000"), (12, "GRP00001"), (16, "GRP00003"), (19, "GRP00004"), (20, "GRP00005")],
        'SELECT "GroupID", "GroupCode" FROM "GroupDesc" WHERE "GroupID" <> 3 ORDER BY ctid',
        [(1, "GRP00000"), (2, "GRP00001"), (4, "GRP00003"), (5, "GRP00004"), (6, "GRP00005")],
    ),
    "clients follow their groups": (
        "SELECT ClientCode, GroupID FROM Clients WHERE Num IN (4, 6, 22) ORDER BY Num",
        [("C00004", 19), ("C00006", 11), ("C00022", 19)],
        'SELECT "ClientCode", "GroupID" FROM "Clients" WHERE "Num" IN (4, 6, 22) ORDER BY "Num"',
        [("C00004", 5), ("C00006", 1), ("C00022", 5)],
    ),
    "group orders follow their groups": (
        "SELECT ID, GroupID, BWCounter FROM GroupOrders LIMIT 4 OFFSET 3",
        [(506, 16, 70010), (509, 19, 70013), (510, 20, 70016), (513, 11, 70019)],
        'SELECT "ID", "GroupID", "BWCounter" FROM "GroupOrders" ORDER BY ctid LIMIT 4 OFFSET 3',
        [(4, 4, 4), (5, 5, 5), (6, 6, 6), (7, 1, 7)],
    ),
    "orders follow their group orders": (
        "SELECT OrderID, GroupOrderID, BWCounter FROM Orders LIMIT 3 OFFSET 15",
        [(9030, 530, 80031), (9033, 501, 80033), (9034, 502, 80035)],
        'SELECT "OrderID", "GroupOrderID", "BWCounter" FROM "Orders" ORDER BY ctid LIMIT 3 OFFSET 15',
        [(16, 16, 16), (17, 1, 17), (18, 2, 18)],
    ),
    "security groups with gaps": (
        "SELECT ID FROM SecGroups",
        [(1,), (2,), (5,), (6,), (9,), (10,)],
        'SELECT "ID" FROM "SecGroups" ORDER BY ctid',
        [(1,), (2,), (3,), (4,), (5,), (6,)],
    ),
    "members keep the number of their security group": (
        "SELECT DISTINCT GroupID FROM SecGrMemb ORDER BY 1",
        [(1,), (2,), (5,), (6,), (9,), (10,)],
        'SELECT DISTINCT "GroupID" FROM "SecGrMemb" ORDER BY 1',
        [(1,), (2,), (5,), (6,), (9,), (10,)],
    ),
    "imports are numbered again": (
        "SELECT ID, BWCounter FROM ImportLog LIMIT 4",
        [(7, 50), (8, 51), (11, -1), (12, 53)],
        'SELECT "ID", "BWCounter" FROM "ImportLog" ORDER BY ctid LIMIT 4',
        [(1, 50), (2, 51), (3, -1), (4, 53)],
    ),
    "rating agencies with gaps": (
        "SELECT AgencyID, AgencyCode FROM RatingAgencies",
        [(1, "AG000"), (2, "AG001"), (5, "AGENCY_OF_20_LETTERS"), (6, "AG003")],
        'SELECT "AgencyID", "AgencyCode" FROM "RatingAgencies" ORDER BY ctid',
        [(1, "AG000"), (2, "AG001"), (3, "AGENCY_OF_20_LETTERS"), (4, "AG003")],
    ),
    "scales keep the number of their agency": (
        "SELECT RatingID, AgencyID, Rating FROM RatingScales LIMIT 4 OFFSET 2",
        [(25, 5, "AA"), (26, 6, "A-"), (29, 1, "BBB (outlook) BBB (o"), (30, 2, "BB")],
        'SELECT "RatingID", "AgencyID", "Rating" FROM "RatingScales" ORDER BY ctid LIMIT 4 OFFSET 2',
        [(3, 5, "AA"), (4, 6, "A-"), (5, 1, "BBB (outlook) BBB (o"), (6, 2, "BB")],
    ),
    # The first four bytes of the text as a number. Behind a short text's zero are bytes of a longer one before:
    # "HARD" is 44 52 41 48, "1" after it 44 52 00 31, "" 44 52 00 00, "clé" A9 C3 6C 63, "SOFT" 54 46 4F 53.
    "modes of restrictions": (
        "SELECT ID, Mode FROM Restrictions LIMIT 8",
        [(41, ""), (42, "1"), (45, "HARDLIMIT1"), (46, "1"), (49, ""), (50, "clé"), (53, "SOFT"), (54, "2")],
        'SELECT "ID", "Mode" FROM "Restrictions" ORDER BY ctid LIMIT 8',
        [
            (41, "0"),
            (42, "49"),
            (45, str(0x44524148)),
            (46, str(0x44520031)),
            (49, str(0x44520000)),
            (50, str(0xA9C36C63 - 2**32)),
            (53, str(0x54464F53)),
            (54, str(0x54460032)),
        ],
    ),
    "orders in a pool": (
        "SELECT OrderID, PoolID FROM OrdersInPool LIMIT 4 OFFSET 4",
        [(69, 5), (70, 6), (73, 1), (74, 2)],
        'SELECT "OrderID", "PoolID" FROM "OrdersInPool" ORDER BY ctid LIMIT 4 OFFSET 4',
        [(5, 5), (6, 6), (7, 1), (8, 2)],
    ),
    "stop orders keep all their numbers": (
        "SELECT o.OrderID, o.GroupOrderID, g.GroupID FROM StopOrders o JOIN GroupStopOrders g ON g.ID = o.GroupOrderID"
        " ORDER BY 1 LIMIT 3",
        [(7001, 701, 11), (7002, 702, 12), (7005, 705, 15)],
        'SELECT o."OrderID", o."GroupOrderID", g."GroupID" FROM "StopOrders" o'
        ' JOIN "GroupStopOrders" g ON g."ID" = o."GroupOrderID" ORDER BY 1 LIMIT 3',
        [(7001, 701, 11), (7002, 702, 12), (7005, 705, 15)],
    ),
    "NULLs of group negotiated orders": (
        "SELECT ID, GroupID, Price, Vozm, KilledQty, RepoTerm, OrderType, Flags, BWCounter FROM GroupNegOrders LIMIT 5",
        [
            (801, 11, None, 100.0, None, 7, None, 0, 95001),
            (802, 12, 89.19, None, -1e-300, 8, -1, None, 95002),
            (805, 15, 168.38, 45462.6, 1.7976931348623157e308, 9, 2, INT_MAX, None),
            (806, 16, 247.57, 99028.0, 5e-324, None, 0, 3, 95004),
            (809, 19, None, None, None, None, None, None, None),
        ],
        'SELECT "ID", "GroupID", "Price", "Vozm", "KilledQty", "RepoTerm", "OrderType", "Flags", "BWCounter"'
        ' FROM "GroupNegOrders" ORDER BY ctid LIMIT 5',
        [
            (801, 1, 1e50, 100.0, 1e50, 7, INT_MIN, 0, 95001),
            (802, 2, 89.19, 1e50, -1e-300, 8, -1, INT_MIN, 95002),
            (805, 3, 168.38, 45462.6, 1.7976931348623157e308, 9, 2, INT_MAX, INT_MIN),
            (806, 4, 247.57, 99028.0, 5e-324, INT_MIN, 0, 3, 95004),
            (809, 5, 1e50, 1e50, 1e50, INT_MIN, INT_MIN, INT_MIN, INT_MIN),
        ],
    ),
    # RepoTerm and Flags are the low four bytes of the number as a double: 2147483647 is 41DFFFFF FFC00000.
    "numbers of negotiated orders that are read as doubles": (
        "SELECT OrderId, RepoTerm, Flags, BWUserID, BWCounter FROM NegOrders LIMIT 5",
        [
            (8001, None, 0, 100, 96001),
            (8002, INT_MAX, None, 101, 96002),
            (8005, 9, -1, 102, None),
            (8006, 10, 3, 103, 96004),
            (8009, None, None, 104, None),
        ],
        'SELECT "OrderId", "RepoTerm", "Flags", "BWUserID", "BWCounter" FROM "NegOrders" ORDER BY ctid LIMIT 5',
        [
            (8001, INT_MIN, 0, 100, 96001),
            (8002, -4194304, INT_MIN, 101, 96002),
            (8005, 0, 0, 102, INT_MIN),
            (8006, 0, 0, 103, 96004),
            (8009, INT_MIN, INT_MIN, 104, INT_MIN),
        ],
    ),
    # The number's bytes as text. At NULL only the first byte is cleared.
    "broker pools of exported orders": (
        "SELECT ID, GroupOrderID, PoolID, BrokerPoolID FROM ExportOrder LIMIT 9",
        [
            (601, 501, 1, None),
            (602, 502, None, "65"),
            (605, 505, 3, None),
            (606, 506, 4, "1145258561"),
            (609, 509, 5, None),
            (610, 510, None, "0"),
            (613, 513, 1, "256"),
            (614, 514, 2, "16961"),
            (617, 517, 3, "66"),
        ],
        'SELECT "ID", "GroupOrderID", "PoolID", "BrokerPoolID" FROM "ExportOrder" ORDER BY ctid LIMIT 9',
        [
            (601, 501, 1, ""),
            (602, 502, -1, "A"),
            (605, 505, 3, ""),
            (606, 506, 4, "ABCD"),
            (609, 509, 5, ""),
            (610, 510, -1, ""),
            (613, 513, 1, ""),
            (614, 514, 2, "AB"),
            (617, 517, 3, "B"),
        ],
    ),
}


@pytest.mark.parametrize("case", ODD_VALUES)
def test_odd_values_arrive_as_written_here(migrated, case):
    source_query, source_rows, destination_query, destination_rows = ODD_VALUES[case]

    with contextlib.closing(sqlite3.connect(migrated.source_file)) as source:
        assert source.execute(source_query).fetchall() == source_rows
    assert migrated.query_destination(destination_query) == destination_rows


SESSION_0 = "648f60bdd6b266f650911152c3fe5efa61c591ae"
SESSION_2 = "c4facf679bf0976c71ec9b5faa2cdce1601fa9d1"

# Table -> number of a row, and what the log says of it: what was read, cut and with NULLs replaced, under the source's
# identifiers. Only the group of a negotiated order is translated as early as that.
LOGGED_ROWS = {
    "SystemData": (3, "[KeyName] = firm, [KeyValue] = Brantwell Zürich;"),
    "GroupDesc": (
        2,
        "[GroupID] = 12, [GroupCode] = GRP00001, [GroupName] = Crédit Genève, réserve, [disabled] = 0, [Mode] = LOTS, "
        "[DefWeight] = -1e-300, [SplitOrders] = -1;",
    ),
    "Clients": (
        4,
        "[ClientCode] = DESK/CLIENT/00000003, [GroupID] = 16, [Num] = 3, [Weight] = 4.94066e-324, "
        "[Comment] = Calls only in the morning, never on Fridays. Calls;",
    ),
    "GroupOrders": (
        3,
        "[ID] = 505, [GroupID] = 15, [TradeDate] = 20230109, [TradeTime] = 93114, [Buy] = B, [ML] = M, "
        "[SecCode] = XS0000000014, [ClassCode] = TQOB, [Price] = 168.38, [Qty] = 270, [RealQty] = 260, "
        "[BalanceQty] = 10, [KilledQty] = 0, [Status] = K, [Result] = 0, [OrdersCount] = 3, [Flags] = 0123456789, "
        f"[PoolID] = 2, [Value] = 1.79769e+308, [BWUserID] = 102, [BWSessionID] = {SESSION_2}, [BWCounter] = 70007, "
        "[VisibleQty] = 135;",
    ),
    "Orders": (
        6,
        "[OrderID] = 9010, [GroupOrderID] = 510, [Buy] = S, [ML] = M, [TradeDate] = 20230111, [TradeTime] = 93305, "
        "[SecCode] = DVNA, [ClassCode] = TQBR, [ClientCode] = KL0000000005, [TrdAcc] = L01+0005, [Price] = 643.52, "
        "[Qty] = 660, [BalanceQty] = -660, [OrderNum] = 1.89273e+15, [Status] = C, [Result] = 1, [OrderInPoolID] = 2, "
        "[Value] = 2.22507e-308, [VisibleQty] = 660, [BWUserID] = 105, [BWSessionID] = ARM005-20230116, "
        "[BWCounter] = 80011;",
    ),
    "SecGroups": (
        4,
        "[ID] = 6, [SecGCode] = SG0003, [SecGName] = , [disabled] = 1, [Filter] = ALL, [mode] = exclude_10, "
        "[RAgencies] = -3, [ListLevel] = 3;",
    ),
    "SecGrMemb": (
        3,
        "[GroupID] = 5, [MembType] = A, [MembCode] = CRNE, [MembClass] = NEGOTIATED_DEALS_EUR, [MembID] = 102;",
    ),
    "SecMinQt": (3, "[ClassCode] = TQOB, [SecCode] = CRNE, [MinQty] = -10;"),
    "ImportLog": (
        3,
        "[ID] = 11, [ImportType] = client prices, client prices, cl, [BWUserID] = 102, "
        f"[BWSessionID] = {SESSION_2}, [BWCounter] = -1;",
    ),
    "LoadedPositions": (
        10,
        "[PosID] = 18, [PosType] = 2, [FirmID] = MC0012300000, [ActiveCode] = RDGE, "
        "[ClientCode] = KL0000000009, [LimitKind] = 0, [OpenBalance] = 0;",
    ),
    "RatingAgencies": (
        2, "[AgencyID] = 2, [AgencyCode] = AG001, [AgencyName] = Agence d'évaluation Père & Müller;"
    ),
    "RatingScales": (
        8, "[RatingID] = 34, [AgencyID] = 6, [National] = 1, [Rating] = D, [Position] = -1;"
    ),
    "LoadedSecurities": (
        2,
        "[SecID] = 302, [SecCode] = BLTK, [SecName] = Köln é, [SecStyle] = Debt paper/Debt , "
        "[SecType] = corporate bond/corporate bond/co, [FaceValue] = 1000, [AccInt] = -1e-300, [Price] = 89.19;",
    ),
    "LoadedSecuritiesClientPrices": (
        3, "[ClientID] = 1, [SecID] = 305, [Code] = C00002, [CodeType] = -1, [Price] = 1.79769e+308;"
    ),
    "Restrictions": (
        4,
        "[ID] = 46, [RestType] = C, [Client] = C00003, [Mode] = 1, [Limit] = 4.94066e-324, [SecGroupID] = 6, "
        "[CoSecGroupID] = -1, [disabled] = 1, [Value] = 0.375, [NoCheck] = 1, [BWUserID] = 103, "
        "[BWSessionID] = ARM003-20230112, [BWCounter] = 90004, [LimitKind] = 0, [RestrCode] = RESTR0000003, "
        "[RestrName] = Limit 3;",
    ),
    "PoolOrders": (
        2,
        "[PoolID] = 2, [BrokerPoolID] = BROKER-POOL/00000000000000000001, [PoolName] = , [LoadDate] = 20230109, "
        "[LoadTime] = 93037, [ExpireDate] = 20230123, [Source] = /import/pool1.csv, [Status] = Active, "
        "[KillTime] = 93342, [TotalQty] = 14000, [SendQty] = 7000, [ExecQty] = 3500, [RejectQty] = 0, "
        "[KilledQty] = -1e-300, [ActiveQty] = 3500;",
    ),
    "OrdersInPool": (
        2,
        "[OrderID] = 62, [PoolID] = 2, [OrderType] = S, [ClientCode] = KL0000000001, [ClassCode] = TQBR, "
        "[SecCode] = HVST, [Price] = 89.19, [Qty] = 140, [Buy] = S, [ML] = M, [SendQty] = 70, [ExecQty] = 35, "
        "[RejectQty] = 0, [KillQty] = -1e-300, [ActiveQty] = 35, [Comment] = à vérif;",
    ),
    "GroupStopOrders": (
        1,
        "[ID] = 701, [GroupID] = 11, [StopStyle] = 0, [TradeDate] = 20230109, [TradeTime] = 93000, [Buy] = B, "
        "[ML] = L, [SecCode] = AURX, [ClassCode] = TQBR, [ASecCode] = XS0000000014, [AClassCode] = TQBR, "
        "[StopCond] = 0, [TransFlags] = -1, [StopPrice] = 10, [Price] = 10.5, [LinkedPrice] = 0, [Offset] = 0.25, "
        "[Spread] = 0.05, [Qty] = 10, [RealQty] = 10, [BalanceQty] = 5, [KilledQty] = 1e+300, "
        "[BaseOrderNum] = 9.0072e+15, [Status] = A, [Result] = 0, [OrdersCount] = 1, [LinkedGrOrder] = 0, "
        "[CoOrderNum] = 1.89273e+15, [Expire] = 20230113, [StopPrice2] = 9, [ActiveFromTime] = 100000, "
        "[ActiveToTime] = 184500;",
    ),
    "StopOrders": (
        2,
        "[OrderID] = 7002, [GroupOrderID] = 702, [StopStyle] = 1, [Buy] = S, [ML] = M, [TradeDate] = 20230109, "
        "[TradeTime] = 93037, [SecCode] = HVST, [ClassCode] = TQBR, [ASecCode] = , [AClassCode] = , [StopCond] = 1, "
        "[TransFlags] = 1, [ClientCode] = KL0000000001, [StopPrice] = 89.19, [Price] = 89.69, [LinkedPrice] = 0, "
        "[Offset] = -0.25, [Spread] = 0.05, [Qty] = 140, [Balance] = -1e-300, [StopOrderNum] = 1.89273e+15, "
        "[LinkedOrderNum] = 9.0072e+15, [BaseOrderNum] = 0, [CoOrderNum] = 1.89273e+15, [Status] = K, [Result] = 1, "
        "[Expire] = 20230116, [StopPrice2] = 88.19, [ActiveFromTime] = 100000, [ActiveToTime] = 184500, "
        "[TrdAcc] = L01+0001;",
    ),
    "GroupNegOrders": (
        1,
        "[ID] = 801, [GroupID] = 1, [TradeDate] = 20230109, [TradeTime] = 93000, [Buy] = B, [SecCode] = AURX, "
        "[ClassCode] = NEGDEALS_EUR, [CPFirmID] = MC0012300000, [SettleCode] = SETTLE_CODE2, [MatchRef] = , "
        "[Price] = 1e+50, [Vozm] = 100, [Qty] = 10, [RealQty] = 10, [KilledQty] = 1e+50, [Status] = A, [Result] = 0, "
        "[OrdersCount] = 1, [RepoValue] = 1e+06, [RealRepoValue] = 1e+06, [Discount] = 0.5, [DiscountUpper] = 1e+50, "
        "[DiscountLower] = 12.5, [RepoRate] = -0.75, [RepoTerm] = 7, [OrderType] = -2147483648, [Flags] = 0, "
        f"[BWUserID] = 100, [BWSessionID] = {SESSION_0}, [BWCounter] = 95001;",
    ),
    "NegOrders": (
        2,
        "[OrderId] = 8002, [GroupOrderID] = 802, [TradeDate] = 20230109, [TradeTime] = 93037, [Buy] = S, "
        "[ClassCode] = NEGDEALS_EUR, [SecCode] = HVST, [ClientCode] = KL0000000001, [TrdAcc] = L01+0001, "
        "[CPFirmId] = NC0045600000, [SettleCode] = T0, [MatchRef] = REF0123456, [Price] = 89.19, [Vozm] = 1e+50, "
        "[Qty] = 140, [OrderNum] = 1.89273e+15, [Status] = K, [Result] = 1, [RepoValue] = -1e-300, [Discount] = 0.5, "
        "[DiscountUpper] = 1e+50, [DiscountLower] = 12.5, [RepoRate] = -0.75, [RepoTerm] = -4194304, "
        "[Flags] = -2147483648, [BWUserID] = 101, [BWSessionID] = ARM001-20230110, [BWCounter] = 96002;",
    ),
    "ExportOrder": (
        2,
        "[ID] = 602, [OrderID] = 9002, [GroupOrderID] = 502, [OrderType] = 1, [TradeDate] = 20230109, "
        "[SendDate] = 20230109, [SendTime] = 93037, [OrderTime] = 93114, [Status] = -1, [UserGroupID] = 12, "
        "[UserGroupCode] = GRP00001, [PoolID] = -1, [BrokerPoolID] = A, [ClientCode] = KL0000000001, "
        "[TrdAcc] = L01+0001, [Price] = 89.19, [Qty] = 140, [Balance] = 70, [Buy] = S, [ML] = M, [ClassCode] = TQBR, "
        "[SecCode] = HVST, [VisibleQty] = 140, [RepoValue] = -1e-300, [Discount] = 0.5, [DiscountUpper] = 12.5, "
        "[DiscountLower] = -0.125, [RepoRate] = -0.75, [RepoTerm] = 1;",
    ),
}


@pytest.mark.parametrize("table", expectations.MIGRATED_TABLES)
def test_the_log_describes_the_row_as_written_here(migrated, table):
    number, description = LOGGED_ROWS[table]

    log = expectations.masked(migrated.log_file.read_text())

    assert _descriptions(log, table)[number - 1] == description
