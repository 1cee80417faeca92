"""docs/check.md names what the program says."""

import pathlib
import re
import subprocess

import flawed_source
from checker import PROGRAM, check

_PROJECT = pathlib.Path(__file__).resolve().parents[2]
_DOCUMENT = (_PROJECT / "docs" / "check.md").read_text(encoding="utf-8")


def _section(title) -> str:
    return _DOCUMENT.split(f"\n## {title}\n")[1].split("\n## ")[0]


def _members(header) -> set[str]:
    """The names in the first column of a table with that header."""
    table = _section("The JSON file").split(f"| {header} | type | |\n")[1].split("\n\n")[0]
    return set(re.findall(r"^\| `(\w+)` \|", table, re.MULTILINE))


def test_every_finding_is_described_as_the_program_does():
    rows = re.findall(r"^\| `([\w-]+)` \|(.+)\|$", _section("The findings"), re.MULTILINE)
    cells = [(name, *(cell.strip() for cell in rest.split("|"))) for name, rest in rows]
    described = [row[:3] for row in cells]

    listed = subprocess.run([PROGRAM, "--help-findings"], capture_output=True, text=True, timeout=60, check=True).stdout
    declared = re.findall(r"^(\S+) \((\S+)\): (.+)$", listed, re.MULTILINE)

    assert declared
    assert described == declared
    # Each with an example, and with what to do.
    assert {len(row) for row in cells} == {5}
    assert all(map(all, cells))
    assert len(declared) == len({name for name, _, _ in declared}) == len(listed.splitlines())


def test_members_of_the_json_file_are_those_described(shared_lab):
    with shared_lab.workspace(flawed_source.create_clean) as workspace:
        workspace.execute_source("UPDATE LoadedPositions SET OpenBalance = NULL WHERE PosID = 2")

        report = check(workspace, "before").report

    assert set(report) == _members("member")
    sides = {"data_source", "server", "port", "database", "login", "schema", "product", "driver"}
    assert {name: set(side) for name, side in report["compared"].items()} == {"source": sides, "destination": sides}
    for table in report["tables"]:
        assert set(table) == _members("member of a table")
    (finding,) = [finding for table in report["tables"] for finding in table["findings"]]
    assert set(finding) == _members("member of a finding")
    assert set(finding["query"]) == {"side", "text"}
