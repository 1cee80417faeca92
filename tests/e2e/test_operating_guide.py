"""The queries and the commands of the operators' pages, run as an operator runs them, and what the pages say of drivers.

The queries for the source run in tsql, those for the destination as the migrating role.
"""

import contextlib
import decimal
import os
import pathlib
import re
import shutil
import sqlite3
import stat
import subprocess

import data_sources
import lab
import pytest
import sample_data
import scratch
import source

_ROOT = pathlib.Path(__file__).resolve().parents[2]
_QUERIES = _ROOT / "queries"

_FENCE = re.compile(r"^ *```(\w*)\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)

SOURCE_QUERIES = {
    "code-pages",
    "schema-version",
    "missing-references",
    "client-prices-without-security",
    "renumbered",
    "references-that-change",
    "reading-order",
    "broker-pools",
    "changed-values",
    "replaced-nulls",
    "nulls-that-end-a-table",
    "nulls-that-repeat-a-row",
    "cut-texts",
    "duplicates",
    "group-members",
    "counts",
    "sums",
}
DESTINATION_QUERIES = {
    "missing-rights",
    "cascades",
    "blocking-foreign-keys",
    "sequences",
    "encrypted-sessions",
    "rows-so-far",
    "run-activity",
    "group-members",
    "dangling-references",
    "counts",
    "sums",
}

# What finds a flaw, and nothing in a source without one.
TRAPS = SOURCE_QUERIES - {
    "code-pages",
    "schema-version",
    "reading-order",
    "changed-values",
    "replaced-nulls",
    "group-members",
    "counts",
    "sums",
}

KEYS = {
    "SystemData": ["KeyName"],
    "GroupDesc": ["GroupID"],
    "Clients": ["GroupID", "ClientCode"],
    "GroupOrders": ["ID"],
    "Orders": ["OrderID"],
    "SecGroups": ["ID"],
    "SecGrMemb": ["GroupID", "MembType", "MembCode", "MembClass", "MembID"],
    "SecMinQt": ["ClassCode", "SecCode"],
    "ImportLog": ["ID"],
    "LoadedPositions": ["PosID"],
    "RatingAgencies": ["AgencyID"],
    "RatingScales": ["RatingID"],
    "LoadedSecurities": ["SecID"],
    "LoadedSecuritiesClientPrices": ["ClientID", "SecID"],
    "Restrictions": ["ID"],
    "PoolOrders": ["PoolID"],
    "OrdersInPool": ["OrderID"],
    "GroupStopOrders": ["ID"],
    "StopOrders": ["OrderID"],
    "GroupNegOrders": ["ID"],
    "NegOrders": ["OrderId"],
    "ExportOrder": ["ID"],
}

# The tables that are read column by column, and their columns whose NULL becomes a value.
REPLACED_NULLS = {
    "GroupNegOrders": {
        "Price", "Vozm", "Qty", "RealQty", "KilledQty", "RepoValue", "RealRepoValue", "Discount", "DiscountUpper",
        "DiscountLower", "RepoRate", "RepoTerm", "OrderType", "Flags", "BWCounter",
    },
    "NegOrders": {
        "Price", "Vozm", "Qty", "RepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm",
        "Flags", "BWCounter",
    },
    "ExportOrder": {"PoolID", "BrokerPoolID"},
}  # fmt: skip
BOUND_TABLES = [table for table in KEYS if table not in REPLACED_NULLS]

# How many bytes of each text are migrated.
WIDTHS = {
    "SystemData": {"KeyName": 20, "KeyValue": 50},
    "GroupDesc": {"GroupCode": 64, "GroupName": 255, "disabled": 1, "Mode": 10},
    "Clients": {"ClientCode": 20, "Comment": 50},
    "GroupOrders": {
        "Buy": 1, "ML": 1, "SecCode": 12, "ClassCode": 12, "Status": 1, "Result": 1, "Flags": 10, "BWSessionID": 40,
    },
    "Orders": {
        "Buy": 1, "ML": 1, "SecCode": 12, "ClassCode": 12, "ClientCode": 12, "TrdAcc": 12, "Status": 1, "Result": 1,
        "BWSessionID": 40,
    },
    "SecGroups": {"SecGCode": 64, "SecGName": 255, "disabled": 1, "Filter": 10, "mode": 10},
    "SecGrMemb": {"MembType": 1, "MembCode": 20, "MembClass": 20},
    "SecMinQt": {"ClassCode": 12, "SecCode": 12},
    "ImportLog": {"ImportType": 32, "BWSessionID": 40},
    "LoadedPositions": {"FirmID": 12, "ActiveCode": 12, "ClientCode": 12},
    "RatingAgencies": {"AgencyCode": 20, "AgencyName": 128},
    "RatingScales": {"Rating": 20},
    "LoadedSecurities": {"SecCode": 12, "SecName": 16, "SecStyle": 16, "SecType": 32},
    "LoadedSecuritiesClientPrices": {"Code": 12},
    "Restrictions": {
        "RestType": 1, "Client": 20, "Mode": 10, "disabled": 1, "BWSessionID": 40, "RestrCode": 12, "RestrName": 50,
    },
    "PoolOrders": {"BrokerPoolID": 32, "PoolName": 128, "Source": 250, "Status": 50},
    "OrdersInPool": {
        "OrderType": 1, "ClientCode": 12, "ClassCode": 12, "SecCode": 12, "Buy": 1, "ML": 1, "Comment": 20,
    },
    "GroupStopOrders": {
        "Buy": 1, "ML": 1, "SecCode": 12, "ClassCode": 12, "ASecCode": 12, "AClassCode": 12, "Status": 1, "Result": 1,
    },
    "StopOrders": {
        "Buy": 1, "ML": 1, "SecCode": 12, "ClassCode": 12, "ASecCode": 12, "AClassCode": 12, "ClientCode": 12,
        "Status": 1, "Result": 1, "TrdAcc": 12,
    },
    "GroupNegOrders": {
        "Buy": 1, "SecCode": 12, "ClassCode": 12, "CPFirmID": 12, "SettleCode": 12, "MatchRef": 10, "Status": 1,
        "Result": 1, "BWSessionID": 40,
    },
    "NegOrders": {
        "Buy": 1, "ClassCode": 12, "SecCode": 12, "ClientCode": 12, "TrdAcc": 12, "CPFirmId": 12, "SettleCode": 12,
        "MatchRef": 10, "Status": 1, "Result": 1, "BWSessionID": 40,
    },
    "ExportOrder": {
        "UserGroupCode": 64, "ClientCode": 12, "TrdAcc": 12, "Buy": 1, "ML": 1, "ClassCode": 12, "SecCode": 12,
    },
}  # fmt: skip

# One row of each table has these values, which are therefore the sums.
SUMMED = {
    "GroupDesc": {"DefWeight": "1.25"},
    "Clients": {"Weight": "2.25"},
    "GroupOrders": {"Price": "3.25", "Qty": "4.00", "BalanceQty": "5.50"},
    "Orders": {"Price": "6.25", "Qty": "7.00", "BalanceQty": "-8.50"},
    "SecGrMemb": {"MembID": "9.00"},
    "SecMinQt": {"MinQty": "-2147483648.00"},
    "ImportLog": {"BWCounter": "2147483647.00"},
    "LoadedPositions": {"OpenBalance": "-12345678.75"},
    "RatingScales": {"Position": "13.00"},
    "LoadedSecurities": {"FaceValue": "1000.00", "Price": "15.25"},
    "LoadedSecuritiesClientPrices": {"Price": "16.25"},
    "Restrictions": {"Limit": "17.25", "Value": "-18.50"},
    "PoolOrders": {"TotalQty": "19.00", "ActiveQty": "20.00"},
    "OrdersInPool": {"Price": "21.25", "Qty": "22.00"},
    "GroupStopOrders": {"Price": "23.25", "Qty": "24.00", "BalanceQty": "25.00"},
    "StopOrders": {"Price": "26.25", "Qty": "27.00", "Balance": "28.00"},
    "GroupNegOrders": {"Price": "29.25", "Qty": "30.00"},
    "NegOrders": {"Price": "31.25", "Qty": "32.00"},
    "ExportOrder": {"Price": "33.25", "Qty": "34.00", "Balance": "35.00"},
}


def _commands(page, containing) -> str:
    """The only block of commands of a page that has a text."""
    (found,) = (
        text
        for language, text in _FENCE.findall((_ROOT / "docs" / page).read_text())
        if language == "sh" and containing in text
    )
    return found


def _ask_source(workspace, name) -> list[list[str]]:
    """Runs a file in tsql. The rows of all its queries."""
    command = ["tsql", "-H", "127.0.0.1", "-p", str(workspace.source_server.port), "-D", lab.SOURCE_DATABASE]
    command += ["-U", lab.SOURCE_LOGIN, "-P", lab.SOURCE_PASSWORD, "-o", "qfh", "-t", "|"]
    run = subprocess.run(
        command,
        input=(_QUERIES / "source" / f"{name}.sql").read_text(),
        env=workspace.environment | {"TDSVER": "7.4", "LC_ALL": "C.UTF-8"},
        capture_output=True,
        text=True,
        check=False,
    )
    assert (run.returncode, run.stderr) == (0, ""), run
    return [line.split("|") for line in run.stdout.splitlines()]


def _ask_destination(workspace, name) -> list[tuple]:
    return workspace.query_destination((_QUERIES / "destination" / f"{name}.sql").read_text())


def _psql(workspace, name, edit=lambda text: text) -> list[str]:
    """Runs a file in psql, after an edit of its text. The lines that are shown."""
    command = ["psql", "-XqAt", "-v", "ON_ERROR_STOP=1", "-h", "127.0.0.1", "-p", str(workspace.lab.postgres.port)]
    return subprocess.check_output(
        [*command, "-U", lab.DESTINATION_LOGIN, workspace.database],
        input=edit((_QUERIES / "destination" / f"{name}.sql").read_text()),
        env=workspace.environment | {"PGPASSWORD": lab.DESTINATION_PASSWORD},
        text=True,
    ).splitlines()


def _fill_without_flaws(path) -> None:
    """The sample data, with nothing in it that the guide warns of and that could be avoided."""
    sample_data.fill(path)
    statements = ["UPDATE Clients SET Comment = substr(Comment, 1, 50)"]
    statements.append("UPDATE LoadedPositions SET ClientCode = substr(ClientCode, 1, 12)")
    for old, new in ((5, 3), (6, 4), (9, 5), (10, 6)):
        statements.append(f"UPDATE SecGroups SET ID = {new} WHERE ID = {old}")
        statements.append(f"UPDATE SecGrMemb SET GroupID = {new} WHERE GroupID = {old}")
        statements.append(f"UPDATE Restrictions SET SecGroupID = {new} WHERE SecGroupID = {old}")
        statements.append(f"UPDATE Restrictions SET CoSecGroupID = {new} WHERE CoSecGroupID = {old}")
    for old, new in ((5, 3), (6, 4)):
        statements.append(f"UPDATE RatingAgencies SET AgencyID = {new} WHERE AgencyID = {old}")
        statements.append(f"UPDATE RatingScales SET AgencyID = {new} WHERE AgencyID = {old}")
    for statement in statements:
        lab.execute_on_file(path, statement, ((),))


@pytest.fixture(scope="module")
def migrated(shared_lab):
    """A workspace whose source has no flaws, and whose destination holds what became of it."""
    with shared_lab.workspace(_fill_without_flaws) as workspace:
        run = workspace.run()
        assert "\nComplete migrate ExportOrder table." in run.console
        yield workspace


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces from (table, values) pairs."""

    def make(*rows, without_constraints=(), server_options=()):
        def fill(path):
            for table in without_constraints:
                source.drop_constraints(path, table)
            for table, values in rows:
                source.insert(path, table, **values)

        return new_workspace(fill=fill, server_options=server_options)

    return make


class TestFiles:
    def test_every_file_has_its_test(self):
        assert {path.stem for path in (_QUERIES / "source").iterdir()} == SOURCE_QUERIES
        assert {path.stem for path in (_QUERIES / "destination").iterdir()} == DESTINATION_QUERIES
        assert {path.suffix for path in _QUERIES.glob("*/*")} == {".sql"}

    @pytest.mark.parametrize("path", sorted(_QUERIES.glob("*/*")), ids=lambda path: f"{path.parent.name}/{path.name}")
    def test_only_reads(self, path):
        statements = re.split(r";\s*", re.sub(r"^--.*\n", "", path.read_text(), flags=re.MULTILINE))
        assert statements.pop() in ("", "go\n")
        first = [statement.split()[0] for statement in statements]
        assert set(first) <= {"SELECT", "WITH", "SET"}
        assert first.count("SET") <= 1

    @pytest.mark.parametrize("name", sorted(DESTINATION_QUERIES))
    def test_runs_in_psql(self, migrated, name):
        _psql(migrated, name)

    @pytest.mark.parametrize(
        "name, line",
        [("counts", "Clients|0"), ("sequences", "Night_ID_seq|5|1"), ("rows-so-far", "Clients|0")],
    )
    def test_schema_of_the_destination_is_set_in_one_line(self, new_workspace, name, line):
        workspace = new_workspace()
        workspace.execute_destination(
            "CREATE SCHEMA \"Night Desk\" AUTHORIZATION bw_migrator",
            *(f'ALTER TABLE "{table}" SET SCHEMA "Night Desk"' for table in KEYS),
            'CREATE SEQUENCE "Night Desk"."Night_ID_seq" START 5',
        )

        shown = _psql(workspace, name, lambda text: text.replace("TO public;", 'TO "Night Desk";', 1))

        assert line in shown

    def test_missing_schema_of_the_destination_is_an_error(self, new_workspace):
        workspace = new_workspace()
        for path in (_QUERIES / "destination").iterdir():
            if "SET search_path" in path.read_text():
                with pytest.raises(subprocess.CalledProcessError):
                    _psql(workspace, path.stem, lambda text: text.replace("TO public;", "TO missing;", 1))

    def test_schema_of_the_source_is_set_by_the_command_that_a_file_shows(self):
        for path in (_QUERIES / "source").iterdir():
            (command,) = re.findall(r"(sed .*)", path.read_text()) or [None]
            if path.stem in ("schema-version", "code-pages"):
                assert command is None
                continue
            text = subprocess.check_output(["bash", "-c", command], cwd=path.parent, text=True)
            *_, statements = text.partition("\n\n")
            assert "[dbo]" not in statements
            assert statements.count("[sales].") == path.read_text().count("[dbo].")

    @pytest.mark.parametrize("name", sorted(TRAPS))
    def test_finds_nothing_in_a_source_without_flaws(self, migrated, name):
        assert _ask_source(migrated, name) == []


class TestTraps:
    def test_schema_version(self, migrated):
        assert _ask_source(migrated, "schema-version") == [["29"]]

    @pytest.mark.parametrize("code_page", ["1251", "1252", "65001"])
    def test_code_page_of_the_source(self, new_source, code_page):
        rows = _ask_source(new_source(server_options=("--codepage", code_page)), "code-pages")
        assert [row[1] for row in rows] == [code_page]

    def test_null_in_every_bound_column(self, new_workspace):
        def fill(path):
            for table in BOUND_TABLES:
                _insert_nulls(path, table, source.columns(path, table))

        workspace = new_workspace(system_data=(), fill=fill)

        expected = []
        for table in BOUND_TABLES:
            expected += _rows_with_nulls(workspace, table, source.columns(workspace.source_file, table))
        assert _ask_source(workspace, "nulls-that-end-a-table") == expected

    @pytest.mark.parametrize(
        "name, replaced", [("nulls-that-repeat-a-row", False), ("replaced-nulls", True)]
    )
    def test_null_in_every_column_that_is_read_by_itself(self, new_workspace, name, replaced):
        def fill(path):
            for table in REPLACED_NULLS:
                _insert_nulls(path, table, source.columns(path, table))

        workspace = new_workspace(fill=fill)

        expected = []
        for table, nullable in REPLACED_NULLS.items():
            columns = source.columns(workspace.source_file, table)
            chosen = [column for column in columns if (column in nullable) == replaced]
            expected += _rows_with_nulls(workspace, table, chosen)
        assert _ask_source(workspace, name) == expected

    def test_texts_longer_than_what_is_migrated(self, new_workspace):
        def fill(path):
            _widen_texts(path)
            for table, widths in WIDTHS.items():
                fits = {column: "x" * width for column, width in widths.items()}
                source.insert(path, table, **_key(path, table, 0) | fits)
                for number, (column, width) in enumerate(widths.items(), start=1):
                    source.insert(path, table, **_key(path, table, number) | {column: "y" * width + "z"})

        workspace = new_workspace(system_data=(), fill=fill)

        expected = []
        for table, widths in WIDTHS.items():
            for number, (column, width) in enumerate(widths.items(), start=1):
                key = _key(workspace.source_file, table, number) | {column: "y" * width + "z"}
                expected.append([table, *(str(key[name]) for name in KEYS[table])])
        assert _ask_source(workspace, "cut-texts") == expected

    @pytest.mark.parametrize("code_page, named", [("1252", []), ("65001", [["Clients", "1", "KL1"]])])
    def test_a_text_is_as_long_as_its_bytes_in_the_source(self, new_source, code_page, named):
        workspace = new_source(
            ("GroupDesc", {"GroupID": 1}),
            ("Clients", {"GroupID": 1, "ClientCode": "KL1", "Comment": "é" * 26}),
            server_options=("--codepage", code_page),
        )
        assert _ask_source(workspace, "cut-texts") == named

    def test_named_texts_arrive_cut(self, new_workspace):
        def fill(path):
            _widen_texts(path)
            for table, widths in WIDTHS.items():
                texts = {column: "y" * width + "z" for column, width in widths.items()}
                source.insert(path, table, **texts | _pool(table))

        workspace = new_workspace(fill=fill)

        run = workspace.run()

        assert "\nComplete migrate ExportOrder table." in run.console
        for table, widths in WIDTHS.items():
            arrived = {column: width for column, width in widths.items() if (table, column) != ("Restrictions", "Mode")}
            names = ", ".join(f'"{column}"' for column in arrived)
            rows = workspace.query_destination(f'SELECT {names} FROM "{table}"')
            assert tuple("y" * width for width in arrived.values()) in rows, table

    def test_duplicates(self, new_workspace):
        unimportant = ("Orders", "OrdersInPool", "ImportLog", "RatingScales")

        def fill(path):
            for table in KEYS:
                source.drop_constraints(path, table)
                for number in (1, 2, 2, 3):
                    source.insert(path, table, **_key(path, table, number))

        workspace = new_workspace(system_data=(), fill=fill)

        assert _ask_source(workspace, "duplicates") == [
            [table, *(str(value) for value in _key(workspace.source_file, table, 2).values())]
            for table in KEYS
            if table not in unimportant
        ]

    def test_references_to_nothing(self, new_source):
        workspace = new_source(
            # A NULL among the identifiers must not hide the others.
            ("GroupDesc", {"GroupID": None}),
            ("GroupDesc", {"GroupID": 5}),
            ("Clients", {"ClientCode": "KL1", "GroupID": 5}),
            ("Clients", {"ClientCode": "KL2", "GroupID": 1}),
            ("GroupOrders", {"ID": 10, "GroupID": 5}),
            ("GroupOrders", {"ID": 11, "GroupID": 6}),
            ("Orders", {"OrderID": 20, "GroupOrderID": 10}),
            ("Orders", {"OrderID": 21, "GroupOrderID": 12}),
            ("Orders", {"OrderID": 22, "GroupOrderID": 0}),
            ("GroupNegOrders", {"ID": 30, "GroupID": 5}),
            ("GroupNegOrders", {"ID": 31, "GroupID": 7}),
            ("PoolOrders", {"PoolID": 1}),
            ("PoolOrders", {"PoolID": 2}),
            ("OrdersInPool", {"OrderID": 40, "PoolID": 1}),
            ("OrdersInPool", {"OrderID": 41, "PoolID": 2}),
            ("OrdersInPool", {"OrderID": 42, "PoolID": 0}),
            ("OrdersInPool", {"OrderID": 43, "PoolID": 3}),
            without_constraints=("GroupDesc",),
        )
        assert _ask_source(workspace, "missing-references") == [
            ["Clients", "1", "KL2"],
            ["GroupOrders", "11", "6"],
            ["Orders", "21", "12"],
            ["Orders", "22", "0"],
            ["GroupNegOrders", "31", "7"],
            ["OrdersInPool", "42", "0"],
            ["OrdersInPool", "43", "3"],
        ]

    def test_client_price_without_its_security(self, new_source):
        workspace = new_source(
            ("LoadedSecurities", {"SecID": 1}),
            ("LoadedSecuritiesClientPrices", {"ClientID": 7, "SecID": 1}),
            ("LoadedSecuritiesClientPrices", {"ClientID": 7, "SecID": 2}),
        )
        assert _ask_source(workspace, "client-prices-without-security") == [["7", "2"]]

        run = workspace.run()

        assert run.console.endswith("\nStart migrate LoadedSecuritiesClientPrices table\n")
        assert " :: SQL Error: State = 23503 " in workspace.log_file.read_text()

    def test_numbers_that_change(self, new_source):
        workspace = new_source(
            *(("SecGroups", {"ID": number}) for number in (1, 2, 5)),
            # No number is larger than the count here.
            *(("RatingAgencies", {"AgencyID": number}) for number in (0, 1, 3)),
            *(("PoolOrders", {"PoolID": number}) for number in (10, 20)),
        )
        assert _ask_source(workspace, "renumbered") == [
            ["SecGroups", "5", "3"],
            ["RatingAgencies", "0", "1"],
            ["RatingAgencies", "1", "2"],
            ["PoolOrders", "10", "1"],
            ["PoolOrders", "20", "2"],
        ]

    def test_references_that_will_point_elsewhere(self, new_source):
        # Groups 1 and 2 keep their numbers and 5 becomes 3; 4 and 9 are nothing before and after, and so is -1.
        workspace = new_source(
            *(("SecGroups", {"ID": number}) for number in (1, 2, 5)),
            *(
                ("SecGrMemb", {"GroupID": group, "MembType": "S", "MembCode": f"M{group}"})
                for group in (1, 2, 3, 4, 5, 9)
            ),
            ("Restrictions", {"ID": 50, "SecGroupID": 2, "CoSecGroupID": -1}),
            ("Restrictions", {"ID": 51, "SecGroupID": 5, "CoSecGroupID": 1}),
            ("Restrictions", {"ID": 52, "SecGroupID": 9, "CoSecGroupID": 3}),
            *(("RatingAgencies", {"AgencyID": number}) for number in (0, 1)),
            *(("RatingScales", {"RatingID": 60 + agency, "AgencyID": agency}) for agency in (0, 1, 2, 3)),
            *(("PoolOrders", {"PoolID": number}) for number in (1, 3)),
            *(("OrdersInPool", {"OrderID": 70 + pool, "PoolID": pool}) for pool in (1, 2, 3)),
        )
        name = "references-that-change"
        assert sorted(_ask_source(workspace, name)) == [
            ["OrdersInPool", "72", "2"],
            ["OrdersInPool", "73", "3"],
            ["RatingScales", "60", "0"],
            ["RatingScales", "61", "1"],
            ["RatingScales", "62", "2"],
            ["Restrictions, CoSecGroupID", "52", "3"],
            ["Restrictions, SecGroupID", "51", "5"],
            ["SecGrMemb", "3", "S", "M3", "", "0"],
            ["SecGrMemb", "5", "S", "M5", "", "0"],
        ]

    def test_reading_order(self, new_source):
        workspace = new_source(
            *(("SecGroups", {"ID": number}) for number in (2, 1)),
            *(("RatingAgencies", {"AgencyID": number}) for number in (1, 3, 2)),
            *(("PoolOrders", {"PoolID": number}) for number in (3, 2, 1)),
        )
        rows = _ask_source(workspace, "reading-order")
        assert [row[0] for row in rows] == ["2", "1", "1", "3", "2", "3", "2", "1"]

    def test_broker_pools(self, new_source):
        texts = ["65", "12x", "2147483647", "2147483648", "99999999999999999999", "BP7", "1 2", "-1", "", None, "0"]
        workspace = new_source(
            *(("ExportOrder", {"ID": number, "BrokerPoolID": text}) for number, text in enumerate(texts))
        )
        assert _ask_source(workspace, "broker-pools") == [
            ["1", "12x"],
            ["3", "2147483648"],
            ["4", "99999999999999999999"],
            ["5", "BP7"],
            ["6", "1 2"],
            ["7", "-1"],
        ]

    def test_values_that_change(self, new_source):
        workspace = new_source(
            ("NegOrders", {"OrderId": 1, "RepoTerm": 7}),
            ("NegOrders", {"OrderId": 2, "Flags": -1}),
            ("NegOrders", {"OrderId": 3}),
            ("NegOrders", {"OrderId": 4, "RepoTerm": None, "Flags": None}),
            ("Restrictions", {"ID": 5, "Mode": "1"}),
            ("Restrictions", {"ID": 6, "Mode": ""}),
            ("ExportOrder", {"ID": 7, "BrokerPoolID": "65"}),
            ("ExportOrder", {"ID": 8, "BrokerPoolID": ""}),
            ("ExportOrder", {"ID": 9, "BrokerPoolID": None}),
        )
        assert _ask_source(workspace, "changed-values") == [
            ["NegOrders", "1", "7", "0"],
            ["NegOrders", "2", "0", "-1"],
            ["Restrictions", "5", "1"],
            ["Restrictions", "6", ""],
            ["ExportOrder", "7", "65"],
        ]


def _key(path, table, number) -> dict:
    """The key of the row with a number."""
    columns = source.columns(path, table)
    return {name: 100 + number if columns[name] == "int" else f"{number:x}" for name in KEYS[table]}


def _pool(table) -> dict:
    """What makes the only order in a pool belong to the only pool."""
    return {"PoolID": 1} if table in ("PoolOrders", "OrdersInPool") else {}


def _widen_texts(path) -> None:
    """Gives every text of the source more room, as installations do."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.create_function("widened", 1, lambda sql: re.sub(r"(var)?char\(\d+\)", "varchar(500)", sql))
        connection.execute("PRAGMA writable_schema = ON")
        connection.execute("UPDATE sqlite_master SET sql = widened(sql) WHERE type = 'table'")


def _insert_nulls(path, table, columns) -> None:
    """Adds a row without NULL, and for each column a row with NULL there."""
    source.drop_constraints(path, table)
    source.insert(path, table, **_key(path, table, 0))
    for column in columns:
        number = list(source.columns(path, table)).index(column) + 1
        source.insert(path, table, **_key(path, table, number) | {column: None})


def _rows_with_nulls(workspace, table, columns) -> list[list[str]]:
    """The table's name and the keys of the rows that were added for some columns."""
    rows = []
    for column in columns:
        number = list(source.columns(workspace.source_file, table)).index(column) + 1
        key = _key(workspace.source_file, table, number)
        rows.append([table, *("NULL" if name == column else str(value) for name, value in key.items())])
    return rows


class TestDestination:
    def test_owner_lacks_no_rights(self, new_workspace):
        assert _ask_destination(new_workspace(), "missing-rights") == []

    def test_missing_rights(self, new_workspace):
        workspace = new_workspace()
        workspace.execute_destination(
            'DROP TABLE "SystemData"',
            'ALTER TABLE "Clients" OWNER TO postgres',
            'GRANT INSERT ON "Clients" TO bw_migrator',
            'ALTER TABLE "SecMinQt" OWNER TO postgres',
            'GRANT TRUNCATE ON "SecMinQt" TO bw_migrator',
            'ALTER TABLE "SecGroups" OWNER TO postgres',
            'GRANT ALL ON "SecGroups" TO bw_migrator',
            'ALTER PROCEDURE "BW_CreateOrder" OWNER TO postgres',
            'REVOKE EXECUTE ON PROCEDURE "BW_CreateOrder" FROM PUBLIC',
            'DROP PROCEDURE "BW_CreateSecGroupEx"',
            "ALTER SCHEMA public OWNER TO postgres",
            "REVOKE ALL ON SCHEMA public FROM PUBLIC",
        )
        assert _ask_destination(workspace, "missing-rights") == [
            ("USAGE on the schema",),
            ("table SystemData",),
            ("TRUNCATE on Clients",),
            ("INSERT on SecMinQt",),
            ("ownership of SecGroups_ID_seq",),
            ("EXECUTE on BW_CreateOrder",),
            ("EXECUTE on BW_CreateSecGroupEx",),
        ]

    def test_cascades_stay_within_what_is_filled_afterwards(self, new_workspace):
        assert _ask_destination(new_workspace(), "cascades") == [
            ("GroupDesc", "Clients", "filled afterwards"),
            ("GroupDesc", "GroupOrders", "filled afterwards"),
            ("GroupDesc", "Orders", "filled afterwards"),
            ("GroupOrders", "Orders", "filled afterwards"),
            ("LoadedSecurities", "LoadedSecuritiesClientPrices", "filled afterwards"),
        ]

    def test_cascades_that_lose_rows(self, new_workspace):
        workspace = new_workspace(system_data=(), fill=sample_data.fill)
        workspace.execute_destination(
            # The key's column stays NULL.
            'ALTER TABLE "SecMinQt" ADD security integer REFERENCES "LoadedSecurities" ("SecID")',
            'CREATE TABLE notes (pool integer REFERENCES "PoolOrders" ("PoolID"))',
            "CREATE TABLE answers (note integer)",
            "ALTER TABLE notes ADD UNIQUE (pool)",
            "ALTER TABLE answers ADD FOREIGN KEY (note) REFERENCES notes (pool)",
            "INSERT INTO answers VALUES (NULL)",
            "ALTER TABLE notes OWNER TO bw_migrator",
            "ALTER TABLE answers OWNER TO bw_migrator",
        )
        rows = _ask_destination(workspace, "cascades")
        assert [row for row in rows if row[2] != "filled afterwards"] == [
            ("LoadedSecurities", "SecMinQt", "stays empty"),
            ("PoolOrders", "answers", "stays empty"),
            ("PoolOrders", "notes", "stays empty"),
        ]

        run = workspace.run()

        assert "\nComplete migrate SecMinQt table. Total rows read = 12 Total migrated rows = 12." in run.console
        assert "\nComplete migrate ExportOrder table." in run.console
        for table in ("SecMinQt", "answers"):
            assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(0,)]

    def test_foreign_keys_that_end_the_run(self, new_workspace):
        workspace = new_workspace()
        assert _ask_destination(workspace, "blocking-foreign-keys") == []
        cascading = ("GroupDesc", "GroupOrders", "LoadedSecurities", "PoolOrders")
        for table in KEYS:
            workspace.execute_destination(
                f'ALTER TABLE "{table}" ADD note integer UNIQUE',
                f'CREATE TABLE "notes on {table}" (note integer CONSTRAINT "to {table}" REFERENCES "{table}" (note))',
            )
        # A table that refers to itself does no harm.
        workspace.execute_destination('ALTER TABLE "ImportLog" ADD before integer REFERENCES "ImportLog" ("ID")')

        rows = _ask_destination(workspace, "blocking-foreign-keys")

        assert sorted(rows) == sorted(
            (f"to {table}", f'"notes on {table}"', f'"{table}"') for table in KEYS if table not in cascading
        )

    def test_sequences_that_count_otherwise(self, new_workspace):
        workspace = new_workspace()
        assert _ask_destination(workspace, "sequences") == []
        workspace.execute_destination(
            'ALTER TABLE "SecGroups" ALTER "ID" SET START WITH 100',
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET INCREMENT BY 2',
        )
        assert sorted(_ask_destination(workspace, "sequences")) == [
            ("RatingAgencies_AgencyID_seq", 1, 2),
            ("SecGroups_ID_seq", 100, 1),
        ]


class TestWatching:
    def test_rows_so_far(self, migrated):
        expected = sorted(sample_data.BASE_ROWS.items())
        scratch.wait_until(lambda: sorted(_ask_destination(migrated, "rows-so-far")) == expected, "the statistics")

    def test_blocked_run(self, new_workspace):
        workspace = new_workspace()
        # Reading is enough, when the transaction stays open.
        reader = workspace.lab.postgres.connect(workspace.database)
        with contextlib.closing(reader), reader.cursor() as cursor:
            cursor.execute("BEGIN")
            cursor.execute('SELECT count(*) FROM "GroupOrders"')

            def watch(_process) -> None:
                def blocked():
                    rows = _ask_destination(workspace, "run-activity")
                    return [row for row in rows if row[3] == "Lock"]

                ((_, user, state, _, event, blocked_by, query),) = scratch.wait_until(blocked, "the lock")
                assert (user, state, event) == ("bw_migrator", "active", "relation")
                assert blocked_by == [reader.info.backend_pid]
                # The groups' emptying comes to the group orders as well.
                assert query == 'TRUNCATE public."GroupDesc" RESTART IDENTITY CASCADE;'
                cursor.execute("ROLLBACK")

            run = workspace.run(meanwhile=watch)

        assert "\nComplete migrate ExportOrder table." in run.console

    def test_commands_for_the_log(self, migrated):
        watching = _commands("operating.md", ":: insert row(")
        totals = _commands("operating.md", "Total rows read")
        count, start, *_ = _shell(migrated, watching)
        assert count == str(sum(sample_data.BASE_ROWS.values()))
        assert start.endswith(" :: Start migrate ExportOrder table")
        assert _shell(migrated, totals) == [f"{table}|{count}" for table, count in sample_data.BASE_ROWS.items()]


def _shell(workspace, commands) -> list[str]:
    command = ["bash", "-euo", "pipefail", "-c", commands]
    return subprocess.check_output(command, cwd=workspace.directory, text=True).splitlines()


class TestComparison:
    def test_counts(self, migrated):
        expected = [[table, str(count)] for table, count in sample_data.BASE_ROWS.items()]
        assert _ask_source(migrated, "counts") == expected
        assert [[table, str(count)] for table, count in _ask_destination(migrated, "counts")] == expected

    def test_psql_shows_counts_in_the_form_of_the_totals(self, migrated):
        assert _psql(migrated, "counts") == [f"{table}|{count}" for table, count in sample_data.BASE_ROWS.items()]

    def test_sums_agree(self, migrated):
        at_source = [(name, _cents(value)) for name, value in _ask_source(migrated, "sums")]
        assert at_source == _ask_destination(migrated, "sums")
        assert all(value is not None for _, value in at_source)

    def test_sums_of_known_values(self, new_workspace):
        def fill(path):
            for table, values in SUMMED.items():
                source.insert(path, table, **values | _pool(table))
            # Left out on both sides, as what becomes of the NULLs is.
            source.insert(path, "StopOrders", OrderID=1, Price=1e12, Qty=-1e300, Balance=1e308)
            source.insert(path, "NegOrders", OrderId=1, Price=None, Qty=None)

        workspace = new_workspace(fill=fill)
        workspace.run()

        expected = [
            (f"{table}.{column}", decimal.Decimal(value))
            for table, values in SUMMED.items()
            for column, value in values.items()
        ]
        assert [(name, _cents(value)) for name, value in _ask_source(workspace, "sums")] == expected
        assert _ask_destination(workspace, "sums") == expected

    def test_sums_from_1e13_on_differ_in_their_cents(self, new_workspace):
        def fill(path):
            for table, values in SUMMED.items():
                if table != "StopOrders":
                    source.insert(path, table, **values | _pool(table))
            for number in range(12):
                source.insert(path, "StopOrders", OrderID=number, Qty=999999999999.33, Price=99999999999.33)

        workspace = new_workspace(fill=fill)
        workspace.run()

        at_source = {name: _cents(value) for name, value in _ask_source(workspace, "sums")}
        sums = dict(_ask_destination(workspace, "sums"))
        assert at_source["StopOrders.Price"] == sums["StopOrders.Price"] == decimal.Decimal("1199999999991.96")
        assert at_source["StopOrders.Qty"] == decimal.Decimal("11999999999991.96")
        assert sums["StopOrders.Qty"] == decimal.Decimal("11999999999992.00")

    def test_a_lost_row_shows(self, new_workspace):
        workspace = new_workspace(system_data=(), fill=_fill_without_flaws)
        workspace.run()
        workspace.execute_destination('DELETE FROM "ExportOrder" WHERE "ID" = 601')

        at_source = {name: _cents(value) for name, value in _ask_source(workspace, "sums")}
        sums = dict(_ask_destination(workspace, "sums"))
        assert {name for name in sums if sums[name] != at_source[name]} == {
            "ExportOrder.Price",
            "ExportOrder.Qty",
            "ExportOrder.Balance",
        }
        counts = {table: str(count) for table, count in _ask_destination(workspace, "counts")}
        assert [row for row in _ask_source(workspace, "counts") if counts[row[0]] != row[1]] == [["ExportOrder", "16"]]

    def test_groups_agree(self, migrated):
        at_source = _ask_source(migrated, "group-members")
        assert at_source == [
            [code, *(str(count) for count in counts)]
            for code, *counts in _ask_destination(migrated, "group-members")
        ]
        assert at_source[1] == ["GRP00001", "4", "3", "9", "2"]

    def test_groups_of_known_size(self, new_source):
        workspace = new_source(
            ("GroupDesc", {"GroupID": 7, "GroupCode": "seven"}),
            ("GroupDesc", {"GroupID": 9, "GroupCode": "nine"}),
            ("Clients", {"ClientCode": "KL1", "GroupID": 9}),
            ("GroupOrders", {"ID": 1, "GroupID": 9}),
            ("GroupOrders", {"ID": 2, "GroupID": 9}),
            *(("Orders", {"OrderID": number, "GroupOrderID": 2}) for number in range(3)),
            *(("GroupNegOrders", {"ID": number, "GroupID": 9}) for number in range(4)),
        )
        workspace.run()
        assert _ask_source(workspace, "group-members") == [
            ["seven", "0", "0", "0", "0"],
            ["nine", "1", "2", "3", "4"],
        ]
        assert _ask_destination(workspace, "group-members") == [
            ("seven", 0, 0, 0, 0),
            ("nine", 1, 2, 3, 4),
        ]

    def test_nothing_leads_nowhere_without_flaws(self, migrated):
        assert _ask_destination(migrated, "dangling-references") == []

    def test_references_to_groups_that_got_another_number_lead_nowhere(self, new_workspace):
        # Security groups 1, 2, 5, 6, 9, 10 and agencies 1, 2, 5, 6.
        workspace = new_workspace(system_data=(), fill=sample_data.fill)
        workspace.run()
        assert sorted(_ask_destination(workspace, "dangling-references")) == [
            ("RatingScales", 5, 5),
            ("RatingScales", 6, 5),
            ("Restrictions, CoSecGroupID", 9, 2),
            ("Restrictions, CoSecGroupID", 10, 2),
            ("Restrictions, SecGroupID", 9, 2),
            ("Restrictions, SecGroupID", 10, 2),
            ("SecGrMemb", 9, 4),
            ("SecGrMemb", 10, 4),
        ]

    def test_each_reference_that_leads_nowhere(self, new_workspace):
        def fill(path):
            # In every table one row that leads somewhere and one that is made to lead nowhere behind the run.
            for number in (1, 2):
                source.insert(path, "GroupDesc", GroupID=number)
                source.insert(path, "Clients", GroupID=number)
                source.insert(path, "GroupOrders", ID=number, GroupID=number)
                source.insert(path, "Orders", OrderID=number, GroupOrderID=number)
                source.insert(path, "GroupNegOrders", ID=number, GroupID=number)
                source.insert(path, "SecGroups", ID=number)
                source.insert(path, "SecGrMemb", GroupID=number)
                source.insert(path, "Restrictions", ID=number, SecGroupID=number, CoSecGroupID=3 - number)
                source.insert(path, "RatingAgencies", AgencyID=number)
                source.insert(path, "RatingScales", RatingID=number, AgencyID=number)
                source.insert(path, "LoadedSecurities", SecID=number)
                source.insert(path, "LoadedSecuritiesClientPrices", SecID=number)
                source.insert(path, "PoolOrders", PoolID=number)
                source.insert(path, "OrdersInPool", OrderID=number, PoolID=number)
            source.insert(path, "Restrictions", ID=3, SecGroupID=0, CoSecGroupID=-1)

        workspace = new_workspace(fill=fill)
        workspace.execute_destination(
            'ALTER TABLE "Clients" DROP CONSTRAINT "Clients_GroupID_fkey"',
            'ALTER TABLE "GroupOrders" DROP CONSTRAINT "GroupOrders_GroupID_fkey"',
            'ALTER TABLE "Orders" DROP CONSTRAINT "Orders_GroupOrderID_fkey"',
            'ALTER TABLE "LoadedSecuritiesClientPrices" DROP CONSTRAINT "LoadedSecuritiesClientPrices_SecID_fkey"',
        )
        run = workspace.run()
        assert "\nComplete migrate ExportOrder table." in run.console
        assert _ask_destination(workspace, "dangling-references") == []
        workspace.execute_destination(
            'UPDATE "Orders" SET "GroupOrderID" = 7 WHERE "OrderID" = 2',
            *(
                f'UPDATE "{table}" SET "{column}" = {number} WHERE "{column}" = 2'
                for number, (table, column) in enumerate(
                    (
                        ("Clients", "GroupID"),
                        ("GroupOrders", "GroupID"),
                        ("GroupNegOrders", "GroupID"),
                        ("SecGrMemb", "GroupID"),
                        ("Restrictions", "SecGroupID"),
                        ("Restrictions", "CoSecGroupID"),
                        ("RatingScales", "AgencyID"),
                        ("LoadedSecuritiesClientPrices", "SecID"),
                        ("OrdersInPool", "PoolID"),
                    ),
                    start=10,
                )
            ),
        )
        assert _ask_destination(workspace, "dangling-references") == [
            ("Clients", 10, 1),
            ("GroupOrders", 11, 1),
            ("Orders", 7, 1),
            ("GroupNegOrders", 12, 1),
            ("SecGrMemb", 13, 1),
            ("Restrictions, SecGroupID", 14, 1),
            ("Restrictions, CoSecGroupID", 15, 1),
            ("RatingScales", 16, 1),
            ("LoadedSecuritiesClientPrices", 17, 1),
            ("OrdersInPool", 18, 1),
        ]


def _cents(text) -> decimal.Decimal:
    """A number as the source's server would show it; the sample server has no decimal type."""
    return decimal.Decimal(text).quantize(decimal.Decimal("0.01"), decimal.ROUND_HALF_UP)


class TestSourceEncryption:
    """The sample server offers no encryption: what can be seen is which settings go on without it."""

    @pytest.mark.parametrize(
        "settings",
        [{"Encryption": "request"}, {"Encryption": "off"}, {"Encrypt": "yes"}],
        ids=["request", "off", "setting of other drivers"],
    )
    def test_goes_on_without(self, new_workspace, settings):
        workspace = new_workspace()
        _set_source(workspace, **settings)
        assert "\nComplete migrate ExportOrder table." in workspace.run().console

    @pytest.mark.parametrize(
        "value, message",
        [
            ("require", "Unable to connect to data source"),
            ("Require", "Unable to connect to data source"),
            ("required", "Local configuration error"),
            ("strict", "Local configuration error"),
            ("yes", "Local configuration error"),
        ],
    )
    def test_is_refused(self, new_workspace, value, message):
        workspace = new_workspace()
        _set_source(workspace, Encryption=value)

        run = workspace.run()

        assert "Start migrate" not in run.console
        assert message in workspace.log_file.read_text()

    def test_data_source_with_a_server_does_not_read_the_configuration_of_freetds(self, new_workspace):
        workspace = new_workspace()
        pathlib.Path(workspace.environment["FREETDSCONF"]).write_text("[global]\nencryption = require\n")
        assert "\nComplete migrate ExportOrder table." in workspace.run().console

    @pytest.mark.parametrize("encryption, complete", [("request", True), ("require", False)])
    def test_data_source_with_a_server_name_does(self, new_workspace, encryption, complete):
        workspace = new_workspace(system_data=(), fill=sample_data.fill)
        settings = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        del settings["Server"], settings["Port"]
        workspace.write_data_sources(source=settings | {"Servername": "Brantwell"})
        pathlib.Path(workspace.environment["FREETDSCONF"]).write_text(
            f"[Brantwell]\nhost = 127.0.0.1\nport = {workspace.source_server.port}\n"
            f"tds version = 7.4\nencryption = {encryption}\n"
        )
        assert ("\nComplete migrate ExportOrder table." in workspace.run().console) == complete
        if complete:
            # The other settings of the data source hold as before.
            query = 'SELECT "GroupName" FROM "GroupDesc" WHERE "GroupCode" = \'GRP00001\''
            assert workspace.query_destination(query) == [("Crédit Genève, réserve",)]


def _set_source(workspace, **settings) -> None:
    usual = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
    workspace.write_data_sources(source=usual | settings)


@pytest.fixture(scope="module")
def encrypting_lab(shared_lab):
    """The lab with a PostgreSQL that offers encryption, its certificate made out to localhost."""
    postgres = shared_lab.postgres
    certificates = shared_lab.directory / "certificates"
    certificates.mkdir()
    for name in ("server", "stranger"):
        subprocess.run(
            [
                "openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-days", "2",
                "-addext", "subjectAltName=DNS:localhost",
                "-keyout", certificates / f"{name}.key", "-out", certificates / f"{name}.crt",
            ],
            capture_output=True,
            check=True,
        )  # fmt: skip
    data = postgres.directory / "data"
    owner = data.stat()
    for suffix in ("key", "crt"):
        path = data / f"server.{suffix}"
        shutil.copyfile(certificates / f"server.{suffix}", path)
        path.chmod(0o600)
        os.chown(path, owner.st_uid, owner.st_gid)
    postgres.execute("ALTER SYSTEM SET ssl = on", "SELECT pg_reload_conf()")

    def offers_encryption() -> bool:
        with contextlib.closing(postgres.connect()) as connection:
            return connection.info.ssl_in_use

    scratch.wait_until(offers_encryption, "encryption")
    yield certificates
    postgres.execute("ALTER SYSTEM RESET ssl", "SELECT pg_reload_conf()")
    scratch.wait_until(lambda: not offers_encryption(), "the end of encryption")


class TestDestinationEncryption:
    def test_sessions_without_encryption(self, migrated):
        # The query's own session is among them.
        with contextlib.closing(
            migrated.lab.postgres.connect(migrated.database, lab.DESTINATION_LOGIN, lab.DESTINATION_PASSWORD)
        ) as other:
            rows = _ask_destination(migrated, "encrypted-sessions")
            assert [row[1:] for row in rows if row[0] == other.info.backend_pid] == [("bw_migrator", False, None, None)]

    @pytest.mark.parametrize(
        "mode, server, authority, encrypted",
        [
            ("disable", "localhost", None, False),
            ("prefer", "localhost", None, True),
            ("require", "localhost", None, True),
            ("require", "localhost", "server", True),
            ("verify-ca", "127.0.0.1", "server", True),
            ("verify-full", "localhost", "server", True),
        ],
    )
    def test_mode_that_connects(self, encrypting_lab, new_workspace, mode, server, authority, encrypted):
        workspace = new_workspace()
        _set_destination(workspace, encrypting_lab, mode, server, authority)
        seen = []

        def watch(_process) -> None:
            def migrating():
                rows = _ask_destination(workspace, "run-activity")
                return [row[0] for row in rows if row[3] == "Lock"]

            (session,) = scratch.wait_until(migrating, "the lock")
            seen.extend(row[2:] for row in _ask_destination(workspace, "encrypted-sessions") if row[0] == session)
            cursor.execute("ROLLBACK")

        with contextlib.closing(workspace.lab.postgres.connect(workspace.database)) as connection:
            cursor = connection.cursor()
            cursor.execute("BEGIN")
            cursor.execute('LOCK TABLE "SystemData"')
            run = workspace.run(meanwhile=watch)

        assert "\nComplete migrate ExportOrder table." in run.console
        ((ssl, version, cipher),) = seen
        assert ssl == encrypted
        assert (version is not None, cipher is not None) == (encrypted, encrypted)

    @pytest.mark.parametrize(
        "mode, server, authority, message",
        [
            ("verify-full", "localhost", None, "root.crt"),
            ("verify-ca", "localhost", None, "root.crt"),
            ("verify-full", "127.0.0.1", "server", "does not match host name"),
            ("verify-full", "localhost", "stranger", "certificate verify failed"),
            ("verify-ca", "localhost", "stranger", "certificate verify failed"),
            ("require", "localhost", "stranger", "certificate verify failed"),
        ],
    )
    def test_mode_that_refuses(self, encrypting_lab, new_workspace, mode, server, authority, message):
        workspace = new_workspace()
        _set_destination(workspace, encrypting_lab, mode, server, authority)

        run = workspace.run()

        assert "Start migrate" not in run.console
        assert message in workspace.log_file.read_text()


def _set_destination(workspace, certificates, mode, server, authority) -> None:
    if authority:
        directory = pathlib.Path(workspace.environment["HOME"]) / ".postgresql"
        directory.mkdir()
        shutil.copyfile(certificates / f"{authority}.crt", directory / "root.crt")
    usual = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=usual | {"Servername": server, "SSLmode": mode})


class TestLogRights:
    def test_umask_closes_the_log(self, new_workspace):
        workspace = new_workspace()
        workspace.run(wrapper=("sh", "-c", 'umask 077; exec "$@"', "sh"))
        assert stat.S_IMODE(workspace.log_file.stat().st_mode) == 0o600

    def test_old_log_keeps_its_rights(self, new_workspace):
        workspace = new_workspace()
        workspace.log_file.write_text("an earlier run")
        workspace.log_file.chmod(0o644)

        workspace.run(wrapper=("sh", "-c", 'umask 077; exec "$@"', "sh"))

        assert stat.S_IMODE(workspace.log_file.stat().st_mode) == 0o644
        assert "an earlier run" not in workspace.log_file.read_text()
