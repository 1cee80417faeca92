"""A throw-away PostgreSQL cluster with password logins, on a free loopback port and a Unix socket."""

import contextlib
import os
import pathlib
import pwd
import re
import secrets
import signal
import socket
import subprocess

import psycopg2

import scratch

_OLDEST_VERSION = 14
# Debian's packages install each major version below its number.
_VERSIONS = pathlib.Path("/usr/lib/postgresql")
# The server refuses to run as root; this user comes with its package.
_SERVER_USER = "postgres"
_SUPERUSER = "postgres"

# The data is worth nothing after the run, so nothing waits for the disk.
_SETTINGS = {
    "listen_addresses": "127.0.0.1",
    "fsync": "off",
    "full_page_writes": "off",
    "wal_level": "minimal",
    "max_wal_senders": "0",
    "shared_buffers": "64MB",
    "log_line_prefix": "%m [%p] %u@%d ",
}

_START_ATTEMPTS = 20


def find_binaries() -> pathlib.Path:
    """The directory of the server's programs: what pg_config shows, else that of the newest version installed."""
    directories = sorted(_VERSIONS.glob("[0-9]*/bin"), key=lambda path: float(path.parent.name), reverse=True)
    with contextlib.suppress(FileNotFoundError):
        shown = subprocess.run(["pg_config", "--bindir"], check=True, stdout=subprocess.PIPE, text=True).stdout
        directories.insert(0, pathlib.Path(shown.strip()))
    # pg_config may belong to the client's library alone, without a server in its directory.
    for directory in directories:
        if (directory / "initdb").exists():
            return directory
    raise RuntimeError(f"no PostgreSQL server is installed, neither where pg_config shows nor below {_VERSIONS}")


def major_version(binaries: pathlib.Path) -> int:
    """The major version of the server in this directory, as the server's program reports it."""
    reported = subprocess.run([binaries / "postgres", "--version"], check=True, stdout=subprocess.PIPE, text=True).stdout
    version = int(re.search(r"[0-9]+", reported)[0])
    if version < _OLDEST_VERSION:
        raise RuntimeError(f"PostgreSQL {_OLDEST_VERSION} or newer is needed; in {binaries} is {version}")
    return version


class PostgresCluster:
    """Runs in `directory`, which must not exist yet and whose path must be short enough for a Unix socket.

    `wrapper` is put in front of the server's command, before the server's user is taken on. Use as a context manager.
    Leaving it shuts the server down; the directory is its owner's to remove.
    """

    def __init__(self, directory: pathlib.Path, wrapper=()):
        self.directory = directory
        self._wrapper = wrapper
        self._binaries = find_binaries()
        self.major_version = major_version(self._binaries)
        self.socket_directory = directory / "socket"
        self.log_file = directory / "postgres.log"
        self.port = 0
        self._superuser_password = secrets.token_hex(16)
        self._server = None

    def __enter__(self) -> "PostgresCluster":
        self._initialise()
        try:
            self.start()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_) -> None:
        self.stop()

    def stop(self) -> None:
        """Shuts the server down without waiting for its clients; does nothing when it has ended."""
        if self._server is not None and self._server.poll() is None:
            scratch.end_server(self._server, signal.SIGINT)

    def kill(self) -> None:
        """Kills every process of the server at once. `start` makes it recover."""
        processes = [self._server.pid, *_children(self._server.pid)]
        for process in processes:
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)
        self._server.wait()
        # A server does not start while a process of the one before is left.
        for process in processes:
            scratch.wait_until(lambda process=process: not pathlib.Path(f"/proc/{process}").exists(), "the end")

    def connect(self, database="postgres", user=_SUPERUSER, password=None):
        """A psycopg2 connection in autocommit mode, as the superuser unless told otherwise.

        Its statements fail when they wait for a lock for long: nothing could interrupt them.
        """
        connection = psycopg2.connect(
            host="127.0.0.1",
            port=self.port,
            dbname=database,
            user=user,
            password=password or self._superuser_password,
            options="-c lock_timeout=60s",
        )
        connection.autocommit = True
        return connection

    def execute(self, *statements: str, database="postgres") -> None:
        """Executes statements as the superuser, each by itself."""
        connection = self.connect(database)
        try:
            with connection.cursor() as cursor:
                for statement in statements:
                    cursor.execute(statement)
        finally:
            connection.close()

    def _initialise(self) -> None:
        self.directory.mkdir(mode=0o755)
        password_file = self.directory / "superuser-password"
        password_file.touch(mode=0o600)
        password_file.write_text(self._superuser_password + "\n")
        self.socket_directory.mkdir(mode=0o755)
        self.log_file.touch()
        if os.geteuid() == 0:
            server_user = pwd.getpwnam(_SERVER_USER)
            for path in (self.directory, password_file, self.socket_directory, self.log_file):
                os.chown(path, server_user.pw_uid, server_user.pw_gid)
        self._run_as_server_user(
            self._binaries / "initdb",
            f"--pgdata={self._data_directory()}",
            f"--username={_SUPERUSER}",
            f"--pwfile={password_file}",
            "--auth=scram-sha-256",
            "--encoding=UTF8",
            "--locale=C",
            "--no-sync",
        )
        password_file.unlink()

    def _run_as_server_user(self, *command) -> None:
        with open(self.log_file, "ab") as log:
            process = scratch.start_server(
                [str(part) for part in command], user=_SERVER_USER, cwd="/", stdout=log, stderr=log
            )
            if process.wait() != 0:
                raise RuntimeError(f"{command[0]} failed:\n{self.log_file.read_text()}")

    def start(self) -> None:
        """Starts the server, on another port each time."""
        settings = [option for name, value in _SETTINGS.items() for option in ("-c", f"{name}={value}")]
        for _ in range(_START_ATTEMPTS):
            # Another process may take the port before the server binds it: the server then ends, and the next port is
            # tried.
            self.port = _free_port()
            with open(self.log_file, "ab") as log:
                # As the signal of a dead parent, SIGINT asks for a fast shutdown, which does not wait for clients.
                self._server = scratch.start_server(
                    [
                        str(self._binaries / "postgres"),
                        "-D",
                        str(self._data_directory()),
                        "-p",
                        str(self.port),
                        "-k",
                        str(self.socket_directory),
                        *settings,
                    ],
                    user=_SERVER_USER,
                    end_signal="INT",
                    wrapper=self._wrapper,
                    cwd="/",
                    stdin=subprocess.DEVNULL,
                    stdout=log,
                    stderr=log,
                )
            if scratch.wait_until(self._started_or_ended, "the start of PostgreSQL") == "started":
                return
        raise RuntimeError(f"PostgreSQL does not start:\n{self.log_file.read_text()}")

    def _started_or_ended(self):
        if self._server.poll() is not None:
            return "ended"
        try:
            self.connect().close()
        except psycopg2.OperationalError:
            return None
        # Only this cluster accepts this password, so the answer did not come from another server on the same port.
        return "started"

    def _data_directory(self) -> pathlib.Path:
        return self.directory / "data"


def _children(process: int) -> list[int]:
    return [int(child) for child in pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]


def _free_port() -> int:
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]
