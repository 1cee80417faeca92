"""The memory of the program does not depend on the number of rows."""

import pathlib
import re
import subprocess
import time

import pytest

import lab

FEW_ROWS = 10_000
MANY_ROWS = 1_000_000

# Far below one byte for each of the additional rows.
ALLOWED_GROWTH_KIB = 512


def _run_and_measure(workspace) -> int:
    """Runs the program and returns the most memory that it had resident at any time, in KiB.

    The process's resource usage would not do: it includes the memory of the process that started it.
    """
    peak = 0
    process = subprocess.Popen(
        [workspace.lab.migrator],
        cwd=workspace.directory,
        env=workspace.environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.DEVNULL,
    )
    try:
        process.stdin.write(f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n".encode())
        process.stdin.close()
        while process.poll() is None:
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8")
            # An ended process has no such line any more.
            if found := re.search(r"^VmHWM:\s*(\d+) kB$", status, re.MULTILINE):
                peak = int(found[1])
            time.sleep(0.001)
    finally:
        process.kill()
        process.wait()
    return peak


@pytest.mark.deadline(1700)
def test_memory_does_not_grow_with_the_rows(new_workspace):
    peaks = {}
    for rows in (FEW_ROWS, MANY_ROWS):
        workspace = new_workspace(
            [("dbver", "29"), *((f"key {number}", f"value {number}") for number in range(2, rows + 1))]
        )
        peaks[rows] = _run_and_measure(workspace)
        assert workspace.query_destination('SELECT count(*) FROM "SystemData"') == [(rows,)]

    print(f"peak memory in KiB by number of rows: {peaks}")
    assert peaks[MANY_ROWS] - peaks[FEW_ROWS] < ALLOWED_GROWTH_KIB, peaks
