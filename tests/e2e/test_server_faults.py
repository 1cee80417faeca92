"""Servers, disks and operators that end or hold up a run in the middle of a table.

The source has 600 rows in SystemData and nothing else. Wherever the moment of a fault matters, the destination holds
the run up at one row: a trigger there waits for a lock that the test has.
"""

import configparser
import contextlib
import os
import pathlib
import pwd
import re
import signal
import socket
import subprocess
import threading

import psycopg2
import pytest

import data_sources
import expectations
import lab
import scratch
from expectations import PROMPTS, assert_text

ROWS = [("dbver", "29"), *((f"key {number}", f"value {number}") for number in range(2, 601))]
HELD_UP_AT = 401

START = "Start migrate SystemData table\n"
START_ENTRY = f"<time> :: {START}"
CONNECTION_LOST = (
    "server closed the connection unexpectedly\n"
    "\tThis probably means the server terminated abnormally\n"
    "\tbefore or while processing the request.\n"
    ";\n"
    "The connection has been lost"
)
SESSION_ENDED = (
    "State = 08S01 Code = 35 Message = FATAL:  terminating connection due to administrator command\n"
    'CONTEXT:  SQL statement "SELECT pg_advisory_xact_lock(1)"\n'
    "PL/pgSQL function wait_here() line 1 at PERFORM\n" + CONNECTION_LOST
)

# The log is written whenever this many bytes have gathered.
LOG_BUFFER = 8192
LONGEST_ENTRY = 80

# What a mount namespace of its own takes; what is mounted there is gone with its last process.
_MOUNTING = ("unshare", "--mount") if os.geteuid() == 0 else ("unshare", "--map-current-user", "--keep-caps", "--mount")


def _can_mount() -> bool:
    command = [*_MOUNTING, "mount", "-t", "tmpfs", "none", "/mnt"]
    return subprocess.run(command, stderr=subprocess.DEVNULL, check=False).returncode == 0


needs_mount = pytest.mark.skipif(not _can_mount(), reason="no file system can be mounted here")


@pytest.fixture
def own_workspace():
    """A workspace in a lab of its own, whose PostgreSQL the test may break."""
    with lab.Lab(in_memory=True) as own_lab, own_lab.workspace(_fill) as workspace:
        yield workspace


def _fill(path) -> None:
    lab.execute_on_file(path, "INSERT INTO SystemData (KeyName, KeyValue) VALUES (?, ?)", ROWS)


class Holdup:
    """Holds the run up while it writes row HELD_UP_AT of SystemData."""

    def __init__(self, workspace):
        self._workspace = workspace
        workspace.execute_destination(
            "CREATE FUNCTION wait_here() RETURNS trigger LANGUAGE plpgsql"
            " AS $$BEGIN PERFORM pg_advisory_xact_lock(1); RETURN NEW; END$$",
            'CREATE TRIGGER wait_here BEFORE INSERT ON "SystemData" FOR EACH ROW'
            f" WHEN (NEW.\"KeyName\" = '{ROWS[HELD_UP_AT - 1][0]}') EXECUTE FUNCTION wait_here()",
        )
        self._holder = workspace.lab.postgres.connect(workspace.database)
        with self._holder.cursor() as cursor:
            cursor.execute("SELECT pg_advisory_lock(1)")

    def __enter__(self) -> "Holdup":
        return self

    def __exit__(self, *_) -> None:
        self.release()

    def wait(self) -> int:
        """Waits until the run is there, and returns the server process that works for it."""
        return _wait_until_blocked(self._workspace)

    def release(self) -> None:
        self._holder.close()


def _sessions(workspace, condition="true") -> list[int]:
    """The server processes that work for the program."""
    connection = workspace.lab.postgres.connect(workspace.database)
    try:
        with connection.cursor() as cursor:
            cursor.execute(
                "SELECT pid FROM pg_stat_activity WHERE datname = %s AND usename = %s"
                f" AND backend_type = 'client backend' AND {condition}",
                (workspace.database, lab.DESTINATION_LOGIN),
            )
            return [process for process, in cursor]
    finally:
        connection.close()


def _wait_until_blocked(workspace) -> int:
    (process,) = scratch.wait_until(lambda: _sessions(workspace, "wait_event_type = 'Lock'"), "the run to be held up")
    return process


def _wait_for_rows(workspace, number) -> None:
    scratch.wait_until(lambda: len(_destination(workspace)) >= number, f"{number} rows")


def _destination(workspace) -> list[tuple]:
    return workspace.query_destination('SELECT "KeyName", "KeyValue" FROM "SystemData" ORDER BY ctid')


def _log(workspace) -> str:
    with open(workspace.log_file, encoding="utf-8", newline="") as log:
        text = expectations.masked(log.read())
    text = re.sub(r'(?<=could not extend file ")pg_tblspc/[^"]+', "<file>", text)
    return re.sub(r'(?<=could not write to log file )("?)\w+\1 at offset \d+, length \d+', r"\1<file>\1 <place>", text)


def _entries(rows) -> str:
    """The log of a run up to the last of these rows."""
    text = START_ENTRY
    for number, (name, value) in enumerate(rows, start=1):
        text += f"<time> :: insert row({number}): [KeyName] = {name}, [KeyValue] = {value};\n"
    return text


def _assert_failed(workspace, run, rows, error) -> None:
    """The run ended with an error, the log shows exactly the rows that are in the destination, and nothing is left."""
    assert run.console == PROMPTS + START
    assert _log(workspace) == _entries(ROWS[:rows]) + f"<time> :: SQL Error: {error}"
    assert run.errors == ""
    assert run.exit_code == 0
    assert _destination(workspace) == ROWS[:rows]
    _assert_nothing_left_behind(workspace)


def _assert_complete(workspace, run) -> None:
    assert expectations.masked(run.console) == expectations.console(system_data=len(ROWS))
    assert _log(workspace) == expectations.log([f"[KeyName] = {name}, [KeyValue] = {value};" for name, value in ROWS])
    assert run.errors == ""
    assert run.exit_code == 0
    assert _destination(workspace) == ROWS
    _assert_nothing_left_behind(workspace)


def _assert_nothing_left_behind(workspace) -> None:
    scratch.wait_until(lambda: not _sessions(workspace), "the end of the run's session")
    assert sorted(path.name for path in workspace.directory.iterdir()) == ["bw_db_migrate.log", "bw_migrate.ini"]


def _assert_second_run_succeeds(workspace) -> None:
    _assert_complete(workspace, workspace.run())


def _assert_log_lags_behind(workspace, written) -> None:
    """The log shows the beginning of what was written, but for the part that was still in the program's memory."""
    log = workspace.log_file.read_text()
    _assert_log_begins(log, written)
    missing = len(_entries(written).replace("<time>", "YYYY-MM-DD hh:mm:ss")) - len(log)
    assert 0 <= missing < LOG_BUFFER + LONGEST_ENTRY


def _assert_log_begins(log, rows) -> None:
    """The log's whole entries are the first ones of these rows."""
    entries = expectations.masked(log[: log.rfind("\n") + 1])
    assert _entries(rows).startswith(entries)
    assert 0 < entries.count(" :: insert row(") <= len(rows)


# PostgreSQL goes away.


def test_kill_of_the_whole_server(own_workspace):
    def kill(_):
        holdup.wait()
        own_workspace.lab.postgres.kill()

    with Holdup(own_workspace) as holdup:
        run = own_workspace.run(meanwhile=kill)

    own_workspace.lab.postgres.start()
    own_workspace.write_data_sources()
    _assert_failed(
        own_workspace,
        run,
        HELD_UP_AT - 1,
        f"State = 08S01 Code = 35 Message = {CONNECTION_LOST}",
    )
    _assert_second_run_succeeds(own_workspace)


def test_kill_of_the_server_process_of_the_run(own_workspace):
    with Holdup(own_workspace) as holdup:
        run = own_workspace.run(meanwhile=lambda _: os.kill(holdup.wait(), signal.SIGKILL))

    # All sessions end then, and the server recovers by itself.
    scratch.wait_until(lambda: _accepts_connections(own_workspace), "the recovery")
    _assert_failed(
        own_workspace,
        run,
        HELD_UP_AT - 1,
        f"State = 08S01 Code = 35 Message = {CONNECTION_LOST}",
    )
    _assert_second_run_succeeds(own_workspace)


def _accepts_connections(workspace) -> bool:
    try:
        workspace.lab.postgres.connect(workspace.database).close()
    except psycopg2.OperationalError:
        return False
    return True


def test_administrator_ends_the_session(new_workspace):
    workspace = new_workspace(ROWS)

    def end_session(_):
        process = holdup.wait()
        workspace.execute_destination(f"SELECT pg_terminate_backend({process})")

    with Holdup(workspace) as holdup:
        run = workspace.run(meanwhile=end_session)

    _assert_failed(
        workspace,
        run,
        HELD_UP_AT - 1,
        SESSION_ENDED,
    )
    _assert_second_run_succeeds(workspace)


def test_administrator_cancels_the_statement(new_workspace):
    workspace = new_workspace(ROWS)

    def cancel(_):
        process = holdup.wait()
        workspace.execute_destination(f"SELECT pg_cancel_backend({process})")

    with Holdup(workspace) as holdup:
        run = workspace.run(meanwhile=cancel)

    _assert_failed(
        workspace,
        run,
        HELD_UP_AT - 1,
        "State = 57014 Code = 1 Message = ERROR: canceling statement due to user request;\n"
        "Error while executing the query",
    )
    _assert_second_run_succeeds(workspace)


def test_restart_of_the_server_during_a_write(own_workspace):
    def restart(_):
        holdup.wait()
        own_workspace.lab.postgres.stop()
        own_workspace.lab.postgres.start()

    with Holdup(own_workspace) as holdup:
        run = own_workspace.run(meanwhile=restart)

    own_workspace.write_data_sources()
    _assert_failed(
        own_workspace,
        run,
        HELD_UP_AT - 1,
        SESSION_ENDED,
    )
    _assert_second_run_succeeds(own_workspace)


def test_restart_of_the_server_between_two_writes(own_workspace):
    own_workspace.restart_source(server_options=("--delay", "SystemData:5"))

    def restart(_):
        _wait_for_rows(own_workspace, 50)
        own_workspace.lab.postgres.stop()
        own_workspace.lab.postgres.start()

    run = own_workspace.run(meanwhile=restart)

    own_workspace.restart_source()
    _assert_failed(
        own_workspace,
        run,
        len(_destination(own_workspace)),
        "State = 08S01 Code = 35 Message = FATAL:  terminating connection due to administrator command\n"
        + CONNECTION_LOST,
    )
    _assert_second_run_succeeds(own_workspace)


def test_confirmation_of_a_row_that_is_lost_leaves_one_row_more_than_the_log_shows(new_workspace):
    workspace = new_workspace(ROWS)
    with _CuttingProxy(workspace.lab.postgres.port, b"INSERT 0 1", 401) as proxy:
        workspace.write_data_sources(destination=data_sources.postgresql(proxy.port, workspace.database))
        run = workspace.run()

    assert run.console == PROMPTS + START
    assert _log(workspace) == (
        _entries(ROWS[:400]) + f"<time> :: SQL Error: State = 08S01 Code = 35 Message = {CONNECTION_LOST}"
    )
    assert run.exit_code == 0
    assert _destination(workspace) == ROWS[:401]
    _assert_nothing_left_behind(workspace)
    workspace.write_data_sources()
    _assert_second_run_succeeds(workspace)


class _CuttingProxy:
    """Passes one connection on to a local port, and breaks it in place of the n-th answer that contains a text."""

    def __init__(self, port, text, occurrence):
        self._text = text
        self._left = occurrence
        self._server_port = port
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._serve)

    def __enter__(self) -> "_CuttingProxy":
        self._thread.start()
        return self

    def __exit__(self, *_) -> None:
        # Ends an accept that nobody has answered.
        self._listener.shutdown(socket.SHUT_RDWR)
        self._thread.join()
        self._listener.close()

    def _serve(self) -> None:
        with contextlib.suppress(OSError):
            client, _ = self._listener.accept()
            with client, socket.create_connection(("127.0.0.1", self._server_port)) as server:
                requests = threading.Thread(target=self._pass_on, args=(client, server))
                requests.start()
                while (answer := server.recv(65536)) and not self._is_the_one(answer):
                    client.sendall(answer)
                for connection in (client, server):
                    connection.shutdown(socket.SHUT_RDWR)
                requests.join()

    def _is_the_one(self, answer) -> bool:
        self._left -= answer.count(self._text)
        return self._left <= 0

    @staticmethod
    def _pass_on(client, server) -> None:
        with contextlib.suppress(OSError):
            while request := client.recv(65536):
                server.sendall(request)


# The source goes away.


def test_kill_of_the_source_ends_the_table_like_its_end_and_empties_the_next_one(new_workspace):
    workspace = new_workspace(ROWS, server_options=("--delay", "SystemData:5"))
    workspace.execute_destination(
        "INSERT INTO \"GroupDesc\" VALUES (7, 'kept', '', '', '', 0, 0)",
        "INSERT INTO \"SecGrMemb\" VALUES (7, 'k', '', '', 0)",
    )

    def kill(_):
        _wait_for_rows(workspace, 50)
        workspace.source_server.kill()

    run = workspace.run(meanwhile=kill)

    rows = _destination(workspace)
    assert rows == ROWS[: len(rows)]
    assert len(rows) < len(ROWS)
    complete = (
        f"Complete migrate SystemData table. Total rows read = {len(rows)} Total migrated rows = {len(rows)}."
        " Migration time is <ms> milliseconds\n"
    )
    assert_text(run.console, PROMPTS + START + complete)
    assert _log(workspace) == (
        _entries(rows) + f"<time> :: {complete}"
        "<time> :: SQL Error: State = 08S01 Code = 0 Message = [FreeTDS][SQL Server]Communication link failure"
    )
    assert run.errors == ""
    assert run.exit_code == 0
    assert workspace.query_destination('SELECT count(*) FROM "GroupDesc"') == [(0,)]
    assert workspace.query_destination('SELECT count(*) FROM "SecGrMemb"') == [(1,)]
    _assert_nothing_left_behind(workspace)
    workspace.restart_source()
    _assert_second_run_succeeds(workspace)


# A disk is full.


def _run_on_small_disk(workspace, kibibytes, **options):
    """Runs in a working directory on a disk of that size, and returns the run and the log."""
    home = pathlib.Path(workspace.environment["HOME"])
    script = f"""
        mount -t tmpfs -o size={kibibytes}k none "$PWD" && cd "$PWD" && cp ../bw_migrate.ini . || exit 99
        "$0"
        code=$?
        cp bw_db_migrate.log "$HOME"
        exit $code
    """
    workspace.log_file.unlink(missing_ok=True)
    (workspace.directory / "bw_migrate.ini").rename(workspace.base / "bw_migrate.ini")
    run = workspace.run(wrapper=(*_MOUNTING, "sh", "-c", script), **options)
    assert list(workspace.directory.iterdir()) == []
    workspace.write_configuration()
    return run, (home / "bw_db_migrate.log").read_text()


@needs_mount
def test_disk_that_is_full_under_the_log_costs_the_rest_of_the_log_only(new_workspace):
    workspace = new_workspace(ROWS)

    # The configuration file takes one page of the disk.
    run, log = _run_on_small_disk(workspace, kibibytes=20)

    assert expectations.masked(run.console) == expectations.console(system_data=len(ROWS))
    assert run.errors == ""
    assert run.exit_code == 0
    assert len(log) == 16384
    _assert_log_begins(log, ROWS)
    assert _destination(workspace) == ROWS
    _assert_second_run_succeeds(workspace)


@needs_mount
def test_failure_behind_a_log_that_is_full_is_shown_nowhere(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.execute_destination(
        "ALTER TABLE \"SystemData\" ADD CONSTRAINT refused CHECK (\"KeyName\" <> 'key 401')"
    )

    run, log = _run_on_small_disk(workspace, kibibytes=20)

    assert run.console == PROMPTS + START
    assert run.errors == ""
    assert run.exit_code == 0
    assert len(log) == 16384
    assert "SQL Error" not in log
    assert _destination(workspace) == ROWS[:400]
    workspace.execute_destination('ALTER TABLE "SystemData" DROP CONSTRAINT refused')
    _assert_second_run_succeeds(workspace)


def test_log_on_a_full_device_stays_empty(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.log_file.symlink_to("/dev/full")

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.console(system_data=len(ROWS))
    assert run.errors == ""
    assert run.exit_code == 0
    assert _destination(workspace) == ROWS
    workspace.log_file.unlink()
    _assert_second_run_succeeds(workspace)


LIMIT_FILES = "ulimit -c 0; ulimit -f 32"  # in units of 512 bytes


def test_file_size_limit_costs_the_rest_of_the_log_only(new_workspace):
    workspace = new_workspace(ROWS)

    run = workspace.run_redirected(wrapper=("sh", "-c", f"trap '' XFSZ; {LIMIT_FILES}; exec \"$0\""))

    assert expectations.masked(run.console) == expectations.console(system_data=len(ROWS))
    assert run.errors == ""
    assert run.exit_code == 0
    log = workspace.log_file.read_text()
    assert len(log) == 16384
    _assert_log_begins(log, ROWS)
    assert _destination(workspace) == ROWS
    _assert_second_run_succeeds(workspace)


def test_file_size_limit_whose_signal_is_not_ignored_ends_the_program(new_workspace):
    workspace = new_workspace(ROWS)

    run = workspace.run_redirected(wrapper=("sh", "-c", f'{LIMIT_FILES}; exec "$0"'))

    assert run.console == PROMPTS
    assert run.errors == ""
    assert run.exit_code == -signal.SIGXFSZ
    rows = _destination(workspace)
    assert rows == ROWS[: len(rows)]
    log = workspace.log_file.read_text()
    assert len(log) == 16384
    _assert_log_begins(log, rows)
    _assert_nothing_left_behind(workspace)
    _assert_second_run_succeeds(workspace)


def test_console_on_a_full_device_costs_the_console_only(new_workspace):
    workspace = new_workspace(ROWS)

    run = workspace.run_redirected(wrapper=("sh", "-c", 'exec "$0" >/dev/full'))

    assert run.errors == ""
    assert run.exit_code == 0
    assert _log(workspace) == expectations.log([f"[KeyName] = {name}, [KeyValue] = {value};" for name, value in ROWS])
    assert _destination(workspace) == ROWS
    _assert_second_run_succeeds(workspace)


def test_console_that_nobody_reads_any_more_ends_the_program_at_its_end(new_workspace):
    workspace = new_workspace(ROWS)

    def stop_reading(process):
        holdup.wait()
        process.stdout.close()
        holdup.release()

    with Holdup(workspace) as holdup:
        run = workspace.run_redirected(meanwhile=stop_reading)

    assert run.exit_code == -signal.SIGPIPE
    assert _log(workspace) == expectations.log([f"[KeyName] = {name}, [KeyValue] = {value};" for name, value in ROWS])
    assert _destination(workspace) == ROWS
    _assert_nothing_left_behind(workspace)
    _assert_second_run_succeeds(workspace)


@needs_mount
def test_disk_that_is_full_under_postgresql():
    server_user = pwd.getpwnam("postgres").pw_uid if os.geteuid() == 0 else os.geteuid()
    with scratch.ScratchDirectory() as disk:
        # Seen by the server only, and gone with it.
        mount = f'mount -t tmpfs -o size=16k,uid={server_user} none {disk} && exec "$@"'
        with (
            lab.Lab(postgres_wrapper=(*_MOUNTING, "sh", "-c", mount, "sh")) as own_lab,
            own_lab.workspace(_fill) as workspace,
        ):
            own_lab.postgres.execute(f"CREATE TABLESPACE small LOCATION '{disk}'")
            workspace.execute_destination('ALTER TABLE "SystemData" SET TABLESPACE small')

            run = workspace.run()

            rows = len(_destination(workspace))
            assert rows > 100
            _assert_failed(
                workspace,
                run,
                rows,
                'State = 53100 Code = 1 Message = ERROR: could not extend file "<file>": No space left on device;\n'
                "Error while executing the query",
            )
            workspace.execute_destination('ALTER TABLE "SystemData" SET TABLESPACE pg_default')
            _assert_second_run_succeeds(workspace)
            workspace.execute_destination("DROP TABLESPACE small")


def test_postgresql_cannot_write_its_own_log(own_workspace):
    server_user = "postgres" if os.geteuid() == 0 else None

    def limit(_):
        # In place of a full disk, which would have to be as large as the server's log.
        limited = ["prlimit", f"--pid={holdup.wait()}", "--fsize=0"]
        subprocess.run(limited, user=server_user, group=server_user, check=True)
        holdup.release()

    with Holdup(own_workspace) as holdup:
        run = own_workspace.run(meanwhile=limit)

    # The server panics, and recovers by itself.
    scratch.wait_until(lambda: _accepts_connections(own_workspace), "the recovery")
    # The name of the file is in quotes from PostgreSQL 17 on.
    file = '"<file>"' if own_workspace.lab.postgres.major_version >= 17 else "<file>"
    _assert_failed(
        own_workspace,
        run,
        HELD_UP_AT - 1,
        f"State = 08S01 Code = 35 Message = PANIC:  could not write to log file {file} <place>: File too large\n"
        + CONNECTION_LOST,
    )
    _assert_second_run_succeeds(own_workspace)


# Another session is in the way.


@contextlib.contextmanager
def _locked(workspace, table, mode):
    connection = workspace.lab.postgres.connect(workspace.database)
    try:
        connection.autocommit = False
        with connection.cursor() as cursor:
            cursor.execute(f'LOCK TABLE "{table}" IN {mode} MODE')
        yield connection
    finally:
        connection.close()


def test_table_that_another_session_has_read_is_waited_for(new_workspace):
    workspace = new_workspace(ROWS)

    def release(_):
        process = _wait_until_blocked(workspace)
        ((statement,),) = workspace.query_destination(f"SELECT query FROM pg_stat_activity WHERE pid = {process}")
        assert statement == 'TRUNCATE public."SecMinQt" RESTART IDENTITY;'
        reader.rollback()

    # What a SELECT in an open transaction holds.
    with _locked(workspace, "SecMinQt", "ACCESS SHARE") as reader:
        run = workspace.run(meanwhile=release)

    _assert_complete(workspace, run)


def test_table_that_another_session_has_read_ends_a_run_that_is_told_not_to_wait(new_workspace):
    workspace = new_workspace(ROWS)
    _set_lock_timeout(workspace)

    with _locked(workspace, "SystemData", "ACCESS SHARE"):
        run = workspace.run()

    assert run.console == PROMPTS
    assert _log(workspace) == f"<time> :: SQL Error: {LOCK_TIMEOUT}"
    assert run.errors == ""
    assert run.exit_code == 0
    _assert_nothing_left_behind(workspace)
    _assert_second_run_succeeds(workspace)


def test_lock_of_another_session_in_the_middle_of_a_table_is_waited_for(new_workspace):
    workspace = new_workspace(ROWS, server_options=("--delay", "SystemData:5"))

    def lock_for_a_while(_):
        _wait_for_rows(workspace, 50)
        with _locked(workspace, "SystemData", "SHARE"):
            _wait_until_blocked(workspace)

    run = workspace.run(meanwhile=lock_for_a_while)

    _assert_complete(workspace, run)


def test_lock_of_another_session_in_the_middle_of_a_table_ends_a_run_that_is_told_not_to_wait(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.restart_source(server_options=("--delay", "SystemData:5"))
    _set_lock_timeout(workspace)

    def lock_until_the_end(process):
        _wait_for_rows(workspace, 50)
        with _locked(workspace, "SystemData", "SHARE"):
            scratch.wait_until(lambda: not _sessions(workspace), "the end of the run's session")

    run = workspace.run(meanwhile=lock_until_the_end)

    _assert_failed(workspace, run, len(_destination(workspace)), LOCK_TIMEOUT)
    workspace.restart_source()
    _assert_second_run_succeeds(workspace)


LOCK_TIMEOUT = (
    "State = 55P03 Code = 1 Message = ERROR: canceling statement due to lock timeout;\nError while executing the query"
)


def _set_lock_timeout(workspace) -> None:
    settings = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    settings["ConnSettings"] += "; SET lock_timeout TO '100ms'"
    workspace.write_data_sources(destination=settings)


# The destination is read-only.


def test_read_only_destination(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
    workspace.execute_destination(f"ALTER DATABASE {workspace.database} SET default_transaction_read_only = on")

    run = workspace.run()

    assert run.console == PROMPTS
    assert _log(workspace) == (
        "<time> :: SQL Error: State = 25006 Code = 1 Message = "
        "ERROR: cannot execute TRUNCATE TABLE in a read-only transaction;\n"
        "Error while executing the query"
    )
    assert run.errors == ""
    assert run.exit_code == 0
    assert _destination(workspace) == [("kept", "as it was")]
    _assert_nothing_left_behind(workspace)
    workspace.lab.postgres.execute(f"ALTER DATABASE {workspace.database} RESET default_transaction_read_only")
    _assert_second_run_succeeds(workspace)


def test_destination_that_becomes_read_only_in_the_middle_of_a_table(own_workspace):
    postgres = own_workspace.lab.postgres

    def make_read_only(_):
        holdup.wait()
        postgres.execute("ALTER SYSTEM SET default_transaction_read_only = on", "SELECT pg_reload_conf()")
        # A new session gets the setting when the running ones have been told to read it.
        scratch.wait_until(
            lambda: own_workspace.query_destination("SHOW default_transaction_read_only") == [("on",)], "the setting"
        )
        holdup.release()

    with Holdup(own_workspace) as holdup:
        run = own_workspace.run(meanwhile=make_read_only)

    # The row in progress is still written.
    _assert_failed(
        own_workspace,
        run,
        HELD_UP_AT,
        "State = 25006 Code = 1 Message = ERROR: cannot execute INSERT in a read-only transaction;\n"
        "Error while executing the query",
    )
    postgres.execute(
        "SET default_transaction_read_only = off",
        "ALTER SYSTEM RESET default_transaction_read_only",
        "SELECT pg_reload_conf()",
    )
    scratch.wait_until(
        lambda: own_workspace.query_destination("SHOW default_transaction_read_only") == [("off",)], "the setting"
    )
    _assert_second_run_succeeds(own_workspace)


# The operator or the system ends the program.


def _type_interrupt(process) -> None:
    process.sendintr()


def _send(number):
    return lambda process: os.kill(process.pid, number)


ENDS = [
    pytest.param(_type_interrupt, signal.SIGINT, id="Ctrl-C"),
    pytest.param(_send(signal.SIGTERM), signal.SIGTERM, id="SIGTERM"),
    pytest.param(_send(signal.SIGHUP), signal.SIGHUP, id="SIGHUP"),
    pytest.param(_send(signal.SIGKILL), signal.SIGKILL, id="SIGKILL"),
]


@pytest.mark.parametrize(("end", "number"), ENDS)
def test_signal_during_a_write(new_workspace, end, number):
    workspace = new_workspace(ROWS)

    def end_there(process):
        holdup.wait()
        end(process)

    with Holdup(workspace) as holdup:
        run = workspace.run(meanwhile=end_there)
        assert _destination(workspace) == ROWS[: HELD_UP_AT - 1]

    assert run.exit_code == -number
    assert run.console == PROMPTS + START
    assert run.errors == ""
    assert run.echo_after is False
    _assert_nothing_left_behind(workspace)
    # The server completes the statement that it has begun.
    assert _destination(workspace) == ROWS[:HELD_UP_AT]
    _assert_log_lags_behind(workspace, ROWS[:HELD_UP_AT])
    _assert_second_run_succeeds(workspace)


def _interrupt_while_it_waits(workspace):
    def interrupt(process):
        _wait_until_blocked(workspace)
        _type_interrupt(process)

    run = workspace.run(meanwhile=interrupt)
    assert run.exit_code == -signal.SIGINT
    assert run.console == PROMPTS


def test_session_that_waits_for_a_lock_ends_with_the_program_with_the_settings_of_the_sample(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
    sample = configparser.ConfigParser(interpolation=None)
    sample.read(pathlib.Path(__file__).parents[2] / "samples" / "odbc.ini")
    settings = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    settings["ConnSettings"] = sample["BrantwellDestination"]["ConnSettings"]
    workspace.write_data_sources(destination=settings)

    with _locked(workspace, "SystemData", "ACCESS SHARE"):
        _interrupt_while_it_waits(workspace)
        _assert_nothing_left_behind(workspace)

    assert _destination(workspace) == [("kept", "as it was")]
    _assert_second_run_succeeds(workspace)


def test_session_that_waits_for_a_lock_empties_the_table_later_without_that_setting(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")

    with _locked(workspace, "SystemData", "ACCESS SHARE"):
        _interrupt_while_it_waits(workspace)
        _wait_until_blocked(workspace)

    _assert_nothing_left_behind(workspace)
    assert _destination(workspace) == []
    _assert_second_run_succeeds(workspace)


@pytest.mark.parametrize(("end", "number"), ENDS)
def test_signal_at_any_moment(new_workspace, end, number):
    workspace = new_workspace(ROWS)
    workspace.restart_source(server_options=("--delay", "SystemData:2"))

    def end_somewhere(process):
        # The first piece of the log is written after about 100 rows.
        _wait_for_rows(workspace, 150)
        end(process)

    run = workspace.run(meanwhile=end_somewhere)

    assert run.exit_code == -number
    assert run.console == PROMPTS + START
    assert run.errors == ""
    _assert_nothing_left_behind(workspace)
    rows = _destination(workspace)
    assert rows == ROWS[: len(rows)]
    _assert_log_lags_behind(workspace, rows)
    workspace.restart_source()
    _assert_second_run_succeeds(workspace)


def test_signal_to_a_redirected_run_costs_the_console_too(new_workspace):
    workspace = new_workspace(ROWS)

    def end_there(process):
        holdup.wait()
        process.terminate()

    with Holdup(workspace) as holdup:
        run = workspace.run_redirected(meanwhile=end_there)

    assert run.exit_code == -signal.SIGTERM
    assert run.console == PROMPTS
    assert run.errors == ""
    _assert_nothing_left_behind(workspace)
    _assert_log_lags_behind(workspace, _destination(workspace))
    _assert_second_run_succeeds(workspace)


# What PostgreSQL says.


def _refuse_row(workspace, number, message) -> None:
    workspace.execute_destination(
        f"CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RAISE EXCEPTION '%', {message}; END$$",
        'CREATE TRIGGER refuse BEFORE INSERT ON "SystemData" FOR EACH ROW'
        f" WHEN (NEW.\"KeyName\" = '{ROWS[number - 1][0]}') EXECUTE FUNCTION refuse()",
    )


def test_line_ends_in_an_error_text_are_logged_as_they_come(new_workspace):
    workspace = new_workspace(ROWS)
    _refuse_row(workspace, 401, r"E'the first line\nthe second\r\n\n\tthe fourth\n'")

    run = workspace.run()

    _assert_failed(
        workspace,
        run,
        400,
        "State = P0001 Code = 1 Message = ERROR: the first line\nthe second\r\n\n\tthe fourth\n;\n"
        "Error while executing the query",
    )


@pytest.mark.parametrize("length", [502, 503, 504, 1500, 5000])
def test_long_error_text_of_the_destination_comes_in_records_of_511_bytes(new_workspace, length):
    workspace = new_workspace(ROWS)
    message = "begin " + "x" * (length - 10) + " end"
    _refuse_row(workspace, 401, f"'{message}'")

    run = workspace.run()

    # The driver keeps 4095 bytes of it.
    text = f"ERROR: {message};\nError while executing the query"[:4095]
    records = [text[start : start + 511] for start in range(0, len(text), 511)]
    _assert_failed(workspace, run, 400, "".join(f"State = P0001 Code = 1 Message = {record}" for record in records))


def test_long_error_text_of_the_source_is_cut_to_511_bytes(new_workspace):
    workspace = new_workspace(ROWS)
    workspace.write_configuration(source=(data_sources.SOURCE, lab.SOURCE_LOGIN, "x" * 1000))

    run = workspace.run()

    assert run.console == PROMPTS
    message = f"[FreeTDS][SQL Server]Invalid object name '{'x' * 1000}.SystemData'."
    assert _log(workspace) == f"<time> :: SQL Error: State = S0002 Code = 208 Message = {message[:511]}"
    assert run.exit_code == 0
