"""Passwords reach the servers as they were typed, within the drivers' limits, and are seen nowhere else."""

import os
import pathlib
import re
import subprocess

import pytest

import data_sources
import expectations
import lab
import scratch
from expectations import PROMPTS, assert_text

ROWS = [("dbver", "29"), *((f"key {number}", f"value {number}") for number in range(2, 301))]

# Connects as the program does and wipes its own copies; see there.
BARE_CONNECTION = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "tests" / "e2e" / "bare_connection"

SOURCE_LOGIN_FAILED = (
    "<time> :: SQL Error: State = S1000 Code = 0 Message = "
    "[unixODBC][FreeTDS][SQL Server]Unable to connect to data source"
    "State = 37000 Code = 18456 Message = [unixODBC][FreeTDS][SQL Server]Login failed for user 'bw_reader'."
)
INVALID_LENGTH = (
    "<time> :: SQL Error: State = S1090 Code = 0 Message = [unixODBC][Driver Manager]Invalid string or buffer length"
)

# The longest line that a terminal takes, without the line end.
LONGEST_TYPED = 4095


def _destination_login_failed(workspace, reason) -> str:
    return (
        "<time> :: SQL Error: State = 08001 Code = 101 Message = [unixODBC]"
        f'connection to server at "127.0.0.1", port {workspace.lab.postgres.port} failed: {reason}\n'
    )


def _refused(workspace, login) -> str:
    return _destination_login_failed(workspace, f'FATAL:  password authentication failed for user "{login}"')


def _take_passwords(workspace, source, destination, server_options=()) -> str:
    """Gives both sides new passwords, and the destination a login of its own for it. Returns that login."""
    login = f"{lab.DESTINATION_LOGIN}_of_{workspace.database}"
    connection = workspace.lab.postgres.connect()
    try:
        with connection.cursor() as cursor:
            cursor.execute(f"CREATE ROLE {login} LOGIN IN ROLE {lab.DESTINATION_LOGIN} PASSWORD %s", (destination,))
    finally:
        connection.close()
    workspace.write_configuration(destination=(data_sources.DESTINATION, login, "public"))
    workspace.restart_source(source, server_options)
    return login


def _long(length) -> str:
    """A text whose end is part of what it is compared by."""
    return ("correct horse battery staple " * (length // 29 + 1))[: length - 1] + "!"


SHAPES = {
    "one letter": "x",
    "only a blank": " ",
    "blanks": "  two  words\twith blanks ",
    "quotes": "'single' \"double\" ''pair''",
    "semicolons": "a;b=c;PWD=d;UID=e;",
    "braces": "{braces}}{and {more}",
    "escapes": "back\\slash\\n %41%s $HOME `x` + # !",
    "127 letters": _long(127),
    "128 letters": _long(128),
}


@pytest.mark.parametrize("run", ["run", "run_redirected"])
@pytest.mark.parametrize("password", SHAPES.values(), ids=SHAPES.keys())
def test_password_reaches_both_servers_as_typed(new_workspace, password, run):
    workspace = new_workspace()
    _take_passwords(workspace, source=password, destination=password)

    ended = getattr(workspace, run)(passwords=(password, password))

    assert_text(ended.console, expectations.console(system_data=1))
    assert_text(workspace.log_file.read_text(), expectations.log(["[KeyName] = dbver, [KeyValue] = 29;"]))
    assert ended.errors == ""
    assert ended.exit_code == 0


@pytest.mark.parametrize(
    "typed",
    [_long(128)[:-1], _long(128)[:-1] + "?", " " + _long(128), _long(128).upper()],
    ids=["shorter", "other last letter", "blank in front", "other case"],
)
def test_source_refuses_a_password_that_is_nearly_the_same(new_workspace, typed):
    workspace = new_workspace()
    workspace.restart_source(_long(128))

    workspace.run(passwords=(typed, lab.DESTINATION_PASSWORD))

    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)


def test_source_gets_the_first_128_letters_of_a_longer_password(new_workspace):
    workspace = new_workspace()
    workspace.restart_source(_long(10_000)[:128])

    run = workspace.run_redirected(passwords=(_long(10_000), lab.DESTINATION_PASSWORD))

    assert_text(run.console, expectations.console(system_data=1))


@pytest.mark.parametrize("length", [129, 10_000])
def test_source_that_has_a_password_of_more_than_128_letters_refuses_it(new_workspace, length):
    workspace = new_workspace()
    workspace.restart_source(_long(length))

    run = workspace.run_redirected(passwords=(_long(length), lab.DESTINATION_PASSWORD))

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)
    assert run.exit_code == 0


def test_source_takes_an_empty_password(new_workspace):
    workspace = new_workspace()
    workspace.restart_source("")

    run = workspace.run(passwords=("", lab.DESTINATION_PASSWORD))

    assert_text(run.console, expectations.console(system_data=1))


def test_destination_takes_no_empty_password(new_workspace):
    workspace = new_workspace()
    # PostgreSQL stores none for it: the login has no password then.
    _take_passwords(workspace, source=lab.SOURCE_PASSWORD, destination="")

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, ""))

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(), _destination_login_failed(workspace, "fe_sendauth: no password supplied")
    )
    assert run.exit_code == 0


@pytest.mark.parametrize("length", [129, 1024, LONGEST_TYPED, 10_000, 32_767])
def test_destination_takes_long_passwords(new_workspace, length):
    workspace = new_workspace()
    login = _take_passwords(workspace, source=lab.SOURCE_PASSWORD, destination=_long(length))

    run = workspace.run_redirected(passwords=(lab.SOURCE_PASSWORD, _long(length)))

    assert_text(run.console, expectations.console(system_data=1))
    # The last letter counts.
    workspace.run_redirected(passwords=(lab.SOURCE_PASSWORD, _long(length)[:-1] + "?"))
    assert_text(workspace.log_file.read_text(), _refused(workspace, login))


@pytest.mark.parametrize("too_long", [(_long(32_768), ""), ("", _long(32_768))], ids=["source", "destination"])
def test_driver_manager_refuses_longer_passwords(new_workspace, too_long):
    workspace = new_workspace()
    workspace.restart_source(password="")

    run = workspace.run_redirected(passwords=too_long)

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), INVALID_LENGTH)
    assert run.errors == ""
    assert run.exit_code == 0


# The length is a 16-bit number for the driver manager.
@pytest.mark.parametrize(
    ("length", "used"), [(65_536 + len(lab.SOURCE_PASSWORD), lab.SOURCE_PASSWORD), (65_536, ""), (65_536 + 3, "nig")]
)
def test_length_of_a_password_of_64_kib_wraps(new_workspace, length, used):
    workspace = new_workspace()
    workspace.restart_source(used)
    longer = lab.SOURCE_PASSWORD + "?" * (length - len(lab.SOURCE_PASSWORD))

    run = workspace.run_redirected(passwords=(longer, lab.DESTINATION_PASSWORD))

    assert_text(run.console, expectations.console(system_data=1))


def test_length_of_a_password_of_64_kib_wraps_for_the_destination(new_workspace):
    workspace = new_workspace()

    run = workspace.run_redirected(passwords=(lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD + "?" * 65_536))

    assert_text(run.console, expectations.console(system_data=1))


@pytest.mark.parametrize("length", [32_768, 65_532, 65_534, 65_535])
def test_driver_manager_refuses_lengths_that_wrap_below_zero(new_workspace, length):
    workspace = new_workspace()
    workspace.restart_source(_long(length)[:128])

    workspace.run_redirected(passwords=(_long(length), lab.DESTINATION_PASSWORD))

    assert_text(workspace.log_file.read_text(), INVALID_LENGTH)


def test_one_length_wraps_to_the_mark_for_the_end_of_a_text(new_workspace):
    workspace = new_workspace()
    workspace.restart_source(_long(65_533)[:128])

    run = workspace.run_redirected(passwords=(_long(65_533), lab.DESTINATION_PASSWORD))

    assert_text(run.console, expectations.console(system_data=1))


def test_terminal_takes_a_line_of_4095_letters(new_workspace):
    workspace = new_workspace()
    _take_passwords(workspace, source=lab.SOURCE_PASSWORD, destination=_long(LONGEST_TYPED))

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, _long(LONGEST_TYPED)))

    assert_text(run.console, expectations.console(system_data=1))


def test_terminal_drops_the_letters_behind_that(new_workspace):
    workspace = new_workspace()
    _take_passwords(workspace, source=lab.SOURCE_PASSWORD, destination=_long(LONGEST_TYPED))

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, _long(LONGEST_TYPED) + "more"))

    assert_text(run.console, expectations.console(system_data=1))


@pytest.mark.parametrize("password", ["pässwörd", "пароль", "日本語", "\N{EURO SIGN}"])
def test_destination_takes_letters_beyond_ascii(new_workspace, password):
    workspace = new_workspace()
    _take_passwords(workspace, source=lab.SOURCE_PASSWORD, destination=password)

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, password))

    assert_text(run.console, expectations.console(system_data=1))


def test_source_refuses_letters_beyond_ascii_that_are_typed_as_utf_8(new_workspace):
    workspace = new_workspace()
    workspace.restart_source("pässwörd")

    run = workspace.run(passwords=("pässwörd", lab.DESTINATION_PASSWORD))

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)
    assert run.exit_code == 0


def test_source_takes_each_byte_as_a_letter_of_iso_8859_1(new_workspace):
    workspace = new_workspace()
    workspace.restart_source("pässwörd")

    run = workspace.run(passwords=("pässwörd".encode("iso-8859-1"), lab.DESTINATION_PASSWORD))

    assert_text(run.console, expectations.console(system_data=1))


# Nowhere to be seen.

SECRETS = {
    "short": ("q7#Zk!vW9$x%bnM", "m2&Lp?tR8@yH=sG"),
    "long": (f"Source-{_long(90)}-{'q7#Zk!vW9$x%' * 2}", f"Destination-{_long(2000)}-{'m2&Lp?tR8@yH=' * 40}"),
}


@pytest.mark.parametrize("run", ["run", "run_redirected"])
@pytest.mark.parametrize("passwords", SECRETS.values(), ids=SECRETS.keys())
@pytest.mark.parametrize("wrong", [None, 0, 1], ids=["right", "wrong source", "wrong destination"])
def test_passwords_are_shown_nowhere(new_workspace, passwords, wrong, run):
    workspace = new_workspace()
    _take_passwords(workspace, *passwords)
    typed = list(passwords)
    if wrong is not None:
        typed[wrong] = "?" + typed[wrong]

    ended = getattr(workspace, run)(passwords=typed)

    assert ("Complete migrate ExportOrder" in ended.console) == (wrong is None)
    shown = ended.console + ended.errors + workspace.log_file.read_text()
    for password in passwords:
        assert password not in shown
    written = {path.name for path in workspace.directory.iterdir()}
    assert written == {"bw_migrate.ini", "bw_db_migrate.log"}


@pytest.mark.parametrize("run", ["run", "run_redirected"])
@pytest.mark.parametrize("passwords", SECRETS.values(), ids=SECRETS.keys())
def test_passwords_are_neither_among_the_arguments_nor_in_the_environment(new_workspace, passwords, run):
    workspace = new_workspace(ROWS)
    _take_passwords(workspace, *passwords, server_options=("--delay", "SystemData:5"))
    seen = {}

    def look(process):
        _wait_for_rows(workspace)
        for name in ("cmdline", "environ", "comm", "stat"):
            seen[name] = pathlib.Path(f"/proc/{process.pid}/{name}").read_bytes()

    getattr(workspace, run)(passwords=passwords, meanwhile=look)

    assert seen["cmdline"] == f"{workspace.lab.migrator}\0".encode()
    assert b"ODBCINI=" in seen["environ"]
    for name, content in seen.items():
        for password in passwords:
            assert password.encode() not in content, name


@pytest.mark.parametrize("run", ["run", "run_redirected"])
@pytest.mark.parametrize("passwords", SECRETS.values(), ids=SECRETS.keys())
def test_memory_holds_no_more_copies_of_the_passwords_than_the_drivers_keep(new_workspace, passwords, run):
    workspace = new_workspace(ROWS)
    login = _take_passwords(workspace, *passwords, server_options=("--delay", "SystemData:5"))
    copies = {}

    def look(process):
        _wait_for_rows(workspace)
        copies.update(_copies_in_memory(process.pid, passwords))

    getattr(workspace, run)(passwords=passwords, meanwhile=look)

    unavoidable = _copies_of_the_drivers(workspace, login, passwords)
    # psqlODBC and libpq keep the password; what finds these copies finds others as well.
    assert unavoidable["destination"] >= 1
    assert copies["source"] <= unavoidable["source"]
    assert copies["destination"] <= unavoidable["destination"]


def _wait_for_rows(workspace) -> None:
    """Waits until the run is in the middle of its first table."""
    query = 'SELECT count(*) >= 10 FROM "SystemData"'
    scratch.wait_until(lambda: workspace.query_destination(query) == [(True,)], "the run's first rows")


def _copies_of_the_drivers(workspace, login, passwords) -> dict:
    """The copies that a program has in memory which does nothing but connect, and wipes its own."""
    sides = [data_sources.SOURCE, lab.SOURCE_LOGIN, data_sources.DESTINATION, login]
    with subprocess.Popen(
        [BARE_CONNECTION, *sides], env=workspace.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE
    ) as process:
        try:
            process.stdin.write("".join(f"{password}\n" for password in passwords).encode())
            process.stdin.flush()
            assert process.stdout.readline() == b"connected\n"
            return _copies_in_memory(process.pid, passwords)
        finally:
            process.kill()


def _copies_in_memory(process, passwords) -> dict:
    """How often each side's password stands in the memory that the process can write to."""
    copies = {"source": 0, "destination": 0}
    with open(f"/proc/{process}/mem", "rb", buffering=0) as memory:
        for line in pathlib.Path(f"/proc/{process}/maps").read_text().splitlines():
            start, end = (int(address, 16) for address in re.match(r"(\w+)-(\w+) ", line).groups())
            # The sanitizers' own bookkeeping is terabytes large and holds no texts.
            if " rw" not in line or end - start > 2**32:
                continue
            memory.seek(start)
            content = memory.read(end - start)
            for side, password in zip(copies, passwords, strict=True):
                # The beginning of a text goes first: with its release, or when it is only emptied.
                copies[side] += sum(content.count(form) for form in _forms(password[len(password) // 2 :]))
    return copies


def _forms(password) -> list[bytes]:
    """The password in the encodings that the driver manager and the drivers use, and as it travels to the source."""
    wide = password.encode("utf-16-le")
    travelling = bytes((byte << 4 & 0xF0 | byte >> 4) ^ 0xA5 for byte in wide)
    return [password.encode(), wide, password.encode("utf-32-le"), travelling]
