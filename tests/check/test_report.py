"""What a decision is based on: the status, what was compared, and findings that are accepted."""

import json
import os
import re
import subprocess

import pytest

import data_sources
import flawed_source
import lab
import sample_data
from checker import check


@pytest.fixture
def workspace(shared_lab):
    with shared_lab.workspace(flawed_source.create_clean) as started:
        yield started


def _status(result) -> str:
    """The status, which the last line begins with."""
    assert result.text.splitlines()[-1].startswith(result.report["status_line"] + ". ")
    return result.report["status"]


def _cut_a_text(workspace, rows=1) -> None:
    workspace.execute_source(
        f"UPDATE LoadedPositions SET ClientCode = 'ABCDEFGHIJKLMNOP' WHERE PosID <= {rows}"
    )


# The status.


def test_run_that_goes_through_unchanged(workspace):
    result = check(workspace, "before")

    assert _status(result) == "goes-through-unchanged"
    assert result.report["status_line"] == "Goes through unchanged"
    assert result.report["foreseen"]
    assert result.code == 0


def test_run_that_goes_through_with_changes(workspace):
    _cut_a_text(workspace)

    result = check(workspace, "before")

    assert _status(result) == "goes-through-with-changes"
    assert result.code == 1


def test_run_that_ends(workspace):
    workspace.execute_source("UPDATE Orders SET GroupOrderID = 77 WHERE rowid = 2")

    result = check(workspace, "before")

    assert _status(result) == "ends-in-table"
    assert result.report["status_line"] == "Ends in Orders"


def test_run_that_cannot_be_foreseen(workspace):
    workspace.execute_destination(
        'CREATE FUNCTION nothing() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NEW; END $$',
        'CREATE TRIGGER t BEFORE INSERT ON "Clients" FOR EACH ROW EXECUTE FUNCTION nothing()',
    )

    result = check(workspace, "before")

    assert not result.report["foreseen"]
    assert result.report["status_line"].endswith(", as far as can be foreseen")
    _status(result)


def test_run_that_did_not_happen(workspace):
    assert _status(check(workspace, "after")) == "incomplete"


def test_run_that_was_changed_afterwards(workspace):
    workspace.run_redirected()
    workspace.execute_destination('UPDATE "LoadedPositions" SET "ClientCode" = \'other\'')

    assert _status(check(workspace, "after")) == "different"


def test_run_that_is_complete(workspace):
    workspace.run_redirected()

    assert _status(check(workspace, "after")) in ("complete", "complete-with-changes")


def test_chosen_tables_make_a_partial_report(workspace):
    whole = check(workspace, "before")
    partial = check(workspace, "before", "--tables", "Clients")

    assert not whole.report["partial"]
    assert "Partial" not in whole.text
    assert partial.report["partial"]
    assert partial.report["status"] == "partial-unchanged"
    assert partial.report["verdict"] == "Of 3 rows of these tables, 3 will arrive unchanged, 0 changed, 0 not at all."
    assert partial.text.splitlines()[-1] == "Partial, unchanged. " + partial.report["verdict"]
    assert "go through" not in partial.text
    assert "Partial report: only the tables below were looked at. It promises nothing about the whole run.\n" in partial.text


# What was compared.


def test_identity(workspace):
    result = check(workspace, "before", "--tables=Clients")

    source, destination = result.report["compared"]["source"], result.report["compared"]["destination"]
    assert (source["data_source"], source["login"]) == (data_sources.SOURCE, lab.SOURCE_LOGIN)
    assert (destination["data_source"], destination["login"]) == (data_sources.DESTINATION, lab.DESTINATION_LOGIN)
    assert (destination["port"], destination["database"]) == (str(workspace.lab.postgres.port), workspace.database)
    assert (source["schema"], destination["schema"]) == ("dbo", "public")
    assert source["product"].startswith("Microsoft SQL Server ")
    assert destination["product"].startswith("PostgreSQL ")
    assert result.report["options"][0] == "--json"
    assert result.report["options"][-1] == "--tables=Clients"
    for word in (result.report["time"], result.report["host"], f"database '{workspace.database}'"):
        assert word in " ".join(result.text.split())


# Accepting.


@pytest.fixture
def accepted(workspace):
    """The path of a report that has one finding, of one row."""
    _cut_a_text(workspace)
    result = check(workspace, "before")
    assert result.report["findings"] == 1
    path = workspace.directory / "before.json"
    path.write_text(json.dumps(result.report))
    return path


def test_what_was_accepted_does_not_count(workspace, accepted):
    result = check(workspace, "before", "--accept", accepted)

    assert result.code == 0
    assert result.report["exit_code"] == 0
    assert result.report["findings"] == 1
    (finding,) = result.table("LoadedPositions")["findings"]
    assert finding["accepted"]
    assert "[text-cut], accepted\n" in result.text


def test_run_that_did_what_was_accepted(workspace, accepted):
    workspace.run_redirected()

    assert check(workspace, "after", "--accept", accepted).code == 0


def _accept_what_was_foreseen(workspace):
    """Checks before a run, runs, and checks after it with what was found before accepted."""
    before = check(workspace, "before")
    path = workspace.directory / "before.json"
    path.write_text(json.dumps(before.report))
    workspace.run_redirected()
    return before, path, check(workspace, "after", "--accept", path)


def _new(result) -> list[tuple]:
    """Table and identifier of the findings that are not accepted."""
    found = [(None, each) for each in result.report["general"]]
    found += [(table["table"], each) for table in result.report["tables"] for each in table["findings"]]
    return [(table, each["id"]) for table, each in found if not each["accepted"]]


def test_run_that_did_what_was_foreseen_and_one_that_was_changed_since(shared_lab):
    with shared_lab.workspace(sample_data.fill) as workspace:
        before, path, after = _accept_what_was_foreseen(workspace)
        workspace.execute_destination('UPDATE "Clients" SET "Weight" = 7 WHERE "ClientCode" IN (SELECT min("ClientCode") FROM "Clients")')
        changed = check(workspace, "after", "--accept", path)

    assert before.code == 1
    assert len({identifier for _, identifier, *_ in before.findings()}) >= 4
    assert (after.code, _new(after), after.report["status"]) == (0, [], "complete-with-changes")
    assert after.report["findings"] == before.report["findings"]
    assert (changed.code, _new(changed), changed.report["status"]) == (1, [("Clients", "rows-different")], "different")


@pytest.mark.parametrize("seed", [3, 4, 10])
def test_run_that_did_what_was_foreseen_of_a_flawed_source(shared_lab, seed):
    with shared_lab.workspace(lambda path: flawed_source.create(path, seed, 5)) as workspace:
        before, _, after = _accept_what_was_foreseen(workspace)

    assert before.report["status"] == "goes-through-with-changes"
    assert (after.code, _new(after)) == (0, [])


def test_rows_that_the_run_deletes_are_accepted_too(workspace, accepted):
    workspace.run_redirected()

    first = check(workspace, "before", "--accept", accepted)
    second = workspace.directory / "second.json"
    second.write_text(json.dumps(first.report))

    assert (first.code, _new(first)) == (1, [(None, "destination-not-empty"), (None, "log-overwritten")])
    assert check(workspace, "before", "--accept", second).code == 0
    workspace.execute_destination("""INSERT INTO "SecMinQt" VALUES ('B', 'B', 1)""")
    assert check(workspace, "before", "--accept", second).code == 1


def test_more_rows_than_accepted_count(workspace, accepted):
    _cut_a_text(workspace, 2)

    assert check(workspace, "before", "--accept", accepted).code == 1


def test_other_findings_count(workspace, accepted):
    workspace.execute_source("UPDATE LoadedPositions SET FirmID = NULL WHERE PosID = 3")

    result = check(workspace, "before", "--accept", accepted)

    assert result.code == 1
    assert [finding["accepted"] for finding in result.table("LoadedPositions")["findings"]].count(True) == 1


def test_report_of_another_database_is_refused(workspace, accepted):
    report = json.loads(accepted.read_text())
    report["compared"]["destination"]["database"] = "another"
    accepted.write_text(json.dumps(report))

    result = check(workspace, "before", "--accept", accepted)

    assert (result.code, result.report, result.text) == (2, None, "")
    assert "its destination is schema 'public' of database 'another'" in result.errors


def test_what_cannot_be_accepted_is_refused_before_anything_is_asked(workspace):
    path = workspace.directory / "before.json"
    path.write_text("{}")

    result = check(workspace, "before", "--accept", path, passwords=())

    assert result.code == 2
    assert result.errors.endswith("it is not a report of this version of bw_db_check\n")


# What reaches a terminal.

_HOSTILE = "a\x1b]0;x\x07b\x9bc\u202e\u2066d\n'; DROP--"


def _assert_harmless(text) -> None:
    for character in text.replace("\n", ""):
        assert character.isprintable() or character == "\t", repr(character)


@pytest.mark.parametrize("command", ["before", "after"])
def test_nothing_of_a_database_reaches_a_terminal_as_it_is(workspace, command):
    workspace.run_redirected()
    workspace.execute_source("UPDATE Clients SET ClientCode = ? WHERE rowid = 1", [(_HOSTILE[:12],)])
    workspace.execute_source("UPDATE LoadedPositions SET ClientCode = ? WHERE PosID = 1", [(_HOSTILE + 10 * "x",)])
    quoted = _HOSTILE.replace("'", "''")
    workspace.execute_destination(
        f"""ALTER TABLE "LoadedPositions" ADD CONSTRAINT "{_HOSTILE}" CHECK ("PosID" <> 2) NOT VALID""",
        f"""ALTER TABLE "SecGroups" ADD "{_HOSTILE}" text DEFAULT '{quoted}'""",
    )

    result = check(workspace, command, "--html", "page.html")

    assert result.code == 1
    _assert_harmless(result.text)
    _assert_harmless(result.errors)


# In psql this would create a file, if it got out of its literal.
_COMMAND = "a\n\\! touch h\n'\\"


def _rows_in_psql(workspace, query, conforming) -> int:
    """How many rows the query gives that is typed into psql."""
    environment = {
        **os.environ,
        "PGPASSWORD": lab.DESTINATION_PASSWORD,
        "PGOPTIONS": f"-c standard_conforming_strings={conforming} -c escape_string_warning=off",
    }
    server = ("--host=127.0.0.1", f"--port={workspace.lab.postgres.port}", f"--username={lab.DESTINATION_LOGIN}")
    run = subprocess.run(
        ["psql", "--no-psqlrc", "--tuples-only", "--no-align", "--record-separator-zero", *server, workspace.database],
        input=query + "\n",
        cwd=workspace.directory,
        env=environment,
        capture_output=True,
        text=True,
        timeout=60,
        check=True,
    )
    assert run.stderr == ""
    return run.stdout.count("\0")


def _printed_query(text, identifier) -> str:
    """The query that the text report shows for a finding."""
    finding = text.split(f" [{identifier}]\n")[1]
    return re.match(r"(?:      .*\n)+", finding.split("    SQL on the destination:\n")[1])[0]


@pytest.mark.parametrize("conforming", ["on", "off"])
def test_queries_are_safe_to_paste(workspace, conforming):
    workspace.run_redirected()
    workspace.execute_destination(
        f"""INSERT INTO "Clients" SELECT $q${_COMMAND}$q$, "GroupID", "Num", "Weight", "Comment" FROM "Clients" LIMIT 1"""
    )

    result = check(workspace, "after")

    (finding,) = [each for each in result.table("Clients")["findings"] if each["id"] == "rows-unexpected"]
    query = finding["query"]["text"]
    assert not re.search(r"[\\\x00-\x09\x0b-\x1f]", query)
    assert _rows_in_psql(workspace, query, conforming) == 1
    assert _rows_in_psql(workspace, _printed_query(result.text, "rows-unexpected"), conforming) == 1
    assert not (workspace.directory / "h").exists()


def test_pages_are_for_their_owner_only(workspace):
    check(workspace, "before", "--html", "page.html")

    page = workspace.directory / "page.html"
    assert page.stat().st_mode & 0o777 == 0o600
    assert page.read_text(encoding="ascii").startswith("<!DOCTYPE html>")
