"""What bw_db_check before says of the two connections: facts, the right to read the source."""

import os
import pwd
import subprocess

import pytest

import data_sources
import lab
import one_row_each
from checker import check


def _findings(result) -> list[tuple]:
    """Identifier, cost and text of the general findings; no table has one."""
    assert result.report is not None, result.errors
    assert [table["findings"] for table in result.report["tables"] if table["findings"]] == []
    return [(each["id"], each["cost"], each["text"]) for each in result.report["general"]]


def test_facts(new_workspace):
    workspace = new_workspace()
    destination = f"Destination: PostgreSQL {workspace.lab.postgres.major_version}."

    result = check(workspace, "before")

    facts = result.report["facts"]
    assert facts[0].startswith("Source: Microsoft SQL Server 12.00.2000, driver libtdsodbc.so ")
    assert facts[1:4] == [
        "Source: Microsoft SQL Server - 12.0.2000.",
        "Source: schema version 29.",
        # Of this the sample server says nothing.
        "Source: encryption unknown.",
    ]
    assert facts[4].startswith(destination)
    assert ", driver psqlodbca.so " in facts[4]
    assert facts[5].startswith(destination)
    assert facts[6:8] == [
        "Destination: database encoding UTF8, client encoding UTF8.",
        "Destination: encryption off.",
    ]
    assert (
        "Characters of code page 1252 (SQL_Latin1_General_CP1_CI_AS): 123 of 123 beyond ASCII arrive as they are; each"
        " takes up to 3 bytes where texts are cut by bytes."
    ) in facts
    assert _findings(result) == []


@pytest.fixture
def encrypted_lab():
    """A lab of its own whose PostgreSQL speaks TLS."""
    with lab.Lab() as started:
        directory = started.directory / "tls"
        directory.mkdir(mode=0o755)
        key, certificate = directory / "server.key", directory / "server.crt"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost"]
            + ["-keyout", key, "-out", certificate],
            check=True,
            capture_output=True,
        )
        if os.geteuid() == 0:
            user = pwd.getpwnam("postgres")
            os.chown(key, user.pw_uid, user.pw_gid)
        started.postgres.execute(
            f"ALTER SYSTEM SET ssl_key_file = '{key}'",
            f"ALTER SYSTEM SET ssl_cert_file = '{certificate}'",
            "ALTER SYSTEM SET ssl = on",
        )
        started.postgres.stop()
        started.postgres.start()
        yield started


def test_encryption_of_the_destination(encrypted_lab):
    def fill(path):
        lab.execute_on_file(path, "INSERT INTO SystemData (KeyName, KeyValue) VALUES ('dbver', '29')", ((),))

    with encrypted_lab.workspace(fill) as workspace:
        to_destination = data_sources.postgresql(encrypted_lab.postgres.port, workspace.database)
        workspace.write_data_sources(destination=to_destination | {"SSLmode": "require"})

        result = check(workspace, "before")

    assert "Destination: encryption on, TLSv1.3." in result.report["facts"]


def test_table_that_the_source_lacks(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("DROP TABLE ExportOrder")

    result = check(workspace, "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("source-cannot-read", "run-ends")
    assert text.startswith("The source's table ExportOrder cannot be read, and the run ends where it is its turn. ")
    assert "State = S0002 Code = 208 " in text
    assert result.report["run_ends_in"] == "ExportOrder"


def test_column_that_the_source_lacks(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("ALTER TABLE SecMinQt DROP COLUMN MinQty")

    result = check(workspace, "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("source-cannot-read", "run-ends")
    assert text.startswith("The source's table SecMinQt cannot be read, ")
    assert result.report["run_ends_in"] == "SecMinQt"


def test_tables_that_refer_to_one_that_the_source_lacks_are_left_out(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("DROP TABLE GroupDesc")

    result = check(workspace, "before")

    assert [finding[0] for finding in _findings(result)] == ["source-cannot-read"]
    assert result.report["run_ends_in"] == "GroupDesc"
    assert result.table("Clients")["source_rows"] is None
    assert result.table("SecMinQt")["source_rows"] == 1
