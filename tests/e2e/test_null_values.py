"""NULL in the source: it ends the reading of a table, is replaced by a number, or lets the row before shine through."""

import pytest

import expectations
import sample_data
import source
from migration import Migration, assert_destination

INT_MIN = -2147483648

# These are read column by column; all other tables into bound columns.
READ_BY_COLUMN = ("GroupNegOrders", "NegOrders", "ExportOrder")
BOUND_TABLES = [table for table in expectations.MIGRATED_TABLES if table not in READ_BY_COLUMN]

A_GROUP_NEG_ORDER = {
    "ID": 1, "GroupID": 70, "TradeDate": 20240109, "TradeTime": 93000, "Buy": "B", "SecCode": "AURX",
    "ClassCode": "NEGDEALS_EUR", "CPFirmID": "MC00123", "SettleCode": "T0", "MatchRef": "REF1", "Price": 1.5,
    "Vozm": 2.5, "Qty": 3.5, "RealQty": 4.5, "KilledQty": 5.5, "Status": "A", "Result": "0", "OrdersCount": 6,
    "RepoValue": 7.5, "RealRepoValue": 8.5, "Discount": 9.5, "DiscountUpper": 10.5, "DiscountLower": 11.5,
    "RepoRate": 12.5, "RepoTerm": 13, "OrderType": 14, "Flags": 15, "BWUserID": 16, "BWSessionID": "ARM1",
    "BWCounter": 17,
}  # fmt: skip
A_NEG_ORDER = {
    "OrderId": 1, "GroupOrderID": 2, "TradeDate": 20240109, "TradeTime": 93000, "Buy": "B", "ClassCode": "NEGDEALS_EUR",
    "SecCode": "AURX", "ClientCode": "KL1", "TrdAcc": "L01", "CPFirmId": "MC00123", "SettleCode": "T0",
    "MatchRef": "REF1", "Price": 1.5, "Vozm": 2.5, "Qty": 3.5, "OrderNum": 4.5, "Status": "A", "Result": "0",
    "RepoValue": 5.5, "Discount": 6.5, "DiscountUpper": 7.5, "DiscountLower": 8.5, "RepoRate": 9.5, "RepoTerm": 10,
    "Flags": 11, "BWUserID": 12, "BWSessionID": "ARM1", "BWCounter": 13,
}  # fmt: skip
AN_EXPORT_ORDER = {
    "ID": 1, "OrderID": 2, "GroupOrderID": 3, "OrderType": 4, "TradeDate": 20240109, "SendDate": 20240110,
    "SendTime": 93000, "OrderTime": 93001, "Status": 5, "UserGroupID": 6, "UserGroupCode": "GRP1", "PoolID": 7,
    "BrokerPoolID": "65", "ClientCode": "KL1", "TrdAcc": "L01", "Price": 1.5, "Qty": 2.5, "Balance": 3.5, "Buy": "B",
    "ML": "L", "ClassCode": "TQBR", "SecCode": "AURX", "VisibleQty": 4.5, "RepoValue": 5.5, "Discount": 6.5,
    "DiscountUpper": 7.5, "DiscountLower": 8.5, "RepoRate": 9.5, "RepoTerm": 8,
}  # fmt: skip
A_ROW = {"GroupNegOrders": A_GROUP_NEG_ORDER, "NegOrders": A_NEG_ORDER, "ExportOrder": AN_EXPORT_ORDER}

# What arrives of these rows where it differs from them.
ARRIVES = {
    "GroupNegOrders": {"GroupID": 1},
    "NegOrders": {"RepoTerm": 0, "Flags": 0},
    "ExportOrder": {"BrokerPoolID": "A"},
}

NULL_REPLACEMENTS = {
    "GroupNegOrders": {
        "Price": 1e50, "Vozm": 1e50, "Qty": 1e50, "RealQty": 1e50, "KilledQty": 1e50, "RepoValue": 1e50,
        "RealRepoValue": 1e50, "Discount": 1e50, "DiscountUpper": 1e50, "DiscountLower": 1e50, "RepoRate": 1e50,
        "RepoTerm": INT_MIN, "OrderType": INT_MIN, "Flags": INT_MIN, "BWCounter": INT_MIN,
    },
    "NegOrders": {
        "Price": 1e50, "Vozm": 1e50, "Qty": 1e50, "RepoValue": 1e50, "Discount": 1e50, "DiscountUpper": 1e50,
        "DiscountLower": 1e50, "RepoRate": 1e50, "RepoTerm": INT_MIN, "Flags": INT_MIN, "BWCounter": INT_MIN,
    },
    "ExportOrder": {"PoolID": -1, "BrokerPoolID": ""},
}  # fmt: skip

KEYS = {"GroupNegOrders": "ID", "NegOrders": "OrderId", "ExportOrder": "ID"}


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces with the given rows of one table, which has no constraints, and the client group 70."""

    def make(table, rows):
        def fill(path):
            source.drop_constraints(path, table)
            source.insert(path, "GroupDesc", GroupID=70)
            for row in rows:
                source.insert(path, table, **row)

        return new_workspace(fill=fill)

    return make


def _destination_rows(workspace, table) -> list[dict]:
    names = list(A_ROW[table])
    columns = ", ".join(f'"{name}"' for name in names)
    rows = workspace.query_destination(f'SELECT {columns} FROM "{table}" ORDER BY ctid')
    return [dict(zip(names, row, strict=True)) for row in rows]


def _assert_complete(run, rows) -> None:
    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 1, "GroupDesc": 1} | rows)
    assert run.errors == ""
    assert run.exit_code == 0


def _append_a_row_with_null(path, table, kinds, place) -> None:
    """Adds a copy of the last row with NULL in one of the columns of some kinds, and a whole copy of it.

    A table that has no such column gets the NULL in one of the others.
    """
    columns = source.columns(path, table)
    names = [name for name, kind in columns.items() if kind.startswith(kinds)] or list(columns)
    row = source.rows(path, table)[-1]
    source.insert(path, table, **row | {names[place]: None})
    source.insert(path, table, **row)


@pytest.mark.parametrize("place", [0, -1], ids=["first", "last"])
@pytest.mark.parametrize("kinds", [("int",), ("float",), ("char", "varchar")], ids=["integer", "double", "text"])
def test_null_in_a_bound_column_of_every_table_ends_the_table_like_its_end(new_workspace, kinds, place):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    expected = Migration(workspace.source_file)
    for table in BOUND_TABLES:
        source.drop_constraints(workspace.source_file, table)
        _append_a_row_with_null(workspace.source_file, table, kinds, place)

    run = workspace.run()

    rows = {table: len(of_table) for table, of_table in expected.rows.items()}
    assert expectations.masked(run.console) == expectations.complete_console(rows)
    log = expectations.masked(workspace.log_file.read_text())
    assert log == expectations.complete_log(expected.descriptions)
    assert_destination(workspace, expected)


@pytest.mark.parametrize("column", ["ClientCode", "GroupID", "Weight"])
def test_null_in_the_first_row_leaves_the_table_empty(new_source, column):
    row = {"ClientCode": "KL1", "GroupID": 70, "Weight": 1.5}
    workspace = new_source("Clients", [row | {column: None}, row])

    run = workspace.run()

    _assert_complete(run, {"Clients": 0})
    assert workspace.query_destination('SELECT * FROM "Clients"') == []


@pytest.mark.parametrize("table", READ_BY_COLUMN)
def test_null_where_the_source_allows_it_is_replaced(new_source, table):
    row = A_ROW[table]
    replaced = NULL_REPLACEMENTS[table]
    # A row without NULL follows each row with one.
    nulls = [null for column in replaced for null in ({column: None}, {})]
    workspace = new_source(table, [row | {KEYS[table]: key} | null for key, null in enumerate(nulls)])

    run = workspace.run()

    _assert_complete(run, {table: 2 * len(replaced)})
    replacements = [value for column in replaced for value in ({column: replaced[column]}, {})]
    assert _destination_rows(workspace, table) == [
        row | ARRIVES[table] | {KEYS[table]: key} | value for key, value in enumerate(replacements)
    ]


# FreeTDS reports success for a NULL that is read without an indicator, and leaves the field alone. By the book it
# reports 22002, which would end the table here.


@pytest.mark.parametrize("table", READ_BY_COLUMN)
def test_null_where_the_source_forbids_it_becomes_the_value_of_the_row_before(new_source, table):
    row = A_ROW[table]
    # What becomes of these two is more than the value of the row before; see below.
    special = {"GroupNegOrders": "GroupID", "NegOrders": "BWUserID", "ExportOrder": None}[table]
    columns = [column for column in row if column not in NULL_REPLACEMENTS[table] and column != special]
    before = {column: "X" if isinstance(row[column], str) else row[column] + 50 for column in columns}
    rows = []
    for column in columns:
        rows += [row | {column: before[column]}, row | {column: None}, row]
    workspace = new_source(table, rows)
    workspace.execute_destination(f'ALTER TABLE "{table}" DROP CONSTRAINT "{table}_pkey"')

    run = workspace.run()

    _assert_complete(run, {table: len(rows)})
    arrived = row | ARRIVES[table]
    expected = []
    for column in columns:
        expected += [arrived | {column: before[column]}, arrived | {column: before[column]}, arrived]
    assert _destination_rows(workspace, table) == expected


def test_null_where_the_source_forbids_it_is_zero_or_empty_in_the_first_row(new_source):
    nulls = {"GroupOrderID": None, "ClientCode": None, "OrderNum": None, "BWSessionID": None}
    workspace = new_source("NegOrders", [A_NEG_ORDER | nulls])

    run = workspace.run()

    _assert_complete(run, {"NegOrders": 1})
    zeros = {"GroupOrderID": 0, "ClientCode": "", "OrderNum": 0.0, "BWSessionID": ""}
    assert _destination_rows(workspace, "NegOrders") == [A_NEG_ORDER | ARRIVES["NegOrders"] | zeros]


def test_null_user_of_a_negotiated_order_becomes_the_upper_half_of_its_flags(new_source):
    """Flags are read as a double of eight bytes into a field of four: the other four go into the user's field."""
    rows = [
        A_NEG_ORDER,
        A_NEG_ORDER | {"OrderId": 2, "BWUserID": None, "Flags": 2},
        A_NEG_ORDER | {"OrderId": 3, "BWUserID": None, "Flags": 0},
        A_NEG_ORDER | {"OrderId": 4, "BWUserID": 77, "Flags": 2},
        A_NEG_ORDER | {"OrderId": 5, "BWUserID": None, "Flags": None},
    ]
    workspace = new_source("NegOrders", rows)

    run = workspace.run()

    _assert_complete(run, {"NegOrders": 5})
    assert [(row["OrderId"], row["BWUserID"]) for row in _destination_rows(workspace, "NegOrders")] == [
        (1, 12),
        (2, 0x40000000),  # 2.0 is 40000000 00000000
        (3, 0),
        (4, 77),
        (5, 77),
    ]


def test_null_group_of_a_group_negotiated_order_is_translated_from_the_new_group_of_the_row_before(new_workspace):
    def fill(path):
        source.drop_constraints(path, "GroupNegOrders")
        # The second group that is read gets 2, and so do the first 1.
        source.insert(path, "GroupDesc", GroupID=2)
        source.insert(path, "GroupDesc", GroupID=1)
        source.insert(path, "GroupNegOrders", ID=1, GroupID=2)
        source.insert(path, "GroupNegOrders", ID=2, GroupID=None)
        source.insert(path, "GroupNegOrders", ID=3, GroupID=None)

    workspace = new_workspace(fill=fill)

    workspace.run()

    # 2 has become 1; 1, left in the field, becomes 2; and that becomes 1 again.
    assert workspace.query_destination('SELECT "ID", "GroupID" FROM "GroupNegOrders" ORDER BY ctid') == [
        (1, 1),
        (2, 2),
        (3, 1),
    ]


def test_null_group_of_a_group_negotiated_order_ends_the_run_where_the_new_group_is_no_old_one(new_source):
    rows = [A_GROUP_NEG_ORDER, A_GROUP_NEG_ORDER | {"ID": 2, "GroupID": None}]
    workspace = new_source("GroupNegOrders", rows)

    run = workspace.run()

    assert run.console.endswith("\nStart migrate GroupNegOrders table\n")
    assert workspace.log_file.read_text().endswith(" :: invalid map<K, T> key")
    assert [row["ID"] for row in _destination_rows(workspace, "GroupNegOrders")] == [1]
    assert run.exit_code == 0
