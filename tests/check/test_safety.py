"""What bw_db_check does on the destination's server: it reads, stores copies of its own, and stands in nobody's way.

What it sent is read from PostgreSQL's log.
"""

import contextlib
import os
import re
import signal
import subprocess
import time

import pytest

import flawed_source
import lab
import sample_data
import scratch
import source
from checker import PROGRAM, check

# They stand for the data: a text, an integer, a double and a text that the destination has no room for.
TEXT, INTEGER, DOUBLE, LONG_TEXT = "Qzmark", 1987654321, 54321.0625, "Qzmarklong"
MARKS = (TEXT, str(INTEGER), str(DOUBLE))


def _watch(workspace) -> None:
    """From now on all statements in this database are in the server's log."""
    workspace.lab.postgres.execute(f"ALTER DATABASE {workspace.database} SET log_statement = 'all'")


@pytest.fixture
def workspace(shared_lab):
    with shared_lab.workspace(flawed_source.create_clean) as started:
        yield started


@pytest.fixture
def watched(workspace):
    """A destination whose statements are all in the server's log."""
    _watch(workspace)
    return workspace


def _log_entries(workspace) -> list[tuple]:
    """What the server logged of the migration's login in this database: kind and text."""
    prefix = r"^[-\d]+ [:.\d]+ \w+ \[\d+\] (\S+?)@(\S+) (\w+):  "
    parts = re.split(prefix, workspace.lab.postgres.log_file.read_text(errors="replace"), flags=re.MULTILINE)
    entries = zip(*(parts[start::4] for start in (1, 2, 3, 4)), strict=True)
    return [
        (kind, text)
        for user, database, kind, text in entries
        if (user, database) == (lab.DESTINATION_LOGIN, workspace.database)
    ]


def _statements(workspace) -> list[str]:
    """The statements that the login sent, without their parameters."""
    sent = (re.fullmatch(r"(?:statement|execute [^:]*): (.*)", text, re.DOTALL) for _, text in _log_entries(workspace))
    return [each[1].strip() for each in sent if each]


def _parameters(workspace) -> str:
    return "\n".join(text for kind, text in _log_entries(workspace) if kind == "DETAIL")


def _mark(workspace) -> None:
    """Puts the marks into many columns, and what the destination refuses and changes into some."""
    for table, columns in {
        "LoadedPositions": ("FirmID", "PosType", "OpenBalance"),
        "GroupDesc": ("GroupName", "SplitOrders", "DefWeight"),
        "GroupOrders": ("SecCode", "TradeDate", "Price"),
        "Orders": ("SecCode", "TradeDate", "Price"),
        "SecGroups": ("SecGName", "RAgencies"),
        "NegOrders": ("SecCode", "TradeDate", "Price"),
        "ExportOrder": ("SecCode", "TradeDate", "Price"),
    }.items():
        for column in columns:
            kind = source.columns(workspace.source_file, table)[column]
            value = {"int": INTEGER, "float": DOUBLE}.get(kind, TEXT)
            workspace.execute_source(f"UPDATE [{table}] SET [{column}] = ?", [(value,)])
    workspace.execute_source("UPDATE ImportLog SET ImportType = ? WHERE ID = 2", [(LONG_TEXT,)])
    workspace.execute_source("UPDATE Clients SET Comment = ? WHERE rowid = 2", [(TEXT + "é" + 60 * " ",)])
    workspace.execute_destination(
        """ALTER TABLE "ImportLog" ALTER "ImportType" TYPE varchar(9)""",
        f"""ALTER TABLE "SecGroups" ADD CHECK ("SecGName" <> 'other' OR "RAgencies" <> 5)""",
        'ALTER TABLE "LoadedPositions" ALTER "OpenBalance" TYPE real',
    )


def test_values_are_parameters_and_no_part_of_a_statement(watched):
    _mark(watched)

    result = check(watched, "before")

    assert result.report["run_ends_in"] == "ImportLog"
    parameters = _parameters(watched)
    for mark in MARKS:
        assert [text for text in _statements(watched) if mark in text] == []
        # They did get there.
        assert mark in parameters


def test_values_are_no_part_of_a_statement_after_a_run(workspace):
    _mark(workspace)
    workspace.run_redirected()
    workspace.execute_destination(
        """UPDATE "LoadedPositions" SET "FirmID" = 'other'""", 'DELETE FROM "SecGroups" WHERE "ID" = 2'
    )
    _watch(workspace)
    before = len(_log_entries(workspace))

    result = check(workspace, "after")

    assert result.code == 1
    assert len(_log_entries(workspace)) > before
    for mark in MARKS:
        assert [text for text in _statements(workspace) if mark in text] == []


@pytest.mark.parametrize("command", ["before", "after"])
def test_only_temporary_objects_are_written(watched, command):
    _mark(watched)
    if command == "after":
        watched.run_redirected()
    before = len(_statements(watched))

    check(watched, command)

    sent = _statements(watched)[before:]
    writing = re.compile(r"(INSERT|UPDATE|DELETE|TRUNCATE|MERGE|COPY|CREATE|ALTER|DROP)\b", re.IGNORECASE)
    changes = [text for text in sent if writing.match(text)]
    assert changes
    for text in changes:
        assert re.match(r"CREATE\s+(TEMP|TEMPORARY)\s|\w+\b[^(]*?\bpg_temp(_\d+)?\.", text, re.I), text


def test_nothing_that_a_function_of_a_constraint_does_is_stored(workspace):
    """It says that it only computes, and writes."""
    workspace.execute_destination(
        "SET ROLE bw_migrator",
        "CREATE TABLE spied (number integer)",
        "CREATE FUNCTION note(number integer) RETURNS void LANGUAGE sql AS"
        " $$ INSERT INTO public.spied VALUES (number) $$",
        "CREATE FUNCTION spy(number integer) RETURNS boolean IMMUTABLE LANGUAGE plpgsql AS"
        " $$ BEGIN PERFORM public.note(number); RETURN true; END $$",
        'ALTER TABLE "LoadedPositions" ADD CHECK (spy("PosType"))',
    )

    result = check(workspace, "before")

    assert workspace.query_destination("SELECT count(*) FROM spied") == [(0,)]
    # That it cannot write during the check says nothing of the run.
    assert result.report["run_ends_in"] is None
    workspace.run_redirected()
    assert workspace.query_destination("SELECT count(*) FROM spied") == [(3,)]


def test_sequences_go_on_where_they_were(workspace):
    workspace.execute_destination(
        "SET ROLE bw_migrator",
        "CREATE SEQUENCE numbers START 7",
        """ALTER TABLE "SecMinQt" ADD line integer DEFAULT nextval('numbers')""",
        'ALTER TABLE "LoadedPositions" ADD line integer GENERATED ALWAYS AS IDENTITY',
    )
    workspace.run_redirected()
    state = "SELECT sequencename, last_value FROM pg_sequences ORDER BY 1"
    before = workspace.query_destination(state)
    assert ("numbers", 9) in before

    check(workspace, "before")
    check(workspace, "after")

    assert workspace.query_destination(state) == before


def test_nothing_of_the_check_stays(workspace):
    objects = "SELECT relname FROM pg_class WHERE relnamespace::regnamespace::text LIKE 'pg_temp%'"

    check(workspace, "before")

    scratch.wait_until(lambda: workspace.query_destination(objects) == [], "the end of the check's session")


# Rights.


@pytest.mark.parametrize("command", ["before", "after"])
def test_without_the_right_to_temporary_tables_the_grant_is_named(workspace, command):
    workspace.execute_destination(f"REVOKE TEMPORARY ON DATABASE {workspace.database} FROM PUBLIC, bw_migrator")

    result = check(workspace, command)

    assert result.code == 2
    assert result.report is None
    assert re.search(
        rf'GRANT TEMP(ORARY)? ON DATABASE "?{workspace.database}"? TO "?{lab.DESTINATION_LOGIN}"?', result.errors
    )


# Locks.


@contextlib.contextmanager
def _running(workspace, *arguments):
    """The check on its way, with its standard error in a file."""
    with open(workspace.base / "errors", "wb") as errors, subprocess.Popen(
        [PROGRAM, *arguments],
        cwd=workspace.directory,
        env=workspace.environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.DEVNULL,
        stderr=errors,
    ) as process:
        try:
            process.stdin.write(f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n".encode())
            process.stdin.close()
            yield process
        finally:
            process.kill()


def _sessions(workspace) -> list[tuple]:
    """State and last statement of the check's sessions on the destination."""
    connection = workspace.lab.postgres.connect(workspace.database)
    try:
        with connection.cursor() as cursor:
            cursor.execute(
                "SELECT state, query FROM pg_stat_activity WHERE datname = current_database() AND usename = %s",
                (lab.DESTINATION_LOGIN,),
            )
            return cursor.fetchall()
    finally:
        connection.close()


def _empty_all_tables(workspace) -> None:
    names = ", ".join(f'"{table}"' for table in sample_data.TABLES)
    workspace.execute_destination("SET lock_timeout = '5s'", f"TRUNCATE {names} RESTART IDENTITY CASCADE")


def test_while_it_is_stopped_it_stands_in_no_run_s_way(shared_lab):
    slow = ("--delay", "LoadedPositions:300")
    copies = "SELECT count(*) FROM pg_class WHERE relnamespace::regnamespace::text LIKE 'pg_temp%' AND relkind = 'r'"
    with shared_lab.workspace(flawed_source.create_clean, slow) as workspace, _running(workspace, "before") as process:
        scratch.wait_until(lambda: workspace.query_destination(copies)[0][0] >= 22, "the copies", 60)
        for _ in range(3):
            os.kill(process.pid, signal.SIGSTOP)
            try:
                # What the server is still doing for it comes to its end.
                scratch.wait_until(
                    lambda: all(state != "active" for state, _ in _sessions(workspace)), "the end of the statement", 60
                )
                assert process.poll() is None
                _empty_all_tables(workspace)
            finally:
                os.kill(process.pid, signal.SIGCONT)
        assert process.wait(60) in (0, 1)


def test_the_session_that_blocks_it_is_named(workspace):
    blocker = workspace.lab.postgres.connect(workspace.database)
    with contextlib.closing(blocker), blocker.cursor() as cursor:
        cursor.execute("BEGIN")
        cursor.execute('LOCK TABLE "Clients" IN ACCESS EXCLUSIVE MODE')
        cursor.execute("SELECT pg_backend_pid()")
        ((session,),) = cursor.fetchall()
        errors = workspace.base / "errors"
        with _running(workspace, "before") as process:
            named = rf"\b{session}\b"
            deadline = time.monotonic() + 100
            while not re.search(named, errors.read_text()) and process.poll() is None and time.monotonic() < deadline:
                time.sleep(0.1)
            assert re.search(named, errors.read_text()), errors.read_text()
            assert process.wait(10) == 2
