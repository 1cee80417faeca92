"""Each flaw that `bw_db_check before` looks for in the rows: its finding, and no other."""

import contextlib
import sqlite3

import pytest

import flawed_source
import lab
import scratch
import source
from checker import check

INT_MIN = -2147483648

A_RESTRICTION = {
    "ID": 1, "RestType": "A", "Client": "C1", "Mode": "1", "Limit": 1.5, "SecGroupID": 1, "CoSecGroupID": 1,
    "disabled": "0", "Value": 2.5, "NoCheck": 0, "BWUserID": 1, "BWSessionID": "S", "BWCounter": 1, "LimitKind": 0,
    "RestrCode": "R", "RestrName": "N",
}  # fmt: skip


@pytest.fixture
def workspace(shared_lab):
    """A clean source and an empty destination."""
    with shared_lab.workspace(flawed_source.create_clean) as started:
        yield started


def _update(workspace, table, number, **values) -> None:
    """Changes columns of the row with that number in its first column."""
    key = next(iter(source.columns(workspace.source_file, table)))
    changes = ", ".join(f"[{name}] = ?" for name in values)
    workspace.execute_source(f"UPDATE [{table}] SET {changes} WHERE [{key}] = {number}", [tuple(values.values())])


def _arrives(result, table, identifier) -> list[str]:
    return next(each["arrives"] for each in result.table(table)["findings"] if each["id"] == identifier)


def test_a_clean_database_has_no_findings(workspace):
    result = check(workspace, "before")

    assert result.findings() == []
    assert result.code == 0
    # 22 tables of three rows, none of Restrictions, and the schema version.
    assert result.text.endswith(
        "\nGoes through unchanged. Of 64 rows, 64 will arrive unchanged, 0 changed, 0 not at all.\n"
    )
    assert {table["arriving_rows"] for table in result.report["tables"]} == {0, 3, 4}


def test_null_that_ends_a_table(workspace):
    _update(workspace, "LoadedPositions", 2, OpenBalance=None)

    result = check(workspace, "before")

    assert result.findings() == [("LoadedPositions", "null-ends-table", "OpenBalance", 1, ["PosID = 2"])]
    assert result.code == 1
    (finding,) = result.table("LoadedPositions")["findings"]
    assert finding["cost"] == "rows-lost"
    assert finding["text"] == (
        "NULL ends the table without a message. As the source gives its rows now, 1 of 3 rows will arrive. The source promises"
        " no order: at least 1 row will be lost, at most all 3."
    )
    assert finding["query"] == {
        "side": "source",
        "text": "SELECT [PosID], [OpenBalance] FROM dbo.[LoadedPositions] WHERE [OpenBalance] IS NULL;",
    }
    assert result.table("LoadedPositions")["arriving_rows"] == 1
    assert result.text.endswith(
        "\nGoes through with changes. Of 64 rows, 62 will arrive unchanged, 0 changed, 2 not at all.\n"
    )


def test_nulls_of_two_columns_are_two_findings_with_the_first_five_rows(workspace):
    for number in range(4, 12):
        source.insert(workspace.source_file, "ImportLog", ID=number, ImportType=None if number > 5 else "x")
    _update(workspace, "ImportLog", 11, BWSessionID=None)

    result = check(workspace, "before")

    # A row counts for its first NULL.
    assert result.findings() == [
        ("ImportLog", "null-ends-table", "ImportType", 6, ["ID = 6", "ID = 7", "ID = 8", "ID = 9", "ID = 10"])
    ]
    assert result.table("ImportLog")["arriving_rows"] == 5


@pytest.mark.parametrize(
    ("table", "column", "arrives"),
    [
        ("GroupNegOrders", "Price", "NULL arrives as 1e+50"),
        ("GroupNegOrders", "OrderType", "NULL arrives as -2147483648"),
        ("NegOrders", "RepoRate", "NULL arrives as 1e+50"),
        ("NegOrders", "RepoTerm", "NULL arrives as -2147483648"),
        ("ExportOrder", "PoolID", "NULL arrives as -1"),
        ("ExportOrder", "BrokerPoolID", "NULL arrives as ''"),
    ],
)
def test_null_that_arrives_as_a_value(workspace, table, column, arrives):
    _update(workspace, table, 3, **{column: None})

    result = check(workspace, "before")

    key = {"NegOrders": "OrderId"}.get(table, "ID")
    assert result.findings() == [(table, "null-replaced", column, 1, [f"{key} = 3"])]
    assert _arrives(result, table, "null-replaced") == [arrives]
    assert result.table(table)["unchanged_rows"] == 2


def test_null_that_repeats_the_row_before(workspace):
    _update(workspace, "NegOrders", 1, ClientCode="BEFORE")
    _update(workspace, "NegOrders", 2, ClientCode=None)

    result = check(workspace, "before")

    assert result.findings() == [("NegOrders", "null-repeats-row-before", "ClientCode", 1, ["OrderId = 2"])]
    assert _arrives(result, "NegOrders", "null-repeats-row-before") == ["NULL arrives as 'BEFORE'"]


def test_null_user_of_a_negotiated_order_gets_half_of_its_flags(workspace):
    # 3 as a double is 4008 0000 0000 0000; the upper half is 1074266112.
    _update(workspace, "NegOrders", 2, Flags=3, BWUserID=None)

    result = check(workspace, "before")

    assert result.findings() == [
        ("NegOrders", "null-repeats-row-before", "BWUserID", 1, ["OrderId = 2"]),
        ("NegOrders", "value-changed", "Flags", 1, ["OrderId = 2"]),
    ]
    assert _arrives(result, "NegOrders", "null-repeats-row-before") == ["NULL arrives as 1074266112"]


def test_text_that_is_cut(workspace):
    _update(workspace, "LoadedPositions", 3, ClientCode="ABCDEFGHIJKLMNOP")

    result = check(workspace, "before")

    assert result.findings() == [("LoadedPositions", "text-cut", "ClientCode", 1, ["PosID = 3"])]
    assert _arrives(result, "LoadedPositions", "text-cut") == ["arrives as 'ABCDEFGHIJKL'"]


def test_zero_byte_in_a_text(workspace):
    _update(workspace, "SecGroups", 2, SecGName="AB\0CD")

    result = check(workspace, "before")

    assert result.findings() == [("SecGroups", "zero-byte", "SecGName", 1, ["ID = 2"])]
    assert _arrives(result, "SecGroups", "zero-byte") == ["arrives as 'AB'"]


def test_letter_that_the_destination_lacks(workspace, shared_lab):
    shared_lab.postgres.execute(
        "CREATE DATABASE cyrillic ENCODING 'WIN1251' LOCALE 'C' TEMPLATE template0 OWNER bw_migrator"
    )
    try:
        connection = shared_lab.postgres.connect("cyrillic", lab.DESTINATION_LOGIN, lab.DESTINATION_PASSWORD)
        with connection.cursor() as cursor:
            cursor.execute(lab.DESTINATION_SCHEMA.read_text())
        connection.close()
        workspace.database, original = "cyrillic", workspace.database
        workspace.write_data_sources()
        _update(workspace, "SecGroups", 2, SecGName="Zürich")

        result = check(workspace, "before")

        workspace.database = original
    finally:
        shared_lab.postgres.execute("DROP DATABASE cyrillic WITH (FORCE)")
    assert ("SecGroups", "character-refused", "SecGName", 1, ["ID = 2"]) in result.findings()
    assert result.report["run_ends_in"] == "SecGroups"
    assert result.table("SecGroups")["arriving_rows"] == 1


def test_letter_without_room_in_a_column_of_one(workspace):
    _update(workspace, "SecGroups", 2, disabled="é")

    result = check(workspace, "before")

    # Its two bytes are cut to one, which is no letter.
    assert result.findings() == [
        ("SecGroups", "character-refused", "disabled", 1, ["ID = 2"]),
        ("SecGroups", "text-cut", "disabled", 1, ["ID = 2"]),
    ]
    assert result.report["run_ends_in"] == "SecGroups"


@pytest.mark.parametrize(
    ("table", "column", "key"),
    [
        ("Clients", "GroupID", None),
        ("GroupOrders", "GroupID", "ID = 2"),
        ("Orders", "GroupOrderID", "OrderID = 2"),
        ("OrdersInPool", "PoolID", "OrderID = 2"),
        ("GroupNegOrders", "GroupID", "ID = 2"),
    ],
)
def test_reference_to_no_row_ends_the_run(workspace, table, column, key):
    if key:
        _update(workspace, table, 2, **{column: 77})
    else:
        workspace.execute_source("UPDATE Clients SET GroupID = 77, ClientCode = 'C77' WHERE rowid = 2")
        key = "GroupID = 77, ClientCode = C77"

    result = check(workspace, "before")

    expected = [(table, "reference-missing", column, 1, [key])]
    if table == "GroupOrders":
        expected.append(("Orders", "parent-refused", "GroupOrderID", 1, ["OrderID = 1"]))
    assert result.findings() == expected
    assert result.report["run_ends_in"] == table
    assert result.table(table)["arriving_rows"] == 1
    assert f"The run will end in {table}, because {column} of {key} names no row." in result.text


def test_reference_to_a_row_behind_the_end_of_its_table(workspace):
    _update(workspace, "GroupDesc", 2, GroupName=None)
    workspace.execute_source("DELETE FROM Clients")
    workspace.execute_source("UPDATE GroupOrders SET GroupID = 3 WHERE ID = 3")
    workspace.execute_source("UPDATE GroupOrders SET GroupID = 1 WHERE ID < 3")

    result = check(workspace, "before")

    assert ("GroupDesc", "null-ends-table", "GroupName", 1, ["GroupID = 2"]) in result.findings()
    assert ("GroupOrders", "reference-not-migrated", "GroupID", 1, ["ID = 3"]) in result.findings()
    assert result.report["run_ends_in"] == "GroupOrders"
    assert "because GroupID of ID = 3 names a row that is not migrated" in result.text


def test_number_that_is_there_twice(workspace):
    _update(workspace, "GroupDesc", 3, GroupID=2)
    for table, columns in {
        "Clients": ["GroupID"], "GroupOrders": ["GroupID"], "GroupStopOrders": ["GroupID"],
        "GroupNegOrders": ["GroupID"], "ExportOrder": ["UserGroupID"],
    }.items():  # fmt: skip
        for column in columns:
            workspace.execute_source(f"UPDATE [{table}] SET [{column}] = 1")

    result = check(workspace, "before")

    assert result.findings() == [("GroupDesc", "duplicate-number", "GroupID", 1, ["GroupID = 2"])]


def test_pools_whose_orders_go_to_another_pool(workspace):
    # The pools are read as 2, 3, 1 and become 1, 2, 3: an order of pool 1 arrives with 2, which was pool 3.
    workspace.execute_source("UPDATE PoolOrders SET PoolID = PoolID % 3 + 1")
    for number in (1, 2, 3):
        _update(workspace, "OrdersInPool", number, PoolID=number)
    workspace.execute_source("UPDATE ExportOrder SET PoolID = 9")
    workspace.execute_source("UPDATE GroupOrders SET PoolID = 9")

    result = check(workspace, "before")

    assert result.findings() == [
        ("OrdersInPool", "points-elsewhere", "PoolID", 3, ["OrderID = 1", "OrderID = 2", "OrderID = 3"]),
    ]
    assert _arrives(result, "OrdersInPool", "points-elsewhere") == [
        "1 leads to row 3 of the source", "2 leads to row 1 of the source", "3 leads to row 2 of the source",
    ]  # fmt: skip
    assert result.table("OrdersInPool")["unchanged_rows"] == 0


def test_swapped_pools_keep_their_orders(workspace):
    # The pools are read as 1, 3, 2 and become 1, 2, 3: an order of pool 2 arrives with 3, which was pool 2.
    workspace.execute_source("UPDATE PoolOrders SET PoolID = 5 - PoolID WHERE PoolID > 1")
    for number in (1, 2, 3):
        _update(workspace, "OrdersInPool", number, PoolID=number)
    workspace.execute_source("UPDATE ExportOrder SET PoolID = 9")
    workspace.execute_source("UPDATE GroupOrders SET PoolID = 9")

    assert check(workspace, "before").findings() == []


def test_gap_in_the_security_groups(workspace):
    _update(workspace, "SecGroups", 3, ID=5)
    for number, group in ((1, 1), (2, 5), (3, 5)):
        workspace.execute_source(
            f"UPDATE SecGrMemb SET GroupID = {group}, MembID = {number} WHERE rowid = {number}"
        )
    source.insert(workspace.source_file, "Restrictions", **A_RESTRICTION | {"SecGroupID": 5, "Mode": "1"})

    result = check(workspace, "before", "--tables", "SecGroups,SecGrMemb")

    assert [(table, *rest) for table, *rest, _ in result.findings()] == [
        ("SecGroups", "numbers-change", "ID", 1),
        ("SecGrMemb", "points-elsewhere", "GroupID", 2),
    ]
    assert _arrives(result, "SecGroups", "numbers-change") == ["5 becomes 3"]
    restrictions = check(workspace, "before", "--tables", "Restrictions")
    assert restrictions.findings() == [
        ("Restrictions", "points-elsewhere", "SecGroupID", 1, ["ID = 1"]),
        ("Restrictions", "value-changed", "Mode", 1, ["ID = 1"]),
    ]


def test_gap_in_the_agencies(workspace):
    _update(workspace, "RatingAgencies", 3, AgencyID=4)
    workspace.execute_source("UPDATE RatingScales SET AgencyID = RatingID")
    _update(workspace, "RatingScales", 2, AgencyID=4)

    result = check(workspace, "before")

    # Scale 3 named no agency and will name the one that was number 4.
    assert result.findings() == [
        ("RatingAgencies", "numbers-change", "AgencyID", 1, ["AgencyID = 4"]),
        ("RatingScales", "points-elsewhere", "AgencyID", 2, ["RatingID = 2", "RatingID = 3"]),
    ]


@pytest.mark.parametrize(
    ("referred", "table", "column"),
    [
        ("GroupOrders", "StopOrders", "GroupOrderID"),
        ("GroupOrders", "NegOrders", "GroupOrderID"),
        ("GroupOrders", "ExportOrder", "GroupOrderID"),
        ("Orders", "ExportOrder", "OrderID"),
        ("GroupDesc", "ExportOrder", "UserGroupID"),
        ("GroupDesc", "GroupStopOrders", "GroupID"),
        ("PoolOrders", "ExportOrder", "PoolID"),
    ],
)
def test_reference_that_no_longer_matches(workspace, referred, table, column):
    number = next(iter(source.columns(workspace.source_file, referred)))
    workspace.execute_source(f"UPDATE [{referred}] SET [{number}] = 9 WHERE [{number}] = 3")
    # All other references name the rows that keep their numbers.
    for other, name in (
        ("Clients", "GroupID"), ("GroupOrders", "GroupID"), ("Orders", "GroupOrderID"), ("OrdersInPool", "PoolID"),
        ("GroupStopOrders", "GroupID"), ("StopOrders", "GroupOrderID"), ("GroupNegOrders", "GroupID"),
        ("NegOrders", "GroupOrderID"), ("ExportOrder", "OrderID"), ("ExportOrder", "GroupOrderID"),
        ("ExportOrder", "UserGroupID"), ("ExportOrder", "PoolID"), ("GroupOrders", "PoolID"),
        ("Orders", "OrderInPoolID"),
    ):  # fmt: skip
        workspace.execute_source(f"UPDATE [{other}] SET [{name}] = 1")
    _update(workspace, table, 2, **{column: 9})

    result = check(workspace, "before")

    key = next(iter(source.columns(workspace.source_file, table)))
    assert result.findings() == [(table, "points-elsewhere", column, 1, [f"{key} = 2"])]


def test_mode_of_a_restriction_arrives_as_a_number_with_bytes_of_the_row_before(workspace):
    for number, mode in enumerate(("1", "HARD", "2", ""), start=1):
        source.insert(workspace.source_file, "Restrictions", **A_RESTRICTION | {"ID": number, "Mode": mode})

    result = check(workspace, "before")

    assert result.findings() == [
        ("Restrictions", "value-changed", "Mode", 4, ["ID = 1", "ID = 2", "ID = 3", "ID = 4"])
    ]
    # 31; 48 41 52 44; 32 00 52 44; 00 00 52 44: lowest byte first.
    assert _arrives(result, "Restrictions", "value-changed") == [
        "'1' arrives as '49'", "'HARD' arrives as '1146241352'", "'2' arrives as '1146224690'",
        "'' arrives as '1146224640'",
    ]  # fmt: skip


def test_broker_pool_arrives_as_the_bytes_of_its_number(workspace):
    _update(workspace, "ExportOrder", 1, BrokerPoolID="16961")
    _update(workspace, "ExportOrder", 2, BrokerPoolID="256")

    result = check(workspace, "before")

    assert result.findings() == [("ExportOrder", "value-changed", "BrokerPoolID", 2, ["ID = 1", "ID = 2"])]
    assert _arrives(result, "ExportOrder", "value-changed") == ["'16961' arrives as 'AB'", "'256' arrives as ''"]


def test_broker_pool_that_is_no_number_ends_the_table(workspace):
    _update(workspace, "ExportOrder", 2, BrokerPoolID="BROKER-1")

    result = check(workspace, "before")

    assert result.findings() == [("ExportOrder", "value-unreadable", "BrokerPoolID", 1, ["ID = 2"])]
    assert result.table("ExportOrder")["arriving_rows"] == 1


@pytest.mark.parametrize("column", ["RepoTerm", "Flags"])
def test_half_a_double_of_a_negotiated_order(workspace, column):
    # 7 has nothing in the lower half of its double, 2147483647 has FFC00000.
    _update(workspace, "NegOrders", 1, **{column: 7})
    _update(workspace, "NegOrders", 2, **{column: 2147483647})

    result = check(workspace, "before")

    assert result.findings() == [("NegOrders", "value-changed", column, 2, ["OrderId = 1", "OrderId = 2"])]
    assert _arrives(result, "NegOrders", "value-changed") == ["7 arrives as 0", "2147483647 arrives as -4194304"]


def test_key_that_is_there_twice_ends_the_run(workspace):
    _update(workspace, "StopOrders", 3, OrderID=1)

    result = check(workspace, "before")

    assert result.findings() == [("StopOrders", "duplicate-key", "OrderID", 1, ["OrderID = 1"])]
    assert result.report["run_ends_in"] == "StopOrders"
    assert result.table("StopOrders")["arriving_rows"] == 2
    (finding,) = result.table("StopOrders")["findings"]
    assert finding["query"]["text"] == (
        "SELECT [OrderID] FROM dbo.[StopOrders] WHERE [OrderID] = 1;"
    )


def test_foreign_key_to_a_row_that_does_not_arrive_ends_the_run(workspace):
    workspace.execute_source("UPDATE LoadedSecuritiesClientPrices SET SecID = 88 WHERE rowid = 2")
    workspace.execute_source("UPDATE LoadedSecuritiesClientPrices SET ClientID = rowid")

    result = check(workspace, "before")

    assert result.findings() == [
        ("LoadedSecuritiesClientPrices", "foreign-key", "SecID", 1, ["ClientID = 2, SecID = 88"])
    ]
    assert result.report["run_ends_in"] == "LoadedSecuritiesClientPrices"


def test_check_constraint_ends_the_run(workspace):
    workspace.execute_destination('ALTER TABLE "Orders" ADD CONSTRAINT positive CHECK ("Qty" > 0)')
    workspace.execute_source("UPDATE Orders SET Qty = 5 - 3 * OrderID")  # 2, -1, -4

    result = check(workspace, "before")

    assert result.findings() == [("Orders", "check-violated", "Qty", 2, ["OrderID = 2", "OrderID = 3"])]
    assert result.table("Orders")["arriving_rows"] == 1
    assert "The run will end in Orders, because the destination refuses OrderID = 2 (23514, positive)." in result.text


def test_text_longer_than_the_destinations_column_ends_the_run(workspace):
    workspace.execute_destination('ALTER TABLE "SecGroups" ALTER COLUMN "SecGName" TYPE varchar(5)')
    workspace.execute_source("UPDATE SecGroups SET SecGName = 'Fives' WHERE ID <> 2")
    _update(workspace, "SecGroups", 2, SecGName="Longer")

    result = check(workspace, "before")

    assert ("SecGroups", "text-too-long", "SecGName", 1, ["ID = 2"]) in result.findings()
    assert result.report["run_ends_in"] == "SecGroups"


def test_what_lies_behind_the_end_of_the_run_is_looked_at_as_if_it_went_on(workspace):
    _update(workspace, "GroupDesc", 2, GroupID=1)
    workspace.execute_destination('ALTER TABLE "GroupDesc" ADD CONSTRAINT never CHECK (false)')
    for table, column in (
        ("Clients", "GroupID"), ("GroupOrders", "GroupID"), ("GroupNegOrders", "GroupID"),
        ("GroupStopOrders", "GroupID"), ("ExportOrder", "UserGroupID"),
    ):  # fmt: skip
        workspace.execute_source(f"UPDATE [{table}] SET [{column}] = 1")
    _update(workspace, "LoadedPositions", 3, ClientCode="ABCDEFGHIJKLMNOP")

    result = check(workspace, "before")

    assert {(table, identifier) for table, identifier, *_ in result.findings()} == {
        ("GroupDesc", "check-violated"),
        ("GroupDesc", "duplicate-number"),
        ("Clients", "parent-refused"),
        ("GroupOrders", "parent-refused"),
        ("Orders", "parent-refused"),
        ("LoadedPositions", "text-cut"),
    }
    assert result.report["run_ends_in"] == "GroupDesc"
    # The schema version and the three other settings arrive before.
    assert "Of 64 rows, 4 will arrive unchanged, 0 changed, 60 not at all." in result.text


def test_the_queries_of_the_findings_show_the_rows(workspace):
    """Every query is one that the source answers."""
    _update(workspace, "LoadedPositions", 3, ClientCode="ABCDEFGHIJKLMNOP")
    _update(workspace, "LoadedPositions", 2, OpenBalance=None)
    _update(workspace, "SecGroups", 2, SecGName="AB\0CD")
    _update(workspace, "Orders", 2, GroupOrderID=77)
    _update(workspace, "OrdersInPool", 2, PoolID=77)
    _update(workspace, "NegOrders", 2, Flags=7)

    result = check(workspace, "before")

    queries = [
        each["query"]["text"] for table in result.report["tables"] for each in table["findings"] if each["query"]
    ]
    assert len(queries) == len(result.findings()) == 6
    for query in queries:
        # The queries are for the server; SQLite reads them alike, but for the owner's name and one function.
        rows = _query(workspace, query)
        assert len(rows) == 1, query


def _query(workspace, query) -> list:
    with contextlib.closing(sqlite3.connect(":memory:")) as connection:
        connection.create_function("DATALENGTH", 1, lambda text: len(text.encode("cp1252")))
        connection.execute("ATTACH DATABASE ? AS dbo", (str(workspace.source_file),))
        return connection.execute(query).fetchall()


def test_nothing_is_written_on_either_side(workspace):
    others = "SELECT count(*) FROM pg_stat_activity WHERE usename = current_user AND pid <> pg_backend_pid()"

    def contents():
        tables = source.rows(workspace.source_file, "Orders"), workspace.source_file.read_bytes()
        # A session has counted its changes when it is gone.
        scratch.wait_until(lambda: workspace.query_destination(others) == [(0,)], "the end of the sessions")
        # Every table, its statistics of changes and the sequences.
        destination = workspace.query_destination(
            "SELECT relname, n_tup_ins, n_tup_upd, n_tup_del FROM pg_stat_user_tables ORDER BY 1"
        ), workspace.query_destination("SELECT sequencename, last_value FROM pg_sequences ORDER BY 1")
        return tables, destination

    workspace.run_redirected()
    before = contents()

    check(workspace, "before")
    check(workspace, "after")

    assert contents() == before


@pytest.mark.parametrize("fault", ["--break-after", "--error-after"])
def test_source_that_breaks_off_is_no_end_of_a_table(workspace, fault):
    workspace.restart_source(server_options=(fault, "LoadedPositions:2"))

    result = check(workspace, "before")

    assert result.code == 2
    assert result.report is None
    assert result.text == ""
    assert result.errors.startswith("bw_db_check: SQL Error: State = ")


def test_destination_that_goes_away_is_said(workspace):
    workspace.execute_destination(
        "CREATE FUNCTION leave(integer) RETURNS boolean LANGUAGE plpgsql IMMUTABLE AS"
        " $$ BEGIN RETURN pg_terminate_backend(pg_backend_pid()); END $$",
        'ALTER TABLE "Orders" ADD CONSTRAINT leaving CHECK (leave("OrderID"))',
    )

    result = check(workspace, "before")

    assert result.code == 2
    assert result.report is None
    assert result.errors.startswith("bw_db_check: ")
