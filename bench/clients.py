"""The clients that are measured beside each other, each run once on a workspace."""

import dataclasses
import re

import measured_run

import data_sources
import lab

PROGRAM = "bw_db_migrate"
FLOOR = "bare loop"

_PASSWORDS = f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n"


@dataclasses.dataclass
class Measurement:
    """What one way took in one round; CPU in seconds."""

    milliseconds: dict[str, int]  # by table
    cpu_user: float
    cpu_system: float
    peak_kib: int
    destination_cpu: float = 0.0
    source_cpu: float = 0.0

    @property
    def cpu(self) -> float:
        return self.cpu_user + self.cpu_system

    @property
    def seconds(self) -> float:
        return sum(self.milliseconds.values()) / 1000


def bare_loop(build_directory):
    """The program that makes the calls and nothing else."""
    return build_directory / "bench" / "bare_loop"


def run_program(workspace, environment=None) -> Measurement:
    """The migrator; the environment is what is added to the workspace's own."""
    run = measured_run.run(
        [workspace.lab.migrator], workspace.directory, workspace.environment | (environment or {}), _PASSWORDS
    )
    times = re.findall(r"^Complete migrate (\w+) table\..* time is (\d+) milliseconds$", run.output, re.MULTILINE)
    return Measurement({name: int(milliseconds) for name, milliseconds in times}, run.cpu_user, run.cpu_system, run.peak_kib)


def run_other(workspace, program, environment=None) -> Measurement:
    """A program with the arguments and the output of the bare loop."""
    command = [program, data_sources.SOURCE, lab.SOURCE_LOGIN, data_sources.DESTINATION, lab.DESTINATION_LOGIN]
    run = measured_run.run(command, workspace.directory, workspace.environment | (environment or {}), _PASSWORDS)
    times = [line.split() for line in run.output.splitlines()]
    return Measurement(
        {name: int(milliseconds) for name, _, milliseconds in times}, run.cpu_user, run.cpu_system, run.peak_kib
    )
