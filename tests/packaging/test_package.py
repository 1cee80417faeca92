"""The Debian package: what is in it, and that it is as Debian wants it."""

import gzip
import os
import pathlib
import re
import subprocess

import pytest

import operator_documents

_PROJECT = pathlib.Path(__file__).resolve().parents[2]
_DOCUMENTS = "usr/share/doc/bw-db-migrate"

_PROGRAMS = {"usr/bin/bw_db_check", "usr/bin/bw_db_migrate"}
_FILES = {f"{_DOCUMENTS}/changelog.gz", f"{_DOCUMENTS}/copyright"} | {
    f"{_DOCUMENTS}/{name}" for name in operator_documents.files()
}
_PAGES = {f"usr/share/man/man{page.suffix[1:]}/{page.name}.gz" for page in _PROJECT.glob("docs/man/*.[1-9]")}


def _output(*command) -> bytes:
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE, timeout=60).stdout


@pytest.fixture(scope="module")
def fields(package) -> dict[str, str]:
    """The control fields."""
    text = _output("dpkg-deb", "--field", package).decode()
    return dict(re.findall(r"^(\S+): (.*(?:\n .*)*)", text, re.MULTILINE))


@pytest.fixture(scope="module")
def unpacked(package, scratch_directory) -> pathlib.Path:
    """A directory with the package's files, and its control files in DEBIAN."""
    directory = scratch_directory / "unpacked"
    _output("dpkg-deb", "--raw-extract", package, directory)
    return directory


def _packages(field: str) -> set[str]:
    """The names in a field of package relations."""
    return {relation.split()[0] for relation in re.split(r"[,|]", field)}


def test_lintian_finds_no_error_and_warns_of_nothing(package):
    checked = subprocess.run(
        ["lintian", "--no-cfg", "--allow-root", "--fail-on", "error,warning", str(package)],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=300,
    )

    assert checked.stdout == ""
    assert checked.returncode == 0


def test_package_has_the_files_of_the_program_and_no_others(members):
    files = {member.name.removeprefix("./"): member for member in members if not member.isdir()}

    assert set(files) == _PROGRAMS | _FILES | _PAGES
    assert all(member.isreg() for member in files.values())
    assert {name for name, member in files.items() if member.mode == 0o755} == _PROGRAMS
    assert {name for name, member in files.items() if member.mode == 0o644} == _FILES | _PAGES


def test_everything_belongs_to_root_and_everyone_may_read_it(members):
    assert {(member.uid, member.gid) for member in members} == {(0, 0)}
    assert {member.mode for member in members if member.isdir()} == {0o755}


def test_checksums_are_those_of_all_files(unpacked):
    sums = (unpacked / "DEBIAN" / "md5sums").read_text()

    assert set(re.findall(r"^[0-9a-f]{32}  (.*)$", sums, re.MULTILINE)) == _PROGRAMS | _FILES | _PAGES
    subprocess.run(["md5sum", "--check", "--strict", "--quiet", "DEBIAN/md5sums"], check=True, cwd=unpacked)


def test_control_fields(fields):
    assert fields["Package"] == "bw-db-migrate"
    assert fields["Section"] == "database"
    assert fields["Priority"] == "optional"
    assert fields["Maintainer"] == "bw_db_migrate developers <developers@bw-db-migrate.invalid>"
    assert fields["Architecture"] == _output("dpkg", "--print-architecture").decode().strip()
    summary, *description = fields["Description"].splitlines()
    assert summary == "copy the Brantwell database from SQL Server to PostgreSQL"
    assert len(description) > 3
    assert "Homepage" not in fields


def test_package_depends_on_its_libraries_and_on_both_drivers(fields):
    assert _packages(fields["Depends"]) == {
        "libc6",
        "libgcc-s1",
        "libodbc2",
        "libodbcinst2",
        "libstdc++6",
        "odbc-postgresql",
        "tdsodbc",
    }
    assert _packages(fields["Recommends"]) == {"unixodbc"}


def test_changelog_begins_with_the_version_of_the_package(fields, unpacked):
    changelog = gzip.decompress((unpacked / _DOCUMENTS / "changelog.gz").read_bytes()).decode()

    assert changelog.startswith(f"bw-db-migrate ({fields['Version']}) ")


def test_nothing_in_the_package_says_where_it_was_built(unpacked):
    places = [os.fsencode(os.path.realpath(place)) for place in (_PROJECT, os.environ["BW_BUILD_DIR"])]
    for file in (file for file in unpacked.rglob("*") if file.is_file()):
        contents = file.read_bytes()
        if file.suffix == ".gz":
            contents = gzip.decompress(contents)
        assert not [place for place in places if place in contents], file
