"""Where the client's own instructions go for a row: to the program, the driver manager, the drivers, the C library."""

import collections
import pathlib
import re
import tempfile

import arguments
import document
import measured_run

import lab
import sample_data
import scratch

_PASSWORDS = f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n"

_TABLES = {"LoadedPositions": {}, "StopOrders": {}, "Orders": {"GroupDesc": 2, "GroupOrders": 4}}

# What is named in a file's path, and what it belongs to.
_PARTS = {
    "bw_db_migrate": "the program",
    "libstdc++": "the program's C++ library",
    "libodbc.so": "the driver manager",
    "libtdsodbc": "the source's driver, FreeTDS",
    "psqlodbca": "the destination's driver, psqlODBC",
    "libpq": "the destination's client library, libpq",
}
_OTHER = "the C library, for all of these"


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    few, many = (50, 150) if options.quick else (500, 2500)
    per_row = {}
    with lab.Lab(options.build_directory) as started:
        for table, others in _TABLES.items():
            # What happens once in a run is the same in both.
            first, second = (_count(started, {**others, table: rows}) for rows in (few, many))
            per_row[table] = {part: (second[part] - first[part]) / (many - few) for part in second}
    totals = {table: sum(parts.values()) for table, parts in per_row.items()}
    lines = [
        [part, *(f"{per_row[table].get(part, 0):,.0f} ({per_row[table].get(part, 0) / totals[table]:.0%})" for table in per_row)]
        for part in (*_PARTS.values(), _OTHER)
    ]
    lines.append(["together", *(f"{total:,.0f}" for total in totals.values())])
    document.replace_block(
        options.document, "client", document.table(["instructions for a row of", *per_row], lines)
    )


def _count(started, rows) -> collections.Counter:
    """The instructions of one run by what they belong to."""
    with started.workspace(
        lambda path: sample_data.fill(path, scale=0, rows=rows)
    ) as workspace, tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory) / "out"
        measured_run.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={out}", started.migrator],
            workspace.directory,
            workspace.environment,
            _PASSWORDS,
        )
        return _by_part(out.read_text().splitlines())


def _by_part(lines) -> collections.Counter:
    """Sums what callgrind counted within the functions of each file, without what they called."""
    counts = collections.Counter()
    names = {}
    part = _OTHER
    called = False
    for line in lines:
        if found := re.fullmatch(r"ob=\((\d+)\)(?: (.*))?", line):
            names.setdefault(found[1], found[2])
            part = next((value for key, value in _PARTS.items() if key in names[found[1]]), _OTHER)
        elif found := re.fullmatch(r"cob=\((\d+)\) (.*)", line):
            names.setdefault(found[1], found[2])
        elif line.startswith("calls="):
            called = True
        elif found := re.fullmatch(r"[+\-*\d]\d* (\d+)", line):
            if not called:
                counts[part] += int(found[1])
            called = False
    return counts


if __name__ == "__main__":
    main()
