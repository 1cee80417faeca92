"""What bw_db_check takes, says and returns, apart from what it finds."""

import json
import os
import pathlib
import subprocess

import pytest

import data_sources
import lab
import migrator
import source

CHECKER = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "check" / "bw_db_check"

ALL_TABLES = (
    "SystemData GroupDesc Clients GroupOrders Orders SecGroups SecGrMemb SecMinQt ImportLog LoadedPositions "
    "RatingAgencies RatingScales LoadedSecurities LoadedSecuritiesClientPrices Restrictions PoolOrders OrdersInPool "
    "GroupStopOrders StopOrders GroupNegOrders NegOrders ExportOrder"
).split()

WRONG_SERVERS = (
    'the migrator ends with "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL".'
)


def _run(directory, *arguments, typed=b"", **options) -> migrator.Run:
    return migrator.run_redirected(CHECKER, directory, dict(os.environ), typed, arguments=arguments, **options)


def _assert_could_not_check(run, *messages) -> None:
    """Nothing is reported, and standard error says why."""
    assert run.console == ""
    assert run.errors.startswith("bw_db_check: ")
    for message in messages:
        assert message in run.errors
    assert run.exit_code == 2


def _assert_refused(workspace, run, identifier, text, partial=False) -> None:
    report = json.loads((workspace.directory / "report.json").read_text())
    (finding,) = report["general"]
    assert (finding["id"], finding["cost"]) == (identifier, "run-refused")
    assert finding["text"].startswith(text)
    assert (report["status"], report["tables"]) == ("refused", [])
    line = "Partial, refused" if partial else "Refused"
    assert report["status_line"] == line
    assert f"\n  Run refused [{identifier}]\n" in run.console
    assert run.console.endswith(f"\n{line}. The migrator will end before it empties a table.\n")
    assert run.errors == ""
    assert run.exit_code == 1


# Without servers.


def test_help(empty_directory):
    run = _run(empty_directory, "--help")

    assert "\nUsage: bw_db_check [OPTIONS] before|after\n" in run.console
    for part in ("bw_migrate.ini", "--json FILE", "--html FILE", "--accept FILE", "--tables A,B", "--version", "1 findings, 2 could"):
        assert part in run.console
    assert max(map(len, run.console.splitlines())) <= 100
    assert run.errors == ""
    assert run.exit_code == 0


def test_version(empty_directory):
    run = _run(empty_directory, "--version")

    assert run.console == "bw_db_check 1.0.0\n"
    assert run.errors == ""
    assert run.exit_code == 0


@pytest.mark.parametrize(
    "arguments, message",
    [
        ((), "the command is missing: before or after"),
        (("before", "now"), "there is no command or option 'now' here"),
        (("before", "--colour"), "there is no command or option '--colour' here"),
        (("before", "--\x1b[2J"), r"there is no command or option '--\x1B[2J' here"),
        (
            ("after", "--tables", "Client"),
            f"--tables: there is no table 'Client'; the 22 tables are {', '.join(ALL_TABLES)}",
        ),
    ],
)
def test_wrong_use(empty_directory, arguments, message):
    run = _run(empty_directory, *arguments)

    assert run.console == ""
    assert run.errors == f"bw_db_check: {message}\nbw_db_check --help lists the options.\n"
    assert run.exit_code == 2


@pytest.mark.parametrize("command", ["before", "after"])
def test_needs_the_configuration_file(empty_directory, command):
    run = _run(empty_directory, command, typed=b"one\ntwo\n")

    _assert_could_not_check(run)
    assert run.errors == "bw_db_check: there is no bw_migrate.ini in the working directory\n"


@pytest.mark.parametrize(
    "typed, message",
    [
        (b"", "standard input ends before the password of the source"),
        (b"one\n", "standard input ends before the password of the destination"),
    ],
)
def test_needs_two_lines(unreachable_directory, typed, message):
    run = _run(unreachable_directory, "before", typed=typed)

    _assert_could_not_check(run)
    assert run.errors == f"bw_db_check: {message}\n"


def test_json_file_is_tried_before_anything_is_asked(unreachable_directory):
    run = _run(unreachable_directory, "before", "--json", "missing/report.json")

    _assert_could_not_check(run)
    assert run.errors == "bw_db_check: cannot write missing/report.json: No such file or directory\n"


@pytest.mark.parametrize("redirection", [">/dev/full", ">&-"], ids=["full disk", "closed"])
def test_output_that_cannot_be_written(empty_directory, redirection):
    run = _run(empty_directory, "--help", wrapper=("sh", "-c", f'exec "$@" {redirection}', "sh"))

    _assert_could_not_check(run)
    assert run.errors == "bw_db_check: cannot write to standard output\n"


def test_output_that_nobody_reads(empty_directory):
    reading, writing = os.pipe()
    os.close(reading)

    with open(writing, "wb") as output:
        ended = subprocess.run([CHECKER, "--help"], stdout=output, stderr=subprocess.PIPE, check=False, timeout=60)

    assert ended.stderr == b"bw_db_check: cannot write to standard output\n"
    assert ended.returncode == 2


# With servers.


@pytest.mark.parametrize("command", ["before", "after"])
def test_wrong_password_of_the_source(new_workspace, command):
    run = new_workspace().check(command, passwords=("wrong", lab.DESTINATION_PASSWORD))

    _assert_could_not_check(run, "cannot connect to the source, ", "Login failed for user 'bw_reader'.")


@pytest.mark.parametrize("command", ["before", "after"])
def test_wrong_password_of_the_destination(new_workspace, command):
    run = new_workspace().check(command, passwords=(lab.SOURCE_PASSWORD, "wrong"))

    _assert_could_not_check(
        run, "cannot connect to the destination, ", 'password authentication failed for user "bw_migrator"\n'
    )


def test_swapped_sides(new_workspace):
    workspace = new_workspace()
    workspace.write_configuration(
        source=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "public"),
        destination=(data_sources.SOURCE, lab.SOURCE_LOGIN, "dbo"),
    )

    passwords = (lab.DESTINATION_PASSWORD, lab.SOURCE_PASSWORD)
    before = workspace.check("before", "--json", "report.json", passwords=passwords)
    after = workspace.check("after", passwords=passwords)

    text = f"The source is a PostgreSQL and the destination a Microsoft SQL Server: {WRONG_SERVERS}"
    _assert_refused(workspace, before, "wrong-server", text)
    _assert_could_not_check(after, f"there is no run to look at. {text}\n")


@pytest.mark.parametrize(
    "side, product",
    [
        ((data_sources.SOURCE, lab.SOURCE_LOGIN, "dbo"), "a Microsoft SQL Server"),
        ((data_sources.DESTINATION, lab.DESTINATION_LOGIN, "public"), "a PostgreSQL"),
    ],
    ids=["source", "destination"],
)
def test_twice_the_same_side(new_workspace, side, product):
    workspace = new_workspace()
    workspace.write_configuration(source=side, destination=side)
    password = lab.SOURCE_PASSWORD if side[0] == data_sources.SOURCE else lab.DESTINATION_PASSWORD

    run = workspace.check("before", "--json", "report.json", passwords=(password, password))

    _assert_refused(
        workspace, run, "wrong-server", f"The source is {product} and the destination {product}: {WRONG_SERVERS}"
    )


def test_another_product(new_workspace):
    workspace = new_workspace(server_options=("--product", "Another SQL Server"))

    run = workspace.check("before", "--json", "report.json")

    _assert_refused(
        workspace,
        run,
        "wrong-server",
        "The server of the source is neither a Microsoft SQL Server nor a PostgreSQL: the migrator ends and prints no message.",
    )


def test_another_schema_version(new_workspace):
    workspace = new_workspace([("dbver", "28")])

    run = workspace.check("before", "--tables", "Clients", "--json", "report.json")

    _assert_refused(
        workspace,
        run,
        "wrong-schema-version",
        "The source's schema version is not 29: the migrator ends with "
        '"Error: Migration is possible only for version 29 of the Brantwell database".',
        partial=True,
    )


@pytest.mark.parametrize("system_data", [[], [("dbver", "twenty-nine")]], ids=["missing", "no number"])
def test_schema_version_that_cannot_be_read(new_workspace, system_data):
    workspace = new_workspace(system_data)

    run = workspace.check("before", "--json", "report.json")

    _assert_refused(
        workspace,
        run,
        "wrong-schema-version",
        "The source's schema version cannot be read: the migrator ends, with this in its log only: SQL Error: ",
    )


def test_after_of_another_schema_version(new_workspace):
    run = new_workspace([("dbver", "28")]).check("after")

    _assert_could_not_check(run, "there is no run to look at. The source's schema version is not 29: ")


def test_clean_databases(new_workspace):
    run = new_workspace().check("before")

    lines = run.console.splitlines()
    assert lines[0] == "bw_db_check before"
    assert [line.split()[0] for line in lines if line.endswith(" s")] == ALL_TABLES
    assert lines[-2] == "" and lines[-1]
    assert run.errors == ""
    assert run.exit_code == 0


def test_finding(new_workspace):
    workspace = new_workspace()
    source.insert(workspace.source_file, "LoadedPositions", PosID=1, ClientCode="ABCDEFGHIJKLMNOP")

    run = workspace.check("before", "--json", "report.json")

    assert "\n  Text cut, ClientCode, 1 row [text-cut]\n" in run.console
    assert run.errors == ""
    assert run.exit_code == 1
    report = json.loads((workspace.directory / "report.json").read_bytes())
    assert report["findings"] == 1
    assert report["exit_code"] == 1


def test_chosen_tables(new_workspace):
    run = new_workspace().check("before", "--tables", "Orders,Clients")

    assert [line.split()[0] for line in run.console.splitlines() if line.endswith(" s")] == ["Clients", "Orders"]
    assert run.exit_code == 0


def test_json_says_the_same_as_the_text(new_workspace):
    workspace = new_workspace()

    run = workspace.check("before", "--json", "report.json")

    report = json.loads((workspace.directory / "report.json").read_bytes())
    assert report["format"] == "bw_db_check report"
    assert report["version"] == 2
    assert report["program_version"] == "1.0.0"
    assert report["command"] == "before"
    assert [table["table"] for table in report["tables"]] == ALL_TABLES
    assert report["tables"][0]["source_rows"] == 1
    assert report["general"] == []
    assert report["findings"] == 0
    assert report["status"] == "goes-through-unchanged"
    assert f"{report['status_line']}. {report['verdict']}" == run.console.splitlines()[-1]
    assert report["exit_code"] == 0
    for fact in report["facts"]:
        assert fact in run.console.replace("\n", " ")


def test_json_file_of_an_earlier_check_stays_when_this_one_fails(new_workspace):
    workspace = new_workspace()
    report = workspace.directory / "report.json"
    report.write_text("an earlier report")

    run = workspace.check("before", "--json", "report.json", passwords=("wrong", "wrong"))

    assert run.exit_code == 2
    assert report.read_text() == "an earlier report"
    assert sorted(path.name for path in workspace.directory.iterdir()) == ["bw_migrate.ini", "report.json"]


def test_report_is_written_as_json_even_if_nobody_reads_the_text(new_workspace):
    workspace = new_workspace()

    run = workspace.check("before", "--json", "report.json", wrapper=("sh", "-c", '"$@" >/dev/full', "sh"))

    assert run.errors == "bw_db_check: cannot write to standard output\n"
    assert run.exit_code == 2
    assert json.loads((workspace.directory / "report.json").read_bytes())["findings"] == 0


def test_passwords_are_shown_nowhere(new_workspace):
    workspace = new_workspace()

    run = workspace.check("before", "--json", "report.json")

    shown = run.console + run.errors + (workspace.directory / "report.json").read_text()
    assert lab.SOURCE_PASSWORD not in shown
    assert lab.DESTINATION_PASSWORD not in shown
