"""docs/messages.md: every row for a first set-up and for a table shows what a run really leaves."""

import pathlib
import re

import pytest

import data_sources
import lab
import source

_PAGE = (pathlib.Path(__file__).resolve().parents[2] / "docs" / "messages.md").read_text(encoding="utf-8")
_LAST_PROMPT = "Enter the password for destination database: "


def _shown(*titles) -> list[str]:
    """The texts in the first column of the tables of some sections, an ellipsis for any text."""
    texts = []
    for title in titles:
        table = _PAGE.split(f"\n## {title}\n")[1].split("\n## ")[0]
        for row in re.findall(r"^\| (`.*?) \|", table, re.MULTILINE):
            texts += re.findall(r"`([^`]+)`", row)
    return texts


_TEXTS = _shown("Before the first table: setting up", "In a table")


def _named(workspace) -> set[str]:
    """The texts of the page that are in the console or in the log."""
    where = workspace.log_file.read_text(errors="replace") if workspace.log_file.exists() else ""
    where += workspace.shown
    patterns = {text: ".*".join(map(re.escape, re.split(" ?… ?", text))) for text in _TEXTS}
    return {text for text, pattern in patterns.items() if re.search(pattern, where, re.DOTALL)}


def _sources(side, **settings):
    def arrange(workspace):
        usual = {
            "source": data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE),
            "destination": data_sources.postgresql(workspace.lab.postgres.port, workspace.database),
        }
        changed = {name: value for name, value in (usual[side] | settings).items() if value is not None}
        workspace.write_data_sources(**{side: changed})

    return arrange


def _configuration(**sides):
    return lambda workspace: workspace.write_configuration(**sides)


def _destination(*statements):
    return lambda workspace: workspace.execute_destination(*statements)


def _rows(*rows):
    def arrange(workspace):
        for table, values in rows:
            source.insert(workspace.source_file, table, **values)

    return arrange


_SOURCE = data_sources.SOURCE, lab.SOURCE_LOGIN
_DESTINATION = data_sources.DESTINATION, lab.DESTINATION_LOGIN

CASES = {
    "unknown data source": (
        _configuration(source=("None", lab.SOURCE_LOGIN, "dbo")),
        "State = IM002 … Data source name not found",
    ),
    "data source without a driver": (
        _sources("source", Driver=None),
        "State = IM002 … Data source name not found",
    ),
    "unknown driver": (_sources("source", Driver="FreeTDS"), "State = IM002 … Data source name not found"),
    "empty configuration": (
        lambda workspace: (workspace.directory / "bw_migrate.ini").write_bytes(b""),
        "State = IM002 … Data source name not found",
    ),
    "missing driver": (
        _sources("destination", Driver="/usr/lib/none.so"),
        "State = 01000 … Can't open lib '…' : file not found",
    ),
    "unknown source server": (_sources("source", Server="nowhere.invalid"), "Unknown host machine name"),
    "no source server": (_sources("source", Port=1), "Adaptive Server is unavailable or does not exist"),
    "unknown destination server": (
        _sources("destination", Servername="nowhere.invalid"),
        "could not translate host name",
    ),
    "no destination server": (
        _sources("destination", Port=1),
        "Connection refused … Is the server running on that host",
    ),
    "source login": (
        _configuration(source=(data_sources.SOURCE, "nobody", "dbo")),
        "State = 37000 Code = 18456 … Login failed for user",
    ),
    "destination login": (
        _configuration(destination=(data_sources.DESTINATION, "nobody", "public")),
        "password authentication failed for user",
    ),
    "swapped": (
        _configuration(source=(*_DESTINATION, "public"), destination=(*_SOURCE, "dbo")),
        "password authentication failed for user",
    ),
    "destination database": (_sources("destination", Database="none"), 'database "…" does not exist'),
    "no encryption at the destination": (
        _sources("destination", SSLmode="require"),
        "server does not support SSL, but SSL was required",
    ),
    "no encryption at the source": (
        _sources("source", Encryption="require"),
        "Unable to connect to data source",
    ),
    "misspelled encryption": (_sources("source", Encryption="required"), "Local configuration error"),
    "client charset": (_sources("source", ClientCharset="CP9999"), "State = S1001 … Memory allocation failure"),
    "client encoding": (
        _sources("destination", ConnSettings="SET client_encoding TO 'WIN9999'"),
        'State = 22023 … invalid value for parameter "client_encoding"',
    ),
    "long data source name": (
        _configuration(source=("x" * 33, lab.SOURCE_LOGIN, "dbo")),
        "State = S1090 … Invalid string or buffer length",
    ),
    "source schema": (_configuration(source=(*_SOURCE, "none")), "State = S0002 Code = 208 … Invalid object name"),
    "destination schema": (
        _configuration(destination=(*_DESTINATION, "none")),
        'State = 3F000 … schema "…" does not exist',
    ),
    "dot after the schema": (_configuration(destination=(*_DESTINATION, "public.")), "State = 42601 … syntax error"),
    "missing table": (_destination('DROP TABLE "SecMinQt"'), 'State = 42P01 … relation "…" does not exist'),
    "missing right": (
        _destination('ALTER TABLE "SecMinQt" OWNER TO postgres'),
        "State = 42501 … permission denied",
    ),
    "sequence of another owner": (
        _destination('ALTER TABLE "SecGroups" OWNER TO postgres', 'GRANT ALL ON "SecGroups" TO bw_migrator'),
        "must be owner of sequence",
    ),
    "missing procedure": (
        lambda workspace: (
            _destination('DROP PROCEDURE "BW_CreateClientGroupEx"')(workspace),
            _rows(("GroupDesc", {"GroupID": 1}))(workspace),
        ),
        "State = 42883 … procedure … does not exist",
    ),
    "read-only data source": (_sources("destination", ReadOnly=1), "State = S1000 … Connection is readonly"),
    "read-only session": (
        _sources("destination", ConnSettings="SET default_transaction_read_only TO on"),
        "State = 25006 … in a read-only transaction",
    ),
    "foreign key": (
        _destination(
            'ALTER TABLE "SecMinQt" ADD note integer UNIQUE',
            'CREATE TABLE notes (note integer REFERENCES "SecMinQt" (note))',
        ),
        "State = 0A000 … cannot truncate a table referenced in a foreign key constraint",
    ),
    "missing reference": (
        _rows(("Clients", {"GroupID": 7})),
        "invalid map<K, T> key",
    ),
    "duplicate": (
        lambda workspace: (
            source.drop_constraints(workspace.source_file, "SecMinQt"),
            _rows(*[("SecMinQt", {"ClassCode": "A", "SecCode": "B"})] * 2)(workspace),
        ),
        "State = 23505 … duplicate key value",
    ),
    "client price": (
        _rows(("LoadedSecuritiesClientPrices", {"ClientID": 1, "SecID": 2})),
        "State = 23503 … violates foreign key constraint",
    ),
    "narrow column": (
        lambda workspace: (
            _destination('ALTER TABLE "SecMinQt" ALTER "SecCode" TYPE varchar(1)')(workspace),
            _rows(("SecMinQt", {"SecCode": "BB"}))(workspace),
        ),
        "State = 22001 … value too long",
    ),
    "encodings that do not agree": (
        lambda workspace: (
            _sources("source", ClientCharset="CP1252")(workspace),
            _rows(("SecMinQt", {"SecCode": "é"}))(workspace),
        ),
        "State = 22021 … invalid byte sequence",
    ),
}

# Rows of the page that other tests show: the terminal, the version, faults of servers and disks.
ELSEWHERE = {
    "Error: Configuration file does not exist",
    "Warning: Can't open log file",
    "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL",
    "Error: Migration is possible only for version 29 of the Brantwell database",
    "fe_sendauth: no password supplied",
    "no pg_hba.conf entry for host",
    "State = 22P05 … has no equivalent in encoding",
    "State = 08S01 …",
    "State = 53100 … No space left on device",
    "State = 55P03 … lock timeout",
    "State = 57014 … canceling statement",
    "SQL Error: ",
}


def test_every_row_has_its_case():
    assert set(_TEXTS) == ELSEWHERE | {text for _, text in CASES.values()}


@pytest.mark.parametrize("arrange, text", CASES.values(), ids=CASES.keys())
def test_run_leaves_the_text(new_workspace, arrange, text):
    workspace = new_workspace()
    arrange(workspace)

    run = workspace.run()

    workspace.shown = run.console
    assert text in _named(workspace), workspace.log_file.read_text(errors="replace")
    assert "Complete migrate ExportOrder" not in run.console
    assert run.exit_code == 0
