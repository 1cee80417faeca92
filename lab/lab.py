"""The lab: sample servers, ODBC data sources and working directories to run the migrator against.

A `Lab` holds what is started once, the PostgreSQL cluster. A `Workspace` is everything that one migration needs: a
source database with its own server, an empty destination database, data sources, and a working directory with
bw_migrate.ini. Both are context managers and leave nothing behind.
"""

import contextlib
import itertools
import os
import pathlib
import sqlite3

import data_sources
import migrator
import postgres_cluster
import sample_data
import scratch
import source_server

SOURCE_LOGIN = "bw_reader"
SOURCE_PASSWORD = "night-desk-1"
DESTINATION_LOGIN = "bw_migrator"
DESTINATION_PASSWORD = "day-desk-2"

SOURCE_DATABASE = "Brantwell"
_TEMPLATE_DATABASE = "bw_template"

CONFIGURATION_FILE = "bw_migrate.ini"
LOG_FILE = "bw_db_migrate.log"

_LAB_DIRECTORY = pathlib.Path(__file__).resolve().parent
DESTINATION_SCHEMA = _LAB_DIRECTORY / "schema" / "destination.sql"

# What the program and its libraries may see of the environment besides the lab's own settings.
_INHERITED_ENVIRONMENT = ("PATH", "TZ", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")


class Lab:
    """The part that migrations can share: the programs of one build and a PostgreSQL cluster.

    `build_directory` defaults to the environment variable BW_BUILD_DIR; `postgres_wrapper` is put in front of the
    command that starts PostgreSQL. Files that are `in_memory` where possible are created and removed in half the time.
    """

    def __init__(self, build_directory=None, postgres_wrapper=(), in_memory=False):
        build = pathlib.Path(build_directory or os.environ["BW_BUILD_DIR"]).resolve()
        self.migrator = build / "app" / "bw_db_migrate"
        self.checker = build / "check" / "bw_db_check"
        self.tds_server = build / "lab" / "tds_server" / "tds_server"
        self._postgres_wrapper = postgres_wrapper
        self._scratch = scratch.ScratchDirectory(in_memory)
        self._numbers = itertools.count(1)

    def __enter__(self) -> "Lab":
        with contextlib.ExitStack() as stack:
            self.directory = stack.enter_context(self._scratch)
            self.postgres = stack.enter_context(
                postgres_cluster.PostgresCluster(self.directory / "postgres", self._postgres_wrapper)
            )
            self._create_template()
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *_) -> None:
        self._stack.close()

    def workspace(self, fill=None, server_options=()) -> "Workspace":
        """A new workspace. `fill` gets the path of the SQLite file with the empty source tables and may fill them."""
        return Workspace(self, next(self._numbers), fill, server_options)

    def _create_template(self) -> None:
        self.postgres.execute(
            f"CREATE ROLE {DESTINATION_LOGIN} LOGIN PASSWORD '{DESTINATION_PASSWORD}'",
            f"CREATE DATABASE {_TEMPLATE_DATABASE} OWNER {DESTINATION_LOGIN}",
        )
        # Created by the role itself, which therefore owns the tables.
        connection = self.postgres.connect(_TEMPLATE_DATABASE, DESTINATION_LOGIN, DESTINATION_PASSWORD)
        try:
            with connection.cursor() as cursor:
                cursor.execute(DESTINATION_SCHEMA.read_text())
        finally:
            connection.close()

    def create_destination(self, database: str) -> None:
        """Creates an empty destination database."""
        self.postgres.execute(
            f"CREATE DATABASE {database} TEMPLATE {_TEMPLATE_DATABASE} OWNER {DESTINATION_LOGIN}"
        )


class Workspace:
    """Everything one migration needs, ready to run; see `Lab.workspace`."""

    def __init__(self, lab: Lab, number: int, fill, server_options):
        self.lab = lab
        self.base = lab.directory / f"workspace-{number}"
        self.directory = self.base / "work"
        self.log_file = self.directory / LOG_FILE
        self.source_file = self.base / "source.sqlite"
        self.database = f"brantwell_{number}"
        self._fill = fill
        self._server_options = server_options

    def __enter__(self) -> "Workspace":
        home = self.base / "home"
        for directory in (self.base, self.directory, home):
            directory.mkdir()
        sample_data.create_source(self.source_file)
        if self._fill:
            self._fill(self.source_file)
        self.environment = {name: os.environ[name] for name in _INHERITED_ENVIRONMENT if name in os.environ}
        self.environment["HOME"] = str(home)
        with contextlib.ExitStack() as stack:
            self.lab.create_destination(self.database)
            stack.callback(self.lab.postgres.execute, f"DROP DATABASE {self.database} WITH (FORCE)")
            self.source_server = stack.enter_context(self._serve_source(SOURCE_PASSWORD, self._server_options))
            self._stack = stack.pop_all()
        self.write_data_sources()
        self.write_configuration()
        return self

    def __exit__(self, *_) -> None:
        self._stack.close()

    def restart_source(self, password=SOURCE_PASSWORD, server_options=()) -> None:
        """Serves the same source again, with another password or with other options, and writes odbc.ini again."""
        self.source_server.stop()
        self.source_server = self._stack.enter_context(self._serve_source(password, server_options))
        self.write_data_sources()

    def _serve_source(self, password, server_options) -> source_server.SourceServer:
        return source_server.SourceServer(
            self.lab.tds_server, self.base, self.source_file, {SOURCE_LOGIN: password}, server_options
        )

    def write_data_sources(self, source=None, destination=None) -> None:
        """Writes odbc.ini; each side's settings can be replaced."""
        self.environment |= data_sources.write(
            self.base,
            {
                data_sources.SOURCE: source or data_sources.sql_server(self.source_server.port, SOURCE_DATABASE),
                data_sources.DESTINATION: destination
                or data_sources.postgresql(self.lab.postgres.port, self.database),
            },
        )

    def write_configuration(
        self,
        source=(data_sources.SOURCE, SOURCE_LOGIN, "dbo"),
        destination=(data_sources.DESTINATION, DESTINATION_LOGIN, "public"),
    ) -> None:
        """Writes bw_migrate.ini; each side is data source name, login and schema."""
        sections = []
        for section, (name, login, schema) in (("DBSource", source), ("DBDestination", destination)):
            sections.append(
                f"[{section}]\ndb_connection_name={name}\ndb_connection_login={login}\ndb_schema={schema}\n"
            )
        (self.directory / CONFIGURATION_FILE).write_text("\n".join(sections))

    def run(self, passwords=(SOURCE_PASSWORD, DESTINATION_PASSWORD), **options) -> migrator.Run:
        """Runs the program at a pseudo-terminal; the options are those of `migrator.run_at_terminal`."""
        return migrator.run_at_terminal(self.lab.migrator, self.directory, self.environment, passwords, **options)

    def run_redirected(self, passwords=(SOURCE_PASSWORD, DESTINATION_PASSWORD), **options) -> migrator.Run:
        """Runs the program with its input and output on pipes."""
        typed = "".join(f"{password}\n" for password in passwords).encode()
        return migrator.run_redirected(self.lab.migrator, self.directory, self.environment, typed, **options)

    def check(self, *arguments, passwords=(SOURCE_PASSWORD, DESTINATION_PASSWORD), **options) -> migrator.Run:
        """Runs bw_db_check with its input and output on pipes; the options are those of `migrator.run_redirected`."""
        typed = "".join(f"{password}\n" for password in passwords).encode()
        return migrator.run_redirected(
            self.lab.checker, self.directory, self.environment, typed, arguments=arguments, **options
        )

    def execute_source(self, statement: str, rows=((),)) -> None:
        """Executes a statement on the source once per row of values, or once."""
        execute_on_file(self.source_file, statement, rows)

    def execute_destination(self, *statements: str) -> None:
        """Executes statements on the destination as the superuser."""
        self.lab.postgres.execute(*statements, database=self.database)

    def query_destination(self, query: str) -> list[tuple]:
        """The rows of a query on the destination, read as the owner of the tables."""
        connection = self.lab.postgres.connect(self.database, DESTINATION_LOGIN, DESTINATION_PASSWORD)
        try:
            with connection.cursor() as cursor:
                cursor.execute(query)
                return cursor.fetchall()
        finally:
            connection.close()


def execute_on_file(path: pathlib.Path, statement: str, rows) -> None:
    """Executes a statement on an SQLite file once per row of values, in one transaction."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.executemany(statement, rows)
