"""The four procedures of the destination that create rows."""

import pytest

import expectations
import sample_data
import source

# Procedure -> the table whose rows it creates.
PROCEDURES = {
    "BW_CreateClientGroupEx": "GroupDesc",
    "BW_CreateGroupOrder": "GroupOrders",
    "BW_CreateOrder": "Orders",
    "BW_CreateSecGroupEx": "SecGroups",
}


def _replace(workspace, procedure, new_start) -> None:
    """Replaces a procedure by itself with other statements at its start."""
    ((definition,),) = workspace.query_destination(f"SELECT pg_get_functiondef('\"{procedure}\"'::regproc)")
    assert definition.count("\nBEGIN\n") == 1
    workspace.execute_destination(definition.replace("\nBEGIN\n", f"\nBEGIN\n{new_start}\n"))


@pytest.mark.parametrize("procedure", PROCEDURES)
def test_failing_procedure_ends_the_run(new_workspace, procedure):
    table = PROCEDURES[procedure]
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()
    later = expectations.MIGRATED_TABLES[expectations.MIGRATED_TABLES.index(table) + 1 :]
    before = {name: workspace.query_destination(f'SELECT ctid, xmin, * FROM "{name}"') for name in later}
    written = {
        name: workspace.query_destination(f'SELECT * FROM "{name}" ORDER BY ctid')
        for name in expectations.MIGRATED_TABLES
    }
    _replace(
        workspace,
        procedure,
        f"IF (SELECT count(*) FROM \"{table}\") = 2 THEN RAISE EXCEPTION 'no third row'; END IF;",
    )

    run = workspace.run()

    assert run.console.endswith(f"\nStart migrate {table} table\n")
    entries = expectations.masked(workspace.log_file.read_text()).split("<time> :: ")
    assert [entry.partition(":")[0] for entry in entries[-4:-1]] == [
        f"Start migrate {table} table\n",
        "insert row(1)",
        "insert row(2)",
    ]
    assert entries[-1] == (
        "SQL Error: State = P0001 Code = 1 Message = ERROR: no third row;\nError while executing the query"
    )
    emptied = {"GroupDesc": {"Clients", "GroupOrders", "Orders"}, "GroupOrders": {"Orders"}}.get(table, set())
    for name in expectations.MIGRATED_TABLES:
        rows = workspace.query_destination(f'SELECT * FROM "{name}" ORDER BY ctid')
        if name == table:
            assert rows == written[name][:2]
        elif name in emptied:
            assert rows == [], name
        elif name in later:
            assert workspace.query_destination(f'SELECT ctid, xmin, * FROM "{name}"') == before[name], name
        else:
            assert rows == written[name], name
    assert run.errors == ""
    assert run.exit_code == 0


@pytest.mark.parametrize("procedure", PROCEDURES)
def test_missing_procedure_ends_the_run(new_workspace, procedure):
    table = PROCEDURES[procedure]
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.execute_destination(f'DROP PROCEDURE "{procedure}"')

    run = workspace.run()

    # It is missed where the first row is written.
    assert run.console.endswith(f"\nStart migrate {table} table\n")
    error = expectations.masked(workspace.log_file.read_text()).split("<time> :: ")[-1]
    assert error.startswith(f"SQL Error: State = 42883 Code = 1 Message = ERROR: procedure public.{procedure}(")
    assert error.endswith(") does not exist;\nError while preparing parameters")
    assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(0,)]
    assert run.exit_code == 0


@pytest.mark.parametrize("procedure", PROCEDURES)
def test_missing_procedure_does_not_matter_where_there_are_no_rows(new_workspace, procedure):
    workspace = new_workspace()
    workspace.execute_destination(f'DROP PROCEDURE "{procedure}"')

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.console(system_data=1)


def test_rows_have_the_identifiers_and_counters_that_the_procedures_give_them(new_workspace):
    def fill(path):
        source.insert(path, "GroupDesc", GroupID=5)
        source.insert(path, "GroupOrders", ID=71, GroupID=5, BWCounter=72)
        source.insert(path, "Orders", OrderID=73, GroupOrderID=71, BWCounter=74)
        source.insert(path, "SecGroups", ID=75)

    workspace = new_workspace(fill=fill)
    workspace.execute_destination(
        'ALTER TABLE "GroupDesc" ALTER "GroupID" SET START WITH 1001',
        'ALTER TABLE "GroupOrders" ALTER "ID" SET START WITH 1002, ALTER "BWCounter" SET START WITH 1003',
        'ALTER TABLE "Orders" ALTER "OrderID" SET START WITH 1004, ALTER "BWCounter" SET START WITH 1005',
        'ALTER TABLE "SecGroups" ALTER "ID" SET START WITH 1006',
    )

    workspace.run()

    for query, row in (
        ('SELECT "GroupID" FROM "GroupDesc"', (1001,)),
        ('SELECT "ID", "GroupID", "BWCounter" FROM "GroupOrders"', (1002, 1001, 1003)),
        ('SELECT "OrderID", "GroupOrderID", "BWCounter" FROM "Orders"', (1004, 1002, 1005)),
        ('SELECT "ID" FROM "SecGroups"', (1006,)),
    ):
        assert workspace.query_destination(query) == [row]
    # The log shows the source's.
    log = workspace.log_file.read_text()
    assert " :: insert row(1): [GroupID] = 5, " in log
    assert " :: insert row(1): [ID] = 71, [GroupID] = 5, " in log
    assert "[BWCounter] = 72, [VisibleQty] = 0;\n" in log
    assert " :: insert row(1): [OrderID] = 73, [GroupOrderID] = 71, " in log
    assert "[BWCounter] = 74;\n" in log
    assert " :: insert row(1): [ID] = 75, " in log
