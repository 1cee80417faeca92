"""Which tables of the destination are emptied, and when."""

import pytest

import expectations
import sample_data
import source

ALL = expectations.MIGRATED_TABLES


@pytest.fixture
def filled(new_workspace):
    """A workspace whose destination already holds the sample data, in other rows than the next run would write."""
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()
    return workspace


def _content(workspace) -> dict:
    """The rows of each table with their places: a row that is written again is another row."""
    return {table: workspace.query_destination(f'SELECT ctid, xmin, * FROM "{table}" ORDER BY ctid') for table in ALL}


def _refuse_rows(workspace, table) -> None:
    workspace.execute_destination(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RAISE 'the desk is closed'; END$$",
        f'CREATE TRIGGER refuse BEFORE INSERT ON "{table}" FOR EACH ROW EXECUTE FUNCTION refuse()',
    )


def _run_until(table, workspace) -> dict:
    """Runs until the first row of a table is refused. Returns the content of the destination before and after."""
    _refuse_rows(workspace, table)
    before = _content(workspace)
    assert all(before.values())
    run = workspace.run()
    assert run.console.endswith(f"\nStart migrate {table} table\n")
    assert workspace.log_file.read_text().endswith(
        " :: SQL Error: State = P0001 Code = 1 Message = ERROR: the desk is closed;\nError while executing the query"
    )
    return before, _content(workspace)


def _assert_emptied_and_untouched(before, after, emptied, table) -> None:
    assert {name for name in ALL if not after[name]} == set(emptied)
    for name in ALL[ALL.index(table) + 1 :]:
        if name not in emptied:
            assert after[name] == before[name], name


def test_emptying_client_groups_empties_what_refers_to_them(filled):
    before, after = _run_until("GroupDesc", filled)

    # Orders refer to the groups through the group orders.
    _assert_emptied_and_untouched(before, after, ["GroupDesc", "Clients", "GroupOrders", "Orders"], "GroupDesc")


def test_emptying_group_orders_empties_their_orders(filled):
    # Without their reference to the client groups, group orders and orders outlast the emptying of those.
    filled.execute_destination('ALTER TABLE "GroupOrders" DROP CONSTRAINT "GroupOrders_GroupID_fkey"')

    before, after = _run_until("GroupOrders", filled)

    _assert_emptied_and_untouched(before, after, ["GroupOrders", "Orders"], "GroupOrders")


def test_orders_that_refer_to_nothing_are_not_emptied_before_their_turn(filled):
    filled.execute_destination('ALTER TABLE "Orders" DROP CONSTRAINT "Orders_GroupOrderID_fkey"')

    before, after = _run_until("GroupOrders", filled)

    _assert_emptied_and_untouched(before, after, ["GroupOrders"], "GroupOrders")


def test_emptying_securities_empties_their_client_prices(filled):
    before, after = _run_until("LoadedSecurities", filled)

    _assert_emptied_and_untouched(
        before, after, ["LoadedSecurities", "LoadedSecuritiesClientPrices"], "LoadedSecurities"
    )


def test_emptying_pools_empties_what_refers_to_them(filled):
    filled.execute_destination('ALTER TABLE "OrdersInPool" ADD FOREIGN KEY ("PoolID") REFERENCES "PoolOrders"')

    before, after = _run_until("PoolOrders", filled)

    _assert_emptied_and_untouched(before, after, ["PoolOrders", "OrdersInPool"], "PoolOrders")


@pytest.mark.parametrize("table", ["GroupDesc", "GroupOrders", "LoadedSecurities", "PoolOrders"])
def test_four_tables_are_emptied_with_tables_of_others_that_refer_to_them(new_workspace, table):
    workspace = new_workspace()
    _refer_to(workspace, table)

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.console(system_data=1)
    assert workspace.query_destination("SELECT count(*) FROM notes") == [(0,)]


@pytest.mark.parametrize(
    "table", [table for table in ALL if table not in ("GroupDesc", "GroupOrders", "LoadedSecurities", "PoolOrders")]
)
def test_any_other_table_that_is_referred_to_ends_the_run(new_workspace, table):
    workspace = new_workspace()
    _refer_to(workspace, table)

    run = workspace.run()

    previous = ALL[: ALL.index(table)]
    assert [line for line in run.console.splitlines() if line.startswith("Start")] == [
        f"Start migrate {name} table" for name in previous
    ]
    assert workspace.log_file.read_text().endswith(
        " :: SQL Error: State = 0A000 Code = 1 Message = "
        "ERROR: cannot truncate a table referenced in a foreign key constraint\n"
        f'DETAIL: Table "notes" references "{table}".;\n'
        "Error while executing the query"
    )
    # The emptying of the tables that these three refer to has reached the notes before.
    left = 0 if table in ("Clients", "Orders", "LoadedSecuritiesClientPrices") else 1
    assert workspace.query_destination("SELECT count(*) FROM notes") == [(left,)]
    assert run.exit_code == 0


def _refer_to(workspace, table) -> None:
    """Makes a table with one row that could refer to a table of the program."""
    workspace.execute_destination(
        f'ALTER TABLE "{table}" ADD note integer UNIQUE',
        f'CREATE TABLE notes (note integer REFERENCES "{table}" (note))',
        "INSERT INTO notes VALUES (NULL)",
        "ALTER TABLE notes OWNER TO bw_migrator",
    )


def test_an_empty_source_empties_the_destination(filled):
    for table in ALL:
        filled.execute_source(f"DELETE FROM {table}")
    source.insert(filled.source_file, "SystemData", KeyName="dbver", KeyValue="29")

    run = filled.run()

    assert expectations.masked(run.console) == expectations.console(system_data=1)
    log = expectations.masked(filled.log_file.read_text())
    assert log == expectations.log(["[KeyName] = dbver, [KeyValue] = 29;"])
    assert filled.query_destination('SELECT * FROM "SystemData"') == [("dbver", "29")]
    for table in ALL[1:]:
        assert filled.query_destination(f'SELECT count(*) FROM "{table}"') == [(0,)], table
    assert run.errors == ""
    assert run.exit_code == 0
