"""Settings of the destination's data source that the drivers offer and that matter to the program."""

import data_sources
import expectations
import pytest
import sample_data
import source

# The tables whose rows procedures create, and those that refer to their rows.
_PROCEDURE_TABLES = ("GroupDesc", "Clients", "GroupOrders", "Orders", "SecGroups", "GroupNegOrders")


def _set(workspace, **settings) -> None:
    usual = data_sources.postgresql(workspace.lab.postgres.port, workspace.database)
    workspace.write_data_sources(destination=usual | settings)


@pytest.mark.parametrize(
    "settings",
    [
        {"ConnSettings": "SET client_encoding TO 'UTF8'; SET synchronous_commit TO off"},
        {"Protocol": "7.4-0"},
        {"Protocol": "7.4-2"},
    ],
    ids=["commits that do not wait", "no rollback", "rollback of the statement"],
)
def test_setting_changes_nothing_in_what_is_migrated(new_workspace, settings):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()
    tables = expectations.MIGRATED_TABLES
    usual = {table: workspace.query_destination(f'SELECT * FROM "{table}" ORDER BY ctid') for table in tables}
    assert all(usual.values())
    _set(workspace, **settings)

    run = workspace.run()

    assert "\nComplete migrate ExportOrder table." in run.console
    for table in tables:
        assert workspace.query_destination(f'SELECT * FROM "{table}" ORDER BY ctid') == usual[table], table


def test_unix_socket_reaches_the_destination(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    _set(workspace, Servername=workspace.lab.postgres.socket_directory)
    # Whoever comes over TCP fails at the first row.
    workspace.execute_destination(
        "CREATE FUNCTION refuse_tcp() RETURNS trigger LANGUAGE plpgsql AS"
        " $$ BEGIN IF inet_client_addr() IS NOT NULL THEN RAISE EXCEPTION 'TCP'; END IF; RETURN NEW; END; $$",
        'CREATE TRIGGER refuse_tcp BEFORE INSERT ON "SystemData" FOR EACH ROW EXECUTE FUNCTION refuse_tcp()',
    )

    run = workspace.run()

    assert "\nComplete migrate ExportOrder table." in run.console


def test_client_side_prepare_migrates_the_tables_without_procedures(new_workspace):
    rows = {table: 0 for table in _PROCEDURE_TABLES}
    workspace = new_workspace(system_data=(), fill=lambda path: sample_data.fill(path, rows=rows))
    _set(workspace, UseServerSidePrepare=0)

    run = workspace.run()

    assert "\nComplete migrate ExportOrder table." in run.console
    for table, count in sample_data.row_counts(rows=rows).items():
        assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(count,)], table


# psqlODBC leaves the marker of the returned value out of the call, and no procedure has so few parameters.
@pytest.mark.parametrize(
    "table, call",
    [
        ("GroupDesc", "BW_CreateClientGroupEx(unknown, unknown, unknown, unknown, double precision, integer)"),
        ("SecGroups", "BW_CreateSecGroupEx(unknown, unknown, unknown, unknown, unknown, integer, integer)"),
    ],
)
def test_client_side_prepare_breaks_the_procedures(new_workspace, table, call):
    workspace = new_workspace(fill=lambda path: source.insert(path, table))
    _set(workspace, UseServerSidePrepare=0)

    run = workspace.run()

    assert run.console.endswith(f"\nStart migrate {table} table\n")
    last_entry = expectations.masked(workspace.log_file.read_text()).split("<time> :: ")[-1]
    assert last_entry == (
        f"SQL Error: State = 42883 Code = 1 Message = ERROR: procedure public.{call} does not exist;\n"
        "Error while executing the query"
    )
    assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(0,)]
