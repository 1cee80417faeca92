"""The lab's two schemas offer the migrator what it reads and writes."""

import contextlib
import pathlib
import re
import sqlite3

import pytest

import catalogue
import sample_data

_SOURCE_SCHEMA = pathlib.Path(sample_data.__file__).resolve().parent / "schema" / "source.sql"

# Columns that some installations widened, with their width; the migrator carries fewer characters.
_WIDENED = {("Clients", "Comment"): "100", ("LoadedPositions", "ClientCode"): "20"}

# What the TRUNCATE of a table empties besides that table.
_EMPTIED_ALONG = {
    "GroupDesc": {"Clients", "GroupOrders", "Orders"},
    "GroupOrders": {"Orders"},
    "LoadedSecurities": {"LoadedSecuritiesClientPrices"},
}

_ALL_TABLES = list(catalogue.FIELDS)


def _source_columns():
    """Table -> [(column, type, not null)] of source.sql as SQLite understands it, tables in order of creation."""
    with contextlib.closing(sqlite3.connect(":memory:")) as connection:
        connection.execute("ATTACH DATABASE ':memory:' AS dbo")
        connection.executescript(_SOURCE_SCHEMA.read_text())
        tables = connection.execute("SELECT name FROM dbo.sqlite_master WHERE type = 'table' ORDER BY rowid")
        return {
            table: [
                (name, kind.lower(), bool(not_null))
                for _, name, kind, not_null, _, _ in connection.execute(f"PRAGMA dbo.table_info([{table}])")
            ]
            for (table,) in tables.fetchall()
        }


def _expected_source_type(table, name, kind):
    width = _WIDENED.get((table, name), kind)
    if width in ("int", "float"):
        return {width}
    return {"char(1)", "varchar(1)"} if width == "1" else {f"varchar({width})"}


def test_the_source_has_the_migrated_tables_in_order():
    assert list(_source_columns()) == _ALL_TABLES


@pytest.mark.parametrize("table", _ALL_TABLES)
def test_source_columns_are_those_that_the_migrator_selects(table):
    columns = _source_columns()[table]

    assert [name for name, _, _ in columns] == [name for name, _ in catalogue.FIELDS[table]]
    for (name, kind, not_null), (_, expected) in zip(columns, catalogue.FIELDS[table]):
        assert kind in _expected_source_type(table, name, expected), name
        assert not_null == (name not in catalogue.NULLABLE.get(table, ())), name


def test_every_source_table_has_a_primary_key():
    text = _SOURCE_SCHEMA.read_text()
    assert re.findall(r"CONSTRAINT \[PK_(\w+)\] PRIMARY KEY", text) == _ALL_TABLES


def test_the_source_schema_is_plain_transact_sql():
    text = re.sub(r"--.*", "", _SOURCE_SCHEMA.read_text())
    name = r"\[\w+\]"
    column = rf"{name} (?:int|float|(?:var)?char\(\d+\)) (?:NOT )?NULL"
    key = rf"CONSTRAINT {name} PRIMARY KEY \({name}(?:, {name})*\)"
    table = rf"CREATE TABLE \[dbo\]\.{name}\s*\(\s*(?:{column},\s*)+{key}\s*\);"
    assert re.fullmatch(rf"\s*(?:{table}\s*)+", text)


@pytest.mark.parametrize("table", _ALL_TABLES)
def test_destination_columns_are_those_that_the_migrator_writes(destination, table):
    destination.execute(
        """
        SELECT column_name, data_type, character_maximum_length, is_nullable, is_identity
        FROM information_schema.columns
        WHERE table_schema = 'bw' AND table_name = %s
        ORDER BY ordinal_position
        """,
        (table,),
    )
    expected = []
    for name, kind in catalogue.FIELDS[table]:
        if kind == "int":
            data_type, width = "integer", None
        elif kind == "float":
            data_type, width = "double precision", None
        else:
            # Mode of Restrictions takes a 32-bit number as text, "-2147483648" at the longest.
            data_type, width = "character varying", 11 if (table, name) == ("Restrictions", "Mode") else int(kind)
        nullable = "YES" if name in catalogue.NULLABLE.get(table, ()) else "NO"
        identity = "YES" if name in catalogue.ASSIGNED.get(table, ()) else "NO"
        expected.append((name, data_type, width, nullable, identity))
    assert destination.fetchall() == expected


def _insert_row_everywhere(destination):
    """One row in each table, all its numbers 1, so that every foreign key is satisfied."""
    for table, fields in catalogue.FIELDS.items():
        names = ", ".join(f'"{name}"' for name, _ in fields)
        values = ", ".join("1" if kind in ("int", "float") else "'a'" for _, kind in fields)
        destination.execute(f'INSERT INTO "{table}" ({names}) VALUES ({values})')


def _empty_tables(destination):
    empty = set()
    for table in catalogue.FIELDS:
        destination.execute(f'SELECT count(*) FROM "{table}"')
        if destination.fetchone() == (0,):
            empty.add(table)
    return empty


def test_every_table_can_be_emptied_in_the_order_of_the_migration(destination):
    _insert_row_everywhere(destination)

    expected = set()
    for table in catalogue.FIELDS:
        destination.execute(catalogue.truncate_statement(table))
        expected |= {table} | _EMPTIED_ALONG.get(table, set())
        assert _empty_tables(destination) == expected, table


@pytest.mark.parametrize("table", _ALL_TABLES)
def test_emptying_a_table_empties_only_tables_that_are_migrated_later(destination, table):
    _insert_row_everywhere(destination)

    destination.execute(catalogue.truncate_statement(table))

    emptied = _empty_tables(destination)
    assert emptied == {table} | _EMPTIED_ALONG.get(table, set())
    assert min(map(_ALL_TABLES.index, emptied)) == _ALL_TABLES.index(table)


def test_emptying_the_pools_cascades_when_the_orders_refer_to_them(destination):
    destination.execute('ALTER TABLE "OrdersInPool" ADD FOREIGN KEY ("PoolID") REFERENCES "PoolOrders" ("PoolID")')
    _insert_row_everywhere(destination)

    destination.execute('TRUNCATE "PoolOrders" RESTART IDENTITY CASCADE;')

    assert _empty_tables(destination) == {"PoolOrders", "OrdersInPool"}


def test_an_order_in_a_pool_may_name_no_pool(destination):
    destination.execute(
        """
        INSERT INTO "OrdersInPool" ("PoolID", "OrderType", "ClientCode", "ClassCode", "SecCode", "Price", "Qty", "Buy",
            "ML", "SendQty", "ExecQty", "RejectQty", "KillQty", "ActiveQty", "Comment")
        VALUES (10, '', '', '', '', 0, 0, '', '', 0, 0, 0, 0, 0, '')
        """
    )
    assert destination.rowcount == 1


_GROUP_ARGUMENTS = ("G1", "Group 1", "0", "LOTS", 0.5, -3)
_GROUP_ORDER_ARGUMENTS = (
    1, 20240115, 93000, "B", "L", "AURX", "TQBR", 11.5, 12.5, 13.5, 14.5, 15.5, "A", "0", 16, "FLAGS", 17, 18.5, 19.5,
    20, "session",
)
_ORDER_ARGUMENTS = (
    1, 20240115, 93000, "B", "L", "AURX", "TQBR", "C1", "L01", 11.5, 12.5, 13.5, 14.5, "A", "0", 15, 16.5, 17.5, 18,
    "session",
)
_SEC_GROUP_ARGUMENTS = ("S1", "Securities 1", "0", "ALL", "include", 5, -6)


def _call(destination, procedure, arguments, outputs):
    markers = ", ".join(["%s"] * len(arguments) + ["NULL"] * outputs)
    destination.execute(f'CALL bw."{procedure}"({markers})', arguments)
    return destination.fetchone()


def _create_one_of_each(destination):
    return [
        _call(destination, "BW_CreateClientGroupEx", _GROUP_ARGUMENTS, 1),
        _call(destination, "BW_CreateGroupOrder", _GROUP_ORDER_ARGUMENTS, 2),
        _call(destination, "BW_CreateOrder", _ORDER_ARGUMENTS, 2),
        _call(destination, "BW_CreateSecGroupEx", _SEC_GROUP_ARGUMENTS, 1),
    ]


def test_the_procedures_create_rows_from_their_arguments(destination):
    _create_one_of_each(destination)

    destination.execute('SELECT * FROM "GroupDesc"')
    assert destination.fetchall() == [(1, "G1", "Group 1", "0", "LOTS", 0.5, -3)]
    destination.execute('SELECT * FROM "GroupOrders"')
    assert destination.fetchall() == [
        (1, 1, 20240115, 93000, "B", "L", "AURX", "TQBR", 11.5, 12.5, 13.5, 14.5, 15.5, "A", "0", 16, "FLAGS", 17,
         18.5, 20, "session", 1, 19.5)
    ]
    destination.execute('SELECT * FROM "Orders"')
    assert destination.fetchall() == [
        (1, 1, "B", "L", 20240115, 93000, "AURX", "TQBR", "C1", "L01", 11.5, 12.5, 13.5, 14.5, "A", "0", 15, 16.5,
         17.5, 18, "session", 1)
    ]
    destination.execute('SELECT * FROM "SecGroups"')
    assert destination.fetchall() == [(1, "S1", "Securities 1", "0", "ALL", "include", 5, -6)]


def test_the_procedures_return_consecutive_identifiers_and_counters(destination):
    assert _create_one_of_each(destination) == [(1,), (1, 1), (1, 1), (1,)]
    assert _create_one_of_each(destination) == [(2,), (2, 2), (2, 2), (2,)]


def test_identifiers_and_counters_start_again_after_a_truncate(destination):
    _create_one_of_each(destination)

    for table in ("GroupDesc", "GroupOrders", "Orders", "SecGroups"):
        destination.execute(catalogue.truncate_statement(table))

    assert _create_one_of_each(destination) == [(1,), (1, 1), (1, 1), (1,)]


def test_the_procedures_find_their_tables_whatever_the_search_path_of_the_caller(destination):
    destination.execute("SET search_path TO public")

    assert _create_one_of_each(destination) == [(1,), (1, 1), (1, 1), (1,)]
