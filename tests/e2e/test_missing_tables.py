"""Tables that the source lacks."""

import pytest

import expectations
import sample_data

ALL = expectations.MIGRATED_TABLES


@pytest.fixture
def run_without(new_workspace):
    """Runs without a table of the source. Returns the workspace, the run, and its last log entry without the time."""

    def run(table):
        workspace = new_workspace(system_data=(), fill=sample_data.fill)
        workspace.execute_source(f"DROP TABLE {table}")
        finished = workspace.run()
        entries = expectations.masked(workspace.log_file.read_text()).split("<time> :: ")
        return workspace, finished, entries[-1]

    return run


def _assert_ended_before(table, workspace, run) -> None:
    previous = ALL[: ALL.index(table)]
    assert [line for line in run.console.splitlines() if line.startswith("Start")] == [
        f"Start migrate {name} table" for name in previous
    ]
    assert run.console.endswith(" milliseconds\n")
    filled = {name for name in ALL if workspace.query_destination(f'SELECT count(*) > 0 FROM "{name}"') == [(True,)]}
    assert filled == set(previous)
    assert run.errors == ""
    assert run.exit_code == 0


@pytest.mark.parametrize("table", ["GroupDesc", "Orders", "PoolOrders", "NegOrders"])
def test_missing_table_ends_the_run(run_without, table):
    workspace, run, entry = run_without(table)

    _assert_ended_before(table, workspace, run)
    assert entry == (
        f"SQL Error: State = S0002 Code = 208 Message = [FreeTDS][SQL Server]Invalid object name 'dbo.{table}'."
    )


def test_missing_group_orders_end_the_run_with_an_empty_entry(run_without):
    workspace, run, entry = run_without("GroupOrders")

    _assert_ended_before("GroupOrders", workspace, run)
    assert entry == ""
