"""Sample SQL Servers, and the clients that talk to them."""

import contextlib
import faulthandler
import os
import pathlib
import sqlite3

import pytest

import clients
import scratch
import source_server

_PROGRAM = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "lab" / "tds_server" / "tds_server"
_TEST_SECONDS = 120


class Server(source_server.SourceServer):
    """A running server with an SQLite file of its own."""

    def __init__(self, directory: pathlib.Path, options):
        self.file = directory / "store.sqlite"
        super().__init__(_PROGRAM, directory, self.file, clients.LOGINS, options)

    def fill(self, script: str) -> None:
        """Runs SQL in the file behind the server's back."""
        with contextlib.closing(sqlite3.connect(self.file)) as database:
            database.executescript(script)

    def create_numbers(self, count: int) -> None:
        """Creates a table Numbers with the numbers from 1 on and their names."""
        self.fill(
            f"""
            CREATE TABLE Numbers (Number int NOT NULL, Name varchar(40) NULL);
            WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {count})
            INSERT INTO Numbers SELECT i, 'number ' || i FROM n;
            """
        )

    def peak_memory(self) -> int:
        """The most memory, in bytes, that the server has had so far."""
        status = pathlib.Path(f"/proc/{self._process.pid}/status").read_text()
        kibibytes = next(line.split()[1] for line in status.splitlines() if line.startswith("VmHWM:"))
        return int(kibibytes) * 1024

    def end(self, signal_number: int) -> int:
        """Sends a signal, waits for the end and returns the exit status."""
        self._process.send_signal(signal_number)
        return self._process.wait(_TEST_SECONDS)


@pytest.fixture(scope="session", autouse=True)
def _cleanup_on_sigterm():
    scratch.end_on_sigterm()


@pytest.fixture(autouse=True)
def _deadline():
    """Ends the run when a test hangs; a call into the driver manager could not be interrupted otherwise."""
    faulthandler.dump_traceback_later(_TEST_SECONDS, exit=True)
    yield
    faulthandler.cancel_dump_traceback_later()


@pytest.fixture
def start_server():
    """A function that starts a server with the given options. The server ends with the test."""
    with contextlib.ExitStack() as stack:

        def start(*options: str) -> Server:
            directory = stack.enter_context(scratch.ScratchDirectory())
            return stack.enter_context(Server(directory, options))

        yield start


@pytest.fixture
def server(start_server):
    return start_server()


@pytest.fixture
def connect():
    """A function that connects to a server through ODBC. The connection ends with the test."""
    with contextlib.ExitStack() as stack:

        def start(server: Server, **attributes: str) -> clients.Connection:
            return stack.enter_context(clients.Connection(server.port, **attributes))

        yield start
