"""The commands that the operators' pages show, run in bash at a terminal as they are, and what the pages say of them.

sqlcmd is not run: Debian does not have it.
"""

import contextlib
import os
import pathlib
import re
import signal
import subprocess

import pexpect
import pytest

import data_sources
import lab
import sample_data

_ROOT = pathlib.Path(__file__).resolve().parents[2]
_FENCE = re.compile(r"^( *)```sh\n(.*?)^ *```$", re.MULTILINE | re.DOTALL)

# Where commands are shown, and what runs them.
_SHOWN = {
    ("README.md", "Install"): "tests/packaging, which install the package",
    ("README.md", "The night"): "TestNight",
    ("README.md", "Try it and test it"): "scripts/try-on, on a fresh system",
    ("docs/check.md", "Before and after a run: bw_db_check"): "TestNight, since they are among those",
    ("docs/data-changes.md", "How to run the queries"): "TestSetUp",
    ("docs/data-sources.md", "Environment variables that change a run"): "TestSetUp",
    ("docs/operating.md", "After the run"): "test_operating_guide.py",
    ("docs/operating.md", "In short"): "TestNight",
    ("docs/operating.md", "Rehearsal"): "TestRehearsal",
    ("docs/operating.md", "Watch"): "test_operating_guide.py",
    ("docs/setup.md", "Build the package"): "scripts/try-on, on a fresh system",
    ("docs/setup.md", "Install"): "tests/packaging, which install the package",
    ("docs/setup.md", "Try it"): "TestSetUp",
    ("docs/setup.md", "Where the driver manager looks"): "TestSetUp",
    ("docs/windows.md", "What you get"): "scripts/try-on, on a fresh system",
}

_ADMINISTRATOR = "administrator"
_ADMINISTRATOR_PASSWORD = "all-desks-3"

_ASKED = {
    "Password for the source database: ": lab.SOURCE_PASSWORD,
    "Password for the destination database: ": lab.DESTINATION_PASSWORD,
    "Enter the password for source database: ": lab.SOURCE_PASSWORD,
    "Enter the password for destination database: ": lab.DESTINATION_PASSWORD,
}


def _section(page, title) -> list[str]:
    """The blocks of commands of a section, without what belongs to its subsections."""
    text = (_ROOT / page).read_text(encoding="utf-8")
    heading = rf"^#+ {re.escape(title)}\n(.*?)(?=^#+ [^\n]*$|\Z)"
    section = re.search(heading, _hide_comments(text), re.MULTILINE | re.DOTALL)
    assert section, title
    return [re.sub(f"^{indent}", "", block, flags=re.MULTILINE) for indent, block in _FENCE.findall(section[1])]


def _hide_comments(text) -> str:
    """A page whose commands have no line that begins like a heading."""
    return _FENCE.sub(lambda fenced: re.sub(r"^#.*\n", "", fenced[0], flags=re.MULTILINE), text)


def test_all_commands_of_the_pages_are_known():
    shown = set()
    for path in [_ROOT / "README.md", *(_ROOT / "docs").glob("*.md")]:
        page = str(path.relative_to(_ROOT))
        titles = re.findall(r"^#+ (.*)$", _hide_comments(path.read_text(encoding="utf-8")), re.MULTILINE)
        shown |= {(page, title) for title in titles if _section(page, title)}
    assert shown == set(_SHOWN)


def test_commands_of_the_check_are_among_those_of_the_night():
    (commands,) = _section("docs/check.md", "Before and after a run: bw_db_check")
    (night,) = _section("README.md", "The night")
    assert {re.sub(" *#.*", "", line) for line in commands.splitlines()} <= set(night.splitlines())


class _Bash:
    """An interactive bash in a workspace's directory, with the built programs on its path."""

    def __init__(self, workspace, shell="bash", **environment):
        programs = f"{workspace.lab.migrator.parent}:{workspace.lab.checker.parent}"
        self._workspace = workspace
        self._home = pathlib.Path(workspace.environment["HOME"])
        self._child = pexpect.spawn(
            shell,
            ["--norc", "--noprofile", "-i"] if shell == "bash" else ["-i"],
            cwd=str(workspace.directory),
            env=workspace.environment
            | {"PS1": "ready> ", "PS2": "", "TERM": "dumb", "PATH": f"{programs}:{os.environ['PATH']}"}
            | environment,
            timeout=90,
            encoding="utf-8",
            # Where the tests run in the background, Ctrl-C is ignored otherwise.
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
        )
        self._child.expect_exact("ready> ")

    def __enter__(self) -> "_Bash":
        return self

    def __exit__(self, *_) -> None:
        self._child.close(force=True)

    def run(self, commands) -> tuple[str, int]:
        """Runs a block in the shell itself and types what is asked for. What was shown, and the last exit code."""
        (self._home / "commands").write_text(commands)
        shown = ""
        self._child.sendline('. ~/commands; echo "ended=$?"')
        answers = list(_ASKED)
        while True:
            found = self._child.expect([r"ended=(\d+)\r", *map(re.escape, answers)])
            shown += self._child.before
            if found == 0:
                break
            self._child.sendline(_ASKED[answers[found - 1]])
        code = int(self._child.match[1])
        self._child.expect_exact("ready> ")
        return shown.replace("\r", ""), code

    def start(self, command, *, until) -> None:
        """Starts a command and waits for a text."""
        self._child.sendline(command)
        self._child.expect_exact(until)

    def type(self, text, *, until) -> str:
        """Types a line. What is shown until a text."""
        self._child.sendline(text)
        self._child.expect_exact(until)
        return self._child.before

    def press(self, key) -> None:
        """Presses Ctrl and a key, and waits for the prompt."""
        self._child.sendcontrol(key)
        self._child.expect_exact("ready> ")

    def end(self, signal_name) -> None:
        """Sends a signal to the program that runs, and waits for the prompt."""
        subprocess.run(["pkill", f"-{signal_name}", "--parent", str(self._child.pid)], check=True)
        self._child.expect_exact("ready> ")

    def last_exit_code(self) -> int:
        self._child.sendline('echo "code=$?"')
        self._child.expect(r"code=(\d+)\r")
        code = int(self._child.match[1])
        self._child.expect_exact("ready> ")
        return code

    def echoes(self) -> bool:
        """Whether a program that is started now finds the terminal's echo on."""
        (echo,) = re.findall(r"[\s;](-?echo)[\s;]", self.type("stty -a", until="ready> "))
        return echo == "echo"


@pytest.fixture
def filled(new_workspace):
    return new_workspace(system_data=(), fill=sample_data.fill)


@pytest.fixture
def administered(filled):
    """A workspace whose destination is named as in the samples, with a login that may do everything there."""
    postgres = filled.lab.postgres
    name = filled.database
    postgres.execute(
        f"CREATE ROLE {_ADMINISTRATOR} SUPERUSER LOGIN PASSWORD '{_ADMINISTRATOR_PASSWORD}'",
        f"ALTER DATABASE {name} RENAME TO brantwell",
    )
    password_file = pathlib.Path(filled.environment["HOME"]) / ".pgpass"
    password_file.write_text(f"*:*:*:{_ADMINISTRATOR}:{_ADMINISTRATOR_PASSWORD}\n")
    password_file.chmod(0o600)
    filled.database = "brantwell"
    filled.write_data_sources()
    try:
        yield filled
    finally:
        filled.database = name
        postgres.execute(f"ALTER DATABASE brantwell RENAME TO {name}", f"DROP ROLE {_ADMINISTRATOR}")


class TestNight:
    @pytest.mark.parametrize("page, title", [("README.md", "The night"), ("docs/operating.md", "In short")])
    def test_commands_of_the_night(self, filled, page, title):
        (commands,) = _section(page, title)
        filled.log_file.write_text("the old log\n")
        filled.log_file.chmod(0o644)

        with _Bash(filled) as bash:
            shown, code = bash.run(commands)
            assert bash.echoes()

        assert "\nComplete migrate ExportOrder table." in shown
        # The sample data has rows that arrive changed, as the report of before says.
        assert code == 0
        assert "\nComplete with changes" in shown
        (moved,) = filled.directory.glob("bw_db_migrate.log.*")
        assert moved.read_text() == "the old log\n"
        files = {path.name: path.stat().st_mode & 0o777 for path in filled.directory.iterdir()}
        assert (files["bw_db_migrate.log"], files["before.json"], files["after.json"]) == (0o600,) * 3

    def test_both_pages_show_the_same_commands(self):
        assert _section("README.md", "The night") == _section("docs/operating.md", "In short")


class TestRehearsal:
    def test_runs_into_a_copy_and_leaves_nothing(self, administered):
        names, *blocks = _section("docs/operating.md", "Rehearsal")
        assert [line.partition("=")[0] for line in names.splitlines()] == ["admin", "odbc_ini"]
        copy, run, drop = blocks
        postgres = administered.lab.postgres
        administered.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
        port = administered.lab.postgres.port
        with _Bash(administered) as bash:
            bash.run(
                f"admin='host=127.0.0.1 port={port} user={_ADMINISTRATOR}'\n"
                f"odbc_ini={administered.environment['ODBCINI']}\n"
            )
            shown, code = bash.run(copy)
            assert code == 0, shown
            shown, _ = bash.run(run)
            assert "\nComplete migrate ExportOrder table." in shown
            assert re.search(r"\nComplete with changes\. All 382 rows ", shown), shown
            # It was the copy that got the rows.
            assert administered.query_destination('SELECT * FROM "SystemData"') == [("kept", "as it was")]
            with contextlib.closing(postgres.connect("brantwell_rehearsal")) as connection:
                cursor = connection.cursor()
                cursor.execute('SELECT count(*) FROM "ExportOrder"')
                assert cursor.fetchone() == (16,)
            assert (administered.directory / "rehearsal" / "bw_db_migrate.log").stat().st_mode & 0o777 == 0o600
            shown, code = bash.run(drop)
            assert code == 0, shown

        with contextlib.closing(postgres.connect()) as connection, connection.cursor() as cursor:
            cursor.execute("SELECT 1 FROM pg_database WHERE datname = 'brantwell_rehearsal'")
            assert cursor.fetchall() == []
        assert [path.name for path in administered.directory.iterdir()] == ["bw_migrate.ini"]


    def test_ends_before_the_run_when_the_data_source_is_not_that_of_the_copy(self, administered):
        run = _section("docs/operating.md", "Rehearsal")[2]
        odbc_ini = pathlib.Path(administered.environment["ODBCINI"])
        odbc_ini.write_text(odbc_ini.read_text().replace("Database = brantwell\n", "DATABASE = brantwell\n"))
        administered.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
        with _Bash(administered) as bash:
            bash.run(f"odbc_ini={odbc_ini}\n")
            shown, code = bash.run(run)

        assert (shown.count("password"), code) == (0, 1)
        assert administered.query_destination('SELECT * FROM "SystemData"') == [("kept", "as it was")]


class TestRights:
    def test_script_of_the_destination_gives_all_that_is_needed(self, administered):
        administered.execute_destination(
            "CREATE ROLE brantwell NOLOGIN",
            *(f'ALTER TABLE "{table}" OWNER TO brantwell' for table in sample_data.TABLES),
            "REVOKE ALL ON DATABASE brantwell FROM PUBLIC",
            "REVOKE ALL ON SCHEMA public FROM PUBLIC",
            "ALTER SCHEMA public OWNER TO brantwell",
        )
        for procedure in ("BW_CreateClientGroupEx", "BW_CreateGroupOrder", "BW_CreateOrder", "BW_CreateSecGroupEx"):
            administered.execute_destination(
                f'ALTER PROCEDURE "{procedure}" OWNER TO brantwell',
                f'REVOKE ALL ON PROCEDURE "{procedure}" FROM PUBLIC',
            )
        script = (_ROOT / "samples" / "destination-rights.sql").read_text()
        script = script.replace("\\set role bw_migrator", "\\set role rights_of_the_script", 1)
        port = administered.lab.postgres.port
        subprocess.run(
            ["psql", "-X", "-q", f"host=127.0.0.1 port={port} user={_ADMINISTRATOR} dbname=brantwell"],
            input=script,
            env=administered.environment,
            text=True,
            check=True,
        )
        administered.execute_destination("ALTER ROLE rights_of_the_script PASSWORD 'day-desk-2'")
        administered.write_configuration(destination=(data_sources.DESTINATION, "rights_of_the_script", "public"))
        try:
            with contextlib.closing(
                administered.lab.postgres.connect("brantwell", "rights_of_the_script", "day-desk-2")
            ) as connection, connection.cursor() as cursor:
                cursor.execute((_ROOT / "queries" / "destination" / "missing-rights.sql").read_text())
                assert cursor.fetchall() == []

            assert administered.check("before").exit_code == 1
            assert "\nComplete migrate ExportOrder table." in administered.run().console
            assert administered.check("after").exit_code == 1
        finally:
            administered.execute_destination(
                *(f'ALTER TABLE "{table}" OWNER TO bw_migrator' for table in sample_data.TABLES),
                "REASSIGN OWNED BY brantwell TO bw_migrator",
                "DROP OWNED BY rights_of_the_script",
                "DROP ROLE rights_of_the_script",
                "DROP ROLE brantwell",
            )


class TestEnd:
    """Exit codes and the terminal's echo, as docs/messages.md has them."""

    @pytest.mark.parametrize("name, code", [("HUP", 129), ("INT", 130), ("TERM", 143), ("KILL", 137)])
    def test_after_a_signal_bash_shows_its_number_and_the_echo(self, filled, name, code):
        with _Bash(filled) as bash:
            bash.start("bw_db_migrate", until="source database: ")
            bash.end(name)
            assert bash.last_exit_code() == code
            assert bash.echoes()

    def test_after_ctrl_c_bash_shows_the_echo_and_dash_does_not(self, filled):
        for shell, echoes in (("bash", True), ("dash", False)):
            with _Bash(filled, shell) as bash:
                bash.start("bw_db_migrate", until="source database: ")
                bash.press("c")
                assert bash.echoes() == echoes, shell

    def test_after_a_run_that_ended_by_itself_the_echo_is_off(self, filled):
        with _Bash(filled) as bash:
            bash.start("bw_db_migrate", until="source database: ")
            bash.type("wrong", until="destination database: ")
            bash.type(lab.DESTINATION_PASSWORD, until="ready> ")
            assert bash.last_exit_code() == 0
            assert not bash.echoes()

    def test_password_shows_after_ctrl_z_at_the_prompt(self, filled):
        with _Bash(filled) as bash:
            bash.start("bw_db_migrate", until="source database: ")
            bash.press("z")
            bash.start("fg", until="bw_db_migrate\r\n")
            assert "typed-in-vain" in bash.type("typed-in-vain", until="destination database: ")
        with _Bash(filled) as bash:
            bash.start("bw_db_migrate", until="source database: ")
            assert "typed-in-vain" not in bash.type("typed-in-vain", until="destination database: ")


class TestEnvironment:
    """docs/data-sources.md: the variables that change a run."""

    @staticmethod
    def _run(workspace, passwords=(lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD), **variables) -> str:
        """The end of the log of a run with environment variables."""
        usual = workspace.environment
        workspace.environment = usual | variables
        try:
            workspace.run(passwords=passwords)
        finally:
            workspace.environment = usual
        return workspace.log_file.read_text().splitlines()[-1] if workspace.log_file.stat().st_size else ""

    @pytest.mark.parametrize(
        "name, value, error",
        [
            ("PGHOSTADDR", "127.0.0.9", "127.0.0.9"),
            ("TDSHOST", "127.0.0.9", "Adaptive Server is unavailable"),
            ("TDSPORT", "1", "Adaptive Server is unavailable"),
            ("TDSVER", "7.0", "Unable to connect"),
            ("PGOPTIONS", "-c default_transaction_read_only=on", "read-only transaction"),
            ("PGSERVICE", "none", 'definition of service "none" not found'),
            ("PGTARGETSESSIONATTRS", "read-only", "session is not read-only"),
            ("PGCHANNELBINDING", "require", "channel binding required"),
        ],
    )
    def test_variable_changes_the_run(self, filled, name, value, error):
        self._run(filled, **{name: value})
        assert error in filled.log_file.read_text()

    @pytest.mark.parametrize(
        "name, value",
        [
            ("PGHOST", "nowhere.invalid"),
            ("PGPORT", "1"),
            ("PGDATABASE", "none"),
            ("PGUSER", "none"),
            ("PGCLIENTENCODING", "LATIN1"),
            ("PGPASSWORD", "wrong"),
        ],
    )
    def test_variable_does_not_change_the_run(self, filled, name, value):
        assert " :: Complete migrate ExportOrder table." in self._run(filled, **{name: value})

    def test_empty_password_line_takes_the_password_of_the_environment(self, filled):
        passwords = (lab.SOURCE_PASSWORD, "")
        assert " :: Complete migrate ExportOrder table." in self._run(
            filled, passwords, PGPASSWORD=lab.DESTINATION_PASSWORD
        )
        password_file = pathlib.Path(filled.environment["HOME"]) / ".pgpass"
        password_file.write_text(f"*:*:*:*:{lab.DESTINATION_PASSWORD}\n")
        password_file.chmod(0o600)
        assert " :: Complete migrate ExportOrder table." in self._run(filled, passwords)

    def test_dump_of_freetds_is_readable_for_everyone(self, filled):
        dump = pathlib.Path(filled.environment["HOME"]) / "dump"
        usual = os.umask(0o022)
        try:
            self._run(filled, TDSDUMP=str(dump))
        finally:
            os.umask(usual)
        assert dump.stat().st_mode & 0o777 == 0o644
        # A client's code, in the column of the dump that shows characters.
        assert "DESK" in dump.read_text(encoding="latin-1")

    def test_time_zone_is_that_of_the_log(self, filled):
        east = self._run(filled, TZ="UTC-12")[:13]
        west = self._run(filled, TZ="UTC+12")[:13]
        assert east > west


class TestDataSources:
    @pytest.mark.parametrize("place", ["first", "last"])
    def test_misspelled_setting_is_ignored_and_the_others_are_applied(self, filled, place):
        settings = ["SET client_encoding TO 'UTF8'", "SET default_transaction_read_only TO on"]
        settings.insert(0 if place == "first" else 2, "SET synchronous_comit TO off")
        destination = data_sources.postgresql(filled.lab.postgres.port, filled.database)
        filled.write_data_sources(destination=destination | {"ConnSettings": "; ".join(settings)})

        filled.run()

        log = filled.log_file.read_text()
        assert "State = 25006 " in log
        assert "synchronous_comit" not in log

    @pytest.mark.parametrize("schema, complete", [("'\"Desk\"'", True), ('"Desk"', False), ("Desk", False)])
    def test_schema_with_capitals_needs_both_quotes(self, new_workspace, schema, complete):
        workspace = new_workspace()
        workspace.execute_destination(
            'CREATE SCHEMA "Desk" AUTHORIZATION bw_migrator',
            *(f'ALTER TABLE "{table}" SET SCHEMA "Desk"' for table in sample_data.TABLES),
        )
        workspace.write_configuration(destination=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, schema))

        run = workspace.run()

        assert ("\nComplete migrate ExportOrder table." in run.console) == complete
        assert complete or 'schema "desk" does not exist' in workspace.log_file.read_text()

    def test_read_only_data_source_empties_the_first_table(self, filled):
        filled.execute_destination("INSERT INTO \"SystemData\" VALUES ('lost', 'by the run')")
        destination = data_sources.postgresql(filled.lab.postgres.port, filled.database)
        filled.write_data_sources(destination=destination | {"ReadOnly": 1})

        filled.run()

        assert "State = S1000 Code = 1 Message = Connection is readonly" in filled.log_file.read_text()
        assert filled.query_destination('SELECT count(*) FROM "SystemData"') == [(0,)]

    @pytest.mark.parametrize("mode, complete", [(0o600, True), (0o400, False)], ids=["writable", "not writable"])
    def test_file_of_the_user_is_read_only_if_it_is_writable(self, filled, mode, complete):
        # A name of its own: the driver manager would find odbc.ini as the file of all users.
        file = filled.base / "own.ini"
        (filled.base / "odbc.ini").rename(file)
        file.chmod(mode)
        filled.environment["ODBCINI"] = str(file)
        wrapper = ()
        if os.geteuid() == 0:
            # Root may write everything.
            nobody = 65534
            for directory in (filled.lab.directory, filled.base):
                directory.chmod(0o755)
            for path in (filled.directory, file):
                os.chown(path, nobody, nobody)
            wrapper = ("setpriv", f"--reuid={nobody}", f"--regid={nobody}", "--clear-groups")

        run = filled.run(wrapper=wrapper)

        assert ("\nComplete migrate ExportOrder table." in run.console) == complete
        if not complete:
            assert re.search("Unknown host machine name|State = IM002", filled.log_file.read_text())


class TestSetUp:
    def test_commands_that_show_what_the_driver_manager_reads(self, filled):
        (commands,) = _section("docs/setup.md", "Where the driver manager looks")
        with _Bash(filled) as bash:
            shown, _ = bash.run(commands)
        assert filled.environment["ODBCINI"] in shown
        assert "[BrantwellSource]" in shown and "[BrantwellDestination]" in shown

    def test_commands_that_try_the_data_sources(self, filled):
        (commands,) = _section("docs/setup.md", "Try it")
        for login, password in (("bw_reader", lab.SOURCE_PASSWORD), ("bw_migrator", lab.DESTINATION_PASSWORD)):
            commands = commands.replace(f"{login} PASSWORD", f"{login} {password} </dev/null")
        with _Bash(filled) as bash:
            shown, code = bash.run(commands)
        assert shown.count("| Connected! ") == 2
        assert code == 1

    def test_command_that_shows_the_environment(self, filled):
        (commands,) = _section("docs/data-sources.md", "Environment variables that change a run")
        with _Bash(filled, PGHOSTADDR="127.0.0.9", TDSHOST="there", TDSVER="7.4", PGFOO="x") as bash:
            shown, _ = bash.run(commands)
        for line in ("PGHOSTADDR=127.0.0.9", "TDSHOST=there", f"ODBCINI={filled.environment['ODBCINI']}"):
            assert f"{line}\n" in shown

    def test_commands_that_run_a_query(self, filled):
        (commands,) = _section("docs/data-changes.md", "How to run the queries")
        lines = [line for line in commands.splitlines() if not line.startswith("sqlcmd ")]
        assert len(lines) == 2
        # tsql takes the server's name from its configuration.
        pathlib.Path(filled.environment["FREETDSCONF"]).write_text(
            f"[sqlserver.example]\nhost = 127.0.0.1\nport = {filled.source_server.port}\ntds version = 7.4\n"
        )
        port = str(filled.lab.postgres.port)
        for line, password in zip(lines, (lab.SOURCE_PASSWORD, lab.DESTINATION_PASSWORD), strict=True):
            command = line.replace("-h postgres.example", "-h 127.0.0.1")
            command = command.replace("-d brantwell ", f"-d {filled.database} ")
            if command.startswith("tsql"):
                command = command.replace(" <", f" -P {password} <")
            done = subprocess.run(
                ["bash", "-c", command],
                cwd=_ROOT,
                env=filled.environment | {"PGPASSWORD": password, "PGPORT": port},
                capture_output=True,
                text=True,
                stdin=subprocess.DEVNULL,
            )
            assert done.returncode == 0, done
            assert "rror" not in done.stdout + done.stderr
