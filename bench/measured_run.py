"""Runs a program and measures what it takes."""

import dataclasses
import os
import pathlib
import re
import subprocess
import threading
import time


@dataclasses.dataclass
class MeasuredRun:
    """What one run of a program took and showed."""

    output: str
    seconds: float  # from start to end by the clock
    cpu_user: float  # seconds
    cpu_system: float
    peak_kib: int  # the most memory resident at any time


def run(command, directory, environment, standard_input: str, good_codes=(0,)) -> MeasuredRun:
    """Runs a program to its end, which must be one with a good exit code."""
    start = time.monotonic()
    with subprocess.Popen(
        [str(part) for part in command],
        cwd=directory,
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
    ) as process:
        memory = _PeakMemory(process.pid)
        try:
            process.stdin.write(standard_input)
            process.stdin.close()
            output = process.stdout.read()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        except BaseException:
            process.kill()
            raise
        finally:
            memory.stop()
    if process.returncode not in good_codes:
        raise RuntimeError(f"{command[0]} ended with {process.returncode}:\n{output}")
    return MeasuredRun(output, time.monotonic() - start, usage.ru_utime, usage.ru_stime, memory.kib)


class _PeakMemory:
    """Reads a process's peak again and again, and so has it but for the last moments.

    The resource usage of an ended process would not do: it includes the memory of the process that started it.
    """

    _SECONDS = 0.05

    def __init__(self, process: int):
        self.kib = 0
        self._process = process
        self._ended = threading.Event()
        self._thread = threading.Thread(target=self._watch)
        self._thread.start()

    def stop(self) -> None:
        self._ended.set()
        self._thread.join()

    def _watch(self) -> None:
        while not self._ended.wait(self._SECONDS):
            # An ended process has none any more.
            self.kib = peak_kib(self._process) or self.kib


def peak_kib(process: int) -> int:
    """The most memory that a running process has had resident; 0 when it has ended."""
    try:
        status = pathlib.Path(f"/proc/{process}/status").read_text(encoding="utf-8")
    except OSError:
        return 0
    found = re.search(r"^VmHWM:\s*(\d+) kB$", status, re.MULTILINE)
    return int(found[1]) if found else 0


def cpu_seconds(process: int, with_children=False) -> float:
    """The CPU seconds of a running process, with those of its ended children if asked for."""
    stat = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()
    return sum(int(ticks) for ticks in stat[11 : 15 if with_children else 13]) / os.sysconf("SC_CLK_TCK")


def child_commands(process) -> dict[int, str]:
    """The command lines of a running process's children, by their numbers; "self" is this process. That of a child that
    has ended and was not waited for yet is empty."""
    commands = {}
    for task in pathlib.Path(f"/proc/{process}/task").iterdir():
        for number in (task / "children").read_text().split():
            try:
                commands[int(number)] = pathlib.Path(f"/proc/{number}/cmdline").read_text(errors="replace")
            except FileNotFoundError:
                pass  # It has been waited for since.
    return commands


def child(program: str) -> int:
    """The only child process of this one that runs `program`."""
    (found,) = (
        number
        for number in child_commands("self")
        if pathlib.Path(f"/proc/{number}/comm").read_text().strip() == program
    )
    return found
