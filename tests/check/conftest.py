"""The lab for tests of the built program."""

import pytest

import data_sources
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


@pytest.fixture
def unreachable_directory(empty_directory, monkeypatch):
    """A working directory whose data sources are defined, but lead to no server; they are in the environment."""
    nobody = data_sources.postgresql(5432, "brantwell") | {"Servername": empty_directory / "nobody"}
    sides = {"DBSource": data_sources.SOURCE, "DBDestination": data_sources.DESTINATION}
    for name, value in data_sources.write(empty_directory, dict.fromkeys(sides.values(), nobody)).items():
        monkeypatch.setenv(name, value)
    (empty_directory / "bw_migrate.ini").write_text(
        "".join(
            f"[{section}]\ndb_connection_name={name}\ndb_connection_login=someone\ndb_schema=\n"
            for section, name in sides.items()
        )
    )
    return empty_directory
