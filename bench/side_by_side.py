"""The program beside other ways to copy the same rows, in turn and against the same servers."""

import collections
import contextlib
import pathlib
import time

import arguments
import clients
import document
import measured_run
from clients import FLOOR, PROGRAM, Measurement

import lab
import sample_data
import scratch

SET_BASED = "tds_fdw"
SCRIPT = "Perl script"

_ROWS = {"GroupDesc": 200, "GroupOrders": 20_000, "Orders": 100_000, "LoadedPositions": 200_000, "StopOrders": 100_000}
_MEASURED_TABLES = ("LoadedPositions", "StopOrders", "GroupOrders", "Orders")
_PLAIN_TABLES = ("LoadedPositions", "StopOrders")


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    rows = {name: count // 100 for name, count in _ROWS.items()} if options.quick else _ROWS
    few, many = (1_000, 10_000) if options.quick else (10_000, 1_000_000)
    with lab.Lab(options.build_directory) as started:
        with started.workspace(lambda path: sample_data.fill(path, scale=0, rows=rows)) as workspace:
            measurements = _measure_in_turn(workspace, options, rows, rounds=2 if options.quick else 3)
        peaks = [_peak_kib(started, count) for count in (few, many)]
    document.replace_block(options.document, "speed", _speed(measurements, rows))
    document.replace_block(options.document, "cost", _cost(measurements))
    document.replace_block(options.document, "share", _share(measurements[PROGRAM]))
    document.replace_block(
        options.document,
        "memory",
        document.table(["rows of LoadedPositions", f"{few:,}", f"{many:,}"], [["peak memory, KiB", *peaks]]),
    )


def _measure_in_turn(workspace, options, rows, rounds) -> dict[str, list[Measurement]]:
    script = pathlib.Path(__file__).resolve().with_name("plain_script.pl")
    _create_foreign_tables(workspace)
    ways = {
        PROGRAM: lambda: clients.run_program(workspace),
        FLOOR: lambda: clients.run_other(workspace, clients.bare_loop(options.build_directory)),
        SET_BASED: lambda: _copy_sets(workspace),
        SCRIPT: lambda: clients.run_other(workspace, script),
    }
    measurements = collections.defaultdict(list)
    for _ in range(rounds):
        for name, way in ways.items():
            workspace.execute_destination(*(f'TRUNCATE "{table}" CASCADE' for table in rows), "CHECKPOINT")
            measurements[name].append(_with_servers(workspace, way))
            for table in _PLAIN_TABLES if name == SET_BASED else rows:
                assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(rows[table],)], (name, table)
    return measurements


def _with_servers(workspace, way) -> Measurement:
    """Measures one way and what the servers take for it."""
    postgres = measured_run.child("postgres")
    tds_server = measured_run.child("tds_server")
    _wait_for_the_end_of_sessions(workspace, postgres)
    destination_before = measured_run.cpu_seconds(postgres, with_children=True)
    source_before = measured_run.cpu_seconds(tds_server)
    measurement = way()
    # What a session took is known when the server has waited for its process.
    _wait_for_the_end_of_sessions(workspace, postgres)
    measurement.destination_cpu = measured_run.cpu_seconds(postgres, with_children=True) - destination_before
    measurement.source_cpu = measured_run.cpu_seconds(tds_server) - source_before
    return measurement


def _wait_for_the_end_of_sessions(workspace, postgres) -> None:
    def none_is_left() -> bool:
        commands = measured_run.child_commands(postgres).values()
        return all(command and workspace.database not in command for command in commands)

    scratch.wait_until(none_is_left, "the end of all sessions")


def _create_foreign_tables(workspace) -> None:
    statements = [
        "CREATE EXTENSION tds_fdw",
        "CREATE SERVER source FOREIGN DATA WRAPPER tds_fdw OPTIONS (servername '127.0.0.1',"
        f" port '{workspace.source_server.port}', database '{lab.SOURCE_DATABASE}', tds_version '7.4')",
        "CREATE USER MAPPING FOR CURRENT_USER SERVER source"
        f" OPTIONS (username '{lab.SOURCE_LOGIN}', password '{lab.SOURCE_PASSWORD}')",
        "CREATE SCHEMA source",
    ]
    for table in _PLAIN_TABLES:
        columns = _columns(workspace, table)
        # Without a width: the source's texts may be longer than the destination's.
        types = ", ".join(
            f'"{name}" {"text" if kind == "character varying" else kind}' for name, kind, _ in columns
        )
        names = ", ".join(f"[{name}]" for name, _, _ in columns)
        statements.append(
            f'CREATE FOREIGN TABLE source."{table}" ({types}) SERVER source'
            # Without the estimate, which would read the table once more.
            f" OPTIONS (query 'SELECT {names} FROM [dbo].[{table}]', use_remote_estimate '0')"
        )
    workspace.execute_destination(*statements)


def _copy_sets(workspace) -> Measurement:
    milliseconds = {}
    with contextlib.closing(workspace.lab.postgres.connect(workspace.database)) as connection:
        with connection.cursor() as cursor:
            for table in _PLAIN_TABLES:
                values = ", ".join(
                    f'left("{name}", {width})' if width else f'"{name}"'
                    for name, _, width in _columns(workspace, table)
                )
                start = time.monotonic()
                cursor.execute(f'INSERT INTO public."{table}" SELECT {values} FROM source."{table}"')
                milliseconds[table] = round((time.monotonic() - start) * 1000)
        peak_kib = measured_run.peak_kib(connection.info.backend_pid)
    # The destination itself does all of it.
    return Measurement(milliseconds, 0.0, 0.0, peak_kib)


def _columns(workspace, table) -> list[tuple]:
    """Name, type and width of each column of a destination table."""
    return workspace.query_destination(
        "SELECT column_name, data_type, character_maximum_length FROM information_schema.columns"
        f" WHERE table_schema = 'public' AND table_name = '{table}' ORDER BY ordinal_position"
    )


def _peak_kib(started, rows: int) -> int:
    with started.workspace(lambda path: sample_data.fill(path, scale=0, rows={"LoadedPositions": rows})) as workspace:
        measurement = clients.run_program(workspace)
        assert workspace.query_destination('SELECT count(*) FROM "LoadedPositions"') == [(rows,)]
        return measurement.peak_kib


def _speed(measurements, rows) -> str:
    lines = []
    for table in _MEASURED_TABLES:
        rates = {
            way: [rows[table] / each.milliseconds[table] * 1000 for each in rounds]
            for way, rounds in measurements.items()
            if table in rounds[0].milliseconds
        }
        lines.append(
            [
                f"{table}, {rows[table]:,} rows",
                *(
                    f"{document.median(rates[way]):,.0f}" if way in rates else ""
                    for way in (PROGRAM, FLOOR, SET_BASED, SCRIPT)
                ),
                _ratio(rates, PROGRAM, FLOOR, 2),
                _ratio(rates, PROGRAM, SCRIPT, 2),
                _ratio(rates, SET_BASED, PROGRAM, 0),
            ]
        )
    header = [
        "rows per second",
        *(PROGRAM, FLOOR, SET_BASED, SCRIPT),
        f"{PROGRAM} : {FLOOR}",
        f"{PROGRAM} : {SCRIPT}",
        f"{SET_BASED} : {PROGRAM}",
    ]
    return document.table(header, lines)


def _ratio(rates, one, other, digits) -> str:
    """The median of all rounds' ratios: what is measured in the same round is measured on an alike busy machine."""
    if one not in rates or other not in rates:
        return ""
    return f"{document.median(a / b for a, b in zip(rates[one], rates[other], strict=True)):.{digits}f}"


def _cost(measurements) -> str:
    lines = []
    script_cpu = document.median(each.cpu for each in measurements[SCRIPT])
    for way, rounds in measurements.items():
        cpu = document.median(each.cpu for each in rounds)
        lines.append(
            [
                way,
                " ".join(f"{each.seconds:.1f}" for each in rounds),
                *(("", "") if way == SET_BASED else (f"{cpu:.1f}", f"{cpu / script_cpu:.2f}")),
                f"{document.median(each.destination_cpu for each in rounds):.1f}",
                f"{document.median(each.source_cpu for each in rounds):.1f}",
                f"{document.median(each.peak_kib for each in rounds):,.0f}",
            ]
        )
    header = [
        "all tables",
        "seconds, each round",
        "CPU seconds, own",
        f"of those of the {SCRIPT}",
        "CPU seconds, PostgreSQL",
        "CPU seconds, source server",
        "peak memory, KiB",
    ]
    return document.table(header, lines)


def _share(rounds) -> str:
    """Where the program's time goes. The source server sends ahead of the client, in time that the others do not use."""
    seconds = document.median(each.seconds for each in rounds)
    user = document.median(each.cpu_user for each in rounds)
    system = document.median(each.cpu_system for each in rounds)
    postgres = document.median(each.destination_cpu for each in rounds)
    parts = {
        "client: the program and its libraries": user,
        "network and log: the client's calls into the kernel": system,
        "PostgreSQL, with its side of the network": postgres,
        "the change from the one to the other": seconds - user - system - postgres,
        "meanwhile: the source server": document.median(each.source_cpu for each in rounds),
    }
    lines = [[name, f"{value:.1f}", f"{value / seconds:.0%}"] for name, value in parts.items()]
    return document.table(["", "seconds", f"of the {seconds:.1f} seconds of the run"], lines)


if __name__ == "__main__":
    main()
