"""The sample data: repeatable, of the size asked for, fit to be migrated, and with the odd cases in it."""

import contextlib
import os
import pathlib
import sqlite3
import subprocess
import sys

import pytest

import catalogue
import sample_data

_PROGRAM = pathlib.Path(sample_data.__file__).resolve()

_TEXTS = [
    (table, name, int(kind))
    for table, fields in catalogue.FIELDS.items()
    for name, kind in fields
    if kind not in ("int", "float")
]


class _Source:
    """A source database, read by SQL."""

    def __init__(self, path):
        self.path = path

    def rows(self, query):
        with contextlib.closing(sqlite3.connect(self.path)) as connection:
            return connection.execute(query).fetchall()

    def column(self, table, name):
        return [value for (value,) in self.rows(f"SELECT [{name}] FROM [{table}] ORDER BY rowid")]

    def count(self, table):
        return self.rows(f"SELECT count(*) FROM [{table}]")[0][0]

    def texts(self):
        """Every text of the database, as (table, column, width that is migrated, text)."""
        for table, name, width in _TEXTS:
            for text in self.column(table, name):
                if text is not None:
                    yield table, name, width, text


@pytest.fixture(scope="module", params=["latin", "cyrillic"])
def letters(request):
    return request.param


@pytest.fixture(scope="module")
def source(tmp_path_factory, letters):
    """The sample data at scale 1."""
    path = tmp_path_factory.mktemp(letters) / "source.sqlite"
    sample_data.create_source(path)
    sample_data.fill(path, letters=letters)
    return _Source(path)


@pytest.fixture
def fill(tmp_path):
    def make(**options):
        path = tmp_path / "source.sqlite"
        sample_data.create_source(path)
        sample_data.fill(path, **options)
        return _Source(path)

    return make


def _run(*arguments, **environment):
    return subprocess.run(
        [sys.executable, str(_PROGRAM), *map(str, arguments)],
        env=os.environ | environment,
        capture_output=True,
        text=True,
        timeout=120,
        check=False,
    )


def _content(path):
    with contextlib.closing(sqlite3.connect(path)) as connection:
        return list(connection.iterdump())


def test_the_same_arguments_give_the_same_content(tmp_path):
    for name, seed in (("a.sqlite", "1"), ("b.sqlite", "2")):
        run = _run(tmp_path / name, "--scale", 4, "--rows", "ImportLog=100", PYTHONHASHSEED=seed)
        assert (run.returncode, run.stdout, run.stderr) == (0, "", "")

    first = _content(tmp_path / "a.sqlite")
    assert len(first) > 500
    assert first == _content(tmp_path / "b.sqlite")


def test_every_table_has_a_few_rows(source):
    for table in catalogue.FIELDS:
        assert 4 <= source.count(table) <= 48, table


def test_the_tables_are_listed_in_the_order_of_the_migration():
    assert list(sample_data.TABLES) == list(catalogue.FIELDS)


def test_the_scale_multiplies_the_business_and_takes_its_root_for_the_reference_tables(fill):
    source = fill(scale=100)

    assert source.count("Orders") == 4800
    assert source.count("LoadedPositions") == 4000
    assert source.count("GroupDesc") == 60
    assert source.count("SystemData") == 80


def test_scale_zero_leaves_only_the_schema_version(fill):
    source = fill(scale=0)

    assert source.rows("SELECT * FROM SystemData") == [("dbver", "29")]
    assert {table for table in catalogue.FIELDS if source.count(table)} == {"SystemData"}


def test_rows_of_single_tables_can_be_set(fill):
    source = fill(rows={"SystemData": 3000, "Orders": 2000, "StopOrders": 1, "GroupStopOrders": 0, "ExportOrder": 0})

    assert source.count("SystemData") == 3000
    assert source.count("Orders") == 2000
    assert source.count("StopOrders") == 1
    assert source.count("GroupStopOrders") == 0
    assert source.count("ExportOrder") == 0
    assert source.count("GroupOrders") == 16


def test_every_table_can_be_empty(fill):
    source = fill(rows={table: 0 for table in catalogue.FIELDS})

    assert not any(source.count(table) for table in catalogue.FIELDS)


@pytest.mark.parametrize(
    ("table", "required"),
    [
        ("Clients", "GroupDesc"),
        ("GroupOrders", "GroupDesc"),
        ("Orders", "GroupOrders"),
        ("LoadedSecuritiesClientPrices", "LoadedSecurities"),
        ("OrdersInPool", "PoolOrders"),
        ("GroupNegOrders", "GroupDesc"),
    ],
)
def test_rows_that_could_not_be_migrated_are_refused(table, required):
    with pytest.raises(ValueError, match=f"^rows of {table} need rows of {required}$"):
        sample_data.row_counts(0, {table: 1})


@pytest.mark.parametrize(
    ("table", "required"),
    [
        ("StopOrders", "GroupStopOrders"),
        ("NegOrders", "GroupNegOrders"),
        ("SecGrMemb", "SecGroups"),
        ("RatingScales", "RatingAgencies"),
        ("Restrictions", "SecGroups"),
        ("GroupStopOrders", "GroupDesc"),
        ("ExportOrder", "PoolOrders"),
    ],
)
def test_rows_whose_reference_is_copied_unchecked_need_no_other_rows(fill, table, required):
    source = fill(scale=0, rows={table: 10})

    assert (source.count(table), source.count(required)) == (10, 0)


def test_the_schema_version_is_29(source):
    assert source.rows("SELECT KeyValue FROM SystemData WHERE KeyName = 'dbver'") == [("29",)]


@pytest.mark.parametrize(
    ("reference", "identifier"),
    [
        (("Clients", "GroupID"), ("GroupDesc", "GroupID")),
        (("GroupOrders", "GroupID"), ("GroupDesc", "GroupID")),
        (("GroupNegOrders", "GroupID"), ("GroupDesc", "GroupID")),
        (("Orders", "GroupOrderID"), ("GroupOrders", "ID")),
        (("LoadedSecuritiesClientPrices", "SecID"), ("LoadedSecurities", "SecID")),
        (("OrdersInPool", "PoolID"), ("PoolOrders", "PoolID")),
    ],
)
def test_translated_and_constrained_references_are_valid(fill, reference, identifier):
    source = fill(scale=9)

    assert len(set(source.column(*reference))) > 1
    assert set(source.column(*reference)) <= set(source.column(*identifier))


def test_pools_are_numbered_from_one_in_reading_order(source):
    assert source.column("PoolOrders", "PoolID") == [1, 2, 3, 4, 5, 6]


@pytest.mark.parametrize(
    ("table", "name"),
    [
        ("GroupDesc", "GroupID"),
        ("GroupOrders", "ID"),
        ("Orders", "OrderID"),
        ("SecGroups", "ID"),
        ("ImportLog", "ID"),
        ("LoadedPositions", "PosID"),
        ("RatingAgencies", "AgencyID"),
        ("RatingScales", "RatingID"),
        ("LoadedSecurities", "SecID"),
        ("Restrictions", "ID"),
        ("OrdersInPool", "OrderID"),
        ("GroupStopOrders", "ID"),
        ("StopOrders", "OrderID"),
        ("GroupNegOrders", "ID"),
        ("NegOrders", "OrderId"),
        ("ExportOrder", "ID"),
    ],
)
def test_identifiers_have_gaps(source, table, name):
    identifiers = source.column(table, name)

    assert identifiers == sorted(set(identifiers))
    assert identifiers[-1] - identifiers[0] >= len(identifiers)


def test_texts_fit_into_their_columns(source):
    widened = {("Clients", "Comment"): 100, ("LoadedPositions", "ClientCode"): 20}
    for table, name, width, text in source.texts():
        assert len(text) <= widened.get((table, name), width), (table, name, text)


def test_letters_beyond_ascii_leave_room_for_their_second_bytes(source):
    for table, name, width, text in source.texts():
        assert text.isascii() or len(text.encode()) <= width, (table, name, text)


def test_letters_beyond_ascii_stand_in_many_tables_and_in_one_code_page(source, letters):
    texts = [(table, text) for table, _, _, text in source.texts() if not text.isascii()]

    assert {table for table, _ in texts} == {
        "SystemData",
        "GroupDesc",
        "Clients",
        "SecGroups",
        "RatingAgencies",
        "LoadedSecurities",
        "Restrictions",
        "PoolOrders",
        "OrdersInPool",
    }
    for _, text in texts:
        assert text.encode({"latin": "cp1252", "cyrillic": "cp1251"}[letters])


def test_every_text_column_is_filled_to_its_end_by_some_row(source):
    unfilled = {(table, name) for table, name, _ in _TEXTS}
    for table, name, width, text in source.texts():
        if len(text) == width:
            unfilled.discard((table, name))
    # This one holds numbers.
    assert unfilled == {("ExportOrder", "BrokerPoolID")}


@pytest.mark.parametrize(
    ("table", "name", "width"), [("Clients", "Comment", 50), ("LoadedPositions", "ClientCode", 12)]
)
def test_widened_columns_hold_texts_that_are_longer_than_what_is_migrated(source, table, name, width):
    assert max(map(len, source.column(table, name))) > width


def test_some_texts_are_empty_or_end_with_blanks(source):
    assert "" in source.column("SystemData", "KeyValue")
    assert "" in source.column("Restrictions", "Mode")
    assert "" in source.column("StopOrders", "ASecCode")
    assert any(text.endswith("  ") for text in source.column("Clients", "Comment"))


def test_every_nullable_column_has_nulls_and_values(source):
    for table, names in catalogue.NULLABLE.items():
        for name in names:
            values = source.column(table, name)
            assert None in values and set(values) != {None}, (table, name)


def test_integers_reach_both_ends_of_their_range(source):
    assert {-2147483648, 2147483647} <= set(source.column("Clients", "Num"))
    assert {-2147483648, 2147483647} <= set(source.column("LoadedPositions", "LimitKind"))


@pytest.mark.parametrize(
    ("table", "name"),
    [
        ("GroupDesc", "DefWeight"),
        ("Clients", "Weight"),
        ("GroupOrders", "Value"),
        ("Orders", "Value"),
        ("LoadedPositions", "OpenBalance"),
        ("LoadedSecurities", "AccInt"),
        ("LoadedSecuritiesClientPrices", "Price"),
        ("Restrictions", "Limit"),
        ("PoolOrders", "KilledQty"),
        ("OrdersInPool", "KillQty"),
        ("GroupStopOrders", "KilledQty"),
        ("StopOrders", "Balance"),
        ("ExportOrder", "RepoValue"),
    ],
)
def test_doubles_reach_both_ends_of_their_range(source, table, name):
    assert {1e300, -1e-300, 1.7976931348623157e308, 5e-324} <= set(source.column(table, name))


def test_prices_and_quantities_can_be_negative(source):
    assert min(source.column("GroupOrders", "Price")) < 0
    assert min(source.column("Orders", "BalanceQty")) < 0
    assert min(source.column("OrdersInPool", "Price")) < 0


def test_a_short_restriction_mode_comes_after_a_longer_one(source):
    assert source.column("Restrictions", "Mode")[:5] == ["", "1", "HARDLIMIT1", "1", ""]


def test_broker_pool_numbers_are_made_of_ascii_bytes(fill):
    numbers = fill(scale=5).column("ExportOrder", "BrokerPoolID")

    assert numbers[:9] == [None, "65", None, "1145258561", None, "0", "256", "16961", "66"]
    for number in numbers:
        assert number is None or int(number).to_bytes(4, "little").isascii()


def test_dates_and_times_are_those_of_a_trading_day(source):
    for date in source.column("Orders", "TradeDate"):
        assert 20230109 <= date <= 20231231
    for time in source.column("Orders", "TradeTime"):
        assert 93000 <= time < 190000 and time % 100 < 60 and time // 100 % 100 < 60


def test_columns_lose_their_constraints_when_nulls_are_allowed(tmp_path):
    path = tmp_path / "source.sqlite"
    sample_data.create_source(path)
    sample_data.allow_nulls(path)

    with contextlib.closing(sqlite3.connect(path)) as connection:
        for table in catalogue.FIELDS:
            connection.execute(f"INSERT INTO [{table}] DEFAULT VALUES")
            values = connection.execute(f"SELECT * FROM [{table}]").fetchone()
            assert values == (None,) * len(catalogue.FIELDS[table]), table


def test_an_existing_file_is_left_alone(tmp_path):
    path = tmp_path / "source.sqlite"
    path.write_text("kept")

    run = _run(path)

    assert run.returncode == 1
    assert run.stderr == f"{path} exists already\n"
    assert path.read_text() == "kept"


@pytest.mark.parametrize(
    ("arguments", "code", "message"),
    [
        (("--rows", "Orders"), 2, "argument --rows: Orders is not TABLE=N\n"),
        (("--rows", "Nothing=1"), 2, "argument --rows: Nothing=1 is not TABLE=N\n"),
        (("--scale", "-1"), 2, "argument --scale: -1 is not a whole number\n"),
        (("--scale", "0", "--rows", "Orders=1"), 1, "rows of Orders need rows of GroupOrders\n"),
    ],
)
def test_wrong_arguments_are_refused_and_leave_no_file(tmp_path, arguments, code, message):
    path = tmp_path / "source.sqlite"

    run = _run(path, *arguments)

    assert run.returncode == code
    assert run.stderr.endswith(message)
    assert not path.exists()
