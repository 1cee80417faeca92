"""A PostgreSQL cluster for the module's tests, and the destination's empty tables for each test."""

import contextlib
import pathlib

import pytest

import postgres_cluster
import scratch

_DESTINATION_SCHEMA = pathlib.Path(__file__).resolve().parents[2] / "lab" / "schema" / "destination.sql"


@pytest.fixture(scope="session", autouse=True)
def _cleanup_on_sigterm():
    scratch.end_on_sigterm()


@pytest.fixture(scope="session")
def _cluster():
    with scratch.ScratchDirectory() as directory:
        with postgres_cluster.PostgresCluster(directory / "postgres") as cluster:
            yield cluster


@pytest.fixture
def destination(_cluster):
    """A cursor on the destination's tables and procedures, created in the PostgreSQL schema "bw" for this test."""
    with contextlib.closing(_cluster.connect()) as connection, connection.cursor() as cursor:
        # Ends unfinished, which undoes the schema with everything that the test did to it.
        cursor.execute("BEGIN; CREATE SCHEMA bw; SET search_path TO bw")
        cursor.execute(_DESTINATION_SCHEMA.read_text())
        yield cursor
