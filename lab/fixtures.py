"""Fixtures of the tests that need servers: one lab per module of tests, and a new workspace for each test."""

import contextlib
import signal

import pytest

import lab
import scratch

# Well before ctest kills the whole module, so that everything that was started is still stopped in order.
_TEST_SECONDS = 120


@pytest.fixture(scope="session", autouse=True)
def cleanup_on_sigterm():
    scratch.end_on_sigterm()


@pytest.fixture(autouse=True)
def deadline(request):
    def expire(*_):
        raise TimeoutError("the test takes too long")

    marker = request.node.get_closest_marker("deadline")
    signal.signal(signal.SIGALRM, expire)
    signal.alarm(marker.args[0] if marker else _TEST_SECONDS)
    yield
    signal.alarm(0)


@pytest.fixture(scope="session")
def shared_lab():
    with lab.Lab(in_memory=True) as started:
        yield started


@pytest.fixture
def new_workspace(shared_lab):
    """Makes workspaces: `new_workspace(system_data=ROWS, server_options=OPTIONS)`; all other tables are empty."""
    with contextlib.ExitStack() as stack:

        def make(system_data=(("dbver", "29"),), fill=None, server_options=()):
            def fill_source(path):
                if fill:
                    fill(path)
                lab.execute_on_file(path, "INSERT INTO SystemData (KeyName, KeyValue) VALUES (?, ?)", system_data)

            return stack.enter_context(shared_lab.workspace(fill_source, server_options))

        yield make
