"""Fields whose bytes are read as another type than they were written as."""

import pytest

import expectations
import source

INT_MIN = -2147483648


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces with rows of one table."""

    def make(table, rows):
        def fill(path):
            for row in rows:
                source.insert(path, table, **row)

        return new_workspace(fill=fill)

    return make


def _export_orders(broker_pools) -> list[dict]:
    return [{"ID": number, "BrokerPoolID": text} for number, text in enumerate(broker_pools, start=1)]


def _broker_pools(workspace) -> list[str]:
    return [text for (text,) in workspace.query_destination('SELECT "BrokerPoolID" FROM "ExportOrder" ORDER BY "ID"')]


def test_broker_pool_of_an_exported_order_is_the_bytes_of_its_number(new_source):
    workspace = new_source(
        "ExportOrder",
        # 65 is 41, 16961 is 41 42, 1145258561 is 41 42 43 44; 256 begins with a zero.
        _export_orders(["65", "256", "16961", "0", "1145258561", None, "66", "4407873", " 67 ", "+68", "0069", ""]),
    )

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 1, "ExportOrder": 12})
    # 4407873 is 41 42 43; a text of blanks or nothing counts as 0.
    assert _broker_pools(workspace) == ["A", "", "AB", "", "ABCD", "", "B", "ABC", "C", "D", "E", ""]
    log = expectations.masked(workspace.log_file.read_text())
    assert "<time> :: insert row(5): [ID] = 5, " in log
    assert "[PoolID] = 0, [BrokerPoolID] = ABCD, [ClientCode] = " in log


@pytest.mark.parametrize("text", ["12x", "BP7", "1 2", "2147483648", "99999999999999999999"])
def test_broker_pool_that_is_no_number_ends_the_table_like_its_end(new_source, text):
    workspace = new_source("ExportOrder", _export_orders(["65", text, "66"]))

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 1, "ExportOrder": 1})
    assert _broker_pools(workspace) == ["A"]
    assert run.errors == ""
    assert run.exit_code == 0


@pytest.mark.parametrize(("number", "refused"), [("233", "0xe9"), ("-1", "0xff")])
def test_broker_pool_whose_bytes_are_no_text_ends_the_run(new_source, number, refused):
    workspace = new_source("ExportOrder", _export_orders(["65", number, "66"]))

    run = workspace.run()

    assert run.console.endswith("\nStart migrate ExportOrder table\n")
    assert workspace.log_file.read_text().endswith(
        " :: SQL Error: State = 22021 Code = 1 Message = "
        f'ERROR: invalid byte sequence for encoding "UTF8": {refused};\nError while executing the query'
    )
    assert _broker_pools(workspace) == ["A"]


def test_mode_of_a_restriction_is_the_number_of_its_first_four_bytes(new_source):
    modes = ["1", "12", "123", "1234", "12345", "", "A", "1234567890", "12", ""]
    workspace = new_source("Restrictions", [{"ID": number, "Mode": mode} for number, mode in enumerate(modes)])

    run = workspace.run()

    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 1, "Restrictions": 10})
    assert workspace.query_destination('SELECT "Mode" FROM "Restrictions" ORDER BY "ID"') == [
        ("49",),
        (str(0x3231),),
        (str(0x333231),),
        (str(0x34333231),),
        (str(0x34333231),),
        # Only the zero that ends a text is written behind it; the other bytes are those of the row before.
        (str(0x34333200),),
        (str(0x34330041),),
        (str(0x34333231),),
        (str(0x34003231),),
        (str(0x34003200),),
    ]
    # The log shows the text.
    assert "[Client] = , [Mode] = 1234567890, [Limit] = " in workspace.log_file.read_text()


def test_term_and_flags_of_a_negotiated_order_are_the_lower_halves_of_their_doubles(new_source):
    # 7.0 is 401C0000 00000000, 2097151.0 413FFFFF 00000000, 2097153.0 41400000 80000000, 2147483647.0 41DFFFFF
    # FFC00000, -2147483648.0 C1E00000 00000000, -2147483647.0 C1DFFFFF FFC00000.
    values = [
        (7, 0),
        (2097151, 0),
        (2097153, INT_MIN),
        (2147483647, -4194304),
        (INT_MIN, 0),
        (-2147483647, -4194304),
        (0, 0),
        (None, INT_MIN),
    ]
    rows = [
        {"OrderId": number, "RepoTerm": value, "Flags": value, "BWUserID": 5}
        for number, (value, _) in enumerate(values)
    ]
    workspace = new_source("NegOrders", rows)

    workspace.run()

    assert workspace.query_destination(
        'SELECT "RepoTerm", "Flags", "BWUserID" FROM "NegOrders" ORDER BY "OrderId"'
    ) == [(stored, stored, 5) for _, stored in values]


def test_term_and_flags_of_a_group_negotiated_order_keep_their_values(new_workspace):
    def fill(path):
        source.insert(path, "GroupDesc", GroupID=1)
        source.insert(path, "GroupNegOrders", GroupID=1, RepoTerm=7, Flags=2147483647, OrderType=-5)

    workspace = new_workspace(fill=fill)

    workspace.run()

    assert workspace.query_destination('SELECT "RepoTerm", "Flags", "OrderType" FROM "GroupNegOrders"') == [
        (7, 2147483647, -5)
    ]
