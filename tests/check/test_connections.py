"""What bw_db_check before says of the two connections: facts, letters beyond ASCII, the right to read the source."""

import contextlib
import os
import pwd
import subprocess

import pytest

import data_sources
import lab
import one_row_each
from checker import check

UTF8 = "SET client_encoding TO 'UTF8'"

# Of the letters that are tried, those that a code page of the source has.
LETTERS = {"1252": "é ü € ž", "1251": "€ й Щ №", "65001": "é ü € ą ő й Щ № λ ğ א ž"}


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces with settings of the data sources; a setting that is None is left out."""

    def make(code_page, client_charset, connection_settings, database=None):
        workspace = new_workspace(fill=one_row_each.fill, server_options=("--codepage", code_page))
        from_source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        from_source["ClientCharset"] = client_charset
        to_destination = data_sources.postgresql(workspace.lab.postgres.port, database or workspace.database)
        to_destination["ConnSettings"] = connection_settings
        workspace.write_data_sources(
            *(
                {name: value for name, value in settings.items() if value is not None}
                for settings in (from_source, to_destination)
            )
        )
        return workspace

    return make


@pytest.fixture
def encoded_destination(shared_lab):
    """Makes a destination database in another encoding, and returns its name."""
    with contextlib.ExitStack() as stack:

        def make(encoding):
            name = f"brantwell_{encoding.lower()}"
            shared_lab.postgres.execute(
                f"CREATE DATABASE {name} OWNER {lab.DESTINATION_LOGIN} TEMPLATE template0"
                f" ENCODING '{encoding}' LOCALE 'C'"
            )
            stack.callback(shared_lab.postgres.execute, f"DROP DATABASE {name} WITH (FORCE)")
            shared_lab.postgres.execute(
                f"SET ROLE {lab.DESTINATION_LOGIN}", lab.DESTINATION_SCHEMA.read_text(), database=name
            )
            return name

        yield make


def _findings(result) -> list[tuple]:
    """Identifier, cost and text of the general findings; no table has one."""
    assert result.report is not None, result.errors
    assert [table["findings"] for table in result.report["tables"] if table["findings"]] == []
    return [(each["id"], each["cost"], each["text"]) for each in result.report["general"]]


def _letters(result) -> str:
    (fact,) = (fact for fact in result.report["facts"] if fact.startswith("Letters beyond ASCII: "))
    return fact.removeprefix("Letters beyond ASCII: ")


def test_facts(new_workspace):
    workspace = new_workspace()
    destination = f"Destination: PostgreSQL {workspace.lab.postgres.major_version}."

    result = check(workspace, "before")

    facts = result.report["facts"]
    assert facts[0].startswith("Source: Microsoft SQL Server 12.00.2000, driver libtdsodbc.so ")
    assert facts[1:5] == [
        "Source: Microsoft SQL Server - 12.0.2000.",
        "Source: schema version 29.",
        # Of these the sample server says nothing.
        "Source: collations of the columns unknown.",
        "Source: encryption unknown.",
    ]
    assert facts[5].startswith(destination)
    assert ", driver psqlodbca.so " in facts[5]
    assert facts[6].startswith(destination)
    assert facts[7:9] == [
        "Destination: database encoding UTF8, client encoding UTF8.",
        "Destination: encryption off.",
    ]
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


@pytest.mark.parametrize(
    "code_page, client_charset, connection_settings, bytes_of_a_letter",
    [
        ("1252", "CP1252", "SET client_encoding TO 'WIN1252'", "1 byte"),
        ("1251", "CP1251", "SET client_encoding TO 'WIN1251'", "1 byte"),
        ("65001", "UTF-8", UTF8, "3 bytes"),
        ("1252", "UTF-8", UTF8, "3 bytes"),
        ("1251", "UTF-8", UTF8, "3 bytes"),
        ("1251", "UTF-8", None, "3 bytes"),
    ],
)
def test_encodings_that_agree(new_source, code_page, client_charset, connection_settings, bytes_of_a_letter):
    workspace = new_source(code_page, client_charset, connection_settings)

    result = check(workspace, "before")

    assert _findings(result) == []
    assert _letters(result) == (
        f"{LETTERS[code_page]} arrive as they are and come back; each takes up to {bytes_of_a_letter} where texts are"
        " cut by bytes."
    )


def test_code_page_that_is_refused(new_source):
    result = check(new_source("1251", "CP1251", UTF8), "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("encoding-refuses", "run-ends")
    assert text.startswith("The destination refuses letters that the source's encoding has: € й Щ №. ")
    assert "State = 22021 " in text
    assert _letters(result).startswith("none of those probed arrives as they are")


def test_latin1_for_want_of_a_client_charset(new_source):
    result = check(new_source("1252", None, UTF8), "before")

    refused, garbled = _findings(result)
    assert garbled[:2] == ("encoding-garbles", "value-changed")
    assert garbled[2].startswith("Letters beyond ASCII arrive as others without a notice: € as ?, ž as ?. ")
    assert refused[:2] == ("encoding-refuses", "run-ends")
    assert refused[2].startswith("The destination refuses letters that the source's encoding has: é ü. ")


def test_utf8_in_a_database_of_a_code_page(new_source, encoded_destination):
    result = check(new_source("1251", "UTF-8", None, encoded_destination("WIN1251")), "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("encoding-garbles", "value-changed")
    assert "й as Р№" in text


def test_letters_that_the_database_lacks(new_source, encoded_destination):
    result = check(new_source("1252", "UTF-8", UTF8, encoded_destination("WIN1251")), "before")

    ((name, cost, text),) = _findings(result)
    assert (name, cost) == ("encoding-refuses", "run-ends")
    assert text.startswith("The destination refuses letters that the source's encoding has: é ü ž. ")
    assert "State = 22P05 " in text
    assert _letters(result).startswith("€ arrive as they are")


def test_database_that_knows_no_letters(new_source, encoded_destination):
    result = check(new_source("1252", "CP1252", None, encoded_destination("SQL_ASCII")), "before")

    assert [finding[:2] for finding in _findings(result)] == [("encoding-unchecked", "cannot-foresee")]


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


def test_the_destination_is_asked_in_read_only_transactions(new_workspace):
    workspace = new_workspace(fill=one_row_each.fill)
    # Whatever comes before is the driver's own.
    workspace.execute_destination(
        f"ALTER ROLE {lab.DESTINATION_LOGIN} IN DATABASE {workspace.database} SET log_statement = 'all'"
    )

    check(workspace, "before")

    session = f"{lab.DESTINATION_LOGIN}@{workspace.database} "
    lines = [line for line in workspace.lab.postgres.log_file.read_text().splitlines() if session in line]
    (first,) = (i for i, line in enumerate(lines) if "set_config('default_transaction_read_only', 'on', false)" in line)
    before, after = lines[:first], lines[first + 1 :]
    assert before and not [line for line in before if "public" in line]
    assert "SHOW transaction_read_only" in after[0]
    assert not [line for line in after if "set_config" in line or ": SET " in line]
