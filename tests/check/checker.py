"""Runs the built bw_db_check."""

import dataclasses
import functools
import json
import os
import pathlib
import subprocess

import lab

PROGRAM = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "check" / "bw_db_check"


@dataclasses.dataclass
class Result:
    """What one run of the program left behind."""

    code: int
    text: str
    errors: str
    report: dict | None  # the JSON report, if one was written

    def findings(self) -> list[tuple]:
        """Table (None for a general one), identifier, columns, rows and keys of each finding."""
        found = [(None, each) for each in self.report["general"]]
        found += [(table["table"], each) for table in self.report["tables"] for each in table["findings"]]
        return [(table, each["id"], ", ".join(each["columns"]) or None, each["rows"], each["keys"]) for table, each in found]

    def table(self, name) -> dict:
        return next(table for table in self.report["tables"] if table["table"] == name)


@functools.cache
def declared_findings() -> frozenset[str]:
    listed = subprocess.run([PROGRAM, "--help-findings"], capture_output=True, text=True, timeout=60, check=True).stdout
    return frozenset(line.split()[0] for line in listed.splitlines())


def check(workspace, command, *arguments, passwords=(lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD)) -> Result:
    """Runs `bw_db_check command` in the workspace, with passwords from a pipe and a JSON report."""
    report = workspace.base / "report.json"
    report.unlink(missing_ok=True)
    run = subprocess.run(
        [PROGRAM, command, "--json", report, *arguments],
        cwd=workspace.directory,
        env=workspace.environment,
        input="".join(f"{password}\n" for password in passwords).encode(),
        capture_output=True,
        timeout=120,
        check=False,
    )
    written = json.loads(report.read_text()) if report.exists() else None
    result = Result(run.returncode, run.stdout.decode(errors="replace"), run.stderr.decode(errors="replace"), written)
    if written:
        assert {finding[1] for finding in result.findings()} <= declared_findings()
    return result
