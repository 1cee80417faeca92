"""docs/check.md names what the program says."""

import pathlib
import re

import flawed_source
from checker import check

_PROJECT = pathlib.Path(__file__).resolve().parents[2]
_DOCUMENT = (_PROJECT / "docs" / "check.md").read_text(encoding="utf-8")


def _section(title) -> str:
    return _DOCUMENT.split(f"\n## {title}\n")[1].split("\n## ")[0]


def _members(header) -> set[str]:
    """The names in the first column of a table with that header."""
    table = _section("The JSON file").split(f"| {header} | type | |\n")[1].split("\n\n")[0]
    return set(re.findall(r"^\| `(\w+)` \|", table, re.MULTILINE))


def test_every_finding_is_described_and_no_other():
    described = set()
    for row in re.findall(r"^\| (`.*?`) \|", _section("The findings"), re.MULTILINE):
        described |= set(re.findall(r"`([\w-]+)`", row))

    named = set()
    for path in (_PROJECT / "check").rglob("*.cpp"):
        if path.name != "json_report.cpp":
            named |= set(re.findall(r'"([a-z]+(?:-[a-z]+)+|orphans|numbering)"', path.read_text(encoding="utf-8")))
    assert described == named


def test_members_of_the_json_file_are_those_described(shared_lab):
    with shared_lab.workspace(flawed_source.create_clean) as workspace:
        workspace.execute_source("UPDATE LoadedPositions SET OpenBalance = NULL WHERE PosID = 2")

        report = check(workspace, "before").report

    assert set(report) == _members("member")
    for table in report["tables"]:
        assert set(table) == _members("member of a table")
    (finding,) = [finding for table in report["tables"] for finding in table["findings"]]
    assert set(finding) == _members("member of a finding")
    assert set(finding["query"]) == {"side", "text"}
