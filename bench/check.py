"""How many rows bw_db_check looks at in a second, before a run and after it, and the memory that it takes."""

import collections
import json

import arguments
import document
import measured_run

import lab
import sample_data
import scratch

_ROWS = {"GroupDesc": 200, "GroupOrders": 20_000, "Orders": 100_000, "LoadedPositions": 200_000, "StopOrders": 100_000}
_MEASURED_TABLES = ("LoadedPositions", "StopOrders", "GroupOrders", "Orders")
_COMMANDS = ("before", "after")
_PASSWORDS = f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n"

# Findings are none of its failures.
_GOOD_CODES = (0, 1)


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    rows = {name: count // 100 for name, count in _ROWS.items()} if options.quick else _ROWS
    few, many = (1_000, 10_000) if options.quick else (10_000, 1_000_000)
    with lab.Lab(options.build_directory) as started:
        text = _speed(started, rows, rounds=2 if options.quick else 5) + "\n" + _memory(started, (few, many))
    document.replace_block(options.document, "check", text)


def _speed(started, rows, rounds) -> str:
    rates = collections.defaultdict(list)
    with started.workspace(lambda path: sample_data.fill(path, scale=0, rows=rows)) as workspace:
        workspace.run_redirected(seconds=1200)
        for _ in range(rounds):
            for command in _COMMANDS:
                report, _ = _check(workspace, command)
                for table in report["tables"]:
                    seconds = max(table["milliseconds"], 1) / 1000
                    rates[table["table"], command].append(table["source_rows"] / seconds)
    lines = [
        [
            f"{table}, {rows[table]:,} rows",
            *(f"{document.median(rates[table, command]):,.0f}" for command in _COMMANDS),
            *(f"{min(rates[table, command]):,.0f} to {max(rates[table, command]):,.0f}" for command in _COMMANDS),
        ]
        for table in _MEASURED_TABLES
    ]
    header = ["rows per second", *_COMMANDS, *(f"{command}, all rounds" for command in _COMMANDS)]
    return document.table(header, lines)


def _memory(started, counts) -> str:
    """The peaks in KiB for some numbers of rows of one table, the last time with every row of it changed."""
    peaks = collections.defaultdict(list)
    for count in counts:
        rows = {"LoadedPositions": count}
        with started.workspace(lambda path, rows=rows: sample_data.fill(path, scale=0, rows=rows)) as workspace:
            workspace.run_redirected(seconds=1200)
            for command in _COMMANDS:
                peaks[command].append(_check(workspace, command)[1])
            workspace.execute_destination('UPDATE "LoadedPositions" SET "LimitKind" = 4711')
            peaks["after, with every row changed"].append(_check(workspace, "after")[1])
    header = ["peak memory, KiB, by rows of LoadedPositions", *(f"{count:,}" for count in counts)]
    return document.table(header, [[name, *(f"{peak:,}" for peak in of_name)] for name, of_name in peaks.items()])


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
