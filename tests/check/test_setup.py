"""What bw_db_check looks at before it asks for passwords, how it says why it cannot connect, and what a run meets."""

import contextlib
import os
import pwd
import re
import subprocess
import threading

import psycopg2
import pytest

import data_sources
import lab
import scratch
import source
from checker import PROGRAM, check

WHOLE = (
    "[DBSource]\ndb_connection_name=BrantwellSource\ndb_connection_login=a\ndb_schema=dbo\n"
    "[DBDestination]\ndb_connection_name=BrantwellDestination\ndb_connection_login=b\ndb_schema=public\n"
)


def _refusal(directory, environment=None) -> str:
    """What the program says, without its name, where it ends before it reads a password."""
    reading, writing = os.pipe()
    with open(reading, "rb") as unread, open(writing, "wb") as typed:
        typed.write(b"one\ntwo\n")
        typed.flush()
        run = subprocess.run(
            [PROGRAM, "before"], cwd=directory, env=environment, stdin=unread, capture_output=True, timeout=60, check=False
        )
        os.set_blocking(unread.fileno(), False)
        assert os.read(unread.fileno(), 100) == b"one\ntwo\n"
    assert run.returncode == 2
    assert run.stdout == b""
    said = run.stderr.decode()
    assert said.startswith("bw_db_check: ")
    return said.removeprefix("bw_db_check: ").removesuffix("\n")


# The configuration file.


@pytest.mark.parametrize(
    "content, refusal",
    [
        (
            b"",
            "bw_migrate.ini is empty: write both sections into it, with the keys db_connection_name, db_connection_login, "
            "db_schema",
        ),
        (
            WHOLE.encode("utf-16"),
            "bw_migrate.ini is in UTF-16, or is no text file: save it as ANSI or as UTF-8 without a byte-order mark",
        ),
        (
            WHOLE.replace("db_schema=public", "db_shema=public").encode(),
            "bw_migrate.ini: the key db_shema in [DBDestination] is not read. Rename it to db_schema",
        ),
    ],
    ids=["empty", "UTF-16", "misspelt key"],
)
def test_configuration_that_cannot_be_used(empty_directory, content, refusal):
    (empty_directory / "bw_migrate.ini").write_bytes(content)

    assert _refusal(empty_directory) == refusal


def _run_without_rights(directory, environment=None):
    """Runs the program as nobody where the tests run as root, whom no mode keeps from reading and writing."""
    directory.chmod(0o755)
    nobody = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
    program = directory / "bw_db_check"
    program.write_bytes(PROGRAM.read_bytes())
    program.chmod(0o755)
    return subprocess.run(
        [program, "before"], cwd=directory, env=environment, input=b"", capture_output=True, timeout=60, check=False, **nobody
    )


def test_configuration_that_may_not_be_read(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    (empty_directory / "bw_migrate.ini").chmod(0)

    run = _run_without_rights(empty_directory)

    assert run.stderr == (
        b"bw_db_check: bw_migrate.ini cannot be read: Permission denied. Give your account the right to read it\n"
    )
    assert run.returncode == 2


# The data sources.


def _environment(directory, odbc, odbcinst="") -> dict:
    (directory / "odbc.ini").write_text(odbc)
    (directory / "odbcinst.ini").write_text(odbcinst)
    return {"ODBCINI": str(directory / "odbc.ini"), "ODBCSYSINI": str(directory)}


def test_data_sources_that_are_not_defined(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    environment = _environment(empty_directory, "[Elsewhere]\nDriver=/nowhere.so\n[Other]\nDriver=/nowhere.so\n")

    where = (
        f"is not defined. The driver manager looks for data sources in {empty_directory}/odbc.ini, and finds there: "
        "Elsewhere, Other. Define it, or correct db_connection_name"
    )
    assert _refusal(empty_directory, environment).split("\n") == [
        f"the data source 'BrantwellSource' of the source {where}",
        f"the data source 'BrantwellDestination' of the destination {where}",
    ]


def test_files_of_data_sources_that_do_not_exist(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)

    said = _refusal(empty_directory, {"ODBCSYSINI": str(empty_directory / "none")})

    assert f" looks for data sources in {pwd.getpwuid(os.geteuid()).pw_dir}/.odbc.ini" in said
    assert f" and in {empty_directory}/none/odbc.ini (does not exist), and finds there: " in said


def test_file_of_data_sources_that_may_not_be_written(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    driver = data_sources.find_driver("psqlodbca.so")
    environment = _environment(
        empty_directory, f"[BrantwellSource]\nDriver = {driver}\n[BrantwellDestination]\nDriver = {driver}\n"
    )
    environment["ODBCSYSINI"] = "/nowhere"
    (empty_directory / "odbc.ini").chmod(0o444)

    said = _run_without_rights(empty_directory, environment).stderr.decode()

    why = (
        f"is not read by its driver: you may not write to {empty_directory}/odbc.ini, and the driver manager's library "
        "opens that file for reading and writing. Make it writable for you\n"
    )
    assert said == (
        f"bw_db_check: the data source 'BrantwellSource' of the source {why}"
        f"the data source 'BrantwellDestination' of the destination {why}"
    )


def test_drivers_that_are_not_installed(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    environment = _environment(
        empty_directory,
        "[BrantwellSource]\nDriver = Free TDS\n[BrantwellDestination]\nServername = pg\n",
        "[FreeTDS]\nDriver = libtdsodbc.so\n[PostgreSQL ANSI]\nDriver = psqlodbca.so\n",
    )

    files = f"The driver manager looks for data sources in {empty_directory}/odbc.ini"
    assert _refusal(empty_directory, environment).split("\n") == [
        "the data source 'BrantwellSource' of the source names the driver 'Free TDS', which is not installed. Installed "
        f"in {empty_directory}/odbcinst.ini: FreeTDS, PostgreSQL ANSI. Install the driver, or correct the line Driver. "
        + files,
        "the data source 'BrantwellDestination' of the destination has no line Driver. Write it; installed in "
        f"{empty_directory}/odbcinst.ini: FreeTDS, PostgreSQL ANSI. {files}",
    ]


def test_drivers_that_do_not_load(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    (empty_directory / "text.so").write_text("no library")
    environment = _environment(
        empty_directory,
        f"[BrantwellSource]\nDriver = {empty_directory}/text.so\n[BrantwellDestination]\nDriver = Gone\n",
        "[Gone]\nDriver = libgone.so\n",
    )

    what_to_do = (
        "Install the driver for this computer's architecture, or correct its path. Drivers are registered in "
        f"{empty_directory}/odbcinst.ini. The driver manager looks for data sources in {empty_directory}/odbc.ini"
    )
    assert _refusal(empty_directory, environment).split("\n") == [
        f"the data source 'BrantwellSource' of the source has a driver that cannot be loaded: {empty_directory}/text.so: "
        f"file too short. {what_to_do}",
        "the data source 'BrantwellDestination' of the destination has a driver that cannot be loaded: libgone.so. "
        + what_to_do,
    ]


def test_data_source_with_a_long_name(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE.replace("BrantwellSource", "B" * 33))
    driver = data_sources.find_driver("psqlodbca.so")
    environment = _environment(
        empty_directory, f"[{'B' * 33}]\nDriver = {driver}\n[BrantwellDestination]\nDriver = {driver}\n"
    )

    assert _refusal(empty_directory, environment) == (
        f"the data source '{'B' * 33}' of the source has a name of 33 bytes, and the driver manager accepts 32 at most. "
        "Give it a shorter one"
    )


def test_names_that_a_connection_string_would_split(new_workspace):
    """They are names like any other: the program connects by name."""
    workspace = new_workspace()
    odbc_ini = workspace.base / "odbc.ini"
    odbc_ini.write_text(
        odbc_ini.read_text()
        .replace(f"[{data_sources.SOURCE}]", "[/source; PWD=x]")
        .replace(f"[{data_sources.DESTINATION}]", "[{desti}nation]")
    )
    workspace.write_configuration(
        source=("/source; PWD=x", lab.SOURCE_LOGIN, "dbo"), destination=("{desti}nation", lab.DESTINATION_LOGIN, "public")
    )

    assert check(workspace, "before").errors == ""


# Connecting.


def _cannot_connect(side, login="") -> str:
    name, usual = {
        "source": (data_sources.SOURCE, lab.SOURCE_LOGIN),
        "destination": (data_sources.DESTINATION, lab.DESTINATION_LOGIN),
    }[side]
    return f"cannot connect to the {side}, data source '{name}', login '{login or usual}'. "


def test_both_sides_refuse_the_password(new_workspace):
    errors = check(new_workspace(), "before", passwords=("wrong", "wrong")).errors

    assert errors.startswith(
        "bw_db_check: "
        + _cannot_connect("source")
        + "The server refuses the login. Check the login and the password, and that the login is enabled.\n"
        "SQL Error: State = S1000 Code = 0 Message = [unixODBC][FreeTDS][SQL Server]"
    )
    assert (
        "\n" + _cannot_connect("destination") + "There is no connection. The driver's message says why: the server, its "
        "port, the database, the encryption, the login or the password.\nSQL Error: State = 08001 Code = 101 Message = "
        "[unixODBC]connection to server at "
    ) in errors


@pytest.mark.parametrize("side", [0, 1], ids=["source", "destination"])
def test_password_with_a_carriage_return(new_workspace, side):
    passwords = [lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD]
    passwords[side] += "\r"

    errors = check(new_workspace(), "before", passwords=passwords).errors

    assert errors.count("cannot connect to the ") == 1
    assert (
        " The password ends with a carriage return, as a line of a file of Windows does: end the line with LF.\nSQL Error: "
    ) in errors


def test_password_beyond_ascii_of_the_source(new_workspace):
    workspace = new_workspace()
    workspace.restart_source("pässwörd")

    errors = check(workspace, "before", passwords=("pässwörd", lab.DESTINATION_PASSWORD)).errors

    assert errors.count("cannot connect to the ") == 1
    assert (
        " The password has characters beyond ASCII: FreeTDS takes each of its bytes for a character of ISO 8859-1, so one "
        "that is typed in UTF-8 is refused.\n"
    ) in errors


def test_servers_that_nobody_answers_for(unreachable_directory):
    run = subprocess.run(
        [PROGRAM, "before"], cwd=unreachable_directory, input=b"one\ntwo\n", capture_output=True, timeout=60, check=False
    )

    assert run.returncode == 2
    assert run.stderr.count(b"There is no connection. The driver's message says why") == 2


# What a run meets.


def _general(result) -> list[tuple]:
    assert result.report is not None, result.errors
    return [(each["id"], each["cost"], each["text"]) for each in result.report["general"]]


def test_settings_of_the_runs_session(new_workspace):
    workspace = new_workspace()
    settings = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    settings["ConnSettings"] = (
        "SET synchronous_commit TO local; SET lock_timeout TO '7s'; SET statement_timeout TO '2h'; "
        "SET standard_conforming_strings TO off; SET client_connection_check_interval TO '3s'"
    )
    workspace.write_data_sources(destination=settings)

    result = check(workspace, "before")

    assert (
        "Destination: the run's session has synchronous_commit local, lock_timeout 7s, "
        "statement_timeout 2h, client_connection_check_interval 3s, standard_conforming_strings off."
    ) in result.report["facts"]
    assert _general(result) == []


def _lock(workspace, statement, *login):
    """A connection that holds a statement's locks until it is closed."""
    connection = workspace.lab.postgres.connect(workspace.database, *login)
    connection.autocommit = False
    cursor = connection.cursor()
    cursor.execute(statement)
    cursor.execute("SELECT date_trunc('second', now())::text")
    return connection, cursor.fetchone()[0]


@pytest.mark.parametrize("login", [(lab.DESTINATION_LOGIN, lab.DESTINATION_PASSWORD), ()], ids=["own login", "another"])
def test_session_that_has_read_a_table(new_workspace, login):
    workspace = new_workspace()
    connection, since = _lock(workspace, 'SELECT FROM "Orders", "Clients"', *login)
    try:
        result = check(workspace, "before")
        process = connection.info.backend_pid
    finally:
        connection.close()

    # When another login's transaction began may not be seen.
    who = f"{login[0]} holds a lock on Clients, Orders, in a transaction since {since}" if login else (
        "postgres holds a lock on Clients, Orders"
    )
    assert _general(result) == [
        (
            "table-locked",
            "cannot-foresee",
            f"Session {process} of {who}. The run empties each table, which needs a lock of its own: it waits there until "
            "that session's transaction has ended.",
        )
    ]
    assert result.code == 1
    # The query that it gives is one.
    assert workspace.query_destination(result.report["general"][0]["query"]["text"]) == []


@pytest.mark.parametrize(("setting", "state"), [("lock_timeout", "55P03"), ("statement_timeout", "57014")])
def test_lock_that_ends_the_run(new_workspace, setting, state):
    workspace = new_workspace()
    settings = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=settings | {"ConnSettings": f"SET {setting} TO '1500ms'"})
    connection, _ = _lock(workspace, 'SELECT FROM "SecGroups"')
    try:
        ((name, cost, text),) = _general(check(workspace, "before"))
        workspace.run_redirected()
    finally:
        connection.close()

    assert (name, cost) == ("table-locked", "run-ends")
    assert text.endswith(f" until that session's transaction has ended, and after {setting}, 1500ms, it ends ({state}).")
    assert f"State = {state} " in workspace.log_file.read_text()


def test_session_that_waits_for_a_lock(new_workspace):
    workspace = new_workspace()
    connection, _ = _lock(workspace, 'LOCK TABLE "Orders" IN ROW EXCLUSIVE MODE')
    waiting = workspace.lab.postgres.connect(workspace.database, lab.DESTINATION_LOGIN, lab.DESTINATION_PASSWORD)
    waiting.autocommit = False
    thread = threading.Thread(target=_ignore, args=[lambda: waiting.cursor().execute('LOCK TABLE "Orders" IN SHARE MODE')])
    thread.start()
    try:
        scratch.wait_until(
            lambda: workspace.query_destination("SELECT FROM pg_locks WHERE relation IS NOT NULL AND NOT granted"),
            "the waiting session",
        )
        result = check(workspace, "before")
        processes = [each.info.backend_pid for each in (connection, waiting)]
    finally:
        waiting.cancel()
        thread.join()
        waiting.close()
        connection.close()

    assert [(name, text.split(". ")[0].split(", in a")[0]) for name, _, text in _general(result)] == [
        ("table-locked", f"Session {processes[0]} of postgres holds a lock on Orders"),
        ("table-locked", f"Session {processes[1]} of bw_migrator waits for a lock on Orders"),
    ]


def test_session_that_waits_to_empty_a_table_blocks_the_check(new_workspace):
    workspace = new_workspace()
    connection, _ = _lock(workspace, 'SELECT FROM "Orders"')
    waiting = workspace.lab.postgres.connect(workspace.database)
    thread = threading.Thread(target=_ignore, args=[lambda: waiting.cursor().execute('TRUNCATE "Orders" CASCADE')])
    thread.start()
    try:
        scratch.wait_until(
            lambda: workspace.query_destination("SELECT FROM pg_locks WHERE relation IS NOT NULL AND NOT granted"),
            "the waiting session",
        )
        result = check(workspace, "before")
        processes = [each.info.backend_pid for each in (connection, waiting)]
    finally:
        waiting.cancel()
        thread.join()
        waiting.close()
        connection.close()

    assert result.errors == (
        f'bw_db_check: a table of the destination is locked: session {processes[0]} of postgres uses "Orders"; session '
        f'{processes[1]} of postgres waits for a lock on "Orders"\n'
    )
    assert result.code == 2


def _ignore(action) -> None:
    with contextlib.suppress(psycopg2.Error):
        action()


def test_run_at_work(new_workspace):
    def look(process):
        scratch.wait_until(
            lambda: workspace.query_destination("SELECT FROM pg_stat_activity WHERE wait_event = 'PgSleep'"), "the row"
        )
        results.append(check(workspace, "before"))
        process.kill()

    results = []
    workspace = new_workspace(fill=lambda path: source.insert(path, "LoadedPositions", PosID=1, FirmID="F"))
    # Its INSERT holds a lock for as long as it lasts: that of the run is no finding of its own.
    workspace.execute_destination(
        "CREATE FUNCTION wait() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN PERFORM pg_sleep(600); RETURN NEW; END$$",
        'CREATE TRIGGER wait BEFORE INSERT ON "LoadedPositions" FOR EACH ROW EXECUTE FUNCTION wait()',
    )
    workspace.run_redirected(meanwhile=look)

    ((name, _, text),) = [each for each in _general(results[0]) if each[0] in ("run-at-work", "table-locked")]
    assert name == "run-at-work"
    assert " of bw_migrator is the migrator's, in LoadedPositions. A run is at work, " in text


def _run_to_its_end(workspace) -> None:
    """Until the server has ended the run's session too, which takes a moment."""
    workspace.run_redirected()
    others = "SELECT FROM pg_stat_activity WHERE datname = current_database() AND pid <> pg_backend_pid()"
    scratch.wait_until(lambda: not workspace.query_destination(others), "the end of the run's session")


def test_a_run_that_has_ended_is_not_at_work(new_workspace):
    workspace = new_workspace()
    _run_to_its_end(workspace)

    named = [name for name, _, _ in _general(check(workspace, "before"))]
    assert named == ["destination-not-empty", "log-overwritten"]


def test_estimates(new_workspace):
    def fill(path):
        for number in range(1000, 3000):
            source.insert(path, "LoadedPositions", PosID=number, FirmID="FIRM")

    workspace = new_workspace(fill=fill)

    facts = [fact for fact in check(workspace, "before").report["facts"] if fact.startswith("Run: ")]
    workspace.run_redirected()

    assert facts[0] == (
        "Run: about a second, by estimate: 2001 rows at 5000 in a second and 0 by procedures at 2500, as measured on one "
        "machine with synchronous_commit on. A network and a slower disk make it longer."
    )
    size, unit = re.match(r"Run: a log of about (\d+) (KB|MB), by estimate: a line for each of 2001 rows, ", facts[1]).groups()
    actual = workspace.log_file.stat().st_size / {"KB": 1e3, "MB": 1e6}[unit]
    assert abs(int(size) - actual) < 0.1 * actual


def test_no_estimate_of_some_tables(new_workspace):
    result = check(new_workspace(), "before", "--tables", "Clients")

    assert [fact for fact in result.report["facts"] if fact.startswith("Run: ")] == []


def test_log_that_cannot_be_written(new_workspace):
    workspace = new_workspace()
    workspace.log_file.mkdir()

    result = check(workspace, "before")
    run = workspace.run_redirected()

    assert [name for name, _, _ in _general(result)] == ["log-not-written"]
    assert "Warning: Can't open log file" in run.console


def test_read_only_data_source_empties_the_first_table(new_workspace):
    workspace = new_workspace()
    _run_to_its_end(workspace)
    workspace.log_file.unlink()
    assert workspace.query_destination('SELECT count(*) FROM "SystemData"') == [(1,)]
    settings = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=settings | {"ReadOnly": 1})

    result = check(workspace, "before")
    run = workspace.run_redirected()

    assert _general(result) == [
        (
            "destination-read-only",
            "run-ends",
            "The data source has ReadOnly = 1, with which the driver refuses every INSERT (S1000): the run empties the "
            "first table and ends.",
        )
    ]
    assert "Start migrate" not in run.console
    assert "State = S1000 " in workspace.log_file.read_text()
    assert workspace.query_destination('SELECT count(*) FROM "SystemData"') == [(0,)]


# Rights.


def test_missing_rights_of_both_sides_are_told_at_once(new_workspace):
    workspace = new_workspace()
    workspace.execute_source("DROP TABLE SecMinQt")
    workspace.execute_source("DROP TABLE ExportOrder")
    workspace.execute_destination(
        'REVOKE TRUNCATE ON "Clients" FROM bw_migrator',
        'REVOKE INSERT ON "ImportLog" FROM bw_migrator',
        'ALTER TABLE "RatingScales" OWNER TO postgres',
    )

    result = check(workspace, "before")

    assert [(name, text.split(" cannot be read: ")[0]) for name, _, text in _general(result)] == [
        ("source-cannot-read", "The source's table SecMinQt"),
        ("source-cannot-read", "The source's table ExportOrder"),
    ]
    found = {(finding[0], finding[1]) for finding in result.findings()}
    assert {
        ("Clients", "no-truncate-right"),
        ("ImportLog", "statement-refused"),
        ("RatingScales", "no-truncate-right"),
        ("RatingScales", "statement-refused"),
    } <= found
    # Its truncate reaches Clients.
    assert result.report["run_ends_in"] == "GroupDesc"


def test_missing_rights_are_told_with_that_of_temporary_tables(new_workspace):
    workspace = new_workspace()
    workspace.execute_source("DROP TABLE SecMinQt")
    workspace.execute_destination(
        f"REVOKE TEMPORARY ON DATABASE {workspace.database} FROM PUBLIC, bw_migrator",
        'REVOKE TRUNCATE ON "Clients" FROM bw_migrator',
        'REVOKE INSERT ON "ImportLog" FROM bw_migrator',
    )

    result = check(workspace, "before")

    lines = result.errors.splitlines()
    assert result.code == 2
    assert lines[0].startswith("bw_db_check: the destination's login may not create temporary tables, ")
    assert lines[1].startswith("The source's table SecMinQt cannot be read: ")
    right = 'The login has no TRUNCATE right on public."Clients": the run ends where '
    assert lines[2].startswith(f"{right}GroupDesc is to be emptied (42501), ")
    assert lines[3] == f"{right}Clients is to be emptied (42501)."
    assert lines[4].startswith("The destination refuses the statement that writes the rows: ")
    assert "42501" in lines[4]


# Schemas.


@pytest.mark.parametrize("configured", ["Brantwell", "BRANTWELL", '"Brantwell"'])
def test_schema_in_mixed_case(new_workspace, configured):
    workspace = new_workspace()
    workspace.execute_destination('ALTER SCHEMA public RENAME TO "Brantwell"')
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, configured))

    ((name, _, text),) = _general(check(workspace, "before"))

    assert name == "destination-schema"
    assert text.endswith(
        " PostgreSQL reads that name as brantwell. There is a schema Brantwell: to name it, write "
        "db_schema='\"Brantwell\"', with both pairs of quotes."
    )
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "'\"Brantwell\"'"))
    assert _general(check(workspace, "before")) == []
    workspace.run_redirected()
    assert workspace.query_destination('SELECT count(*) FROM "Brantwell"."SystemData"') == [(1,)]


def test_schema_in_lower_case_that_is_quoted_in_upper_case(new_workspace):
    workspace = new_workspace()
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "'\"PUBLIC\"'"))

    ((name, _, text),) = _general(check(workspace, "before"))

    assert name == "destination-schema"
    assert text.endswith(
        " PostgreSQL reads that name as PUBLIC. There is a schema public: to name it, write db_schema=public."
    )
