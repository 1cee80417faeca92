"""The program beside the bare loop, in many short rounds: what it adds to the calls that it has to make.

Two clients that differ by a few hundredths take many rounds on a machine whose speed differs by more than that from one
second to the next. What a client takes between the calls is measured besides, which differs much less.
"""

import arguments
import clients
import document
from clients import FLOOR, PROGRAM

import lab
import sample_data
import scratch

_TABLES = {
    "LoadedPositions": {"LoadedPositions": 10_000},
    "StopOrders": {"StopOrders": 6_000},
    "Orders": {"GroupDesc": 10, "GroupOrders": 100, "Orders": 3_000},
}
_PLAIN_TABLES = ("LoadedPositions", "StopOrders")


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    rounds, rounds_by_the_clock = (2, 1) if options.quick else (100, 20)
    speeds, times = [], []
    with lab.Lab(options.build_directory) as started:
        for table, rows in _TABLES.items():
            with started.workspace(lambda path, rows=rows: sample_data.fill(path, scale=0, rows=rows)) as workspace:
                speeds.append(_speed(workspace, options, table, rows[table], rounds))
                if table in _PLAIN_TABLES:
                    times.append(_times(workspace, options, table, rounds_by_the_clock))
    document.replace_block(
        options.document,
        "floor",
        document.table(
            [
                f"{rounds} rounds",
                f"{PROGRAM}, rows per second",
                f"{FLOOR}, rows per second",
                "of the medians",
                "median of the rounds",
                "of the fastest rounds",
            ],
            speeds,
        ),
    )
    document.replace_block(
        options.document,
        "between",
        document.table(
            [
                "nanoseconds of a row",
                f"in the calls, {PROGRAM}",
                f"in the calls, {FLOOR}",
                f"between them, {PROGRAM}",
                f"between them, {FLOOR}",
                f"share of {PROGRAM}",
            ],
            times,
        ),
    )


def _ways(options):
    program = clients.bare_loop(options.build_directory)
    return {
        PROGRAM: clients.run_program,
        FLOOR: lambda workspace, environment=None: clients.run_other(workspace, program, environment),
    }


def _in_turn(workspace, options, table, rounds, run) -> dict[str, list]:
    """What `run` makes of each way, which take turns at being the first of a round."""
    ways = _ways(options)
    measured = {name: [] for name in ways}
    for number in range(rounds):
        for name in sorted(ways, reverse=number % 2 == 0):
            workspace.execute_destination(f'TRUNCATE "{table}" CASCADE', "CHECKPOINT")
            measured[name].append(run(ways[name]))
    return measured


def _speed(workspace, options, table, rows, rounds) -> list[str]:
    measured = _in_turn(workspace, options, table, rounds, lambda way: way(workspace))
    milliseconds = {name: [each.milliseconds[table] for each in runs] for name, runs in measured.items()}
    medians = {name: document.median(values) for name, values in milliseconds.items()}
    pairs = zip(milliseconds[FLOOR], milliseconds[PROGRAM], strict=True)
    return [
        f"{table}, {rows:,} rows",
        *(f"{rows / medians[name] * 1000:,.0f}" for name in (PROGRAM, FLOOR)),
        f"{medians[FLOOR] / medians[PROGRAM]:.3f}",
        f"{document.median(floor / program for floor, program in pairs):.3f}",
        f"{min(milliseconds[FLOOR]) / min(milliseconds[PROGRAM]):.3f}",
    ]


def _times(workspace, options, table, rounds) -> list[str]:
    measured = _in_turn(workspace, options, table, rounds, lambda way: _clocked(workspace, options, way))
    inside, between = (
        {name: document.median(each[part] for each in runs) for name, runs in measured.items()} for part in range(2)
    )
    share = document.median(its_between / (its_inside + its_between) for its_inside, its_between in measured[PROGRAM])
    return [
        table,
        *(f"{times[name]:,.0f}" for times in (inside, between) for name in (PROGRAM, FLOOR)),
        f"{share:.1%}",
    ]


def _clocked(workspace, options, way) -> tuple[float, float]:
    """The nanoseconds of a row in SQLFetch and SQLExecute and between them."""
    written = workspace.directory / "odbc_clock"
    library = options.build_directory / "bench" / "libodbc_clock.so"
    way(workspace, {"LD_PRELOAD": str(library), "BW_ODBC_CLOCK": str(written)})
    rows, inside, between = (int(number) for number in written.read_text().split())
    return inside / rows, between / rows


if __name__ == "__main__":
    main()
