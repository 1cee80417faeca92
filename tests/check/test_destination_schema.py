"""What bw_db_check before finds in the destination's schema, and what the migrator then makes of it.

Each flaw is planted alone, so that its findings are the only ones. A flaw whose end of the run can be foreseen is
followed by a real run, which ends there.
"""

import dataclasses
import re

import pytest

import data_sources
import lab
import one_row_each
import sample_data
from checker import check

NOTES = (
    "CREATE TABLE notes (note integer GENERATED ALWAYS AS IDENTITY, number integer{})",
    "ALTER TABLE notes OWNER TO bw_migrator",
    "INSERT INTO notes (number) SELECT NULL FROM generate_series(1, 3)",
)


@dataclasses.dataclass
class Flaw:
    statements: tuple
    findings: list  # table, identifier, column, cost; rows, if there are any
    ends_in: str | None = None  # the table that the run is said to end in
    foreseen: bool = True  # whether the run then does what was said
    comparable: bool = True  # whether `after` can compare the tables then


def _notes_on(table, column) -> tuple:
    """A table outside the 22, with three rows, that could refer to one of them."""
    return tuple(statement.format(f' REFERENCES "{table}" ("{column}")') for statement in NOTES)


def _procedure(name, parameters, body) -> tuple:
    """Replaces a procedure, as its owner."""
    return (
        "SET ROLE bw_migrator",
        f'DROP PROCEDURE "{name}"',
        f'CREATE PROCEDURE "{name}" ({parameters}) LANGUAGE plpgsql AS $$ BEGIN {body} END $$',
    )


_INSERT_GROUP = (
    'INSERT INTO public."SecGroups" ("SecGCode", "SecGName", "disabled", "Filter", "mode", "RAgencies", "ListLevel")'
    ' VALUES (a, b, c, d, e, f, g) RETURNING "ID" INTO new_id;'
)


def _create_group(
    inputs="a varchar, b varchar, c varchar, d varchar, e varchar, f integer, g integer", output="OUT new_id integer"
) -> tuple:
    return _procedure("BW_CreateSecGroupEx", f"{inputs}, {output}", _INSERT_GROUP)


FLAWS = {
    # Tables.
    "missing table": Flaw(
        ('DROP TABLE "SecMinQt"',), [("SecMinQt", "missing-table", None, "run-ends")], ends_in="SecMinQt"
    ),
    "missing table that others refer to": Flaw(
        ('DROP TABLE "GroupDesc" CASCADE',), [("GroupDesc", "missing-table", None, "run-ends")], ends_in="GroupDesc"
    ),
    "table in other letters": Flaw(
        ('ALTER TABLE "SecMinQt" RENAME TO secminqt',),
        [("SecMinQt", "missing-table", None, "run-ends")],
        ends_in="SecMinQt",
    ),
    "view": Flaw(
        (
            'ALTER TABLE "SecMinQt" RENAME TO minimum',
            'CREATE VIEW "SecMinQt" AS SELECT * FROM minimum',
            'ALTER VIEW "SecMinQt" OWNER TO bw_migrator',
        ),
        [("SecMinQt", "not-a-table", None, "run-ends")],
        ends_in="SecMinQt",
    ),
    "inherited table": Flaw(
        ('CREATE TABLE more () INHERITS ("SecMinQt")',), []
    ),
    "partitioned table": Flaw(
        (
            'DROP TABLE "SecMinQt"',
            "SET ROLE bw_migrator",
            'CREATE TABLE "SecMinQt" ("ClassCode" text, "SecCode" text, "MinQty" integer) PARTITION BY LIST ("MinQty")',
            'CREATE TABLE others PARTITION OF "SecMinQt" DEFAULT',
        ),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    "trigger": Flaw(
        (
            "CREATE FUNCTION pass() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NEW; END $$",
            'CREATE TRIGGER looks BEFORE INSERT ON "SecMinQt" FOR EACH ROW EXECUTE FUNCTION pass()',
            # These two are never fired.
            'CREATE TRIGGER updates BEFORE UPDATE ON "SecMinQt" FOR EACH ROW EXECUTE FUNCTION pass()',
            'CREATE TRIGGER sleeps BEFORE INSERT ON "Clients" FOR EACH ROW EXECUTE FUNCTION pass()',
            'ALTER TABLE "Clients" DISABLE TRIGGER sleeps',
        ),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    "trigger of a truncate": Flaw(
        (
            "CREATE FUNCTION pass() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NULL; END $$",
            'CREATE TRIGGER looks BEFORE TRUNCATE ON "SecMinQt" FOR EACH STATEMENT EXECUTE FUNCTION pass()',
        ),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    "rule": Flaw(
        ('CREATE RULE twice AS ON INSERT TO "SecMinQt" DO ALSO NOTHING',),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    "row security": Flaw(
        (
            'ALTER TABLE "SecMinQt" ENABLE ROW LEVEL SECURITY',
            'ALTER TABLE "SecMinQt" FORCE ROW LEVEL SECURITY',
            'CREATE POLICY everything ON "SecMinQt" USING (true)',
        ),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    # Columns.
    "missing column": Flaw(
        ('ALTER TABLE "Clients" DROP "Num"',), [("Clients", "statement-refused", None, "run-ends")], "Clients"
    ),
    "missing columns": Flaw(
        ('ALTER TABLE "ExportOrder" DROP "Price", DROP "Qty"',),
        [("ExportOrder", "statement-refused", None, "run-ends")], "ExportOrder",
    ),
    "missing number": Flaw(
        ('ALTER TABLE "ImportLog" DROP "ID"',), []
    ),
    "missing number that others refer to": Flaw(('ALTER TABLE "RatingAgencies" DROP "AgencyID"',), []),
    "missing number of the pools": Flaw(('ALTER TABLE "PoolOrders" DROP "PoolID" CASCADE',), []),
    "missing reference": Flaw(
        ('ALTER TABLE "RatingScales" DROP "AgencyID"',),
        [("RatingScales", "statement-refused", None, "run-ends")], "RatingScales",
    ),
    "missing column that a procedure may write": Flaw(
        ('ALTER TABLE "SecGroups" DROP "Filter"',),
        [("SecGroups", "row-refused", None, "run-ends", 1)], "SecGroups",
    ),
    "smaller integer": Flaw(
        ('ALTER TABLE "Clients" ALTER "Num" TYPE smallint',), []
    ),
    "integer as real": Flaw(
        ('ALTER TABLE "Clients" ALTER "Num" TYPE real',), []
    ),
    "integer as text": Flaw(
        ('ALTER TABLE "Clients" ALTER "Num" TYPE text',), []
    ),
    "number as money": Flaw(
        ('ALTER TABLE "Clients" ALTER "Weight" TYPE numeric(12, 2)',),
        [],
    ),
    "number as real": Flaw(
        ('ALTER TABLE "Clients" ALTER "Weight" TYPE real',), []
    ),
    "number as integer": Flaw(
        ('ALTER TABLE "Clients" ALTER "Weight" TYPE integer',),
        [("Clients", "row-refused", "Weight", "run-ends", 1)], "Clients",
    ),
    "text as integer": Flaw(
        ('ALTER TABLE "Clients" ALTER "Comment" TYPE integer USING 0',),
        [("Clients", "row-refused", "Comment", "run-ends", 1)], "Clients",
    ),
    "text as name": Flaw(
        ('ALTER TABLE "PoolOrders" ALTER "Source" TYPE name',),
        [],
    ),
    "padded text": Flaw(
        ('ALTER TABLE "Clients" ALTER "Comment" TYPE char(50)',),
        [("Clients", "value-changed", "Comment", "value-changed", 1)],
    ),
    "narrow text": Flaw(
        ('ALTER TABLE "Clients" ALTER "Comment" TYPE varchar(49)',),
        [],
    ),
    "narrow text of a domain": Flaw(
        ("CREATE DOMAIN short AS varchar(49)", 'ALTER TABLE "Clients" ALTER "Comment" TYPE short'),
        [],
    ),
    "no room for the number of a mode": Flaw(
        ('ALTER TABLE "Restrictions" ALTER "Mode" TYPE varchar(10)',),
        [],
    ),
    "domain with rules": Flaw(
        (
            "CREATE DOMAIN code AS varchar(20) CHECK (length(VALUE) > 0)",
            'ALTER TABLE "Clients" ALTER "ClientCode" TYPE code',
        ),
        [],
    ),
    "column that nobody fills": Flaw(
        ('ALTER TABLE "Clients" ADD extra integer NOT NULL',),
        [("Clients", "row-refused", "extra", "run-ends", 1)], "Clients",
    ),
    "column that a procedure may fill": Flaw(
        ('ALTER TABLE "Orders" ADD extra integer NOT NULL',),
        [("Orders", "row-refused", "extra", "run-ends", 1)], "Orders",
    ),
    "column that takes no value": Flaw(
        ('ALTER TABLE "LoadedPositions" ALTER "PosID" ADD GENERATED ALWAYS AS IDENTITY',),
        [("LoadedPositions", "statement-refused", None, "run-ends")], "LoadedPositions",
    ),
    # Numbers that the destination assigns.
    "no numbers": Flaw(
        ('ALTER TABLE "ImportLog" ALTER "ID" DROP IDENTITY',),
        [("ImportLog", "row-refused", "ID", "run-ends", 1)], "ImportLog",
    ),
    "NULL for a number": Flaw(
        (
            'ALTER TABLE "ImportLog" ALTER "ID" DROP IDENTITY',
            'ALTER TABLE "ImportLog" DROP CONSTRAINT "ImportLog_pkey"',
            'ALTER TABLE "ImportLog" ALTER "ID" DROP NOT NULL',
        ),
        [],
    ),
    "numbers that a procedure may assign": Flaw(
        ('ALTER TABLE "SecGroups" ALTER "ID" DROP IDENTITY',),
        [("SecGroups", "row-refused", "ID", "run-ends", 1)], "SecGroups",
    ),
    "numbers from 100": Flaw(
        ('ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET START WITH 100',),
        [("RatingAgencies", "numbers-change", "AgencyID", "wrong-row", 1), ("RatingScales", "points-elsewhere", "AgencyID", "wrong-row", 1)],
    ),
    "numbers in steps": Flaw(
        ('ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET INCREMENT BY 10',),
        [],
    ),
    "numbers of a sequence that is not set back": Flaw(
        (
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" DROP IDENTITY',
            "CREATE SEQUENCE numbers",
            "GRANT USAGE ON SEQUENCE numbers TO bw_migrator",
            "ALTER TABLE \"RatingAgencies\" ALTER \"AgencyID\" SET DEFAULT nextval('numbers')",
        ),
        [("RatingAgencies", "cannot-foresee", None, "cannot-foresee")],
    ),
    "numbers of a sequence of somebody else": Flaw(
        (
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" DROP IDENTITY',
            "CREATE SEQUENCE numbers",
            "ALTER TABLE \"RatingAgencies\" ALTER \"AgencyID\" SET DEFAULT nextval('numbers')",
        ),
        [("RatingAgencies", "statement-refused", None, "run-ends")], "RatingAgencies",
    ),
    # What the truncates do.
    "foreign key to a table that is not cascaded": Flaw(
        _notes_on("SecGroups", "ID"), [("SecGroups", "truncate-fails", None, "run-ends")], ends_in="SecGroups"
    ),
    "foreign key between the tables": Flaw(
        ('ALTER TABLE "SecGrMemb" ADD FOREIGN KEY ("GroupID") REFERENCES "SecGroups" ("ID")',),
        [("SecGroups", "truncate-fails", None, "run-ends")],
        ends_in="SecGroups",
    ),
    "foreign key to a table that is cascaded": Flaw(
        _notes_on("PoolOrders", "PoolID"), [("PoolOrders", "cascade-empties", None, "rows-lost", 3)]
    ),
    # Group orders refer to the groups, and are emptied with them.
    "foreign key to a table that two truncates reach": Flaw(
        _notes_on("GroupOrders", "ID"), [("GroupDesc", "cascade-empties", None, "rows-lost", 3)]
    ),
    "foreign key to a foreign key": Flaw(
        (
            *_notes_on("PoolOrders", "PoolID"),
            "ALTER TABLE notes ADD UNIQUE (note)",
            "CREATE TABLE remarks (note integer REFERENCES notes (note))",
            "ALTER TABLE remarks OWNER TO bw_migrator",
        ),
        [
            ("PoolOrders", "cascade-empties", None, "rows-lost", 3),
            ("PoolOrders", "cascade-empties", None, "rows-lost", 0),
        ],
    ),
    "rows that may not be counted": Flaw(
        (*_notes_on("PoolOrders", "PoolID"), "REVOKE SELECT ON notes FROM bw_migrator"),
        [("PoolOrders", "cascade-empties", None, "rows-lost", None)],
    ),
    "migrated rows that are emptied again": Flaw(
        ('ALTER TABLE "SecMinQt" ADD security integer REFERENCES "LoadedSecurities" ("SecID")',),
        [("SecMinQt", "cascade-empties-migrated", None, "rows-lost")],
    ),
    # Rights.
    "no right to truncate": Flaw(
        ('REVOKE TRUNCATE ON "SecMinQt" FROM bw_migrator',),
        [("SecMinQt", "no-truncate-right", None, "run-ends")],
        ends_in="SecMinQt",
    ),
    "no right to truncate what a truncate reaches": Flaw(
        (*_notes_on("PoolOrders", "PoolID"), "REVOKE TRUNCATE ON notes FROM bw_migrator"),
        [
            ("PoolOrders", "no-truncate-right", None, "run-ends"),
            ("PoolOrders", "cascade-empties", None, "rows-lost", 3),
        ],
        ends_in="PoolOrders",
    ),
    "sequences of somebody else": Flaw(
        ('ALTER TABLE "ImportLog" OWNER TO postgres', 'GRANT ALL ON "ImportLog" TO bw_migrator'),
        [("ImportLog", "not-sequence-owner", None, "run-ends")],
        ends_in="ImportLog",
    ),
    "no right to insert": Flaw(
        ('REVOKE INSERT ON "SecMinQt" FROM bw_migrator',),
        [("SecMinQt", "statement-refused", None, "run-ends")], "SecMinQt",
    ),
    "no right to insert for a procedure": Flaw(
        ('REVOKE INSERT ON "SecGroups" FROM bw_migrator',),
        [("SecGroups", "statement-refused", None, "run-ends")], "SecGroups",
    ),
    "no right to read": Flaw(
        ('REVOKE SELECT ON "SecMinQt" FROM bw_migrator',), [("SecMinQt", "cannot-foresee", None, "cannot-foresee")]
    ),
    "no right to call": Flaw(
        (
            'ALTER PROCEDURE "BW_CreateOrder" OWNER TO postgres',
            'REVOKE EXECUTE ON PROCEDURE "BW_CreateOrder" FROM PUBLIC',
        ),
        [("Orders", "statement-refused", None, "run-ends")], "Orders",
    ),
    "no right to look into the schema": Flaw(
        ("REVOKE ALL ON SCHEMA public FROM PUBLIC, pg_database_owner",),
        [(None, "destination-schema", None, "run-ends")],
        ends_in="SystemData",
        comparable=False,
    ),
    # Procedures.
    "missing procedure": Flaw(
        ('DROP PROCEDURE "BW_CreateGroupOrder"',),
        [("GroupOrders", "statement-refused", None, "run-ends"), ("Orders", "parent-refused", "GroupOrderID", "run-ends", 1)], "GroupOrders",
    ),
    "function in place of a procedure": Flaw(
        (
            'DROP PROCEDURE "BW_CreateSecGroupEx"',
            'CREATE FUNCTION "BW_CreateSecGroupEx" (text, text, text, text, text, integer, integer, OUT id integer)'
            " LANGUAGE sql AS $$ SELECT 1 $$",
        ),
        [("SecGroups", "statement-refused", None, "run-ends")], "SecGroups",
    ),
    "procedure with fewer parameters": Flaw(
        _procedure("BW_CreateSecGroupEx", "a varchar, OUT new_id integer", "new_id := 1;"),
        [("SecGroups", "statement-refused", None, "run-ends")], "SecGroups",
    ),
    "procedure that returns nothing": Flaw(
        _procedure(
            "BW_CreateSecGroupEx",
            "a varchar, b varchar, c varchar, d varchar, e varchar, f integer, g integer, h integer",
            "NULL;",
        ),
        [("SecGroups", "cannot-foresee", None, "cannot-foresee")], foreseen=False,
    ),
    "procedure that returns too much": Flaw(
        _create_group(inputs="a varchar, b varchar, c varchar, d varchar, e varchar, f integer, INOUT g integer"),
        [("SecGroups", "cannot-foresee", None, "cannot-foresee")],
    ),
    "procedure with another type": Flaw(
        _create_group(inputs="a varchar, b varchar, c varchar, d varchar, e varchar, f integer, g smallint"),
        [],
    ),
    "procedure with another order": Flaw(
        _procedure(
            "BW_CreateSecGroupEx",
            "SecGName varchar, SecGCode varchar, c varchar, d varchar, e varchar, f integer, g integer,"
            " OUT new_id integer",
            _INSERT_GROUP.replace("(a, b,", "(SecGCode, SecGName,"),
        ),
        [("SecGroups", "cannot-foresee", None, "cannot-foresee")],
    ),
    "two procedures": Flaw(
        (
            'CREATE PROCEDURE "BW_CreateSecGroupEx" (text, text, text, text, text, integer, integer, OUT id integer)'
            " LANGUAGE plpgsql AS $$ BEGIN id := 1; END $$",
        ),
        [("SecGroups", "cannot-foresee", None, "cannot-foresee")],
    ),
    # Constraints.
    "unique index over an expression": Flaw(
        ('CREATE UNIQUE INDEX ON "SecMinQt" (lower("SecCode"))',),
        [],
    ),
    "unique index over some rows": Flaw(
        ('CREATE UNIQUE INDEX ON "SecMinQt" ("SecCode") WHERE "MinQty" > 0',),
        [],
    ),
    "exclusion": Flaw(
        ('ALTER TABLE "SecMinQt" ADD EXCLUDE ("SecCode" WITH =)',),
        [],
    ),
    "foreign key to a table outside": Flaw(
        (
            "CREATE TABLE classes (code varchar(12) PRIMARY KEY)",
            "INSERT INTO classes VALUES ('A')",
            'ALTER TABLE "SecMinQt" ADD FOREIGN KEY ("ClassCode") REFERENCES classes',
        ),
        [("SecMinQt", "cannot-foresee", None, "cannot-foresee")],
    ),
    # The whole database.
    "read-only database": Flaw(
        (
            "DO $$ BEGIN EXECUTE format('ALTER DATABASE %I SET default_transaction_read_only = on',"
            " current_database()); END $$",
        ),
        [(None, "destination-read-only", None, "run-ends")],
        ends_in="SystemData",
    ),
}

HARMLESS = {
    "wider types": (
        'ALTER TABLE "Clients" ALTER "Num" TYPE bigint, ALTER "Comment" TYPE text, ALTER "ClientCode" TYPE varchar(99)',
        'ALTER TABLE "SecMinQt" ALTER "MinQty" TYPE numeric',
        'ALTER TABLE "LoadedSecurities" ALTER "Price" TYPE numeric',
        'ALTER TABLE "LoadedPositions" ALTER "PosType" TYPE numeric(10), ALTER "LimitKind" TYPE double precision',
        'ALTER TABLE "ExportOrder" ALTER "BrokerPoolID" TYPE varchar(4)',
    ),
    "kept numbers in columns of other types": (
        'ALTER TABLE "StopOrders" ALTER "GroupOrderID" TYPE varchar(20)',
        'ALTER TABLE "NegOrders" ALTER "GroupOrderID" TYPE numeric(12, 2)',
        'ALTER TABLE "ExportOrder" ALTER "UserGroupID" TYPE text',
    ),
    "columns that fill themselves": (
        'ALTER TABLE "Clients" ADD note text',
        "ALTER TABLE \"Clients\" ADD written timestamptz NOT NULL DEFAULT now()",
        'ALTER TABLE "Clients" ADD number integer NOT NULL GENERATED ALWAYS AS IDENTITY',
        'ALTER TABLE "Clients" ADD doubled integer NOT NULL GENERATED ALWAYS AS ("Num" * 2) STORED',
        'ALTER TABLE "Clients" ADD UNIQUE ("Num", number)',
    ),
    "serial numbers": (
        "SET ROLE bw_migrator",
        'ALTER TABLE "ImportLog" ALTER "ID" DROP IDENTITY',
        'CREATE SEQUENCE numbers OWNED BY "ImportLog"."ID"',
        "ALTER TABLE \"ImportLog\" ALTER \"ID\" SET DEFAULT nextval('numbers')",
    ),
    "rights on columns": (
        'ALTER TABLE "SecMinQt" OWNER TO postgres',
        'GRANT TRUNCATE, SELECT, INSERT ("ClassCode", "SecCode", "MinQty") ON "SecMinQt" TO bw_migrator',
    ),
    "procedure with the rights of its owner": (
        'ALTER PROCEDURE "BW_CreateOrder" OWNER TO postgres',
        'ALTER PROCEDURE "BW_CreateOrder" SECURITY DEFINER',
        'REVOKE INSERT ON "Orders" FROM bw_migrator',
    ),
    "procedure with more parameters, which have defaults": _create_group(
        output="OUT new_id integer, z integer DEFAULT 0"
    ),
    "procedure that takes and returns the number": _create_group(output="INOUT new_id integer"),
    "procedure of another number of parameters beside": (
        'CREATE PROCEDURE "BW_CreateSecGroupEx" (text) LANGUAGE plpgsql AS $$ BEGIN END $$',
    ),
    "procedure in another schema": (
        "CREATE SCHEMA other",
        'CREATE PROCEDURE other."BW_CreateSecGroupEx" (text, text, text, text, text, integer, integer, OUT id integer)'
        " LANGUAGE plpgsql AS $$ BEGIN id := 1; END $$",
    ),
    "foreign key of a table to itself": (
        'ALTER TABLE "SecMinQt" ADD UNIQUE ("MinQty"), ADD other integer REFERENCES "SecMinQt" ("MinQty")',
    ),
    "constraints that the rows keep": (
        'ALTER TABLE "SecMinQt" ADD CHECK ("MinQty" > 0), ADD UNIQUE ("SecCode")',
        'ALTER TABLE "OrdersInPool" ADD FOREIGN KEY ("PoolID") REFERENCES "PoolOrders" ("PoolID")',
    ),
}


@pytest.fixture
def workspace(new_workspace):
    return new_workspace(fill=one_row_each.fill)


def _plant(workspace, statements) -> None:
    """In one session, as the superuser unless the statements say otherwise."""
    workspace.execute_destination(*statements)


def _findings(result) -> list[tuple]:
    found = [(None, each) for each in result.report["general"]]
    found += [(table["table"], each) for table in result.report["tables"] for each in table["findings"]]
    return [(table, each["id"], ", ".join(each["columns"]) or None, each["cost"], each["rows"]) for table, each in found]


def _unfinished_table(console) -> str | None:
    complete = re.findall(r"^Complete migrate (\w+) table", console, re.MULTILINE)
    return None if len(complete) == len(sample_data.TABLES) else sample_data.TABLES[len(complete)]


def _assert_run_ends_in(workspace, table) -> None:
    run = workspace.run_redirected()
    assert _unfinished_table(run.console) == table, workspace.log_file.read_text()[-600:]


def test_clean_destination(workspace):
    result = check(workspace, "before")

    assert _findings(result) == []
    assert result.report["run_ends_in"] is None
    assert "Destination: the tables hold no row now." in result.report["facts"]
    assert result.code == 0
    _assert_run_ends_in(workspace, None)


@pytest.mark.parametrize("statements", HARMLESS.values(), ids=HARMLESS)
def test_harmless_difference(workspace, statements):
    _plant(workspace, statements)

    result = check(workspace, "before")

    assert _findings(result) == []
    _assert_run_ends_in(workspace, None)

    proof = check(workspace, "after")

    assert _findings(proof) == []
    assert proof.report["status"] == "complete"
    assert proof.code == 0


@pytest.mark.parametrize("flaw", FLAWS.values(), ids=FLAWS)
def test_flaw(workspace, flaw):
    _plant(workspace, flaw.statements)

    result = check(workspace, "before")

    assert result.errors == ""
    assert _findings(result) == [finding if len(finding) == 5 else (*finding, None) for finding in flaw.findings]
    assert result.report["run_ends_in"] == flaw.ends_in
    assert result.code == (1 if flaw.findings else 0)
    if flaw.foreseen:
        _assert_run_ends_in(workspace, flaw.ends_in)
    if flaw.foreseen and flaw.comparable:
        proof = check(workspace, "after")

        assert proof.report["run_ends_in"] == flaw.ends_in
        assert proof.report["status"].startswith("incomplete" if flaw.ends_in else "complete")


def test_flaw_without_rows_does_not_end_the_run(new_workspace):
    workspace = new_workspace()
    _plant(workspace, FLAWS["missing column"].statements + FLAWS["missing procedure"].statements)

    result = check(workspace, "before")

    assert [finding[:2] for finding in _findings(result)] == [
        ("Clients", "statement-refused"),
        ("GroupOrders", "statement-refused"),
    ]
    assert result.report["run_ends_in"] is None
    _assert_run_ends_in(workspace, None)


_EMPTIED_AGAIN = FLAWS["migrated rows that are emptied again"].statements


@pytest.mark.parametrize(
    "statements, rows",
    [
        ((), 0),
        (FLAWS["missing procedure"].statements, 0),  # The run ends in GroupOrders, before SecMinQt.
        (('DROP TABLE "RatingAgencies"',), 1),  # It ends between the two.
        (('ALTER TABLE "LoadedSecurities" DROP "Price"',), 0),  # It ends behind the truncate.
        (("REVOKE TRUNCATE ON \"LoadedSecurities\" FROM bw_migrator",), 1),  # It ends with the truncate.
    ],
    ids=["complete", "before", "between", "behind the truncate", "truncate refused"],
)
def test_rows_that_are_emptied_again_do_not_arrive(workspace, statements, rows):
    _plant(workspace, _EMPTIED_AGAIN + statements)

    result = check(workspace, "before")

    assert result.table("SecMinQt")["arriving_rows"] == rows
    workspace.run_redirected()
    assert workspace.query_destination('SELECT count(*) FROM "SecMinQt"') == [(rows,)]


def test_a_right_that_is_missing_is_missed_by_every_truncate_that_needs_it(workspace):
    _plant(workspace, ('REVOKE TRUNCATE ON "Orders" FROM bw_migrator',))

    result = check(workspace, "before")

    assert _findings(result) == [
        (table, "no-truncate-right", None, "run-ends", None) for table in ("GroupDesc", "GroupOrders", "Orders")
    ]
    assert result.report["run_ends_in"] == "GroupDesc"
    _assert_run_ends_in(workspace, "GroupDesc")


def test_rows_that_the_run_deletes_are_counted(workspace):
    workspace.run_redirected()
    _plant(workspace, ("INSERT INTO \"SecMinQt\" VALUES ('B', 'B', 1)",))

    result = check(workspace, "before")

    listed = ", ".join(
        f"{table} {2 if table == 'SecMinQt' else 1}" for table in sample_data.TABLES if table != "Restrictions"
    )
    assert _findings(result) == [
        (None, "destination-not-empty", None, "rows-lost", 22),
        (None, "log-overwritten", None, "cannot-foresee", None),
    ]
    finding = result.report["general"][0]
    assert finding["text"] == f"A run deletes the rows that the tables have now: {listed}."
    queries = finding["query"]["text"].splitlines()
    assert sum(len(workspace.query_destination(query)) for query in queries) == 22


def test_rows_after_the_end_of_the_run_are_not_deleted(workspace):
    _plant(
        workspace,
        (
            "INSERT INTO \"SystemData\" VALUES ('a', 'b')",
            "INSERT INTO \"SecMinQt\" VALUES ('B', 'B', 1)",
            'ALTER TABLE "Clients" RENAME TO clients',
        ),
    )

    result = check(workspace, "before")

    (finding,) = [each for each in result.report["general"] if each["id"] == "destination-not-empty"]
    assert (finding["rows"], finding["text"]) == (1, "A run deletes the rows that the tables have now: SystemData 1.")


@pytest.mark.parametrize("chosen", ["Clients", "SecMinQt,Clients"])
def test_only_the_chosen_tables_are_told_of(workspace, chosen):
    _plant(workspace, FLAWS["missing column"].statements + ('DROP TABLE "ExportOrder"',))

    result = check(workspace, "before", "--tables", chosen)

    assert _findings(result) == [("Clients", "statement-refused", None, "run-ends", None)]


def test_login_without_any_right(workspace):
    """Nothing that is asked needs a right."""
    workspace.execute_destination("CREATE ROLE stranger LOGIN PASSWORD 'who'")
    try:
        workspace.write_configuration(destination=(data_sources.DESTINATION, "stranger", "public"))

        result = check(workspace, "before", passwords=(lab.SOURCE_PASSWORD, "who"))
    finally:
        workspace.execute_destination("DROP ROLE stranger")

    assert result.errors == ""
    findings = _findings(result)
    for table in sample_data.TABLES:
        assert (table, "no-truncate-right", None, "run-ends", None) in findings
        assert (table, "statement-refused", None, "run-ends", None) in findings
    assert "Destination: the tables hold no row that can be counted now." in result.report["facts"]
    assert result.report["run_ends_in"] == "SystemData"


# Names.


@pytest.mark.parametrize("schema", ["public", '"public"', "PUBLIC", "", "brantwell_{}.public"])
def test_schema_is_found_as_the_migrator_finds_it(workspace, schema):
    schema = schema.format(workspace.database.rpartition("_")[2])
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, schema))
    _plant(workspace, FLAWS["procedure with fewer parameters"].statements)

    result = check(workspace, "before")

    assert _findings(result) == [("SecGroups", "statement-refused", None, "run-ends", None)]
    _assert_run_ends_in(workspace, "SecGroups")


def test_schema_that_needs_quotes(workspace):
    _plant(workspace, ('ALTER SCHEMA public RENAME TO "the desk\'s"',))
    # The procedures carry the search path of their creation.
    _plant(
        workspace,
        [
            f'ALTER PROCEDURE "the desk\'s"."{name}" SET search_path = "the desk\'s"'
            for name in ("BW_CreateClientGroupEx", "BW_CreateGroupOrder", "BW_CreateOrder", "BW_CreateSecGroupEx")
        ],
    )
    workspace.write_configuration(
        destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, '""the desk\'s""')
    )

    result = check(workspace, "before")

    assert _findings(result) == []
    _assert_run_ends_in(workspace, None)


@pytest.mark.parametrize("schema", ["desk", "two words", "one.two.three", "it's", "elsewhere.public"])
def test_schema_that_is_not_there(workspace, schema):
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, schema))

    result = check(workspace, "before")

    assert _findings(result) == [(None, "destination-schema", None, "run-ends", None)]
    assert f'"{schema}"' in result.report["general"][0]["text"]
    assert result.report["run_ends_in"] == "SystemData"
    _assert_run_ends_in(workspace, "SystemData")


def test_schema_that_is_more_than_a_name(workspace):
    workspace.write_configuration(
        destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "/* the day desk */ public")
    )
    _plant(workspace, FLAWS["missing column"].statements)

    result = check(workspace, "before")

    assert _findings(result) == [(None, "destination-schema", None, "cannot-foresee", None)]
    _assert_run_ends_in(workspace, "Clients")


# The data source.


def _set(workspace, **settings) -> None:
    usual = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=usual | settings)


def test_read_only_data_source(workspace):
    _set(workspace, ReadOnly=1)

    result = check(workspace, "before")

    assert _findings(result) == [(None, "destination-read-only", None, "run-ends", None)]
    assert result.report["run_ends_in"] == "SystemData"
    _assert_run_ends_in(workspace, "SystemData")


def test_data_source_that_prepares_on_the_client(workspace):
    _set(workspace, UseServerSidePrepare=0)

    result = check(workspace, "before")

    assert _findings(result) == [(None, "client-side-prepare", None, "run-ends", None)]
    assert result.report["run_ends_in"] == "GroupDesc"
    _assert_run_ends_in(workspace, "GroupDesc")
