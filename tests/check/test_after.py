"""What `bw_db_check after` says of a migration: each damage has its finding and no other."""

import contextlib
import hashlib
import os
import random
import signal
import re
import time

import pytest

import data_sources
import flawed_source
import lab
import sample_data
import scratch
import source
from checker import check

# 22 tables of three rows, none of Restrictions, and the schema version.
ALL_ROWS = 64

# Lets the superuser change rows without the foreign keys.
WITHOUT_FOREIGN_KEYS = "SET session_replication_role = replica"


@pytest.fixture
def migrated(shared_lab):
    """A clean source that was migrated by the real program."""
    with shared_lab.workspace(flawed_source.create_clean) as workspace:
        assert "Complete migrate ExportOrder table" in workspace.run_redirected().console
        yield workspace


@pytest.fixture
def clean(shared_lab):
    """A clean source that is not migrated yet."""
    with shared_lab.workspace(flawed_source.create_clean) as workspace:
        yield workspace


def _damage(workspace, *statements) -> None:
    workspace.execute_destination(WITHOUT_FOREIGN_KEYS, *statements)


def _update_source(workspace, table, number, **values) -> None:
    key = next(iter(source.columns(workspace.source_file, table)))
    changes = ", ".join(f"[{name}] = ?" for name in values)
    workspace.execute_source(f"UPDATE [{table}] SET {changes} WHERE [{key}] = {number}", [tuple(values.values())])


def _finding(result, table, identifier) -> dict:
    findings = result.report["general"] if table is None else result.table(table)["findings"]
    (found,) = (each for each in findings if each["id"] == identifier)
    return found


def _assert_only(result, *findings) -> None:
    """`findings` are table, identifier, column, rows and keys of each."""
    assert result.findings() == list(findings), result.text
    assert result.code == (1 if findings else 0)
    assert result.errors == ""


def _value(workspace, table, column, number):
    """The value of a column in the source, in the row with that number in its first column."""
    rows = source.rows(workspace.source_file, table)
    return next(row[column] for row in rows if next(iter(row.values())) == number)


# Nothing to find.


def test_a_clean_migration_has_no_findings(migrated):
    result = check(migrated, "after")

    _assert_only(result)
    assert result.text.endswith(f"\nComplete. All {ALL_ROWS} rows of the source are in the destination, unchanged.\n")
    assert result.report["run_ends_in"] is None
    for table in result.report["tables"]:
        expected = {"SystemData": 4, "Restrictions": 0}.get(table["table"], 3)
        assert [table[rows] for rows in ("source_rows", "arriving_rows", "destination_rows")] == [expected] * 3
    assert [table["table"] for table in result.report["tables"]] == list(sample_data.TABLES)
    (fact,) = (fact for fact in result.report["facts"] if fact.startswith("Log: "))
    assert re.fullmatch(r"Log: from [-\d]{10} [:\d]{8} to [-\d]{10} [:\d]{8}, 22 tables begun, 22 completed\.", fact)


def test_nothing_changes_on_either_side(migrated):
    def state():
        rows = [
            migrated.query_destination(f'SELECT xmin, ctid, * FROM "{table}" ORDER BY ctid')
            for table in sample_data.TABLES
        ]
        sequences = migrated.query_destination("SELECT sequencename, last_value FROM pg_sequences ORDER BY 1")
        files = [hashlib.sha256(file.read_bytes()).digest() for file in (migrated.source_file, migrated.log_file)]
        return rows, sequences, files

    before = state()

    check(migrated, "after")

    assert state() == before


def test_empty_tables_are_complete(new_workspace):
    workspace = new_workspace()
    workspace.run_redirected()

    result = check(workspace, "after")

    _assert_only(result)
    assert result.report["verdict"].startswith("All 1 row ")


def test_the_order_of_the_rows_does_not_matter(migrated):
    # Every row is written again, the last first.
    for table in sample_data.TABLES:
        _damage(
            migrated,
            f'CREATE TEMPORARY TABLE kept AS SELECT * FROM "{table}" ORDER BY ctid DESC',
            f'DELETE FROM "{table}"',
            f'INSERT INTO "{table}" SELECT * FROM kept',
        )

    _assert_only(check(migrated, "after"))


def test_numbers_that_the_destination_assigns_in_its_own_way(clean):
    # What keeps its numbers would point elsewhere.
    for table in ("GroupStopOrders", "StopOrders", "NegOrders", "ExportOrder"):
        clean.execute_source(f"DELETE FROM {table}")
    clean.execute_destination(
        'ALTER TABLE "GroupDesc" ALTER "GroupID" SET START WITH 300 SET INCREMENT BY 50',
        'ALTER TABLE "GroupOrders" ALTER "ID" SET START WITH -5 SET MINVALUE -100 SET INCREMENT BY -7',
    )
    clean.run_redirected()
    assert clean.query_destination('SELECT "GroupID" FROM "GroupDesc" ORDER BY 1') == [(300,), (350,), (400,)]
    assert clean.query_destination('SELECT "ID" FROM "GroupOrders" ORDER BY 1') == [(-19,), (-12,), (-5,)]

    _assert_only(check(clean, "after"))


@pytest.mark.parametrize("conversion", [0, 1])
def test_texts_arrive_as_they_are(clean, conversion):
    texts = ['"', "\\", ',")(', "a\nb", " ", "\ta ", "'", "{}?", "é", "", "NULL", "(1,2)", '""\\\\']
    clean.execute_source("DELETE FROM ImportLog")
    for number, text in enumerate(texts, start=1):
        source.insert(clean.source_file, "ImportLog", ID=number, ImportType=text)
    settings = data_sources.postgresql(clean.lab.postgres.port, clean.database)
    clean.write_data_sources(destination=settings | {"LFConversion": conversion})
    clean.run_redirected()
    assert clean.query_destination('SELECT "ImportType" FROM "ImportLog" ORDER BY "ID"') == [(text,) for text in texts]

    _assert_only(check(clean, "after"))


def test_both_sides_in_another_encoding(shared_lab):
    def fill(path):
        flawed_source.create_clean(path)
        lab.execute_on_file(path, "UPDATE ImportLog SET ImportType = ? WHERE ID = 2", [("Größe, señal €",)])

    with shared_lab.workspace(fill, ("--codepage", "1252")) as workspace:
        from_source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        to_destination = data_sources.postgresql(shared_lab.postgres.port, workspace.database)
        workspace.write_data_sources(
            from_source | {"ClientCharset": "CP1252"},
            to_destination | {"ConnSettings": "SET client_encoding TO 'WIN1252'"},
        )
        workspace.run_redirected()
        arrived = workspace.query_destination('SELECT "ImportType" FROM "ImportLog" WHERE "ID" = 2')
        assert arrived == [("Größe, señal €",)]

        _assert_only(check(workspace, "after"))


def test_what_was_said_before_the_run_is_said_after_it(shared_lab):
    with shared_lab.workspace(sample_data.fill) as workspace:
        before = check(workspace, "before")
        workspace.run_redirected()

        result = check(workspace, "after")

    assert {"null-replaced", "text-cut", "points-elsewhere"} <= {identifier for _, identifier, *_ in result.findings()}
    assert result.findings() == before.findings()
    unchanged = sum(table["unchanged_rows"] for table in before.report["tables"])
    assert f" {unchanged} will arrive unchanged," in before.report["verdict"]
    assert result.report["verdict"] == (
        f"All 382 rows of the source are in the destination, {unchanged} of them unchanged."
    )


# Rows.


def test_missing_rows_of_a_table_with_its_own_keys(migrated):
    migrated.execute_destination('DELETE FROM "LoadedPositions" WHERE "PosID" <> 2')

    result = check(migrated, "after")

    _assert_only(result, ("LoadedPositions", "rows-missing", None, 2, ["PosID = 1", "PosID = 3"]))
    finding = _finding(result, "LoadedPositions", "rows-missing")
    assert finding["cost"] == "rows-lost"
    assert finding["text"] == (
        "Rows that had to arrive are not there."
        " The log counts them as migrated: they were lost later."
    )
    assert finding["query"] == {
        "side": "source",
        "text": "SELECT * FROM dbo.[LoadedPositions] WHERE ([PosID] = 1) OR ([PosID] = 3);",
    }
    assert result.table("LoadedPositions")["destination_rows"] == 1
    assert result.report["verdict"] == "LoadedPositions is not as a run leaves it."


def test_missing_rows_of_a_table_that_is_numbered_anew(migrated):
    migrated.execute_destination('DELETE FROM "ImportLog" WHERE "ID" = 2')

    result = check(migrated, "after")

    _assert_only(result, ("ImportLog", "rows-missing", None, 1, ["ID = 2"]))
    assert _finding(result, "ImportLog", "rows-missing")["query"]["text"] == (
        "SELECT * FROM dbo.[ImportLog] WHERE ([ID] = 2);"
    )


def test_unexpected_rows(migrated):
    migrated.execute_destination(
        """INSERT INTO "SecMinQt" VALUES ('it''s', 'B', 1), ('A', 'B', 2)""",
        """INSERT INTO "RatingAgencies" ("AgencyCode", "AgencyName") VALUES ('A', 'B')""",
    )

    result = check(migrated, "after")

    _assert_only(
        result,
        ("SecMinQt", "rows-unexpected", None, 2, ["ClassCode = it's, SecCode = B", "ClassCode = A, SecCode = B"]),
        ("RatingAgencies", "rows-unexpected", None, 1, ["AgencyID = 4"]),
    )
    assert _finding(result, "SecMinQt", "rows-unexpected")["query"] == {
        "side": "destination",
        "text": 'SELECT * FROM public."SecMinQt" WHERE ("ClassCode" = \'it\'\'s\' AND "SecCode" = \'B\')'
        " OR (\"ClassCode\" = 'A' AND \"SecCode\" = 'B');",
    }


def test_changed_rows(migrated):
    old = _value(migrated, "LoadedPositions", "LimitKind", 2)
    migrated.execute_destination(
        'UPDATE "LoadedPositions" SET "LimitKind" = 5 WHERE "PosID" = 2',
        'UPDATE "SecGroups" SET "SecGName" = \'new\', "RAgencies" = -1 WHERE "ID" = 3',
    )

    result = check(migrated, "after")

    _assert_only(
        result,
        ("SecGroups", "rows-different", "SecGName, RAgencies", 1, ["ID = 3"]),
        ("LoadedPositions", "rows-different", "LimitKind", 1, ["PosID = 2"]),
    )
    finding = _finding(result, "LoadedPositions", "rows-different")
    assert finding["arrives"] == [f"LimitKind is 5 instead of {old}"]
    assert finding["text"] == "Rows have other values than a run brings, in LimitKind."
    assert finding["query"] == {
        "side": "destination",
        "text": 'SELECT * FROM public."LoadedPositions" WHERE ("PosID" = 2);',
    }
    name = _value(migrated, "SecGroups", "SecGName", 3)
    agencies = _value(migrated, "SecGroups", "RAgencies", 3)
    assert _finding(result, "SecGroups", "rows-different")["arrives"] == [
        f"SecGName is 'new' instead of '{name}', RAgencies is -1 instead of {agencies}"
    ]


def test_null_in_the_destination(migrated):
    migrated.execute_destination(
        'ALTER TABLE "SecMinQt" ALTER "MinQty" DROP NOT NULL', 'UPDATE "SecMinQt" SET "MinQty" = NULL'
    )

    result = check(migrated, "after")

    ((table, identifier, column, rows, _),) = result.findings()
    assert (table, identifier, column, rows) == ("SecMinQt", "rows-different", "MinQty", 3)
    assert _finding(result, "SecMinQt", "rows-different")["arrives"][0].startswith("MinQty is NULL instead of ")


def test_the_smallest_change_of_a_number(migrated):
    migrated.execute_source("UPDATE LoadedPositions SET OpenBalance = 0.3 WHERE PosID = 1")
    migrated.execute_destination('UPDATE "LoadedPositions" SET "OpenBalance" = 0.1::float8 + 0.2 WHERE "PosID" = 1')

    result = check(migrated, "after")

    assert _finding(result, "LoadedPositions", "rows-different")["arrives"] == [
        "OpenBalance is 0.30000000000000004 instead of 0.3"
    ]


@pytest.mark.parametrize("conversion", [0, 1])
def test_a_text_of_any_length_is_compared_to_its_end(migrated, conversion):
    settings = data_sources.postgresql(migrated.lab.postgres.port, migrated.database)
    migrated.write_data_sources(destination=settings | {"LFConversion": conversion})
    text = "x" * 100_000
    migrated.execute_destination(
        'ALTER TABLE "ImportLog" ALTER "ImportType" TYPE text',
        f"""UPDATE "ImportLog" SET "ImportType" = '{text}' WHERE "ID" = 1""",
        f"""UPDATE "ImportLog" SET "ImportType" = "ImportType" || ' ' WHERE "ID" = 2""",
    )

    result = check(migrated, "after")

    _assert_only(result, ("ImportLog", "rows-different", "ImportType", 2, ["ID = 1", "ID = 2"]))
    first, second = _finding(result, "ImportLog", "rows-different")["arrives"]
    kinds = [_value(migrated, "ImportLog", "ImportType", number) for number in (1, 2)]
    assert first == f"ImportType is '{'x' * 100} ...' of 100000 bytes instead of '{kinds[0]}'"
    assert second == f"ImportType is '{kinds[1]} ' instead of '{kinds[1]}'"


def test_one_of_two_equal_rows_is_missing(clean):
    clean.execute_destination('ALTER TABLE "SecMinQt" DROP CONSTRAINT "SecMinQt_pkey"')
    clean.execute_source("DELETE FROM SecMinQt")
    for _ in range(2):
        source.insert(clean.source_file, "SecMinQt", ClassCode="A", SecCode="B", MinQty=7)
    clean.run_redirected()
    clean.execute_destination('DELETE FROM "SecMinQt" WHERE ctid = (SELECT min(ctid) FROM "SecMinQt")')

    _assert_only(
        check(clean, "after"), ("SecMinQt", "rows-missing", None, 1, ["ClassCode = A, SecCode = B"])
    )


def test_the_first_five_of_many_rows(shared_lab):
    def fill(path):
        flawed_source.create_clean(path)
        lab.execute_on_file(path, "DELETE FROM LoadedPositions", [()])
        for number in range(1, 101):
            source.insert(path, "LoadedPositions", PosID=number, FirmID="F")

    with shared_lab.workspace(fill) as workspace:
        workspace.run_redirected()
        workspace.execute_destination(
            'DELETE FROM "LoadedPositions" WHERE "PosID" % 3 = 0',
            'UPDATE "LoadedPositions" SET "FirmID" = \'X\' WHERE "PosID" % 3 = 1',
        )

        result = check(workspace, "after")

    _assert_only(
        result,
        ("LoadedPositions", "rows-missing", None, 33, [f"PosID = {number}" for number in (3, 6, 9, 12, 15)]),
        ("LoadedPositions", "rows-different", "FirmID", 34, [f"PosID = {number}" for number in (1, 4, 7, 10, 13)]),
    )


# References.


def test_rows_that_follow_a_changed_row_are_not_different(migrated):
    migrated.execute_destination(
        'UPDATE "GroupDesc" SET "GroupName" = \'new\' WHERE "GroupID" = 2',
        'UPDATE "GroupOrders" SET "Price" = 77 WHERE "ID" = 1',
    )

    result = check(migrated, "after")

    _assert_only(
        result,
        ("GroupDesc", "rows-different", "GroupName", 1, ["GroupID = 2"]),
        ("GroupOrders", "rows-different", "Price", 1, ["ID = 1"]),
    )


def test_a_row_that_refers_to_another_one(migrated):
    before = migrated.query_destination('SELECT "GroupOrderID" FROM "Orders" WHERE "OrderID" = 2')[0][0]
    after = before % 3 + 1
    migrated.execute_destination(f'UPDATE "Orders" SET "GroupOrderID" = {after} WHERE "OrderID" = 2')

    result = check(migrated, "after")

    _assert_only(result, ("Orders", "rows-different", "GroupOrderID", 1, ["OrderID = 2"]))
    assert _finding(result, "Orders", "rows-different")["arrives"] == [f"GroupOrderID is {after} instead of {before}"]


def test_groups_that_changed_places(clean):
    for table in ("Clients", "GroupOrders", "GroupNegOrders"):
        clean.execute_source(f"UPDATE {table} SET GroupID = 1")
    clean.execute_source("UPDATE GroupOrders SET GroupID = 3 WHERE ID = 2")
    clean.execute_source("UPDATE GroupStopOrders SET GroupID = 3")
    clean.execute_source("UPDATE ExportOrder SET UserGroupID = 3")
    clean.run_redirected()
    # What follows them keeps its numbers, which are now another group's.
    _damage(
        clean,
        *(
            f'UPDATE "GroupDesc" SET "GroupID" = {new} WHERE "GroupID" = {old}'
            for old, new in ((1, 99), (2, 1), (99, 2))
        ),
    )

    result = check(clean, "after")

    assert [finding[:4] for finding in result.findings()] == [
        ("Clients", "rows-different", "GroupID", 3),
        ("GroupOrders", "rows-different", "GroupID", 2),
        ("GroupNegOrders", "rows-different", "GroupID", 3),
    ]
    assert _finding(result, "GroupOrders", "rows-different")["arrives"] == ["GroupID is 1 instead of 2"] * 2
    assert _finding(result, "Clients", "rows-different")["arrives"] == ["GroupID is 1 instead of 2"] * 3


def test_translated_references_to_rows_that_are_not_there(migrated):
    orders = migrated.query_destination('SELECT "OrderID" FROM "Orders" WHERE "GroupOrderID" = 3 ORDER BY 1')
    _damage(
        migrated,
        'DELETE FROM "GroupOrders" WHERE "ID" = 3',
        'UPDATE "Orders" SET "GroupOrderID" = 99 WHERE "OrderID" = 1',
    )

    result = check(migrated, "after")

    orphans = sorted({1, *(number for (number,) in orders)})
    finding = _finding(result, "Orders", "orphans")
    assert (finding["columns"], finding["rows"], finding["keys"]) == (
        ["GroupOrderID"],
        len(orphans),
        [f"OrderID = {number}" for number in orphans],
    )
    assert finding["cost"] == "wrong-row"
    assert ("GroupOrders", "rows-missing", None, 1, ["ID = 3"]) in result.findings()
    assert "GroupOrderID is 99 instead of" in " ".join(_finding(result, "Orders", "rows-different")["arrives"])


def test_kept_references_to_rows_that_are_not_there(clean):
    # 9 is in the source and will get number 4; 77 is nowhere.
    source.insert(clean.source_file, "SecGroups", ID=9, SecGCode="nine")
    clean.execute_source("UPDATE SecGrMemb SET GroupID = 1")
    for member, group in enumerate((9, 77, 9), start=1):
        source.insert(clean.source_file, "SecGrMemb", GroupID=group, MembType="T", MembCode="M", MembID=member)
    clean.run_redirected()

    result = check(clean, "after")

    # And 4 is a group now.
    keys = [f"GroupID = 9, MembType = T, MembCode = M, MembClass = , MembID = {member}" for member in (1, 3)]
    _assert_only(
        result,
        ("SecGroups", "numbers-change", "ID", 1, ["ID = 9"]),
        ("SecGrMemb", "points-elsewhere", "GroupID", 2, keys),
    )
    assert _finding(result, "SecGrMemb", "points-elsewhere")["arrives"] == ["9 leads to no row"] * 2
    assert result.report["status"].startswith("complete")


def test_prices_of_a_security_that_is_not_there(migrated):
    migrated.execute_source("UPDATE LoadedSecuritiesClientPrices SET SecID = 2")
    _damage(
        migrated,
        'UPDATE "LoadedSecuritiesClientPrices" SET "SecID" = 2',
        'DELETE FROM "LoadedSecurities" WHERE "SecID" = 2',
    )

    result = check(migrated, "after")

    finding = _finding(result, "LoadedSecuritiesClientPrices", "orphans")
    assert (finding["columns"], finding["rows"]) == (["SecID"], 3)
    assert [identifier for _, identifier, *_ in result.findings()] == ["rows-missing", "orphans"]


def test_a_pool_that_is_null_refers_to_nothing(clean):
    clean.execute_source("UPDATE ExportOrder SET PoolID = NULL")
    clean.run_redirected()
    assert clean.query_destination('SELECT "PoolID" FROM "ExportOrder"') == [(-1,)] * 3

    _assert_only(check(clean, "after"), ("ExportOrder", "null-replaced", "PoolID", 3, ["ID = 1", "ID = 2", "ID = 3"]))


def test_orders_in_a_pool_that_is_not_there(clean):
    # Pools 2, 5 and 9: an order of pool 2 arrives with 5, the number of the pool that was read second.
    clean.execute_source("DELETE FROM PoolOrders WHERE PoolID <> 2")
    (pool,) = source.rows(clean.source_file, "PoolOrders")
    source.insert(clean.source_file, "PoolOrders", **pool | {"PoolID": 5})
    source.insert(clean.source_file, "PoolOrders", **pool | {"PoolID": 9})
    clean.execute_source("UPDATE OrdersInPool SET PoolID = 2 WHERE OrderID < 3")
    clean.execute_source("UPDATE OrdersInPool SET PoolID = 3 WHERE OrderID = 3")
    clean.execute_source("UPDATE GroupOrders SET PoolID = 0")
    clean.execute_source("UPDATE ExportOrder SET PoolID = -1")
    clean.run_redirected()
    assert clean.query_destination('SELECT "PoolID" FROM "OrdersInPool" ORDER BY "OrderID"') == [(5,), (5,), (9,)]

    result = check(clean, "after")

    # Pool 3 is not in the source.
    _assert_only(
        result, ("OrdersInPool", "points-elsewhere", "PoolID", 2, ["OrderID = 1", "OrderID = 2"])
    )
    assert _finding(result, "OrdersInPool", "points-elsewhere")["arrives"] == ["2 leads to no row"] * 2
    assert result.report["status"].startswith("complete")


@pytest.fixture
def with_twins(clean):
    """Migrated: group orders 1 and 2 have the same content, 3 another one; order N belongs to group order N."""
    clean.execute_source("DELETE FROM GroupOrders WHERE ID > 1")
    (first,) = source.rows(clean.source_file, "GroupOrders")
    for number in (2, 3):
        source.insert(clean.source_file, "GroupOrders", **first | {"ID": number, "BWCounter": number})
    clean.execute_source("UPDATE GroupOrders SET Price = 4711 WHERE ID = 3")
    clean.execute_source("UPDATE Orders SET GroupOrderID = OrderID")
    clean.run_redirected()
    return clean


def test_references_to_rows_of_the_same_content(with_twins):
    _assert_only(check(with_twins, "after"))


def test_a_row_that_refers_to_another_one_of_the_same_content(with_twins):
    with_twins.execute_destination('UPDATE "Orders" SET "GroupOrderID" = 2 WHERE "OrderID" = 1')

    result = check(with_twins, "after")

    _assert_only(result, ("Orders", "match-ambiguous", "GroupOrderID", 1, ["OrderID = 1"]))
    assert result.report["status"].startswith("complete")


def test_rows_of_the_same_content_that_nobody_refers_to(clean):
    (first, *_) = source.rows(clean.source_file, "GroupDesc")
    source.insert(clean.source_file, "GroupDesc", **first | {"GroupID": 4})
    for table in ("Clients", "GroupOrders", "GroupNegOrders"):
        clean.execute_source(f"UPDATE {table} SET GroupID = 2")
    clean.run_redirected()

    _assert_only(check(clean, "after"))


# Identities.


def test_an_identity_whose_next_number_is_there_already(migrated):
    migrated.execute_destination("""SELECT setval('"Orders_OrderID_seq"', 1)""")

    result = check(migrated, "after")

    _assert_only(result, ("Orders", "identity-collides", "OrderID", 2, ["OrderID = 2", "OrderID = 3"]))
    finding = _finding(result, "Orders", "identity-collides")
    assert finding["query"]["text"] == (
        'SELECT last_value, is_called FROM public."Orders_OrderID_seq";\n'
        'SELECT "OrderID" FROM public."Orders" WHERE "OrderID" >= 2 ORDER BY 1;'
    )
    assert result.report["status"].startswith("complete")


def test_an_identity_that_was_never_used(migrated):
    migrated.execute_destination("""SELECT setval('"Orders_OrderID_seq"', 3, false)""")

    _assert_only(check(migrated, "after"), ("Orders", "identity-collides", "OrderID", 1, ["OrderID = 3"]))


def test_an_identity_that_steps_over_what_is_there(migrated):
    # 5, 15, 25 ...: never a number from 1 to 3 plus a multiple of ten.
    migrated.execute_destination(
        """ALTER SEQUENCE "Orders_OrderID_seq" INCREMENT BY 10""",
        """SELECT setval('"Orders_OrderID_seq"', 5, false)""",
        'UPDATE "Orders" SET "OrderID" = "OrderID" + 100',
    )

    result = check(migrated, "after")

    assert "identity-collides" not in [identifier for _, identifier, *_ in result.findings()]


# The end of the run.


def test_a_run_that_its_rules_end(clean):
    clean.execute_source("UPDATE Orders SET GroupOrderID = 77 WHERE OrderID = 2")
    clean.run_redirected()

    result = check(clean, "after")

    behind = sample_data.TABLES[sample_data.TABLES.index("Orders") + 1 :]
    _assert_only(
        result,
        ("Orders", "run-ended", None, 2, []),
        ("Orders", "reference-missing", "GroupOrderID", 1, ["OrderID = 2"]),
        *((table, "table-not-migrated", None, 3, []) for table in behind if table != "Restrictions"),
    )
    assert _finding(result, "Orders", "run-ended")["text"] == (
        "The run ended here: the log ends with: invalid map<K, T> key. Of 3 rows of the source 1 is there."
        " As the check sees it, GroupOrderID of OrderID = 2 names no row."
    )
    assert result.report["run_ends_in"] == "Orders"
    assert result.report["verdict"] == (
        "The run ended in Orders, because the log ends with: invalid map<K, T> key."
        " 16 later tables were not migrated."
    )


def test_a_run_that_its_rules_end_and_no_log(clean):
    clean.execute_source("UPDATE Orders SET GroupOrderID = 77 WHERE OrderID = 2")
    clean.run_redirected()
    clean.log_file.unlink()

    result = check(clean, "after")

    assert result.report["verdict"] == (
        "The run ended in Orders, because GroupOrderID of OrderID = 2 names no row."
        " 16 later tables were not migrated."
    )
    assert _finding(result, "Orders", "run-ended")["rows"] == 2


def test_a_run_that_the_destination_ended(clean):
    clean.execute_destination('ALTER TABLE "StopOrders" ADD CHECK ("OrderID" < 3)')
    clean.run_redirected()

    result = check(clean, "after")

    assert [finding[:4] for finding in result.findings()] == [
        ("StopOrders", "run-ended", None, 1),
        ("StopOrders", "check-violated", "OrderID", 1),
        ("GroupNegOrders", "table-not-migrated", None, 3),
        ("NegOrders", "table-not-migrated", None, 3),
        ("ExportOrder", "table-not-migrated", None, 3),
    ]
    assert result.report["verdict"].startswith(
        "The run ended in StopOrders, because the log ends with: SQL Error: State = 23514"
    )
    assert '"StopOrders_OrderID_check"' in result.report["verdict"]
    assert "\n" not in result.report["verdict"]


def test_a_run_that_could_not_empty_a_table(clean):
    clean.run_redirected()
    clean.execute_destination(
        'CREATE TABLE "Other" ("Sec" integer REFERENCES "LoadedPositions")', 'UPDATE "SecMinQt" SET "MinQty" = 5'
    )
    clean.run_redirected()

    result = check(clean, "after")

    # What an earlier run brought is all that a run has to bring.
    _assert_only(result, (None, "log-breaks-off", None, None, []))
    assert "ends in LoadedPositions with: SQL Error: State = 0A000" in _finding(result, None, "log-breaks-off")["text"]
    assert result.report["status"].startswith("complete")

    clean.execute_source("UPDATE StopOrders SET Qty = 4711 WHERE OrderID = 2")

    result = check(clean, "after")

    # It is not all any more.
    assert result.report["run_ends_in"] == "LoadedPositions"
    assert _finding(result, "LoadedPositions", "run-ended")["rows"] == 0
    older = [finding for finding in result.findings() if finding[1] == "table-not-migrated"]
    assert [table for table, *_ in older] == [
        table for table in sample_data.TABLES[sample_data.TABLES.index("LoadedPositions") + 1 :] if table != "Restrictions"
    ]
    assert _finding(result, "StopOrders", "table-not-migrated")["rows"] == 1


def test_rows_from_before_in_a_table_that_was_not_reached(clean):
    clean.execute_destination(
        "INSERT INTO \"SecMinQt\" VALUES ('OLD', 'OLD', 1)", 'ALTER TABLE "SecGroups" ADD CHECK ("ID" < 2)'
    )
    clean.run_redirected()

    result = check(clean, "after")

    assert result.report["run_ends_in"] == "SecGroups"
    finding = _finding(result, "SecMinQt", "table-not-migrated")
    assert finding["rows"] == 3
    assert finding["text"] == "The run ended before this table. What it holds, 1 row, is from before."


def test_a_killed_run(shared_lab):
    def fill(path):
        flawed_source.create_clean(path)
        for number in range(4, 501):
            source.insert(path, "LoadedPositions", PosID=number, FirmID="F")

    def kill_in_the_middle(process):
        while workspace.query_destination('SELECT count(*) FROM "LoadedPositions"')[0][0] < 20:
            time.sleep(0.01)
        process.kill()

    with shared_lab.workspace(fill, ("--delay", "LoadedPositions:5")) as workspace:
        workspace.run_redirected(meanwhile=kill_in_the_middle)

        result = check(workspace, "after")

        there = workspace.query_destination('SELECT count(*) FROM "LoadedPositions"')[0][0]
        assert result.report["run_ends_in"] == "LoadedPositions"
        assert _finding(result, "LoadedPositions", "run-ended")["rows"] == 500 - there
        assert {identifier for _, identifier, *_ in result.findings()} == {"run-ended", "table-not-migrated"}

        workspace.log_file.unlink()
        result = check(workspace, "after")

    assert result.report["run_ends_in"] == "LoadedPositions"
    assert result.report["verdict"].startswith(
        "The run ended in LoadedPositions, because rows are missing from there on, and no log says why."
    )


def test_rows_that_the_rules_do_not_let_through(clean):
    _update_source(clean, "LoadedPositions", 2, OpenBalance=None)
    clean.run_redirected()

    result = check(clean, "after")

    _assert_only(result, ("LoadedPositions", "null-ends-table", "OpenBalance", 1, ["PosID = 2"]))
    assert _finding(result, "LoadedPositions", "null-ends-table")["cost"] == "rows-lost"
    table = result.table("LoadedPositions")
    assert [table[rows] for rows in ("source_rows", "arriving_rows", "destination_rows")] == [3, 1, 1]
    assert result.report["verdict"] == (
        f"All {ALL_ROWS - 2} rows that the migrator's rules bring are in the destination, unchanged, but 2 rows of"
        " the source did not arrive, in LoadedPositions."
    )


def test_a_different_table_and_an_end(clean):
    clean.execute_source("UPDATE Orders SET GroupOrderID = 77 WHERE OrderID = 2")
    clean.run_redirected()
    clean.execute_destination('UPDATE "Clients" SET "Num" = 5')

    result = check(clean, "after")

    assert ("Clients", "rows-different", "Num", 3) in [finding[:4] for finding in result.findings()]
    assert result.report["verdict"].endswith(" Different as well: Clients.")


# The log.


def test_no_log(migrated):
    migrated.log_file.unlink()

    result = check(migrated, "after")

    _assert_only(result, (None, "log-missing", None, None, []))
    assert result.report["status"].startswith("complete")


def test_a_log_of_another_run(migrated):
    text = migrated.log_file.read_text()
    lines = [line for line in text.splitlines(keepends=True) if " :: insert row(3): [PosID]" not in line]
    changed = "".join(lines).replace(
        "LoadedPositions table. Total rows read = 3 Total migrated rows = 3",
        "LoadedPositions table. Total rows read = 2 Total migrated rows = 2",
    )
    assert changed != text
    migrated.log_file.write_text(changed)

    result = check(migrated, "after")

    _assert_only(result, (None, "log-stale", None, None, []))
    assert "in LoadedPositions:" in _finding(result, None, "log-stale")["text"]
    assert result.report["status"].startswith("complete")


def test_the_log_of_a_run_that_was_refused_later(migrated):
    migrated.execute_source("UPDATE SystemData SET KeyValue = '30' WHERE KeyName = 'dbver'")
    migrated.run_redirected()
    migrated.execute_source("UPDATE SystemData SET KeyValue = '29' WHERE KeyName = 'dbver'")

    result = check(migrated, "after")

    _assert_only(result, (None, "log-stale", None, None, []))
    assert "Migration is possible only for version 29" in _finding(result, None, "log-stale")["text"]
    assert result.report["status"].startswith("complete")


def test_a_run_that_was_refused(clean):
    clean.execute_source("UPDATE SystemData SET KeyValue = '30' WHERE KeyName = 'dbver'")
    clean.run_redirected()
    clean.execute_source("UPDATE SystemData SET KeyValue = '29' WHERE KeyName = 'dbver'")

    result = check(clean, "after")

    assert result.report["run_ends_in"] == "SystemData"
    assert result.report["verdict"].startswith(
        "The run ended in SystemData, because the log ends with: Error: Migration is possible only for"
        " version 29 of the Brantwell database. 20 later tables"
    )


def test_what_is_no_log(migrated):
    migrated.log_file.write_text("Dear diary,\n")

    result = check(migrated, "after")

    _assert_only(result, (None, "log-unclear", None, None, []))
    assert result.report["status"].startswith("complete")


def test_a_log_with_entries_in_its_texts(clean):
    # The last column of its table, filled with what looks like an error.
    text = "x;\n2026-11-21 06:31:12 :: SQL Error: none"
    clean.execute_source("UPDATE Clients SET Comment = ?", [(text,)])
    clean.run_redirected()
    assert clean.log_file.read_text().count(":: SQL Error: none;") == 3

    result = check(clean, "after")

    _assert_only(result)
    assert any("3 lines of it looked like entries" in fact for fact in result.report["facts"])


# What the types of the destination's columns make of values.


@pytest.mark.parametrize("kind", ["numeric", "numeric(12,2)", "bigint", "real"])
def test_integers_in_columns_of_another_type(clean, kind):
    clean.execute_destination(
        f'ALTER TABLE "LoadedPositions" ALTER "LimitKind" TYPE {kind}',
        f'ALTER TABLE "Orders" DROP CONSTRAINT "Orders_GroupOrderID_fkey", ALTER "GroupOrderID" TYPE {kind}',
    )
    clean.execute_source("UPDATE LoadedPositions SET LimitKind = LimitKind % 100")
    clean.run_redirected()

    result = check(clean, "after")

    _assert_only(result)
    clean.execute_destination('UPDATE "LoadedPositions" SET "LimitKind" = 101 WHERE "PosID" = 2')
    _assert_only(check(clean, "after"), ("LoadedPositions", "rows-different", "LimitKind", 1, ["PosID = 2"]))


def test_a_number_in_a_column_of_bits(clean):
    clean.execute_source("UPDATE SecMinQt SET MinQty = 1")
    clean.execute_destination('ALTER TABLE "SecMinQt" ALTER "MinQty" TYPE bit(1) USING B\'0\'')
    clean.run_redirected()

    _assert_only(check(clean, "after"))


def test_what_a_type_takes_for_equal_is_a_difference(clean):
    clean.execute_destination(
        "CREATE COLLATION any_case (provider = icu, locale = 'und-u-ks-level2', deterministic = false)",
        'ALTER TABLE "LoadedPositions" ALTER "FirmID" TYPE varchar(12) COLLATE any_case',
        'ALTER TABLE "SecMinQt" ALTER "MinQty" TYPE numeric',
    )
    clean.execute_source("UPDATE LoadedPositions SET FirmID = 'Firm', OpenBalance = 0")
    clean.run_redirected()
    clean.execute_destination(
        'UPDATE "LoadedPositions" SET "FirmID" = \'FIRM\' WHERE "PosID" = 1',
        "UPDATE \"LoadedPositions\" SET \"OpenBalance\" = '-0' WHERE \"PosID\" = 2",
        'UPDATE "SecMinQt" SET "MinQty" = "MinQty" + 0.00',
    )

    result = check(clean, "after")

    assert [finding[:4] for finding in result.findings()] == [
        ("SecMinQt", "rows-different", "MinQty", 3),
        ("LoadedPositions", "rows-different", "FirmID, OpenBalance", 2),
    ]
    assert _finding(result, "LoadedPositions", "rows-different")["arrives"] == [
        "FirmID is 'FIRM' instead of 'Firm'",
        "OpenBalance is -0 instead of 0",
    ]


def test_a_key_of_another_case_is_the_same_key(clean):
    clean.execute_destination(
        "CREATE COLLATION any_case (provider = icu, locale = 'und-u-ks-level2', deterministic = false)",
        'ALTER TABLE "SecMinQt" ALTER "SecCode" TYPE varchar(12) COLLATE any_case',
    )
    clean.run_redirected()
    clean.execute_destination('UPDATE "SecMinQt" SET "SecCode" = lower("SecCode")')

    ((table, identifier, columns, rows, _),) = check(clean, "after").findings()

    assert (table, identifier, columns, rows) == ("SecMinQt", "rows-different", "SecCode", 3)


def test_settings_that_round_what_is_shown_hide_no_difference(clean):
    clean.execute_destination(f"ALTER DATABASE {clean.database} SET extra_float_digits = -15")
    clean.execute_source("UPDATE LoadedPositions SET OpenBalance = 0.3")
    clean.run_redirected()
    clean.execute_destination('UPDATE "LoadedPositions" SET "OpenBalance" = 0.1::float8 + 0.2 WHERE "PosID" = 1')

    result = check(clean, "after")

    _assert_only(result, ("LoadedPositions", "rows-different", "OpenBalance", 1, ["PosID = 1"]))


@pytest.mark.parametrize("keys", ["", 'ALTER TABLE "LoadedPositions" DROP CONSTRAINT "LoadedPositions_pkey"'])
def test_many_rows_changed_in_one_column_are_changed_rows(clean, keys):
    count = 210_000
    if keys:
        count = 2_000
        clean.execute_destination(keys)
    rows = [(number, number % 7, "F", "A", "C", 1, 0.5) for number in range(4, count + 1)]
    clean.run_redirected()
    clean.execute_source("INSERT INTO LoadedPositions VALUES (?, ?, ?, ?, ?, ?, ?)", rows)
    clean.execute_destination(
        'INSERT INTO "LoadedPositions" SELECT n, n % 7, \'F\', \'A\', \'C\', 2, 0.5'
        f" FROM generate_series(4, {count}) n",
    )

    result = check(clean, "after")

    keys = [f"PosID = {number}" for number in range(4, 9)]
    found = [finding for finding in result.findings() if finding[0]]
    assert found == [("LoadedPositions", "rows-different", "LimitKind", count - 3, keys)]


# Where references lead.


def _reverse_source(workspace, table) -> None:
    """Has the source give its rows in the opposite order."""
    rows = source.rows(workspace.source_file, table)
    workspace.execute_source(f"DELETE FROM {table}")
    for row in reversed(rows):
        source.insert(workspace.source_file, table, **row)


def test_groups_that_the_run_read_in_another_order(clean):
    clean.execute_source("UPDATE SecGrMemb SET GroupID = rowid")
    _reverse_source(clean, "SecGroups")
    clean.run_redirected()
    _reverse_source(clean, "SecGroups")
    assert [row["ID"] for row in source.rows(clean.source_file, "SecGroups")] == [1, 2, 3]
    result = check(clean, "after")

    assert [finding[:4] for finding in result.findings()] == [("SecGrMemb", "rows-different", "GroupID", 2)]
    assert sorted(_finding(result, "SecGrMemb", "rows-different")["arrives"]) == [
        "1 leads to row 3 of the source",
        "3 leads to row 1 of the source",
    ]
    assert result.report["verdict"].startswith("SecGrMemb is not ")


def test_pools_that_the_run_read_in_another_order(clean):
    clean.execute_source("UPDATE GroupOrders SET PoolID = 0")
    clean.execute_source("UPDATE ExportOrder SET PoolID = -1")
    clean.execute_source("UPDATE OrdersInPool SET PoolID = OrderID")
    _reverse_source(clean, "PoolOrders")
    clean.run_redirected()
    _reverse_source(clean, "PoolOrders")
    assert clean.query_destination('SELECT "PoolID" FROM "OrdersInPool" ORDER BY "OrderID"') == [(3,), (2,), (1,)]

    result = check(clean, "after")

    # 1 and 3 changed places twice: as the position of a pool and as its number.
    _assert_only(result, ("OrdersInPool", "rows-different", "PoolID", 2, ["OrderID = 1", "OrderID = 3"]))


@pytest.mark.parametrize("table, number, referring, column", [
    ("SecGroups", "ID", "SecGrMemb", "GroupID"),
    ("RatingAgencies", "AgencyID", "RatingScales", "AgencyID"),
    ("PoolOrders", "PoolID", "OrdersInPool", "PoolID"),
])  # fmt: skip
def test_numbers_that_were_exchanged(clean, table, number, referring, column):
    clean.execute_source("UPDATE GroupOrders SET PoolID = 0")
    clean.execute_source("UPDATE ExportOrder SET PoolID = -1")
    clean.run_redirected()
    _damage(
        clean,
        *(
            f'UPDATE "{table}" SET "{number}" = {new} WHERE "{number}" = {old}'
            for old, new in ((1, 99), (2, 1), (99, 2))
        ),
    )
    moved = clean.query_destination(f'SELECT count(*) FROM "{referring}" WHERE "{column}" IN (1, 2)')[0][0]
    assert moved > 0

    result = check(clean, "after")

    assert [finding[:4] for finding in result.findings()] == [(referring, "rows-different", column, moved)]
    assert all("leads to row" in text for text in _finding(result, referring, "rows-different")["arrives"])
    assert result.report["verdict"] == f"{referring} is not as a run leaves it."


def test_a_number_that_names_a_row_only_in_the_destination(clean):
    # A pool of the source's own is not there; the destination's third one is.
    clean.execute_source("UPDATE GroupOrders SET PoolID = 0")
    clean.execute_source("UPDATE PoolOrders SET PoolID = 30 WHERE PoolID = 3")
    clean.execute_source("UPDATE OrdersInPool SET PoolID = 1")
    clean.execute_source("UPDATE ExportOrder SET PoolID = 3 WHERE ID = 2")
    clean.execute_source("UPDATE ExportOrder SET PoolID = 0 WHERE ID <> 2")
    clean.run_redirected()

    result = check(clean, "after")

    _assert_only(result, ("ExportOrder", "points-elsewhere", "PoolID", 1, ["ID = 2"]))
    assert _finding(result, "ExportOrder", "points-elsewhere")["arrives"] == ["3 leads to row 30 of the source"]


def test_kept_numbers_whose_row_was_deleted(migrated):
    _damage(migrated, 'DELETE FROM "PoolOrders" WHERE "PoolID" = 2')
    exported = migrated.query_destination('SELECT "ID" FROM "ExportOrder" WHERE "PoolID" = 2 ORDER BY 1')
    assert exported

    result = check(migrated, "after")

    assert ("PoolOrders", "rows-missing", None, 1, ["PoolID = 2"]) in result.findings()
    keys = [f"ID = {number}" for (number,) in exported]
    assert ("ExportOrder", "points-elsewhere", "PoolID", len(keys), keys) in result.findings()
    assert _finding(result, "ExportOrder", "points-elsewhere")["arrives"] == ["2 leads to no row"] * len(keys)
    assert result.report["status"] == "different"


def test_numbers_that_begin_elsewhere_are_not_exchanged(clean):
    # A sequence that no truncate restarts.
    clean.execute_destination(
        "CREATE SEQUENCE numbers START 1",
        'ALTER TABLE "SecGroups" ALTER "ID" DROP IDENTITY',
        """ALTER TABLE "SecGroups" ALTER "ID" SET DEFAULT nextval('numbers')""",
        "GRANT ALL ON SEQUENCE numbers TO bw_migrator",
    )
    clean.run_redirected()

    _assert_only(check(clean, "after"))

    clean.execute_source("UPDATE SecGrMemb SET GroupID = GroupID + 3")
    clean.execute_source("UPDATE SecGroups SET ID = ID + 3")
    clean.run_redirected()
    assert clean.query_destination('SELECT "ID" FROM "SecGroups" ORDER BY 1') == [(4,), (5,), (6,)]

    result = check(clean, "after")

    assert {finding[1] for finding in result.findings()} <= {"numbers-change"}
    assert result.report["status"].startswith("complete")


# Identities at their end.


def test_an_identity_at_its_end(migrated):
    migrated.execute_destination("""SELECT setval('"Orders_OrderID_seq"', 2147483647)""")

    result = check(migrated, "after")

    _assert_only(result, ("Orders", "identity-collides", "OrderID", None, []))
    assert _finding(result, "Orders", "identity-collides")["text"] == (
        "The sequence has given its last number: new rows will be refused."
    )


def test_an_identity_at_the_end_of_all_numbers(migrated):
    migrated.execute_destination(
        'ALTER TABLE "ImportLog" ALTER "ID" TYPE bigint', """SELECT setval('"ImportLog_ID_seq"', 9223372036854775807)"""
    )

    _assert_only(check(migrated, "after"), ("ImportLog", "identity-collides", "ID", None, []))


# Runs that were killed.


def _first_that_lacks_rows(workspace) -> str | None:
    """The table in which a run into an empty destination has ended, by the rows alone."""
    for table in sample_data.TABLES:
        there = workspace.query_destination(f'SELECT count(*) FROM "{table}"')[0][0]
        if there < len(source.rows(workspace.source_file, table)):
            return table
    return None


def _assert_ended_in(result, table) -> None:
    assert result.report["run_ends_in"] == table, result.text
    assert result.report["verdict"].startswith(f"The run ended in {table}, because "), result.text
    before = sample_data.TABLES[: sample_data.TABLES.index(table)]
    different = {table for table, identifier, *_ in result.findings() if identifier.startswith("rows-")}
    assert not different.intersection(before), result.text


@pytest.fixture
def slow(shared_lab):
    """A source that takes some seconds, most of them in small tables."""
    delays = ("Orders", "SecMinQt", "ImportLog", "LoadedPositions", "RatingScales", "PoolOrders", "StopOrders", "NegOrders")
    with shared_lab.workspace(
        lambda path: sample_data.fill(path), [option for table in delays for option in ("--delay", f"{table}:20")]
    ) as workspace:
        yield workspace


@pytest.mark.parametrize("seed", range(6))
def test_a_run_that_is_killed_at_any_moment(slow, seed):
    chance = random.Random(seed)
    tables = ("Clients", "Orders", "SecMinQt", "ImportLog", "LoadedPositions", "RatingScales", "PoolOrders", "StopOrders")
    table, rows = tables[seed % len(tables)], chance.randint(1, 3)
    slow.restart_source(server_options=("--delay", f"{table}:30"))

    def kill(process):
        scratch.wait_until(
            lambda: slow.query_destination(f'SELECT count(*) FROM "{table}"')[0][0] >= rows, f"{rows} rows of {table}"
        )
        process.kill()

    slow.run_redirected(meanwhile=kill)
    _wait_for_the_server(slow)
    truth = _first_that_lacks_rows(slow)

    for _ in range(2):
        result = check(slow, "after")

        if truth is None:
            assert result.report["status"].startswith("complete"), result.text
        else:
            _assert_ended_in(result, truth)
        slow.log_file.unlink(missing_ok=True)


def _wait_for_the_server(workspace) -> None:
    """What a killed run has sent is executed all the same."""
    scratch.wait_until(
        lambda: workspace.query_destination(
            "SELECT count(*) FROM pg_stat_activity WHERE datname = current_database() AND pid <> pg_backend_pid()"
            " AND query LIKE 'INSERT%'"
        )[0][0]
        == 0,
        "the end of the run's session",
    )


def test_a_second_run_that_is_killed_in_the_same_directory(slow):
    slow.restart_source()
    slow.run_redirected()
    slow.restart_source(server_options=("--delay", "LoadedPositions:30"))

    def kill(process):
        scratch.wait_until(
            lambda: 0 < slow.query_destination('SELECT count(*) FROM "LoadedPositions"')[0][0] < 10, "the first rows"
        )
        process.kill()

    slow.run_redirected(meanwhile=kill)
    _wait_for_the_server(slow)
    assert _first_that_lacks_rows(slow) == "LoadedPositions"

    result = check(slow, "after")

    assert result.report["run_ends_in"] == "LoadedPositions"
    older = [table for table, identifier, *_ in result.findings() if identifier == "table-not-migrated"]
    assert older == [
        table
        for table in sample_data.TABLES[sample_data.TABLES.index("LoadedPositions") + 1 :]
        if source.rows(slow.source_file, table)
    ]
    assert "is from before" in _finding(result, "StopOrders", "table-not-migrated")["text"]


def test_a_run_that_is_aborted_while_it_waits_for_a_lock(migrated):
    connection = migrated.lab.postgres.connect(migrated.database)
    with contextlib.closing(connection), connection.cursor() as cursor:
        cursor.execute("BEGIN")
        cursor.execute('LOCK TABLE "LoadedPositions" IN SHARE MODE')

        def abort(process):
            scratch.wait_until(
                lambda: migrated.query_destination(
                    "SELECT count(*) FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND query LIKE 'TRUNCATE%'"
                )[0][0],
                "the lock",
            )
            process.kill()

        migrated.run_redirected(meanwhile=abort)

        result = check(migrated, "after")

        # The server goes on waiting for the lock, and will empty the table when it gets it.
        assert (result.code, result.report) == (2, None)
        assert "is the migrator's, and waits for a lock on LoadedPositions" in result.errors
        cursor.execute("COMMIT")
    scratch.wait_until(
        lambda: migrated.query_destination('SELECT count(*) FROM "LoadedPositions"')[0][0] == 0, "the truncate"
    )

    result = check(migrated, "after")

    assert result.report["run_ends_in"] == "LoadedPositions"


def test_a_run_that_is_still_at_work(shared_lab):
    def fill(path):
        flawed_source.create_clean(path)
        for number in range(4, 101):
            source.insert(path, "LoadedPositions", PosID=number, FirmID="F")

    def look(process):
        scratch.wait_until(
            lambda: workspace.query_destination('SELECT count(*) FROM "LoadedPositions"')[0][0] > 0, "the first rows"
        )
        process.send_signal(signal.SIGSTOP)
        # The source is slow for the run only.
        workspace.restart_source()
        results.append(check(workspace, "after"))
        process.kill()

    results = []
    with shared_lab.workspace(fill, ("--delay", "LoadedPositions:20")) as workspace:
        workspace.run_redirected(meanwhile=look)

    (result,) = results
    assert result.report["verdict"] == "A run is still at work, in LoadedPositions."
    assert "is the migrator's, in LoadedPositions" in _finding(result, None, "run-at-work")["text"]
    assert result.code == 1


def test_two_runs_in_one_directory(shared_lab):
    def fill(path):
        flawed_source.create_clean(path)
        for number in range(4, 301):
            source.insert(path, "ImportLog", ID=number, BWCounter=number)

    def run_again(_):
        scratch.wait_until(
            lambda: workspace.query_destination(
                "SELECT count(*) FROM pg_stat_activity WHERE wait_event_type = 'Lock' AND query LIKE 'TRUNCATE%'"
            )[0][0],
            "the lock",
        )
        assert b":: Start migrate ImportLog table" in workspace.log_file.read_bytes()
        second = workspace.run_redirected(passwords=(lab.SOURCE_PASSWORD, "wrong"))
        assert second.exit_code == 0
        seen.append(workspace.log_file.read_bytes())
        cursor.execute("COMMIT")

    seen = []
    with shared_lab.workspace(fill) as workspace:
        connection = workspace.lab.postgres.connect(workspace.database)
        with contextlib.closing(connection), connection.cursor() as cursor:
            cursor.execute("BEGIN")
            cursor.execute('LOCK TABLE "LoadedPositions" IN SHARE MODE')
            workspace.run_redirected(meanwhile=run_again)
        result = check(workspace, "after")
        log = workspace.log_file.read_bytes()

    # The second run has emptied the log, and the first one goes on where it was.
    assert seen[0].count(b"\n") == 1 and b" :: SQL Error: State = 08001 " in seen[0]
    assert log.startswith(seen[0] + b"\0")
    assert b":: Start migrate ImportLog table" not in log
    assert b":: Complete migrate ExportOrder table" in log
    _assert_only(result, (None, "log-unclear", None, None, []))
    assert result.report["run_ends_in"] is None


# Logs that break off, and what is no log.


def _cut(workspace, length) -> None:
    workspace.log_file.write_bytes(workspace.log_file.read_bytes()[:length])


@pytest.mark.parametrize("part", [0, 1, 25, 500, 0.2, 0.4, 0.6, 0.8, 0.95])
def test_a_complete_run_whose_log_breaks_off(migrated, part):
    size = migrated.log_file.stat().st_size
    _cut(migrated, part if isinstance(part, int) else int(size * part))

    result = check(migrated, "after")

    _assert_only(result, (None, "log-breaks-off", None, None, []))
    assert result.report["run_ends_in"] is None
    assert result.report["verdict"] == f"All {ALL_ROWS} rows of the source are in the destination, unchanged."


def test_a_complete_run_whose_log_breaks_off_anywhere(migrated):
    whole = migrated.log_file.read_bytes()
    chance = random.Random(16)
    for length in chance.sample(range(len(whole) - 30), 12):
        migrated.log_file.write_bytes(whole[:length])

        result = check(migrated, "after")

        assert result.report["status"].startswith("complete"), (length, result.text)
        ((_, identifier, *_),) = result.findings()
        assert identifier in ("log-breaks-off", "log-stale"), (length, result.text)


@pytest.mark.parametrize("part", [0, 0.1, 0.3, 0.5, 0.7, 0.9, 1])
def test_an_ended_run_whose_log_breaks_off(clean, part):
    clean.execute_destination('ALTER TABLE "StopOrders" ADD CONSTRAINT few CHECK ("OrderID" < 3)')
    clean.run_redirected()
    clean.execute_destination('ALTER TABLE "StopOrders" DROP CONSTRAINT few')
    _cut(clean, int(clean.log_file.stat().st_size * part))

    result = check(clean, "after")

    _assert_ended_in(result, "StopOrders")


def test_the_last_table_lacks_its_last_row_and_nothing_says_why(migrated):
    migrated.execute_destination('DELETE FROM "ExportOrder" WHERE "ID" = 3')
    migrated.log_file.unlink()

    result = check(migrated, "after")

    assert _finding(result, "ExportOrder", "rows-missing")["text"] == (
        "Rows that had to arrive are not there. They are the last ones: the run ended here, or they were deleted."
    )
    assert result.report["run_ends_in"] is None
    assert result.report["status"] == "different"


def test_a_log_of_another_time_zone(migrated):
    text = migrated.log_file.read_text()
    migrated.log_file.write_text(re.sub(r"(?m)^\d{4}-\d\d-\d\d \d\d", "1999-12-31 23", text))

    _assert_only(check(migrated, "after"))


def test_a_pipe_in_the_place_of_the_log(migrated):
    migrated.log_file.unlink()
    os.mkfifo(migrated.log_file)

    result = check(migrated, "after")

    assert (result.code, result.report) == (2, None)
    assert "bw_db_migrate.log is not a file" in result.errors


@pytest.mark.parametrize("device", ["/dev/full", "/dev/zero"])
def test_a_device_in_the_place_of_the_log(migrated, device):
    migrated.log_file.unlink()
    migrated.log_file.symlink_to(device)

    assert check(migrated, "after").code == 2


def test_a_directory_in_the_place_of_the_log(migrated):
    migrated.log_file.unlink()
    migrated.log_file.mkdir()

    assert check(migrated, "after").code == 2


def test_a_run_that_logged_to_a_full_disk(clean):
    """The log's disk takes 8 KiB and is full then."""
    clean.log_file.touch()
    limit = ("prlimit", "--fsize=8192")
    run = clean.run_redirected(wrapper=(*limit, "env", "--ignore-signal=XFSZ"))
    assert "Complete migrate ExportOrder table" in run.console
    assert clean.log_file.stat().st_size <= 8192

    result = check(clean, "after")

    assert result.report["status"].startswith("complete"), result.text
    ((_, identifier, *_),) = result.findings()
    assert identifier == "log-breaks-off"


# What cannot be checked.


def test_only_some_tables(migrated):
    migrated.execute_destination('UPDATE "Orders" SET "Qty" = 4711', 'DELETE FROM "SecMinQt"')

    result = check(migrated, "after", "--tables", "Orders,OrdersInPool")

    assert [table["table"] for table in result.report["tables"]] == ["Orders", "OrdersInPool"]
    assert [finding[:4] for finding in result.findings()] == [("Orders", "rows-different", "Qty", 3)]
    assert result.report["partial"]


def test_only_tables_that_the_run_did_not_reach(clean):
    clean.execute_source("UPDATE Orders SET GroupOrderID = 77")
    clean.run_redirected()

    result = check(clean, "after", "--tables", "SecMinQt")

    assert [finding[:4] for finding in result.findings()] == [
        (None, "run-ended", None, None),
        ("SecMinQt", "table-not-migrated", None, 3),
    ]
    assert result.report["run_ends_in"] is None
    assert result.report["verdict"].startswith("The run ended in Orders, because ")


def test_a_table_that_is_not_there(migrated):
    migrated.execute_destination('DROP TABLE "SecMinQt"')

    result = check(migrated, "after")

    _assert_only(result, ("SecMinQt", "table-missing", None, 3, []))
    assert result.report["verdict"] == "SecMinQt is not as a run leaves it."


def test_a_column_that_is_not_there(migrated):
    migrated.execute_destination('ALTER TABLE "SecMinQt" DROP COLUMN "MinQty"')

    result = check(migrated, "after")

    _assert_only(result, ("SecMinQt", "cannot-foresee", None, None, []))
    assert _finding(result, "SecMinQt", "cannot-foresee")["text"] == (
        "The table cannot be compared: it has no column MinQty."
    )
    assert result.table("SecMinQt")["destination_rows"] is None
    assert result.report["verdict"] == (
        f"All {ALL_ROWS - 3} rows of the source are in the destination. Not compared: SecMinQt."
    )


def test_a_column_that_is_not_there_and_its_rows_are_referred_to(migrated):
    migrated.execute_destination('ALTER TABLE "GroupDesc" DROP COLUMN "SplitOrders"')

    result = check(migrated, "after")

    # All but the last have foreign keys, which the copies have too.
    _assert_only(
        result,
        *((table, "cannot-foresee", None, None, []) for table in ("GroupDesc", "Clients", "GroupOrders", "Orders")),
        ("GroupNegOrders", "cannot-foresee", "GroupID", None, []),
    )
    assert result.report["verdict"].endswith(" Not compared: GroupDesc, Clients, GroupOrders and Orders.")


def test_a_column_that_is_not_there_and_no_foreign_keys(migrated):
    migrated.execute_destination(
        'ALTER TABLE "GroupDesc" DROP COLUMN "SplitOrders"',
        *(
            f'ALTER TABLE "{table}" DROP CONSTRAINT "{table}_GroupID_fkey"'
            for table in ("Clients", "GroupOrders")
        ),
        'UPDATE "GroupNegOrders" SET "Price" = 4711 WHERE "ID" = 2',
        'UPDATE "Clients" SET "Num" = 4711',
    )

    result = check(migrated, "after")

    # Without its number a client's key is not unique.
    assert sorted((finding[:4] for finding in result.findings()), key=str) == sorted([
        ("GroupDesc", "cannot-foresee", None, None),
        ("Clients", "cannot-foresee", "GroupID", None),
        ("Clients", "rows-different", "Num", 3),
        ("GroupOrders", "cannot-foresee", "GroupID", None),
        ("GroupNegOrders", "cannot-foresee", "GroupID", None),
        ("GroupNegOrders", "rows-different", "Price", 1),
    ], key=str)


def test_a_table_that_may_not_be_read(migrated):
    migrated.execute_destination(
        'ALTER TABLE "SecMinQt" OWNER TO CURRENT_USER', 'UPDATE "LoadedPositions" SET "LimitKind" = 5'
    )

    result = check(migrated, "after")

    assert [finding[:4] for finding in result.findings()] == [
        ("SecMinQt", "cannot-foresee", None, None),
        ("LoadedPositions", "rows-different", "LimitKind", 3),
    ]
    assert "the login has no SELECT right on it" in _finding(result, "SecMinQt", "cannot-foresee")["text"]


def test_a_sequence_that_may_not_be_read(migrated):
    migrated.execute_destination('REVOKE ALL ON SEQUENCE "Orders_OrderID_seq" FROM bw_migrator')

    _assert_only(check(migrated, "after"), ("Orders", "identity-unknown", "OrderID", None, []))


def test_a_data_source_that_is_read_only(migrated):
    settings = data_sources.postgresql(migrated.lab.postgres.port, migrated.database)
    migrated.write_data_sources(destination=settings | {"ReadOnly": 1})

    result = check(migrated, "after")

    assert result.code == 2
    assert "ReadOnly" in result.errors


def test_a_source_that_breaks_off(migrated):
    migrated.restart_source(server_options=("--break-after", "LoadedPositions:2"))

    result = check(migrated, "after")

    assert result.code == 2
    assert result.errors != ""
    assert result.report is None


def test_a_source_that_fails(migrated):
    migrated.restart_source(server_options=("--error-after", "LoadedPositions:2"))

    assert check(migrated, "after").code == 2
