"""One lab and one Windows system per module of tests, and new workspaces for each test."""

import contextlib
import signal

import pytest

import lab
import scratch
import wine

# Well before ctest kills the whole module, so that everything that was started is still stopped in order.
_TEST_SECONDS = 300


@pytest.fixture(scope="session", autouse=True)
def _cleanup_on_sigterm():
    scratch.end_on_sigterm()


@pytest.fixture(autouse=True)
def _deadline(windows):
    """Limits a test; starting the Windows system has a limit of its own."""

    def expire(*_):
        raise TimeoutError("the test takes too long")

    signal.signal(signal.SIGALRM, expire)
    signal.alarm(_TEST_SECONDS)
    yield
    signal.alarm(0)


@pytest.fixture(scope="session")
def windows():
    """A Windows system."""
    with scratch.ScratchDirectory() as directory, wine.Wine(directory / "wine") as started:
        yield started


@pytest.fixture(scope="session")
def shared_lab():
    with lab.Lab(in_memory=True) as started:
        yield started


@pytest.fixture
def new_workspace(shared_lab):
    """Makes workspaces: `new_workspace(FILL)`; without FILL, SystemData says version 29 and all else is empty."""
    with contextlib.ExitStack() as stack:

        def fill_version(path):
            lab.execute_on_file(path, "INSERT INTO SystemData (KeyName, KeyValue) VALUES (?, ?)", [("dbver", "29")])

        def make(fill=fill_version):
            return stack.enter_context(shared_lab.workspace(fill))

        yield make
