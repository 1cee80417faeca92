"""`bw_db_check before` asks the destination what it does with the rows, instead of judging by itself.

Each test has a destination or rows whose outcome only the destination knows; the real program then does what was said.
"""

import dataclasses

import pytest

import data_sources
import flawed_source
import lab
import sample_data
import source
import what_happened
from checker import check

# Three rows in each table but Restrictions, and the schema version.
ALL_ROWS = 64

A_RESTRICTION = {
    "RestType": "A", "Client": "C1", "Mode": "1", "Limit": 1.5, "SecGroupID": 1, "CoSecGroupID": 1, "disabled": "0",
    "Value": 2.5, "BWSessionID": "S", "RestrCode": "R", "RestrName": "N",
}  # fmt: skip

# Does what the owner of the 22 tables may do.
AS_OWNER = "SET ROLE bw_migrator"


@pytest.fixture
def workspace(shared_lab):
    """A clean source of three rows in each table, and an empty destination."""

    def fill(path):
        flawed_source.create_clean(path)
        for number in (1, 2, 3):
            source.insert(path, "Restrictions", ID=number, **A_RESTRICTION | {"Mode": str(number)})

    with shared_lab.workspace(fill) as started:
        yield started


def _set(workspace, column, values) -> None:
    """Gives a column such as "Clients.Num" its values in the first, second and third row."""
    table, _, name = column.partition(".")
    others = "WHERE KeyName <> 'dbver'" if table == "SystemData" else ""
    for number, value in enumerate(values):
        workspace.execute_source(
            f"UPDATE [{table}] SET [{name}] = ? WHERE rowid ="
            f" (SELECT rowid FROM [{table}] {others} ORDER BY rowid LIMIT 1 OFFSET {number})",
            [(value,)],
        )


def _ending(result, table) -> list[tuple]:
    """Rows and keys of the table's findings that end the run."""
    return [(each["rows"], each["keys"]) for each in result.table(table)["findings"] if each["cost"] == "run-ends"]


def _figures(result, table) -> tuple:
    """Rows that arrive, rows that are refused."""
    return result.table(table)["arriving_rows"], result.table(table)["refused_rows"]


def _assert_run_ends(workspace, table, rows) -> None:
    """The real run ends in that table, after so many of its rows."""
    assert what_happened.ended_in(workspace.run_redirected()) == table, workspace.log_file.read_text()[-600:]
    assert what_happened.row_counts(workspace)[table] == rows


def _assert_run_is_complete(workspace) -> None:
    assert what_happened.ended_in(workspace.run_redirected()) is None, workspace.log_file.read_text()[-600:]


# What the destination refuses.


@dataclasses.dataclass
class Refusal:
    change: tuple[str, ...]  # statements on the destination
    values: dict  # of a column, in the three rows of its table
    ends_in: str
    arriving: int  # rows before the first that is refused
    refused: int
    keys: list  # of the refused rows


def _type(column, new_type, values, key, *before) -> Refusal:
    """A column of another type, whose second row of three is refused."""
    table, _, name = column.partition(".")
    change = f'ALTER TABLE "{table}" ALTER "{name}" TYPE {new_type} USING "{name}"::text::{new_type}'
    return Refusal((*before, change), {column: values}, table, 1, 1, [key])


def _refusal(table, what, values, arriving, keys) -> Refusal:
    return Refusal((f'ALTER TABLE "{table}" ADD {what}',), values, table, arriving, len(keys), keys)


_POSITIONS = {"LoadedPositions.PosType": (1, 2, 3)}

REFUSALS = {
    # A column of another type than usual.
    "numeric": _type("LoadedPositions.OpenBalance", "numeric(6, 2)", (1.25, 10000.0, 9999.99), "PosID = 2"),
    "smallint": _type("LoadedPositions.PosType", "smallint", (1, 32768, 32767), "PosID = 2"),
    "real": _type("LoadedPositions.OpenBalance", "real", (1.5, 1e39, -1e38), "PosID = 2"),
    "date": _type("GroupStopOrders.TradeDate", "date", (20240131, 20240231, 20240229), "ID = 2"),
    "boolean": _type("GroupStopOrders.OrdersCount", "boolean", (1, 2, 0), "ID = 2"),
    "money": _type("LoadedPositions.OpenBalance", "money", (1.5, 1e18, -2.25), "PosID = 2"),
    "bigint for a text": _type("PoolOrders.Status", "bigint", ("1", "one", " 2 "), "PoolID = 2"),
    "domain": _type(
        "LoadedPositions.PosType", "small", (1, 5, 4), "PosID = 2",
        "CREATE DOMAIN small AS integer CHECK (VALUE < 5)",
    ),
    "domain of a shorter text": _type(
        "LoadedPositions.FirmID", "short", ("A", "ABCD", "ABC"), "PosID = 2", "CREATE DOMAIN short AS varchar(3)"
    ),
    "type behind a procedure": _type("Orders.TradeTime", "smallint", (1, 32768, 2), "OrderID = 2"),
    # An index that holds not simply the rows' columns.
    "partial index": Refusal(
        ('CREATE UNIQUE INDEX ON "LoadedPositions" ("FirmID") WHERE "PosType" > 5',),
        {"LoadedPositions.FirmID": ("A", "A", "A"), "LoadedPositions.PosType": (6, 5, 7)},
        "LoadedPositions", 2, 1, ["PosID = 3"],
    ),
    "expression index": Refusal(
        ('CREATE UNIQUE INDEX ON "LoadedPositions" (upper("FirmID"))',),
        {"LoadedPositions.FirmID": ("a", "A", "b")},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    "expression index that fails": Refusal(
        ('CREATE INDEX ON "LoadedPositions" ((1 / "PosType"))',),
        {"LoadedPositions.PosType": (1, 0, 2)},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    "exclusion constraint": _refusal(
        "LoadedPositions", 'EXCLUDE USING gist (int4range("PosType", "LimitKind") WITH &&)',
        {"LoadedPositions.PosType": (1, 4, 5), "LoadedPositions.LimitKind": (5, 6, 9)}, 1, ["PosID = 2"],
    ),
    # A generated column or a default that fails.
    "generated column": _refusal(
        "LoadedPositions", 'ratio integer GENERATED ALWAYS AS (10 / "PosType") STORED',
        {"LoadedPositions.PosType": (1, 0, 2)}, 1, ["PosID = 2"],
    ),
    "default": Refusal(
        ('ALTER TABLE "SecMinQt" ADD note varchar(3)', 'ALTER TABLE "SecMinQt" ALTER note SET DEFAULT current_user'),
        {"SecMinQt.ClassCode": ("A", "B", "C"), "SecMinQt.SecCode": ("A", "B", "C")},
        "SecMinQt", 0, 3,
        ["ClassCode = A, SecCode = A", "ClassCode = B, SecCode = B", "ClassCode = C, SecCode = C"],
    ),
    # An identity that runs out.
    "identity": Refusal(
        ('ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET MAXVALUE 2',), {}, "RatingAgencies", 2, 1, ["AgencyID = 3"]
    ),
    "identity behind a procedure": Refusal(
        ('ALTER TABLE "SecGroups" ALTER "ID" SET MAXVALUE 2',), {}, "SecGroups", 2, 1, ["ID = 3"]
    ),
    "numbers of an extra column": Refusal(
        (AS_OWNER, 'ALTER TABLE "LoadedPositions" ADD line integer GENERATED ALWAYS AS IDENTITY (MAXVALUE 2)'),
        {}, "LoadedPositions", 2, 1, ["PosID = 3"],
    ),
    "numbers of a sequence of its own that was used": Refusal(
        (
            AS_OWNER,
            "CREATE SEQUENCE numbers MAXVALUE 12",
            "SELECT setval('numbers', 11)",
            """ALTER TABLE "LoadedPositions" ADD line integer DEFAULT nextval('numbers')""",
        ),
        {}, "LoadedPositions", 1, 2, ["PosID = 2", "PosID = 3"],
    ),
    # A unique key over a value that the migrator changes.
    "key of a cut text": _refusal(
        "LoadedPositions", 'UNIQUE ("ClientCode")',
        {"LoadedPositions.ClientCode": ("ABCDEFGHIJKL", "ABCDEFGHIJKLM", "ABCDEFGHIJK")}, 1, ["PosID = 2"],
    ),
    "key of a replaced NULL": _refusal(
        "GroupNegOrders", 'UNIQUE ("OrderType")', {"GroupNegOrders.OrderType": (None, 1, -2147483648)}, 2, ["ID = 3"]
    ),
    "key of a mode": _refusal(
        "Restrictions", 'UNIQUE ("Mode")', {"Restrictions.Mode": ("LIMIT", "HARD", "LIMITS")}, 2, ["ID = 3"]
    ),
    "key of flags": _refusal(
        # 7 and 9 are doubles whose lower half is 0, 2097153 is one with another.
        "NegOrders", 'UNIQUE ("Flags")', {"NegOrders.Flags": (7, 2097153, 9)}, 2, ["OrderId = 3"]
    ),
    "key of a broker pool": _refusal(
        # The bytes 41, 42 and 41 00 01: up to the zero the first and the last are A.
        "ExportOrder", 'UNIQUE ("BrokerPoolID")', {"ExportOrder.BrokerPoolID": ("65", "66", "65601")}, 2, ["ID = 3"]
    ),
    "key of a pool": Refusal(
        # The pool at position 2 is number 5.
        ('ALTER TABLE "OrdersInPool" ADD CHECK ("PoolID" <> 5)',),
        {"PoolOrders.PoolID": (1, 5, 3), "OrdersInPool.PoolID": (1, 2, 3)},
        "OrdersInPool", 1, 1, ["OrderID = 2"],
    ),
    "key of a rounded double": Refusal(
        (
            'ALTER TABLE "LoadedPositions" ALTER "OpenBalance" TYPE numeric(9, 2)',
            'ALTER TABLE "LoadedPositions" ADD UNIQUE ("OpenBalance")',
        ),
        {"LoadedPositions.OpenBalance": (1.5, 1.501, 1.51)},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    "key at the end of the transaction": _refusal(
        "LoadedPositions", 'UNIQUE ("FirmID") DEFERRABLE INITIALLY DEFERRED',
        {"LoadedPositions.FirmID": ("A", "A", "B")}, 1, ["PosID = 2"],
    ),
    "key without regard to case": Refusal(
        (
            "CREATE COLLATION no_case (provider = icu, locale = 'und-u-ks-level2', deterministic = false)",
            'ALTER TABLE "LoadedPositions" ALTER "FirmID" TYPE varchar(12) COLLATE no_case',
            'ALTER TABLE "LoadedPositions" ADD UNIQUE ("FirmID")',
        ),
        {"LoadedPositions.FirmID": ("firm", "FIRM", "other")},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    # Foreign keys.
    "foreign key to a table outside": Refusal(
        (
            "CREATE TABLE firms (firm varchar(12) PRIMARY KEY)",
            "INSERT INTO firms VALUES ('A')",
            "GRANT SELECT ON firms TO bw_migrator",
            'ALTER TABLE "LoadedPositions" ADD FOREIGN KEY ("FirmID") REFERENCES firms',
        ),
        {"LoadedPositions.FirmID": ("A", "B", "A")},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    "foreign key of a table to itself": Refusal(
        (
            'ALTER TABLE "LoadedPositions" ADD UNIQUE ("PosType")',
            'ALTER TABLE "LoadedPositions" ADD FOREIGN KEY ("LimitKind") REFERENCES "LoadedPositions" ("PosType")',
        ),
        # The second row refers to the third one, which comes later.
        {"LoadedPositions.PosType": (1, 2, 3), "LoadedPositions.LimitKind": (1, 3, 1)},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    "partition": Refusal(
        (
            AS_OWNER,
            'CREATE TABLE everything (LIKE "LoadedPositions") PARTITION BY RANGE ("PosType")',
            'ALTER TABLE everything ATTACH PARTITION "LoadedPositions" FOR VALUES FROM (1) TO (5)',
        ),
        {"LoadedPositions.PosType": (1, 5, 4)},
        "LoadedPositions", 1, 1, ["PosID = 2"],
    ),
    # What the procedures' parameters refuse.
    "parameter": Refusal(
        (
            AS_OWNER,
            'DROP PROCEDURE "BW_CreateSecGroupEx"',
            'CREATE PROCEDURE "BW_CreateSecGroupEx" (a varchar, b varchar, c varchar, d varchar, e varchar, f smallint,'
            " g integer, OUT new_id integer) LANGUAGE plpgsql AS $$ BEGIN"
            ' INSERT INTO public."SecGroups" ("SecGCode", "SecGName", "disabled", "Filter", "mode", "RAgencies",'
            ' "ListLevel") VALUES (a, b, c, d, e, f, g) RETURNING "ID" INTO new_id; END $$',
        ),
        {"SecGroups.RAgencies": (1, 40000, 2)},
        "SecGroups", 1, 1, ["ID = 2"],
    ),
}  # fmt: skip


@pytest.mark.parametrize("refusal", REFUSALS.values(), ids=REFUSALS)
def test_what_the_destination_refuses_ends_the_run(workspace, refusal):
    workspace.execute_destination(*refusal.change)
    for column, values in refusal.values.items():
        _set(workspace, column, values)

    result = check(workspace, "before")

    assert result.report["run_ends_in"] == refusal.ends_in
    assert _figures(result, refusal.ends_in) == (refusal.arriving, refusal.refused)
    assert [key for rows, keys in _ending(result, refusal.ends_in) for key in keys] == refusal.keys
    assert sum(rows for rows, _ in _ending(result, refusal.ends_in)) == refusal.refused
    assert f"The run will end in {refusal.ends_in}" in result.report["verdict"]
    _assert_run_ends(workspace, refusal.ends_in, refusal.arriving)


# What somebody else's code decides.

ASKED_IN_VAIN = {
    "trigger": (
        "CREATE FUNCTION act() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RAISE 'no'; END $$",
        'CREATE TRIGGER acts BEFORE INSERT ON "SecMinQt" FOR EACH ROW EXECUTE FUNCTION act()',
    ),
    "rule": ('CREATE RULE acts AS ON INSERT TO "SecMinQt" DO INSTEAD NOTHING',),
    "row security": (
        'ALTER TABLE "SecMinQt" ENABLE ROW LEVEL SECURITY, FORCE ROW LEVEL SECURITY',
        'CREATE POLICY none ON "SecMinQt" USING (true) WITH CHECK (false)',
    ),
    "partitioned table": (
        'DROP TABLE "SecMinQt"',
        AS_OWNER,
        'CREATE TABLE "SecMinQt" ("ClassCode" text, "SecCode" text, "MinQty" integer) PARTITION BY LIST ("MinQty")',
    ),
    "default of a function": (
        "CREATE FUNCTION note() RETURNS integer LANGUAGE plpgsql AS $$ BEGIN RAISE 'no'; END $$",
        'ALTER TABLE "SecMinQt" ADD note integer',
        'ALTER TABLE "SecMinQt" ALTER note SET DEFAULT note()',
    ),
    "check of a function": (
        "CREATE FUNCTION is_right() RETURNS boolean LANGUAGE plpgsql AS $$ BEGIN RAISE 'no'; END $$",
        'ALTER TABLE "SecMinQt" ADD CHECK (is_right())',
    ),
    "no right to read": ('REVOKE SELECT ON "SecMinQt" FROM bw_migrator',),
}


@pytest.mark.parametrize("change", ASKED_IN_VAIN.values(), ids=ASKED_IN_VAIN)
def test_what_cannot_be_asked_is_said_of_that_table_alone(workspace, change):
    workspace.execute_destination(*change)

    result = check(workspace, "before")

    unforeseen = [table for table, identifier, *_ in result.findings() if identifier == "cannot-foresee"]
    assert unforeseen == ["SecMinQt"]
    for table in sample_data.TABLES:
        figures = [result.table(table)[figure] for figure in ("arriving_rows", "unchanged_rows", "refused_rows")]
        assert (None in figures) == (table == "SecMinQt"), table
    assert [result.table("SecMinQt")[figure] for figure in ("source_rows", "arriving_rows", "unchanged_rows")] == [
        3, None, None,
    ]  # fmt: skip
    (line,) = (line for line in result.text.splitlines() if line.split()[:1] == ["SecMinQt"])
    assert "?" in line
    assert result.report["run_ends_in"] is None
    assert result.report["status_line"].endswith(", as far as can be foreseen")
    assert result.code == 1


def test_what_a_procedure_does_besides_is_a_fact_and_no_finding(workspace):
    result = check(workspace, "before", "--tables", "SecGroups")

    assert result.findings() == []
    assert any("procedure" in fact for fact in result.report["facts"])


# What the destination accepts.

_WITHOUT_GROUP = {"GroupStopOrders.GroupID": (1, 77, 78)}
_GROUP_KEY = 'ALTER TABLE "GroupStopOrders" ADD FOREIGN KEY ("GroupID") REFERENCES "GroupDesc"'
_REPLICA_ONLY = (
    "DO $$ DECLARE one record; BEGIN FOR one IN SELECT tgname FROM pg_trigger"
    """ WHERE tgrelid = '"GroupStopOrders"'::regclass LOOP"""
    """ EXECUTE format('ALTER TABLE "GroupStopOrders" ENABLE REPLICA TRIGGER %I', one.tgname); END LOOP; END $$"""
)

ACCEPTED = {
    "foreign key whose triggers are disabled": (
        (_GROUP_KEY, 'ALTER TABLE "GroupStopOrders" DISABLE TRIGGER ALL'), _WITHOUT_GROUP,
    ),
    "foreign key whose triggers fire on replicas only": ((_GROUP_KEY, _REPLICA_ONLY), _WITHOUT_GROUP),
    "trigger that is disabled": (
        (
            *ASKED_IN_VAIN["trigger"],
            'ALTER TABLE "SecMinQt" DISABLE TRIGGER acts',
        ),
        {},
    ),
    "partial index that has no such row": (
        ('CREATE UNIQUE INDEX ON "LoadedPositions" ("FirmID") WHERE "PosType" > 5',),
        {"LoadedPositions.FirmID": ("A", "A", "A"), "LoadedPositions.PosType": (5, 4, 6)},
    ),
    "numbers that are unlike as they arrive": (
        # 0.3 and the next double: the driver sends all digits.
        ('ALTER TABLE "LoadedPositions" ADD UNIQUE ("OpenBalance")',),
        {"LoadedPositions.OpenBalance": (0.3, 0.30000000000000004, 1.5)},
    ),
    "time of the transaction": (
        ('ALTER TABLE "SecMinQt" ADD written timestamptz DEFAULT now() UNIQUE',), {},
    ),
    "foreign key of a table to itself": (
        (
            'ALTER TABLE "LoadedPositions" ADD UNIQUE ("PosType")',
            'ALTER TABLE "LoadedPositions" ADD FOREIGN KEY ("LimitKind") REFERENCES "LoadedPositions" ("PosType")',
        ),
        {"LoadedPositions.PosType": (1, 2, 3), "LoadedPositions.LimitKind": (1, 1, 3)},
    ),
    "wider types": (
        (
            'ALTER TABLE "LoadedPositions" ALTER "PosType" TYPE bigint, ALTER "OpenBalance" TYPE numeric',
            'ALTER TABLE "LoadedPositions" ALTER "FirmID" TYPE text',
        ),
        {"LoadedPositions.OpenBalance": (0.1, 1e300, -5e-324), "LoadedPositions.FirmID": ("A  ", "", "  ")},
    ),
}  # fmt: skip


@pytest.mark.parametrize(("change", "values"), ACCEPTED.values(), ids=ACCEPTED)
def test_what_the_destination_accepts_does_not_end_the_run(workspace, change, values):
    workspace.execute_destination(*change)
    for column, of_column in values.items():
        _set(workspace, column, of_column)

    result = check(workspace, "before")

    assert result.report["run_ends_in"] is None
    for table in sample_data.TABLES:
        assert _figures(result, table) == (4 if table == "SystemData" else 3, 0), table
    assert result.report["status"].startswith("goes-through")
    assert "cannot-foresee" not in {identifier for _, identifier, *_ in result.findings()}
    _assert_run_is_complete(workspace)
    assert set(what_happened.row_counts(workspace).values()) == {3, 4}


ENCODINGS = {
    # Of each: FreeTDS's character set, PostgreSQL's client encoding, characters of two bytes: the second a backslash.
    "SJIS": ("CP932", "SJIS", "表十能"),
    "BIG5": ("BIG5", "BIG5", "功許蓋"),
    "GBK": ("GBK", "GBK", "乗嘰媆"),
    # These have none.
    "UHC": ("CP949", "UHC", "가나다"),
    "EUC_JP": ("EUC-JP", "EUC_JP", "表十能"),
}


@pytest.fixture(params=ENCODINGS.values(), ids=ENCODINGS)
def far_eastern(request, shared_lab):
    """A clean source whose texts are read in an encoding of two bytes, and the characters to try."""
    charset, encoding, characters = request.param
    with shared_lab.workspace(flawed_source.create_clean, ("--codepage", "65001")) as workspace:
        from_source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        to_destination = data_sources.postgresql(shared_lab.postgres.port, workspace.database)
        workspace.write_data_sources(
            from_source | {"ClientCharset": charset},
            to_destination | {"ConnSettings": f"SET client_encoding TO '{encoding}'"},
        )
        yield workspace, characters


def test_texts_of_two_bytes_a_character_fit(far_eastern):
    workspace, characters = far_eastern
    # 50 bytes are migrated of Comment, 12 of ClientCode.
    comments = ((characters * 9)[:25], "A" + (characters * 8)[:24], characters[0])
    codes = ((characters * 2)[:6], "A" + (characters * 2)[:5], characters[1])
    _set(workspace, "Clients.Comment", comments)
    _set(workspace, "LoadedPositions.ClientCode", codes)

    result = check(workspace, "before")

    assert result.findings() == []
    assert result.report["verdict"] == (
        f"Of {ALL_ROWS} rows, {ALL_ROWS} will arrive unchanged, 0 changed, 0 not at all."
    )
    _assert_run_is_complete(workspace)
    arrived = workspace.query_destination('SELECT "Comment" FROM "Clients" ORDER BY ctid')
    assert arrived == [(each,) for each in comments]
    arrived = workspace.query_destination('SELECT "ClientCode" FROM "LoadedPositions" ORDER BY ctid')
    assert arrived == [(each,) for each in codes]


def test_text_of_two_bytes_a_character_that_is_too_long_for_the_destination(far_eastern):
    workspace, characters = far_eastern
    workspace.execute_destination('ALTER TABLE "Clients" ALTER "Comment" TYPE varchar(24)')
    _set(workspace, "Clients.Comment", ((characters * 8)[:24], (characters * 9)[:25], "A"))

    result = check(workspace, "before")

    assert result.report["run_ends_in"] == "Clients"
    assert _figures(result, "Clients") == (1, 1)
    _assert_run_ends(workspace, "Clients", 1)


# What is asked in vain of every table.


def _connect(workspace, **settings) -> None:
    usual = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=usual | settings)


def _known_figures(result) -> set:
    return {
        result.table(table)[figure]
        for table in sample_data.TABLES
        for figure in ("arriving_rows", "unchanged_rows", "refused_rows")
    }


@pytest.mark.parametrize(
    ("setting", "identifier", "ends_in"),
    [("UseServerSidePrepare", "client-side-prepare", "GroupDesc"), ("ReadOnly", "destination-read-only", "SystemData")],
)
def test_data_source_through_which_nothing_can_be_tried(workspace, setting, identifier, ends_in):
    _connect(workspace, **{setting: 0 if setting == "UseServerSidePrepare" else 1})

    result = check(workspace, "before")

    # What the rules make of the rows is known all the same.
    assert [finding[1] for finding in result.findings() if finding[0] is None] == [identifier]
    assert _known_figures(result) == {None}
    assert result.code == 1
    assert what_happened.ended_in(workspace.run_redirected()) == ends_in


def test_database_that_is_only_to_be_read(workspace):
    workspace.execute_destination(
        "DO $$ BEGIN EXECUTE format('ALTER DATABASE %I SET default_transaction_read_only = on', current_database());"
        " END $$",
        'ALTER TABLE "LoadedPositions" ADD CHECK ("PosType" < 7)',
    )
    _set(workspace, "LoadedPositions.PosType", (1, 8, 2))

    result = check(workspace, "before")

    assert (None, "destination-read-only") in {finding[:2] for finding in result.findings()}
    assert result.report["run_ends_in"] == "SystemData"
    # The rows were tried all the same.
    assert result.table("LoadedPositions")["refused_rows"] == 1
    _assert_run_ends(workspace, "SystemData", 0)


# The tables that were chosen.


def test_chosen_table_whose_foreign_key_refers_to_one_that_was_not_chosen(workspace):
    workspace.execute_destination(_GROUP_KEY)

    result = check(workspace, "before", "--tables", "GroupStopOrders,LoadedSecuritiesClientPrices")

    assert result.findings() == []
    assert [table["table"] for table in result.report["tables"]] == ["LoadedSecuritiesClientPrices", "GroupStopOrders"]
    assert {_figures(result, table["table"]) for table in result.report["tables"]} == {(3, 0)}
    assert result.report["run_ends_in"] is None
    assert result.code == 0


def test_chosen_table_whose_parent_of_a_parent_decides(workspace):
    workspace.execute_destination(_GROUP_KEY, 'ALTER TABLE "GroupDesc" ADD CHECK ("DefWeight" < 7)')
    _set(workspace, "GroupDesc.DefWeight", (1.0, 8.0, 2.0))
    _set(workspace, "GroupStopOrders.GroupID", (1, 2, 3))

    result = check(workspace, "before", "--tables", "GroupStopOrders")

    # The run ends earlier, but not in a table that was chosen.
    assert result.report["run_ends_in"] is None
    assert [table["table"] for table in result.report["tables"]] == ["GroupStopOrders"]
    assert result.table("GroupStopOrders")["refused_rows"] == 1


def test_chosen_table_that_ends_the_run(workspace):
    workspace.execute_destination('ALTER TABLE "GroupStopOrders" ADD CHECK ("StopStyle" < 7)')
    _set(workspace, "GroupStopOrders.StopStyle", (1, 8, 2))

    result = check(workspace, "before", "--tables", "GroupStopOrders")

    assert result.report["run_ends_in"] == "GroupStopOrders"
    assert _figures(result, "GroupStopOrders") == (1, 1)


# Every refused row.


def test_every_refused_row_of_every_table_is_reported(workspace):
    workspace.execute_destination(
        'ALTER TABLE "GroupDesc" ADD CHECK ("DefWeight" < 7)',
        'ALTER TABLE "SecMinQt" ADD CHECK ("MinQty" < 7)',
        'ALTER TABLE "LoadedPositions" ALTER "PosType" TYPE smallint',
        'ALTER TABLE "ExportOrder" ADD UNIQUE ("Status")',
    )
    _set(workspace, "GroupDesc.DefWeight", (1.0, 8.0, 9.0))
    for column in ("Clients.GroupID", "GroupOrders.GroupID", "GroupNegOrders.GroupID", "ExportOrder.UserGroupID"):
        _set(workspace, column, (1, 1, 1))
    _set(workspace, "GroupStopOrders.GroupID", (1, 1, 1))
    _set(workspace, "SecMinQt.MinQty", (8, 1, 9))
    _set(workspace, "SecMinQt.ClassCode", ("A", "B", "C"))
    _set(workspace, "SecMinQt.SecCode", ("A", "B", "C"))
    _set(workspace, "LoadedPositions.PosType", (40000, 40001, 40002))
    _set(workspace, "ExportOrder.Status", (5, 5, 6))

    result = check(workspace, "before")

    assert result.report["run_ends_in"] == "GroupDesc"
    assert {table: _ending(result, table) for table in sample_data.TABLES if _ending(result, table)} == {
        "GroupDesc": [(2, ["GroupID = 2", "GroupID = 3"])],
        "SecMinQt": [(2, ["ClassCode = A, SecCode = A", "ClassCode = C, SecCode = C"])],
        "LoadedPositions": [(3, ["PosID = 1", "PosID = 2", "PosID = 3"])],
        "ExportOrder": [(1, ["ID = 2"])],
    }
    refused = {table: result.table(table)["refused_rows"] for table in sample_data.TABLES}
    assert refused == dict.fromkeys(sample_data.TABLES, 0) | {
        "GroupDesc": 2, "SecMinQt": 2, "LoadedPositions": 3, "ExportOrder": 1,
    }  # fmt: skip
    # What comes after the run's end does not arrive.
    arriving = {table: result.table(table)["arriving_rows"] for table in sample_data.TABLES}
    assert arriving == dict.fromkeys(sample_data.TABLES, 0) | {"SystemData": 4, "GroupDesc": 1}
    _assert_run_ends(workspace, "GroupDesc", 1)


def test_a_refused_row_among_many(shared_lab):
    """More rows than are written at once, refused at either end of a batch and in between."""
    refused = (1, 2, 199, 200, 201, 400, 401, 777, 1000)

    def fill(path):
        flawed_source.create_clean(path)
        lab.execute_on_file(path, "DELETE FROM LoadedPositions", [()])
        lab.execute_on_file(
            path,
            "INSERT INTO LoadedPositions VALUES (?, ?, 'F', 'A', 'C', 0, 1.5)",
            [(number, 40000 if number in refused else 1) for number in range(1, 1001)],
        )

    with shared_lab.workspace(fill) as workspace:
        workspace.execute_destination('ALTER TABLE "LoadedPositions" ALTER "PosType" TYPE smallint')

        result = check(workspace, "before")

    assert _ending(result, "LoadedPositions") == [(len(refused), [f"PosID = {number}" for number in refused[:5]])]
    assert _figures(result, "LoadedPositions") == (0, len(refused))
    assert result.table("LoadedPositions")["source_rows"] == 1000


def test_numbers_go_on_as_if_a_refused_row_had_been_accepted(workspace):
    """A refused row keeps its number, so that what is reported after it does not vanish when it is corrected."""
    workspace.execute_destination("""ALTER TABLE "RatingAgencies" ADD CHECK ("AgencyCode" <> 'bad')""")
    _set(workspace, "RatingAgencies.AgencyCode", ("A", "bad", "B"))
    _set(workspace, "RatingScales.AgencyID", (1, 2, 3))

    result = check(workspace, "before", "--tables", "RatingAgencies,RatingScales")

    assert result.report["run_ends_in"] == "RatingAgencies"
    assert [each for each in result.findings() if each[1] == "points-elsewhere"] == []


def test_numbers_of_many_rows_with_refused_ones(shared_lab):
    """Each scale is one of the agency of its number: none leads elsewhere once the agencies are corrected."""
    refused = (1, 200, 201, 333, 450)

    def fill(path):
        flawed_source.create_clean(path)
        for table in ("RatingAgencies", "RatingScales"):
            lab.execute_on_file(path, f"DELETE FROM {table}", [()])
        numbers = range(1, 451)
        codes = [(number, "bad" if number in refused else "good") for number in numbers]
        lab.execute_on_file(path, "INSERT INTO RatingAgencies VALUES (?, ?, 'name')", codes)
        scales = [(number, number) for number in numbers]
        lab.execute_on_file(path, "INSERT INTO RatingScales VALUES (?, ?, 1, 'AAA', 1)", scales)

    with shared_lab.workspace(fill) as workspace:
        workspace.execute_destination("""ALTER TABLE "RatingAgencies" ADD CHECK ("AgencyCode" <> 'bad')""")

        result = check(workspace, "before", "--tables", "RatingAgencies,RatingScales")

    assert result.findings() == [
        ("RatingAgencies", "check-violated", "AgencyCode", 5, [f"AgencyID = {number}" for number in refused])
    ]


def test_the_constraint_that_a_row_violates_is_named(workspace):
    """Among constraints of names that the server's message has for another reason."""
    workspace.execute_destination(
        'ALTER TABLE "LoadedPositions" ADD CONSTRAINT "LoadedPositions" CHECK ("PosType" > 0)',
        'ALTER TABLE "LoadedPositions" ADD CONSTRAINT "new row for relation" CHECK ("LimitKind" > 0)',
        'ALTER TABLE "LoadedPositions" ADD CONSTRAINT few CHECK ("OpenBalance" < 7)',
    )
    for name, values in (("PosType", (1, 1, 1)), ("LimitKind", (1, 1, 1)), ("OpenBalance", (1.5, 8.5, 2.5))):
        _set(workspace, f"LoadedPositions.{name}", values)

    result = check(workspace, "before", "--tables", "LoadedPositions")

    assert result.findings() == [("LoadedPositions", "check-violated", "OpenBalance", 1, ["PosID = 2"])]
    assert "few" in result.table("LoadedPositions")["findings"][0]["text"]


def test_rows_that_are_refused_for_a_refused_row_are_told_apart(workspace):
    workspace.execute_destination("""ALTER TABLE "LoadedSecurities" ADD CHECK ("SecCode" <> 'bad')""")
    _set(workspace, "LoadedSecurities.SecCode", ("A", "bad", "B"))
    _set(workspace, "LoadedSecuritiesClientPrices.SecID", (1, 2, 77))
    _set(workspace, "LoadedSecuritiesClientPrices.ClientID", (1, 2, 3))

    result = check(workspace, "before")

    assert result.report["run_ends_in"] == "LoadedSecurities"
    assert [finding for finding in result.findings() if finding[0] == "LoadedSecuritiesClientPrices"] == [
        ("LoadedSecuritiesClientPrices", "foreign-key", "SecID", 1, ["ClientID = 3, SecID = 77"]),
        ("LoadedSecuritiesClientPrices", "parent-refused", "SecID", 1, ["ClientID = 2, SecID = 2"]),
    ]


# What arrives as something else, or leads elsewhere.

_POOL_OF_ORDER = 'SELECT "PoolID" FROM "GroupOrders" ORDER BY ctid'
_PLACE_OF_ORDER = 'SELECT "OrderInPoolID" FROM "Orders" ORDER BY ctid'


def test_pool_of_a_group_order_that_dangles_afterwards(workspace):
    _set(workspace, "PoolOrders.PoolID", (1, 2, 9))
    _set(workspace, "OrdersInPool.PoolID", (1, 1, 2))
    _set(workspace, "ExportOrder.PoolID", (1, 1, 2))
    _set(workspace, "GroupOrders.PoolID", (1, 9, 2))

    result = check(workspace, "before", "--tables", "GroupOrders")

    assert result.findings() == [("GroupOrders", "points-elsewhere", "PoolID", 1, ["ID = 2"])]
    assert result.table("GroupOrders")["unchanged_rows"] == 2
    _assert_run_is_complete(workspace)
    assert workspace.query_destination(_POOL_OF_ORDER) == [(1,), (9,), (2,)]
    assert workspace.query_destination('SELECT "PoolID" FROM "PoolOrders" ORDER BY 1') == [(1,), (2,), (3,)]


def test_pool_of_a_group_order_that_is_another_one_afterwards(workspace):
    # Read as 2, 1, 3, they become 1, 2, 3.
    _set(workspace, "PoolOrders.PoolID", (2, 1, 3))
    _set(workspace, "GroupOrders.PoolID", (1, 3, 0))

    result = check(workspace, "before", "--tables", "GroupOrders")

    assert result.findings() == [("GroupOrders", "points-elsewhere", "PoolID", 1, ["ID = 1"])]


def test_number_that_named_no_pool_and_names_one_afterwards(workspace):
    _set(workspace, "PoolOrders.PoolID", (1, 2, 9))
    _set(workspace, "GroupOrders.PoolID", (0, -1, 3))

    result = check(workspace, "before", "--tables", "GroupOrders")

    assert result.findings() == [("GroupOrders", "points-elsewhere", "PoolID", 1, ["ID = 3"])]


def test_place_in_a_pool_that_dangles_or_is_another_one_afterwards(workspace):
    # They become 1, 2, 3.
    _set(workspace, "OrdersInPool.OrderID", (2, 3, 8))
    _set(workspace, "Orders.OrderInPoolID", (8, 2, 0))

    result = check(workspace, "before", "--tables", "Orders")

    # Number 2, which was the first, names the second; 8 names none.
    assert result.findings() == [("Orders", "points-elsewhere", "OrderInPoolID", 2, ["OrderID = 1", "OrderID = 2"])]
    _assert_run_is_complete(workspace)
    assert workspace.query_destination(_PLACE_OF_ORDER) == [(8,), (2,), (0,)]
    assert workspace.query_destination('SELECT "OrderID" FROM "OrdersInPool" ORDER BY 1') == [(1,), (2,), (3,)]


def _declare(workspace, column, new_type) -> None:
    """Another type for a column of the source, which takes SQL Server's conversions to the driver."""
    table, _, name = column.partition(".")
    source.change_type(workspace.source_file, table, name, new_type)


@pytest.mark.parametrize(
    ("column", "key"),
    [
        ("LoadedPositions.PosType", "PosID = 2"),
        ("Orders.TradeTime", "OrderID = 2"),
        ("NegOrders.TradeDate", "OrderId = 2"),
    ],
)
def test_fraction_that_is_dropped(workspace, column, key):
    table, _, name = column.partition(".")
    _declare(workspace, column, "float")
    _set(workspace, column, (11.0, 12.75, 13.0))

    result = check(workspace, "before", "--tables", table)

    assert result.findings() == [(table, "value-changed", name, 1, [key])]
    (finding,) = result.table(table)["findings"]
    assert finding["arrives"] == ["12.75 arrives as 12"]
    assert result.table(table)["unchanged_rows"] == 2
    _assert_run_is_complete(workspace)
    assert workspace.query_destination(f'SELECT "{name}" FROM "{table}" ORDER BY ctid') == [(11,), (12,), (13,)]


def test_trailing_spaces_that_are_cut(workspace):
    workspace.execute_destination('ALTER TABLE "LoadedPositions" ALTER "FirmID" TYPE varchar(4)')
    _set(workspace, "LoadedPositions.FirmID", ("AB  ", "ABC      ", "ABCD"))

    result = check(workspace, "before", "--tables", "LoadedPositions")

    assert result.findings() == [("LoadedPositions", "value-changed", "FirmID", 1, ["PosID = 2"])]
    (finding,) = result.table("LoadedPositions")["findings"]
    assert finding["arrives"] == ["'ABC      ' arrives as 'ABC '"]
    assert _figures(result, "LoadedPositions") == (3, 0)
    assert result.table("LoadedPositions")["unchanged_rows"] == 2
    _assert_run_is_complete(workspace)
    arrived = workspace.query_destination('SELECT "FirmID" FROM "LoadedPositions" ORDER BY ctid')
    assert arrived == [("AB  ",), ("ABC ",), ("ABCD",)]


STORED_OTHERWISE = {
    # Of each: the column's type, what is in the source, what of it is stored as something else.
    "numeric": ("OpenBalance", "numeric(6, 2)", (1.25, 1.125, 2.0), "1.125 arrives as 1.13"),
    "real": ("OpenBalance", "real", (1.25, 0.123456789, 2.0), "0.123456789 arrives as 0.12345679104328156"),
    "real for an integer": ("PosType", "real", (1, 16777217, 2), "16777217 arrives as 16777216"),
    "char": ("FirmID", "char(4)", ("ABCD", "AB", "EFGH"), "'AB' arrives as 'AB  '"),
    "name": ("FirmID", "name", ("A", "B", "C"), None),
}


@pytest.mark.parametrize("case", STORED_OTHERWISE.values(), ids=STORED_OTHERWISE)
def test_what_is_stored_as_something_else(workspace, case):
    name, new_type, values, arrives = case
    workspace.execute_destination(f'ALTER TABLE "LoadedPositions" ALTER "{name}" TYPE {new_type}')
    _set(workspace, f"LoadedPositions.{name}", values)

    result = check(workspace, "before", "--tables", "LoadedPositions")

    changed = [
        (identifier, column, rows, keys)
        for _, identifier, column, rows, keys in result.findings()
        if rows is not None
    ]
    assert changed == ([("value-changed", name, 1, ["PosID = 2"])] if arrives else [])
    assert _figures(result, "LoadedPositions") == (3, 0)
    assert result.table("LoadedPositions")["unchanged_rows"] == (2 if arrives else 3)
    if arrives:
        (found,) = (each["arrives"] for each in result.table("LoadedPositions")["findings"] if each["rows"])
        assert found == [arrives]


# Data is never part of a statement.

# The first two end a literal, where a backslash escapes a quote or where it does not, and go on with a statement.
_TEXTS = ("""\\'); DELETE FROM "Clients"; --""", """'); DELETE FROM "Clients"; --""", "\\")

# In a wide column also what ends a list of values, and that the session may only read.
_WIDE_TEXTS = (
    """\\')) AS t("#"); SET SESSION CHARACTERISTICS AS TRANSACTION READ WRITE; COMMIT; DELETE FROM "Clients"; --""",
    *_TEXTS[1:],
)

_OFF = "SET standard_conforming_strings = off"
_IN_DATABASE = "DO $$ BEGIN EXECUTE format('ALTER {} {}', current_database()); END $$"


@pytest.mark.parametrize(
    "setting",
    [
        _IN_DATABASE.format("DATABASE %I", _OFF),
        _IN_DATABASE.format("ROLE bw_migrator IN DATABASE %I", _OFF),
        _IN_DATABASE.format("ROLE bw_migrator IN DATABASE %I", "SET standard_conforming_strings = on"),
    ],
    ids=["off for the database", "off for the login", "on"],
)
def test_texts_of_the_source_are_no_statements(workspace, setting):
    workspace.run_redirected()
    before = workspace.query_destination('SELECT * FROM "Clients"')
    assert len(before) == 3
    workspace.execute_destination(
        setting,
        # What the check has to ask the destination about each text.
        """ALTER TABLE "ImportLog" ADD CHECK ("ImportType" <> 'x')""",
        """ALTER TABLE "SecGroups" ADD CHECK ("SecGName" <> 'x')""",
    )
    columns = dict.fromkeys(("ImportLog.ImportType", "Clients.Comment", "SystemData.KeyValue"), _TEXTS)
    columns |= dict.fromkeys(("SecGroups.SecGName", "PoolOrders.Source", "GroupDesc.GroupName"), _WIDE_TEXTS)
    for column, texts in columns.items():
        _set(workspace, column, texts)

    result = check(workspace, "before")

    assert workspace.query_destination('SELECT * FROM "Clients"') == before
    # A mode arrives as a number.
    assert [finding[:3] for finding in result.findings()] == [
        (None, "destination-not-empty", None),
        (None, "log-overwritten", None),
        ("Restrictions", "value-changed", "Mode"),
    ]
    assert result.report["run_ends_in"] is None
    _assert_run_is_complete(workspace)
    for column, texts in columns.items():
        table, _, name = column.partition(".")
        arrived = workspace.query_destination(f'SELECT "{name}" FROM "{table}" ORDER BY ctid')
        assert arrived[-3:] == [(text,) for text in texts], column

    after = check(workspace, "after")

    assert after.report["status"].startswith("complete")
    assert len(workspace.query_destination('SELECT * FROM "Clients"')) == 3
