"""The lab for tests of the built program."""

import pytest

import scratch
from fixtures import cleanup_on_sigterm, deadline, new_workspace, shared_lab


def pytest_addoption(parser):
    parser.addoption("--part", metavar="N/M", help="only every M-th test, from the N-th on")


def pytest_collection_modifyitems(config, items):
    if part := config.getoption("--part"):
        number, parts = (int(each) for each in part.split("/"))
        items[:] = items[number - 1 :: parts]


@pytest.fixture
def empty_directory():
    with scratch.ScratchDirectory() as directory:
        yield directory
