"""The package is installed, its program migrates, its pages are found, and its removal leaves nothing.

Where the machine may be changed, which is when root runs the tests and the environment variable CI is "true", the
package is installed on it. Elsewhere it is installed below a scratch directory.
"""

import os
import pathlib
import re
import subprocess

import pytest

import sample_data
import scratch

_PACKAGE = "bw-db-migrate"
_MACHINE_MAY_BE_CHANGED = os.geteuid() == 0 and os.environ.get("CI") == "true"

# A minimal system is told to leave out documents and pages.
_WHOLE = "--path-include=*"

_ENVIRONMENT = {
    "PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
    "HOME": "/",
    "LC_ALL": "C.UTF-8",
    "DEBIAN_FRONTEND": "noninteractive",
}


def _output(*command) -> str:
    done = subprocess.run(
        [str(part) for part in command],
        env=_ENVIRONMENT,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
        timeout=300,
    )
    assert done.returncode == 0, done.stdout
    return done.stdout


class _Machine:
    """This machine itself."""

    root = pathlib.Path("/")

    def install(self, package: pathlib.Path) -> None:
        _output(
            "apt-get",
            "--yes",
            "--no-install-recommends",
            "--option=DPkg::Lock::Timeout=120",
            f"--option=DPkg::Options::={_WHOLE}",
            "install",
            package,
        )

    def purge(self) -> None:
        _output("dpkg", "--purge", _PACKAGE)

    def installed(self) -> str:
        return _output("dpkg-query", "--show", "--showformat=${Package} ${db:Status-Status}\n")

    def find_page(self, section: str, name: str) -> str:
        return _output("man", "--where", section, name)


class _ScratchRoot:
    """A directory with a package database of its own, in which no other package is installed."""

    def __init__(self, root: pathlib.Path):
        self.root = root
        self._database = root / "var" / "lib" / "dpkg"
        (self._database / "info").mkdir(parents=True)
        (self._database / "updates").mkdir()
        (self._database / "status").touch()

    def install(self, package: pathlib.Path) -> None:
        self._dpkg("--force-depends", _WHOLE, "--install", package)

    def purge(self) -> None:
        self._dpkg("--purge", _PACKAGE)

    def installed(self) -> str:
        return _output(
            "dpkg-query",
            f"--admindir={self._database}",
            "--show",
            "--showformat=${Package} ${db:Status-Status}\n",
        )

    def find_page(self, section: str, name: str) -> str:
        return _output("man", "--manpath", self.root / "usr" / "share" / "man", "--where", section, name)

    def _dpkg(self, *arguments) -> None:
        # dpkg gives the files to root, and whoever runs the tests need not be root.
        _output("fakeroot", "dpkg", f"--root={self.root}", "--log=/dev/null", *arguments)


@pytest.fixture
def machine():
    """Where a test installs the package."""
    if _MACHINE_MAY_BE_CHANGED:
        yield _Machine()
    else:
        with scratch.ScratchDirectory() as directory:
            yield _ScratchRoot(directory)


@pytest.fixture
def installed(machine, package):
    """The machine with the package."""
    assert f"{_PACKAGE} " not in machine.installed(), "the package is on this machine already"
    try:
        machine.install(package)
        yield machine
    finally:
        machine.purge()


def test_installed_programs_migrate_every_table_and_prove_it(installed, shared_lab):
    shared_lab.migrator = installed.root / "usr" / "bin" / "bw_db_migrate"
    shared_lab.checker = installed.root / "usr" / "bin" / "bw_db_check"
    with shared_lab.workspace(sample_data.fill) as workspace:
        run = workspace.run()

        summaries = re.findall(
            r"^Complete migrate (\w+) table\. Total rows read = (\d+) Total migrated rows = (\d+)\. ",
            run.console,
            re.MULTILINE,
        )
        assert summaries == [(table, str(rows), str(rows)) for table, rows in sample_data.BASE_ROWS.items()]
        for table, rows in sample_data.BASE_ROWS.items():
            assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(rows,)], table

        check = workspace.check("after")

        assert "\nComplete with changes. All 382 rows of the source are in the destination, " in check.console

def test_man_finds_the_pages(installed):
    for section, name in (("1", "bw_db_check"), ("1", "bw_db_migrate"), ("5", "bw_migrate.ini")):
        page = installed.root / "usr" / "share" / "man" / f"man{section}" / f"{name}.{section}.gz"
        assert installed.find_page(section, name) == f"{page}\n"


def test_nothing_is_left_of_a_package_that_is_purged(installed, members):
    files = [installed.root / member.name for member in members if not member.isdir()]
    assert all(file.exists() for file in files)

    installed.purge()

    assert not [file for file in files if file.exists()]
    assert not (installed.root / "usr" / "share" / "doc" / _PACKAGE).exists()
    assert f"{_PACKAGE} " not in installed.installed()
