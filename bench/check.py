"""How many rows bw_db_check looks at in a second, before a run and after it, and the memory that it takes."""

import collections
import contextlib
import io
import json
import sqlite3

import arguments
import document
import measured_run

import lab
import sample_data
import scratch

_ROWS = {"GroupDesc": 200, "GroupOrders": 20_000, "Orders": 100_000, "LoadedPositions": 200_000, "StopOrders": 100_000}
_COMMANDS = ("before", "after")
_ALL_CHANGED = "after, with every row changed"

# The measured tables, and a column that is changed in every row.
_CHANGED = {"LoadedPositions": "LimitKind", "StopOrders": "Qty", "GroupOrders": "Price", "Orders": "Qty"}
_PASSWORDS = f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n"

# Findings are none of its failures.
_GOOD_CODES = (0, 1)


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    rows = {name: count // 100 for name, count in _ROWS.items()} if options.quick else _ROWS
    few, many = (1_000, 10_000) if options.quick else (10_000, 5_000_000)
    with lab.Lab(options.build_directory) as started:
        text = _speed(started, rows, rounds=2 if options.quick else 5) + "\n" + _memory(started, (few, many))
    document.replace_block(options.document, "check", text)


def _speed(started, rows, rounds) -> str:
    rates = collections.defaultdict(list)
    with started.workspace(lambda path: sample_data.fill(path, scale=0, rows=rows)) as workspace:
        workspace.run_redirected(seconds=1200)
        for _ in range(rounds):
            for command in _COMMANDS:
                _measure(workspace, command, command, rates)
        for table, column in _CHANGED.items():
            workspace.execute_destination(f'UPDATE "{table}" SET "{column}" = 4711')
        for _ in range(rounds):
            _measure(workspace, "after", _ALL_CHANGED, rates)
    columns = (*_COMMANDS, _ALL_CHANGED)
    lines = [
        [
            f"{table}, {rows[table]:,} rows",
            *(f"{document.median(rates[table, column]):,.0f}" for column in columns),
            *(f"{min(rates[table, column]):,.0f} to {max(rates[table, column]):,.0f}" for column in columns),
        ]
        for table in _CHANGED
    ]
    return document.table(["rows per second", *columns, *(f"{column}, all rounds" for column in columns)], lines)


def _measure(workspace, command, column, rates) -> None:
    report, _ = _check(workspace, command)
    for table in report["tables"]:
        rates[table["table"], column].append(table["source_rows"] / (max(table["milliseconds"], 1) / 1000))


def _memory(started, counts) -> str:
    """The peaks in KiB for some numbers of rows of one table, the last time with every row of it changed."""
    peaks = collections.defaultdict(list)
    for count in counts:
        rows = {"LoadedPositions": count}
        with started.workspace(lambda path, rows=rows: sample_data.fill(path, scale=0, rows=rows)) as workspace:
            _migrate(workspace, "LoadedPositions")
            for command in _COMMANDS:
                peaks[command].append(_check(workspace, command)[1])
            workspace.execute_destination('UPDATE "LoadedPositions" SET "LimitKind" = 4711')
            peaks[_ALL_CHANGED].append(_check(workspace, "after")[1])
    header = ["peak memory, KiB, by rows of LoadedPositions", *(f"{count:,}" for count in counts)]
    return document.table(header, [[name, *(f"{peak:,}" for peak in of_name)] for name, of_name in peaks.items()])


def _migrate(workspace, table) -> None:
    """Brings one table's rows to the destination, as a run does but faster."""
    limits = workspace.query_destination(
        "SELECT column_name, character_maximum_length FROM information_schema.columns"
        f" WHERE table_name = '{table}' ORDER BY ordinal_position"
    )
    columns = ", ".join(f"substr([{name}], 1, {limit})" if limit else f"[{name}]" for name, limit in limits)
    with contextlib.closing(sqlite3.connect(workspace.source_file)) as connection:
        cursor = connection.execute(f"SELECT {columns} FROM [{table}]")
        destination = workspace.lab.postgres.connect(workspace.database)
        with contextlib.closing(destination), destination.cursor() as copy:
            while rows := cursor.fetchmany(100_000):
                text = "".join("\t".join(map(str, row)) + "\n" for row in rows)
                copy.copy_expert(f'COPY "{table}" FROM STDIN', io.StringIO(text))


def _check(workspace, command) -> tuple[dict, int]:
    """The report and the peak memory of one run."""
    report = workspace.base / "report.json"
    run = measured_run.run(
        [workspace.lab.checker, command, "--json", report],
        workspace.directory,
        workspace.environment,
        _PASSWORDS,
        good_codes=_GOOD_CODES,
    )
    return json.loads(report.read_text(encoding="utf-8")), run.peak_kib


if __name__ == "__main__":
    main()
