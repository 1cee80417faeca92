"""The archive for Windows."""

import subprocess
import zipfile

import pytest

import operator_documents
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


def test_holds_the_programs_the_manual_and_what_operators_read(unpacked):
    files = {str(path.relative_to(unpacked)) for path in unpacked.rglob("*") if path.is_file()}

    manual = {f"docs/man/{name}.txt" for name in ("bw_db_check", "bw_db_migrate", "bw_migrate.ini")}
    assert files == {"bw_db_check.exe", "bw_db_migrate.exe"} | manual | operator_documents.files()


def test_links_of_the_pages_lead_to_files_of_the_archive(unpacked):
    assert operator_documents.broken_links(unpacked, unpacked.rglob("*.md")) == []


@pytest.mark.parametrize("name", ["bw_db_check", "bw_db_migrate", "bw_migrate.ini"])
def test_manual_is_plain_text(unpacked, name):
    text = (unpacked / "docs" / "man" / f"{name}.txt").read_text(encoding="ascii")

    assert text.lstrip().startswith(name.upper())
    assert "\b" not in text and "\x1b" not in text
    assert max(map(len, text.splitlines())) <= 132


def test_program_runs_where_it_was_unpacked(unpacked, windows):
    console = windows.run(unpacked / "bw_db_migrate.exe", unpacked, b"")

    assert console == b"Error: Configuration file does not exist\r\n"
