"""Runs that the program refuses to begin with: nothing of the destination is touched."""

import pytest

import data_sources
import lab
from expectations import PROMPTS, assert_text

WRONG_SERVERS = "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL"
WRONG_VERSION = "Error: Migration is possible only for version 29 of the Brantwell database"

KEPT_ROWS = [("kept", "as it was")]


@pytest.fixture
def refused_run(new_workspace):
    """Runs in a workspace whose destination holds a row already, and checks what all refusals share."""

    def run_in(workspace, **options):
        workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")
        run = workspace.run(**options)
        assert workspace.query_destination('SELECT "KeyName", "KeyValue" FROM "SystemData"') == KEPT_ROWS
        assert run.errors == ""
        assert run.exit_code == 0
        return run

    return run_in


def _swap_data_sources(workspace) -> None:
    workspace.write_configuration(
        source=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "public"),
        destination=(data_sources.SOURCE, lab.SOURCE_LOGIN, "dbo"),
    )


def test_both_sides_postgresql(new_workspace, refused_run):
    workspace = new_workspace()
    workspace.write_configuration(source=(data_sources.DESTINATION, lab.DESTINATION_LOGIN, "public"))

    run = refused_run(workspace, passwords=(lab.DESTINATION_PASSWORD, lab.DESTINATION_PASSWORD))

    assert run.console == f"{PROMPTS}{WRONG_SERVERS}\n"
    assert_text(workspace.log_file.read_text(), f"<time> :: {WRONG_SERVERS}")


def test_both_sides_sql_server(new_workspace, refused_run):
    workspace = new_workspace()
    workspace.write_configuration(destination=(data_sources.SOURCE, lab.SOURCE_LOGIN, "dbo"))

    run = refused_run(workspace, passwords=(lab.SOURCE_PASSWORD, lab.SOURCE_PASSWORD))

    assert run.console == f"{PROMPTS}{WRONG_SERVERS}\n"
    assert_text(workspace.log_file.read_text(), f"<time> :: {WRONG_SERVERS}")


def test_swapped_sides(new_workspace, refused_run):
    workspace = new_workspace()
    _swap_data_sources(workspace)

    run = refused_run(workspace, passwords=(lab.DESTINATION_PASSWORD, lab.SOURCE_PASSWORD))

    assert run.console == f"{PROMPTS}{WRONG_SERVERS}\n"
    assert_text(workspace.log_file.read_text(), f"<time> :: {WRONG_SERVERS}")


@pytest.mark.parametrize("product", ["Another SQL Server", "Microsoft SQL Server 2019", "microsoft sql server"])
def test_unknown_product_ends_without_a_word(new_workspace, refused_run, product):
    workspace = new_workspace(server_options=("--product", product))

    run = refused_run(workspace)

    assert run.console == PROMPTS
    assert workspace.log_file.read_text() == ""


@pytest.mark.parametrize("version", ["28", "30", "0", "-29", "290"])
def test_another_schema_version(new_workspace, refused_run, version):
    workspace = new_workspace([("dbver", version)])

    run = refused_run(workspace)

    assert run.console == f"{PROMPTS}{WRONG_VERSION}\n"
    assert_text(workspace.log_file.read_text(), f"<time> :: {WRONG_VERSION}")


def test_missing_schema_version_is_an_error_without_records(new_workspace, refused_run):
    workspace = new_workspace([("dbname", "Brantwell")])

    run = refused_run(workspace)

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), "<time> :: SQL Error: ")


def test_schema_version_that_is_no_number(new_workspace, refused_run):
    workspace = new_workspace([("dbver", "twenty-nine")])

    run = refused_run(workspace)

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = 22005 Code = 0 Message = "
        "[FreeTDS][SQL Server]Invalid character value for cast specification",
    )


def test_source_without_the_table_of_the_schema_version(new_workspace, refused_run):
    workspace = new_workspace()
    workspace.execute_source("DROP TABLE SystemData")

    run = refused_run(workspace)

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = S0002 Code = 208 Message = "
        "[FreeTDS][SQL Server]Invalid object name 'dbo.SystemData'.",
    )
