"""The archive for Windows."""

import subprocess
import zipfile

import pytest

import scratch
import wine


@pytest.fixture(scope="module")
def unpacked():
    """The directory in the archive, unpacked."""
    with scratch.ScratchDirectory() as directory:
        configuration = wine.built("CPackConfig.cmake")
        subprocess.run(["cpack", "--config", configuration, "-B", directory], check=True, stdout=subprocess.PIPE)
        (archive,) = directory.glob("*.zip")
        with zipfile.ZipFile(archive) as files:
            files.extractall(directory)
        yield directory / archive.stem


def test_is_named_after_program_version_and_system(unpacked):
    assert unpacked.name == "bw-db-migrate-1.0.0-win64"


def test_holds_the_programs_a_sample_and_the_guides(unpacked):
    files = {str(path.relative_to(unpacked)) for path in unpacked.rglob("*") if path.is_file()}

    assert files == {
        "bw_db_check.exe",
        "bw_db_migrate.exe",
        "check.md",
        "configuration.md",
        "examples/bw_migrate.ini",
        "operating.md",
        "reliability.md",
    }


def test_program_runs_where_it_was_unpacked(unpacked, windows):
    console = windows.run(unpacked / "bw_db_migrate.exe", unpacked, b"")

    assert console == b"Error: Configuration file does not exist\r\n"
