"""The program for Windows does what the program for Linux does, on the same data sources."""

import datetime
import re
import subprocess

import pytest

import data_sources
import expectations
import lab
import migrator
import sample_data
import source
import wine
from expectations import MIGRATED_TABLES, PROMPTS, assert_text

SYSTEM_DATA = 'SELECT "KeyName", "KeyValue" FROM "SystemData"'
KEPT_ROWS = [("kept", "as it was")]

NO_CONFIGURATION = "Error: Configuration file does not exist\n"
NO_LOG = "Warning: Can't open log file\n"
NO_DATA_SOURCE = (
    "<time> :: SQL Error: State = IM002 Code = 0 Message = "
    "[unixODBC][Driver Manager]Data source name not found and no default driver specified"
)


def _with_linux_line_ends(text: str) -> str:
    """`text`, each of whose line ends must be that of Windows, with those of Linux."""
    assert re.search(r"(?<!\r)\n|\r(?!\n)", text) is None, repr(text)
    return text.replace("\r\n", "\n")


def _log(workspace) -> str:
    return _with_linux_line_ends(workspace.log_file.read_bytes().decode())


@pytest.fixture
def run(windows):
    """Runs the program in a workspace and checks what all runs share; the console has the line ends of Linux."""

    def run_in(workspace, passwords=(lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD), line_end="\n") -> migrator.Run:
        typed = "".join(f"{password}{line_end}" for password in passwords)
        result = windows.run_program(workspace, typed.encode())
        assert result.errors == ""
        assert result.exit_code == 0
        result.console = _with_linux_line_ends(result.console)
        return result

    return run_in


def _destination(workspace) -> dict:
    """Every row and value of the 22 tables, in the order in which the rows were written."""
    content = {}
    for table in MIGRATED_TABLES:
        names = ", ".join(f'"{name}"' for name in source.columns(workspace.source_file, table))
        content[table] = workspace.query_destination(f'SELECT {names} FROM "{table}" ORDER BY ctid')
    return content


@pytest.mark.parametrize("program", [wine.PROGRAM, wine.CHECKER])
def test_needs_no_library_but_those_of_windows(program):
    headers = subprocess.run(
        ["x86_64-w64-mingw32-objdump", "--private-headers", wine.built(program)],
        check=True,
        capture_output=True,
        text=True,
    ).stdout

    libraries = {name.lower() for name in re.findall(r"^\s*DLL Name: (.*)$", headers, re.MULTILINE)}
    assert libraries == {"advapi32.dll", "kernel32.dll", "msvcrt.dll", "odbc32.dll"}
    assert {"HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"} <= set(headers.split())


@pytest.mark.parametrize("scale", [1, 10])
def test_migrates_all_tables_like_the_program_for_linux(new_workspace, run, scale):
    on_linux = new_workspace(lambda path: sample_data.fill(path, scale))
    on_windows = new_workspace(lambda path: sample_data.fill(path, scale))
    linux = on_linux.run_redirected()

    windows = run(on_windows)

    assert expectations.masked(windows.console) == expectations.masked(linux.console)
    assert expectations.masked(_log(on_windows)) == expectations.masked(on_linux.log_file.read_bytes().decode())
    content = _destination(on_windows)
    assert {table: len(rows) for table, rows in content.items()} == sample_data.row_counts(scale)
    assert content == _destination(on_linux)


def test_check_says_what_the_one_for_linux_says(new_workspace, windows):
    workspace = new_workspace(sample_data.fill)
    passwords = f"{lab.SOURCE_PASSWORD}\r\n{lab.DESTINATION_PASSWORD}\r\n".encode()

    def compare(command):
        linux = workspace.check(command)
        checked = windows.run_program(workspace, passwords, wine.CHECKER, (command,))
        assert _without_times(_with_linux_line_ends(checked.console)) == _without_times(linux.console)
        assert checked.exit_code == linux.exit_code == 1

    compare("before")
    workspace.run_redirected()
    compare("after")


def _without_times(report) -> str:
    report = re.sub(r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d [+-]\d{4}", "<now>", report)
    return re.sub(r"\d+\.\d{3} s$", "<time>", report, flags=re.MULTILINE)


def test_second_run_replaces_the_rows_and_the_log_of_the_first(new_workspace, run):
    workspace = new_workspace(sample_data.fill)
    run(workspace)
    content = _destination(workspace)
    log = expectations.masked(_log(workspace))

    run(workspace)

    assert _destination(workspace) == content
    assert expectations.masked(_log(workspace)) == log


def test_time_stamps_are_local_time(new_workspace, run):
    workspace = new_workspace()
    workspace.environment["TZ"] = "XYZ-05:45"
    zone = datetime.timezone(datetime.timedelta(hours=5, minutes=45))

    before = datetime.datetime.now(zone).replace(microsecond=0, tzinfo=None)
    run(workspace)
    after = datetime.datetime.now(zone).replace(tzinfo=None)

    stamps = re.findall(r"^(.{19}) :: ", _log(workspace), re.MULTILINE)
    times = [datetime.datetime.strptime(stamp, "%Y-%m-%d %H:%M:%S") for stamp in stamps]
    assert len(times) == 2 * len(MIGRATED_TABLES) + 1
    assert before <= times[0]
    assert times[-1] <= after


def test_typed_lines_may_end_as_those_of_windows(new_workspace, run):
    result = run(new_workspace(), line_end="\r\n")

    assert_text(result.console, expectations.console(system_data=1))


def test_configuration_may_have_the_line_ends_of_windows(new_workspace, run):
    workspace = new_workspace()
    configuration = workspace.directory / lab.CONFIGURATION_FILE
    configuration.write_bytes(configuration.read_bytes().replace(b"\n", b"\r\n"))

    result = run(workspace)

    assert_text(result.console, expectations.console(system_data=1))


def test_works_in_a_directory_of_another_language(new_workspace, run):
    workspace = new_workspace()
    workspace.directory = workspace.directory.rename(workspace.base / "Zürich")
    workspace.log_file = workspace.directory / lab.LOG_FILE

    result = run(workspace)

    assert_text(result.console, expectations.console(system_data=1))
    assert_text(_log(workspace), expectations.log(["[KeyName] = dbver, [KeyValue] = 29;"]))


def test_console_does_not_show_what_is_typed(new_workspace, windows):
    console = windows.run_program_at_console(new_workspace(), "typed")

    assert console == "Enter the password for source database: Enter the password for destination database: "


def test_without_configuration_file_only_says_so(new_workspace, run):
    workspace = new_workspace()
    (workspace.directory / lab.CONFIGURATION_FILE).unlink()

    result = run(workspace)

    assert result.console == NO_CONFIGURATION
    assert list(workspace.directory.iterdir()) == []


def test_without_configuration_file_keeps_the_log_of_an_earlier_run(new_workspace, run):
    workspace = new_workspace()
    (workspace.directory / lab.CONFIGURATION_FILE).unlink()
    workspace.log_file.write_text("an earlier run")

    assert run(workspace).console == NO_CONFIGURATION
    assert workspace.log_file.read_text() == "an earlier run"


def test_link_to_nowhere_counts_as_no_configuration_file(new_workspace, run):
    workspace = new_workspace()
    configuration = workspace.directory / lab.CONFIGURATION_FILE
    configuration.unlink()
    configuration.symlink_to("nowhere.ini")

    assert run(workspace).console == NO_CONFIGURATION
    assert not workspace.log_file.exists()


def test_configuration_file_that_cannot_be_looked_up_ends_without_a_word(new_workspace, run):
    workspace = new_workspace()
    configuration = workspace.directory / lab.CONFIGURATION_FILE
    configuration.unlink()
    configuration.symlink_to(lab.CONFIGURATION_FILE)

    assert run(workspace).console == ""
    assert not workspace.log_file.exists()


def test_directory_in_place_of_the_configuration_file_is_one_without_settings(new_workspace, run):
    workspace = new_workspace()
    configuration = workspace.directory / lab.CONFIGURATION_FILE
    configuration.unlink()
    configuration.mkdir()

    assert run(workspace).console == PROMPTS
    assert_text(_log(workspace), NO_DATA_SOURCE)


def test_log_that_cannot_be_written_costs_the_log_only(new_workspace, run):
    workspace = new_workspace()
    workspace.log_file.mkdir()

    result = run(workspace)

    assert_text(result.console, NO_LOG + expectations.console(system_data=1))
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29")]


def _set_version(workspace) -> None:
    workspace.execute_source("UPDATE SystemData SET KeyValue = '28' WHERE KeyName = 'dbver'")


def _swap_sides(workspace) -> None:
    workspace.write_configuration(
        source=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "public"),
        destination=(data_sources.SOURCE, lab.SOURCE_LOGIN, "dbo"),
    )


def _drop_version_table(workspace) -> None:
    workspace.execute_source("DROP TABLE SystemData")


def _keep_source(workspace) -> None:
    del workspace


_RIGHT = (lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD)

# What is done beforehand, the passwords typed, and the beginnings of what console and log then say besides the prompts.
REFUSALS = {
    "another version": (
        _set_version,
        _RIGHT,
        "Error: Migration is possible only for version 29 of the Brantwell database\n",
        "<time> :: Error: Migration is possible only for version 29 of the Brantwell database",
    ),
    "swapped sides": (
        _swap_sides,
        (lab.DESTINATION_PASSWORD, lab.SOURCE_PASSWORD),
        "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL\n",
        "<time> :: Error: Migration is only possible from Microsoft SQL Server to PostgreSQL",
    ),
    "no table of the version": (
        _drop_version_table,
        _RIGHT,
        "",
        "<time> :: SQL Error: State = S0002 Code = 208 Message = "
        "[FreeTDS][SQL Server]Invalid object name 'dbo.SystemData'.",
    ),
    "wrong password of the source": (
        _keep_source,
        ("wrong", lab.DESTINATION_PASSWORD),
        "",
        "<time> :: SQL Error: State = S1000 Code = 0 Message = ",
    ),
    "wrong password of the destination": (
        _keep_source,
        (lab.SOURCE_PASSWORD, "wrong"),
        "",
        "<time> :: SQL Error: State = 08001 Code = 101 Message = ",
    ),
}


@pytest.mark.parametrize("case", REFUSALS)
def test_is_refused_like_on_linux(new_workspace, run, case):
    prepare, passwords, console, log = REFUSALS[case]
    workspace = new_workspace()
    workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
    prepare(workspace)
    linux = workspace.run_redirected(passwords)
    log_of_linux = expectations.masked(workspace.log_file.read_text())

    result = run(workspace, passwords)

    assert result.console == PROMPTS + console == linux.console
    masked = expectations.masked(_log(workspace))
    assert masked.startswith(log)
    assert masked == log_of_linux
    assert workspace.query_destination(SYSTEM_DATA) == KEPT_ROWS


def test_failing_row_ends_the_run_like_on_linux(new_workspace, run):
    workspace = new_workspace(sample_data.fill)
    workspace.execute_destination('ALTER TABLE "Clients" ADD CHECK ("Num" <> 4)')
    linux = workspace.run_redirected()
    log_of_linux = expectations.masked(workspace.log_file.read_text())

    result = run(workspace)

    assert expectations.masked(result.console) == expectations.masked(linux.console)
    assert result.console.endswith("Start migrate Clients table\n")
    assert expectations.masked(_log(workspace)) == log_of_linux
