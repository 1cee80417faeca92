"""The lab for tests of the built program."""

import pytest

import scratch
from fixtures import cleanup_on_sigterm, deadline, new_workspace, shared_lab


@pytest.fixture
def empty_directory():
    with scratch.ScratchDirectory() as directory:
        yield directory
