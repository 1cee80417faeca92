"""The program reads bw_migrate.ini as operators write it, and says nothing about one that it cannot read."""

import os

import pytest

import data_sources
import expectations
import lab
from expectations import PROMPTS, assert_text

ONE_ROW = ["[KeyName] = dbver, [KeyValue] = 29;"]
NO_DATA_SOURCE = (
    "<time> :: SQL Error: State = IM002 Code = 0 Message = "
    "[unixODBC][Driver Manager]Data source name not found and no default driver specified"
)
NAME_TOO_LONG = (
    "<time> :: SQL Error: State = S1090 Code = 0 Message = [unixODBC][Driver Manager]Invalid string or buffer length"
)

PLAIN = """\
[DBSource]
db_connection_name=BrantwellSource
db_connection_login=bw_reader
db_schema=dbo
[DBDestination]
db_connection_name=BrantwellDestination
db_connection_login=bw_migrator
db_schema=public
"""

READABLE = {
    "carriage returns": PLAIN.replace("\n", "\r\n").encode(),
    "byte-order mark": b"\xef\xbb\xbf" + PLAIN.encode(),
    "byte-order mark and carriage returns": b"\xef\xbb\xbf" + PLAIN.replace("\n", "\r\n").encode(),
    "no line end at the end": PLAIN.rstrip("\n").encode(),
    "odd case": b"""\
[dbSOURCE]
DB_CONNECTION_NAME=BrantwellSource
Db_Connection_Login=bw_reader
db_SCHEMA=dbo
[DBDESTINATION]
db_connection_NAME=BrantwellDestination
DB_connection_login=bw_migrator
dB_sChEmA=public
""",
    "quotes and blanks": b"""\

  [ DBSource ]
    db_connection_name  =  "BrantwellSource"
\tdb_connection_login\t=\t'bw_reader'
    db_schema = "dbo"
; [DBDestination]
  [DBDestination]\x20\x20
db_connection_name='BrantwellDestination'
db_connection_login = "bw_migrator"
db_connection_login = ignored
;db_schema = ignored
db_schema="public"
""",
    "repeated names": (
        "db_connection_name=before any section\n"
        + PLAIN.replace("[DBDestination]", "db_schema=again\n[DBDestination]")
        + PLAIN.replace("=", "=again")
    ).encode(),
    "other names": f"[Other]\ndb_connection_name=other\n{PLAIN}db_password=ignored\n[]\n=\n".encode(),
    "a line of 10 MiB in front": b"x" * (10 << 20) + b"\n" + PLAIN.encode(),
}


@pytest.mark.parametrize("content", READABLE.values(), ids=READABLE.keys())
def test_whole_run(new_workspace, content):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").write_bytes(content)

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=1))
    assert_text(workspace.log_file.read_text(), expectations.log(ONE_ROW))
    assert workspace.query_destination('SELECT * FROM "SystemData"') == [("dbver", "29")]
    assert run.errors == ""
    assert run.exit_code == 0
    # The file is left as it is.
    assert (workspace.directory / "bw_migrate.ini").read_bytes() == content


def _assert_no_data_source(workspace, run) -> None:
    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), NO_DATA_SOURCE)
    assert run.errors == ""
    assert run.exit_code == 0


UNREADABLE = {
    "empty": b"",
    "only a byte-order mark": b"\xef\xbb\xbf",
    "binary": bytes(range(256)) * 64,
    "zeros": bytes(4096),
    "UTF-16": PLAIN.encode("utf-16"),
    "no sections": PLAIN.replace("[", "").replace("]", "").encode(),
    "10 MiB without a line end": b"[DBSource" * (10 << 20 >> 3),
}


@pytest.mark.parametrize("content", UNREADABLE.values(), ids=UNREADABLE.keys())
def test_file_without_settings_ends_at_connecting(new_workspace, content):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").write_bytes(content)

    _assert_no_data_source(workspace, workspace.run())


def test_directory_in_place_of_the_file_ends_at_connecting(new_workspace):
    workspace = new_workspace()
    configuration = workspace.directory / "bw_migrate.ini"
    configuration.unlink()
    configuration.mkdir()
    (configuration / "bw_migrate.ini").write_text(PLAIN)

    _assert_no_data_source(workspace, workspace.run())


def test_file_that_an_ordinary_user_may_not_read_ends_at_connecting(new_workspace):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").chmod(0)
    ordinary_user = ()
    if os.geteuid() == 0:
        ordinary_user = ("setpriv", "--reuid", "nobody", "--regid", "nogroup", "--clear-groups", "--")
        workspace.directory.chmod(0o777)

    run = workspace.run(wrapper=ordinary_user)

    _assert_no_data_source(workspace, run)
    if ordinary_user:
        assert workspace.log_file.owner() == "nobody"


@pytest.mark.parametrize(
    ("length", "error"), [(1, NO_DATA_SOURCE), (32, NO_DATA_SOURCE), (33, NAME_TOO_LONG), (5000, NAME_TOO_LONG)]
)
def test_unknown_data_source(new_workspace, length, error):
    workspace = new_workspace()
    workspace.write_configuration(source=("x" * length, lab.SOURCE_LOGIN, "dbo"))

    run = workspace.run()

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), error)
    assert run.exit_code == 0


def test_login_of_5000_letters_is_the_server_s_to_refuse(new_workspace):
    workspace = new_workspace()
    workspace.write_configuration(destination=(data_sources.DESTINATION, "x" * 5000, "public"))

    run = workspace.run()

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = 08001 Code = 101 Message = [unixODBC]"
        f'connection to server at "127.0.0.1", port {workspace.lab.postgres.port} failed: '
        f'FATAL:  password authentication failed for user "{"x" * 63}"\n',
    )
    assert run.exit_code == 0


def test_schema_of_5000_letters_is_the_server_s_to_refuse(new_workspace):
    workspace = new_workspace()
    workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "x" * 5000))

    run = workspace.run()

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        f'<time> :: SQL Error: State = 3F000 Code = 1 Message = ERROR: schema "{"x" * 63}" does not exist;\n'
        "Error while executing the query",
    )
    assert run.exit_code == 0
