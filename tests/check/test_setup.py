"""What bw_db_check looks at before it asks for passwords, how it says why it cannot connect, and what a run meets."""

import os
import pwd
import subprocess

import pytest

import data_sources
import lab
from checker import PROGRAM, check

WHOLE = (
    "[DBSource]\ndb_connection_name=BrantwellSource\ndb_connection_login=a\ndb_schema=dbo\n"
    "[DBDestination]\ndb_connection_name=BrantwellDestination\ndb_connection_login=b\ndb_schema=public\n"
)


def _refusal(directory, environment=None) -> str:
    """What the program says, without its name, where it ends before it reads a password."""
    reading, writing = os.pipe()
    with open(reading, "rb") as unread, open(writing, "wb") as typed:
        typed.write(b"one\ntwo\n")
        typed.flush()
        run = subprocess.run(
            [PROGRAM, "before"], cwd=directory, env=environment, stdin=unread, capture_output=True, timeout=60, check=False
        )
        os.set_blocking(unread.fileno(), False)
        assert os.read(unread.fileno(), 100) == b"one\ntwo\n"
    assert run.returncode == 2
    assert run.stdout == b""
    said = run.stderr.decode()
    assert said.startswith("bw_db_check: ")
    return said.removeprefix("bw_db_check: ").removesuffix("\n")


# The configuration file.


@pytest.mark.parametrize(
    "content, refusal",
    [
        (
            b"",
            "bw_migrate.ini is empty: write both sections into it, with the keys db_connection_name, db_connection_login, "
            "db_schema",
        ),
        (
            WHOLE.encode("utf-16"),
            "bw_migrate.ini is in UTF-16, or is no text file: save it as ANSI or as UTF-8 without a byte-order mark",
        ),
        (
            WHOLE.replace("db_schema=public", "db_shema=public").encode(),
            "bw_migrate.ini: the key db_shema in [DBDestination] is not read. Rename it to db_schema",
        ),
    ],
    ids=["empty", "UTF-16", "misspelt key"],
)
def test_configuration_that_cannot_be_used(empty_directory, content, refusal):
    (empty_directory / "bw_migrate.ini").write_bytes(content)

    assert _refusal(empty_directory) == refusal


def test_configuration_that_may_not_be_read(empty_directory):
    """Run as nobody where the tests run as root, whom no mode keeps from reading."""
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    (empty_directory / "bw_migrate.ini").chmod(0)
    empty_directory.chmod(0o755)
    nobody = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
    program = empty_directory / "bw_db_check"
    program.write_bytes(PROGRAM.read_bytes())
    program.chmod(0o755)

    run = subprocess.run(
        [program, "before"], cwd=empty_directory, input=b"", capture_output=True, timeout=60, check=False, **nobody
    )

    assert run.stderr == (
        b"bw_db_check: bw_migrate.ini cannot be read: Permission denied. Give your account the right to read it\n"
    )
    assert run.returncode == 2


# The data sources.


def _environment(directory, odbc, odbcinst="") -> dict:
    (directory / "odbc.ini").write_text(odbc)
    (directory / "odbcinst.ini").write_text(odbcinst)
    return {"ODBCINI": str(directory / "odbc.ini"), "ODBCSYSINI": str(directory)}


def test_data_sources_that_are_not_defined(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    environment = _environment(empty_directory, "[Elsewhere]\nDriver=/nowhere.so\n[Other]\nDriver=/nowhere.so\n")

    where = (
        f"is not defined. The driver manager looks for data sources in {empty_directory}/odbc.ini, and finds there: "
        "Elsewhere, Other. Define it, or correct db_connection_name"
    )
    assert _refusal(empty_directory, environment).split("\n") == [
        f"the data source 'BrantwellSource' of the source {where}",
        f"the data source 'BrantwellDestination' of the destination {where}",
    ]


def test_files_of_data_sources_that_do_not_exist(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)

    said = _refusal(empty_directory, {"ODBCSYSINI": str(empty_directory / "none")})

    assert f" looks for data sources in {pwd.getpwuid(os.geteuid()).pw_dir}/.odbc.ini" in said
    assert f" and in {empty_directory}/none/odbc.ini (does not exist), and finds there: " in said


def test_drivers_that_are_not_installed(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    environment = _environment(
        empty_directory,
        "[BrantwellSource]\nDriver = Free TDS\n[BrantwellDestination]\nServername = pg\n",
        "[FreeTDS]\nDriver = libtdsodbc.so\n[PostgreSQL ANSI]\nDriver = psqlodbca.so\n",
    )

    files = f"The driver manager looks for data sources in {empty_directory}/odbc.ini"
    assert _refusal(empty_directory, environment).split("\n") == [
        "the data source 'BrantwellSource' of the source names the driver 'Free TDS', which is not installed. Installed "
        f"in {empty_directory}/odbcinst.ini: FreeTDS, PostgreSQL ANSI. Install the driver, or correct the line Driver. "
        + files,
        "the data source 'BrantwellDestination' of the destination has no line Driver. Write it; installed in "
        f"{empty_directory}/odbcinst.ini: FreeTDS, PostgreSQL ANSI. {files}",
    ]


def test_drivers_that_do_not_load(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE)
    (empty_directory / "text.so").write_text("no library")
    environment = _environment(
        empty_directory,
        f"[BrantwellSource]\nDriver = {empty_directory}/text.so\n[BrantwellDestination]\nDriver = Gone\n",
        "[Gone]\nDriver = libgone.so\n",
    )

    what_to_do = (
        "Install the driver for this computer's architecture, or correct its path. Drivers are registered in "
        f"{empty_directory}/odbcinst.ini. The driver manager looks for data sources in {empty_directory}/odbc.ini"
    )
    assert _refusal(empty_directory, environment).split("\n") == [
        f"the data source 'BrantwellSource' of the source has a driver that cannot be loaded: {empty_directory}/text.so: "
        f"file too short. {what_to_do}",
        "the data source 'BrantwellDestination' of the destination has a driver that cannot be loaded: libgone.so. "
        + what_to_do,
    ]


def test_data_source_with_a_long_name(empty_directory):
    (empty_directory / "bw_migrate.ini").write_text(WHOLE.replace("BrantwellSource", "B" * 33))
    driver = data_sources.find_driver("psqlodbca.so")
    environment = _environment(
        empty_directory, f"[{'B' * 33}]\nDriver = {driver}\n[BrantwellDestination]\nDriver = {driver}\n"
    )

    assert _refusal(empty_directory, environment) == (
        f"the data source '{'B' * 33}' of the source has a name of 33 bytes, and the driver manager takes 32 at most. "
        "Give it a shorter one"
    )


def test_names_that_a_connection_string_would_split(new_workspace):
    """They are names like any other: the program connects by name."""
    workspace = new_workspace()
    odbc_ini = workspace.base / "odbc.ini"
    odbc_ini.write_text(
        odbc_ini.read_text()
        .replace(f"[{data_sources.SOURCE}]", "[/source; PWD=x]")
        .replace(f"[{data_sources.DESTINATION}]", "[{destination}]")
    )
    workspace.write_configuration(
        source=("/source; PWD=x", lab.SOURCE_LOGIN, "dbo"), destination=("{destination}", lab.DESTINATION_LOGIN, "public")
    )

    assert check(workspace, "before").errors == ""


# Connecting.


def _cannot_connect(side, login="") -> str:
    name, usual = {
        "source": (data_sources.SOURCE, lab.SOURCE_LOGIN),
        "destination": (data_sources.DESTINATION, lab.DESTINATION_LOGIN),
    }[side]
    return f"cannot connect to the {side}, data source '{name}', login '{login or usual}'. "


def test_both_sides_refuse_the_password(new_workspace):
    errors = check(new_workspace(), "before", passwords=("wrong", "wrong")).errors

    assert errors.startswith(
        "bw_db_check: "
        + _cannot_connect("source")
        + "The server refuses the login. Check the login and the password, and that the login is enabled.\n"
        "SQL Error: State = S1000 Code = 0 Message = [unixODBC][FreeTDS][SQL Server]"
    )
    assert (
        "\n" + _cannot_connect("destination") + "There is no connection. The driver's message says why: the server, its "
        "port, the database, the encryption, the login or the password.\nSQL Error: State = 08001 Code = 101 Message = "
        "[unixODBC]connection to server at "
    ) in errors


@pytest.mark.parametrize("side", [0, 1], ids=["source", "destination"])
def test_password_with_a_carriage_return(new_workspace, side):
    passwords = [lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD]
    passwords[side] += "\r"

    errors = check(new_workspace(), "before", passwords=passwords).errors

    assert errors.count("cannot connect to the ") == 1
    assert (
        " The password ends with a carriage return, as a line of a file of Windows does: end the line with LF.\nSQL Error: "
    ) in errors


def test_password_beyond_ascii_of_the_source(new_workspace):
    workspace = new_workspace()
    workspace.restart_source("pässwörd")

    errors = check(workspace, "before", passwords=("pässwörd", lab.DESTINATION_PASSWORD)).errors

    assert errors.count("cannot connect to the ") == 1
    assert (
        " The password has characters beyond ASCII: FreeTDS takes each of its bytes for a character of ISO 8859-1, so one "
        "that is typed in UTF-8 is refused.\n"
    ) in errors


def test_servers_that_nobody_answers_for(unreachable_directory):
    run = subprocess.run(
        [PROGRAM, "before"], cwd=unreachable_directory, input=b"one\ntwo\n", capture_output=True, timeout=60, check=False
    )

    assert run.returncode == 2
    assert run.stderr.count(b"There is no connection. The driver's message says why") == 2
