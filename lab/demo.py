"""Migrates sample data from the sample SQL Server to a throw-away PostgreSQL, checks it before and after, and shows it."""

import argparse
import contextlib
import re
import signal
import sqlite3
import sys

import lab
import sample_data
import scratch

_LOG_LINES_SHOWN = 6
_CHECK_LINES_SHOWN = 24
_COULD_NOT_CHECK = 2


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build-directory", required=True, help="the build with the programs")
    parser.add_argument("--scale", type=int, default=1, help="the size of the sample data")
    parser.add_argument("--keep", action="store_true", help="leave the servers up until Ctrl-C")
    arguments = parser.parse_args()

    scratch.end_on_sigterm()
    _say("Starting PostgreSQL and the sample SQL Server")
    with lab.Lab(arguments.build_directory) as shared, shared.workspace(
        lambda path: sample_data.fill(path, arguments.scale)
    ) as workspace:
        _say(f"{workspace.directory / lab.CONFIGURATION_FILE}")
        print((workspace.directory / lab.CONFIGURATION_FILE).read_text(), end="")
        checked = _show_check(workspace, "before")
        _say(f"bw_db_migrate at a terminal; typed: {lab.SOURCE_PASSWORD} and {lab.DESTINATION_PASSWORD}")
        run = workspace.run(show=sys.stdout, seconds=None)
        complete = _show_log(workspace.log_file)
        _show_row_counts(workspace, re.findall(r"^Complete migrate (\w+) table\.", run.console, re.MULTILINE))
        checked = _show_check(workspace, "after") and checked
        if arguments.keep:
            _say("Both servers stay up until Ctrl-C. From another terminal:")
            _show_connections(workspace)
            with contextlib.suppress(KeyboardInterrupt):
                signal.pause()
        _say("Stopping the servers")
    if not complete:
        print("The migration did not complete: the log's last line says why.", file=sys.stderr)
        return 1
    if not checked:
        print("A check could not be done: its message says why.", file=sys.stderr)
        return 1
    return 0


def _show_check(workspace, command) -> bool:
    """Runs bw_db_check and shows the beginning and the end of its report. Returns whether it could check."""
    _say(f"bw_db_check {command}")
    run = workspace.check(command, seconds=None)
    lines = run.console.splitlines()
    if len(lines) > _CHECK_LINES_SHOWN + 2:
        hidden = len(lines) - _CHECK_LINES_SHOWN - 1
        lines[_CHECK_LINES_SHOWN:-1] = [f"... ({hidden} more lines)"]
    print("\n".join(lines))
    print(run.errors, end="", file=sys.stderr)
    return run.exit_code != _COULD_NOT_CHECK


def _say(text: str) -> None:
    print(f"\n== {text}", flush=True)


def _show_log(path) -> bool:
    """Shows the beginning and the end of the log. Returns whether the log ends as that of a complete run."""
    lines = path.read_text().splitlines()
    _say(f"bw_db_migrate.log, {len(lines)} lines")
    if len(lines) <= 2 * _LOG_LINES_SHOWN:
        print("\n".join(lines))
    else:
        print("\n".join([*lines[:_LOG_LINES_SHOWN], "...", *lines[-_LOG_LINES_SHOWN:]]))
    return " :: Complete migrate " in lines[-1]


def _show_row_counts(workspace, tables) -> None:
    _say("Rows")
    print(f"{'table':<30}{'source':>12}{'destination':>14}")
    with contextlib.closing(sqlite3.connect(workspace.source_file)) as source:
        for table in tables:
            (source_rows,) = source.execute(f"SELECT count(*) FROM [{table}]").fetchone()
            ((destination_rows,),) = workspace.query_destination(f'SELECT count(*) FROM "{table}"')
            print(f"{table:<30}{source_rows:>12}{destination_rows:>14}")


def _show_connections(workspace) -> None:
    psql = f"psql -h 127.0.0.1 -p {workspace.lab.postgres.port} -U {lab.DESTINATION_LOGIN} {workspace.database}"
    tsql = f"tsql -H 127.0.0.1 -p {workspace.source_server.port} -U {lab.SOURCE_LOGIN} -D {lab.SOURCE_DATABASE}"
    odbc = " ".join(f"{name}={workspace.environment[name]}" for name in ("ODBCINI", "ODBCSYSINI"))
    print(f"Destination:\n  PGPASSWORD={lab.DESTINATION_PASSWORD} {psql}")
    print(f"Source:\n  {tsql} -P {lab.SOURCE_PASSWORD}")
    print(f"Another run:\n  cd {workspace.directory}\n  {odbc} {workspace.lab.migrator}; stty echo", flush=True)


if __name__ == "__main__":
    sys.exit(main())
