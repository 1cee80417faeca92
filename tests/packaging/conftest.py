"""The Debian package of this build, and the lab to run its program."""

import io
import os
import pathlib
import subprocess
import tarfile

import pytest

import scratch
from fixtures import cleanup_on_sigterm, deadline, shared_lab

_BUILD = pathlib.Path(os.environ["BW_BUILD_DIR"])


@pytest.fixture(scope="session")
def scratch_directory():
    with scratch.ScratchDirectory() as directory:
        yield directory


@pytest.fixture(scope="session")
def package(scratch_directory) -> pathlib.Path:
    """The package's file. It is made with the umask of someone who shares nothing, which must not show in it."""
    directory = scratch_directory / "package"
    made = subprocess.run(
        ["cpack", "--config", str(_BUILD / "CPackConfig.cmake"), "-B", str(directory)],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=300,
        umask=0o077,
    )
    assert made.returncode == 0, made.stdout
    (file,) = directory.glob("*.deb")
    return file


@pytest.fixture(scope="session")
def members(package) -> list[tarfile.TarInfo]:
    """The files and directories of the package."""
    archive = subprocess.run(
        ["dpkg-deb", "--fsys-tarfile", str(package)], check=True, stdout=subprocess.PIPE, timeout=60
    ).stdout
    with tarfile.open(fileobj=io.BytesIO(archive)) as files:
        return files.getmembers()
