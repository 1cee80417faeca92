"""What bw_db_check before says of the two connections: facts, the right to read the source."""

import contextlib
import os
import pathlib
import pwd
import socket
import socketserver
import subprocess
import threading

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
        "Destination: encryption off, on the server's own computer.",
    ]
    assert (
        "Characters of code page 1252 (SQL_Latin1_General_CP1_CI_AS): 123 of 123 beyond ASCII arrive as they are; each"
        " takes up to 3 bytes where texts are cut by bytes."
    ) in facts
    assert _findings(result) == []


@pytest.fixture
def encrypted_lab():
    """A lab of its own whose PostgreSQL speaks TLS."""
    with lab.Lab(in_memory=True) as started:
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


@pytest.fixture
def address_on_a_network():
    """An address of this computer that is none of its loopback; nothing is sent to find it."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("192.0.2.1", 9))
        except OSError:
            pytest.skip("this computer is on no network")
        return probe.getsockname()[0]


class _FromAnAddress(socketserver.ThreadingTCPServer):
    """Passes connections on to a local port, from another address of this computer."""

    daemon_threads = True

    def __init__(self, port, address):
        self._target = ("127.0.0.1", port)
        self._address = address
        super().__init__(("127.0.0.1", 0), socketserver.BaseRequestHandler)

    def finish_request(self, request, client_address):
        with socket.create_connection(self._target, timeout=60, source_address=(self._address, 0)) as server:
            back = threading.Thread(target=self._pass_on, args=(server, request), daemon=True)
            back.start()
            self._pass_on(request, server)
            back.join()

    @staticmethod
    def _pass_on(origin, target):
        with contextlib.suppress(OSError):
            while block := origin.recv(65536):
                target.sendall(block)
            target.shutdown(socket.SHUT_WR)


@contextlib.contextmanager
def _from_address(port, address):
    with _FromAnAddress(port, address) as server:
        serving = threading.Thread(target=server.serve_forever)
        serving.start()
        try:
            yield server.server_address[1]
        finally:
            server.shutdown()
            serving.join()


@pytest.mark.parametrize(("mode", "expected"), [("disable", ["connection-unencrypted"]), ("require", [])])
@pytest.mark.parametrize("command", ["before", "after"])
def test_connection_over_a_network_in_the_clear(encrypted_lab, address_on_a_network, mode, expected, command):
    def fill(path):
        lab.execute_on_file(path, "INSERT INTO SystemData (KeyName, KeyValue) VALUES ('dbver', '29')", ((),))

    with contextlib.closing(encrypted_lab.postgres.connect()) as connection, connection.cursor() as cursor:
        cursor.execute("SHOW hba_file")
        hba = pathlib.Path(cursor.fetchone()[0])
    hba.write_text(hba.read_text() + f"host all all {address_on_a_network}/32 scram-sha-256\n")
    encrypted_lab.postgres.execute("SELECT pg_reload_conf()")
    with encrypted_lab.workspace(fill) as workspace, _from_address(
        encrypted_lab.postgres.port, address_on_a_network
    ) as port:
        to_destination = data_sources.postgresql(port, workspace.database)
        workspace.write_data_sources(destination=to_destination | {"SSLmode": mode})

        result = check(workspace, command)

    assert result.report is not None, result.errors
    found = [each for each in result.report["general"] if each["id"] == "connection-unencrypted"]
    assert [(each["id"]) for each in found] == expected
    assert [(each["cost"], each["rows"]) for each in found] == [("exposed", None)] * len(expected)


def test_table_that_the_source_lacks(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("DROP TABLE ExportOrder")

    result = check(workspace, "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("source-cannot-read", "run-ends")
    assert text.startswith("The source's table ExportOrder cannot be read: the run ends at this table. ")
    assert "State = S0002 Code = 208 " in text
    assert result.report["run_ends_in"] == "ExportOrder"


def test_column_that_the_source_lacks(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("ALTER TABLE SecMinQt DROP COLUMN MinQty")

    result = check(workspace, "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("source-cannot-read", "run-ends")
    assert text.startswith("The source's table SecMinQt cannot be read: ")
    assert result.report["run_ends_in"] == "SecMinQt"


def test_tables_that_refer_to_one_that_the_source_lacks_are_left_out(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    workspace.execute_source("DROP TABLE GroupDesc")

    result = check(workspace, "before")

    assert [finding[0] for finding in _findings(result)] == ["source-cannot-read"]
    assert result.report["run_ends_in"] == "GroupDesc"
    assert result.table("Clients")["source_rows"] is None
    assert result.table("SecMinQt")["source_rows"] == 1
