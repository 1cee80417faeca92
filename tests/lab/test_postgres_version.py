"""The lab finds the server's programs of whatever version is installed, and refuses one that is too old."""

import pytest

import postgres_cluster
import scratch


@pytest.fixture
def install(monkeypatch):
    """Makes directories with a server of a version, or without one. Nothing else is installed, pg_config included."""
    with scratch.ScratchDirectory() as root:
        monkeypatch.setattr(postgres_cluster, "_VERSIONS", root / "postgresql")
        programs = root / "programs"
        programs.mkdir()
        monkeypatch.setenv("PATH", str(programs))

        def make(place, reported=None):
            directory = root / place / "bin"
            directory.mkdir(parents=True)
            if reported:
                (directory / "initdb").touch()
                _write_program(directory / "postgres", f"postgres (PostgreSQL) {reported}")
            return directory

        make.pg_config = lambda text: _write_program(programs / "pg_config", text)
        yield make


def _write_program(path, output) -> None:
    path.write_text(f"#!/bin/sh\necho '{output}'\n")
    path.chmod(0o755)


def test_the_newest_version_is_taken(install):
    install("postgresql/9.6", "9.6.24")
    install("postgresql/14", "14.19")
    newest = install("postgresql/100", "100.1")
    install("postgresql/101")

    assert postgres_cluster.find_binaries() == newest


def test_what_pg_config_shows_comes_first(install):
    install("postgresql/17", "17.6")
    shown = install("opt/pgsql", "16.10")
    install.pg_config(shown)

    assert postgres_cluster.find_binaries() == shown


def test_directory_without_a_server_that_pg_config_shows_is_passed_over(install):
    newest = install("postgresql/17", "17.6")
    install.pg_config(install("opt/client"))

    assert postgres_cluster.find_binaries() == newest


def test_no_server(install):
    with pytest.raises(RuntimeError, match="no PostgreSQL server is installed"):
        postgres_cluster.find_binaries()


@pytest.mark.parametrize(
    "reported, version", [("14.0", 14), ("15.18 (Debian 15.18-0+deb12u1)", 15), ("17.6", 17), ("18beta1", 18)]
)
def test_version_of_a_server(install, reported, version):
    assert postgres_cluster.major_version(install("postgresql/1", reported)) == version


@pytest.mark.parametrize("reported", ["13.22", "9.6.24"])
def test_server_that_is_too_old(install, reported):
    with pytest.raises(RuntimeError, match="PostgreSQL 14 or newer is needed; in .* is (13|9)$"):
        postgres_cluster.major_version(install("postgresql/1", reported))
