"""Identifiers that later tables refer to: which are translated, by what, and what happens where one is missing."""

import pytest

import expectations
import sample_data
import source

INVALID_KEY = " :: invalid map<K, T> key"


@pytest.fixture
def new_source(new_workspace):
    """Makes workspaces from (table, values) pairs."""

    def make(*rows, without_constraints=()):
        def fill(path):
            for table in without_constraints:
                source.drop_constraints(path, table)
            for table, values in rows:
                source.insert(path, table, **values)

        return new_workspace(fill=fill)

    return make


def _assert_ends_at(table, workspace, run) -> None:
    """The run ended because of an identifier that has no translation."""
    assert run.console.endswith(f"\nStart migrate {table} table\n")
    assert workspace.log_file.read_text().endswith(INVALID_KEY)
    assert run.errors == ""
    assert run.exit_code == 0


def _assert_complete(run, rows) -> None:
    assert expectations.masked(run.console) == expectations.complete_console({"SystemData": 1} | rows)


def test_order_without_its_group_order_ends_the_run(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()
    before = {
        table: workspace.query_destination(f'SELECT ctid, xmin, * FROM "{table}" ORDER BY ctid')
        for table in expectations.MIGRATED_TABLES
    }
    # The seventh order.
    workspace.execute_source("UPDATE Orders SET GroupOrderID = 77 WHERE OrderID = 9013")

    run = workspace.run()

    _assert_ends_at("Orders", workspace, run)
    assert expectations.masked(run.console).endswith(
        "Complete migrate GroupOrders table. Total rows read = 16 Total migrated rows = 16."
        " Migration time is <ms> milliseconds\nStart migrate Orders table\n"
    )
    assert [line[19:54] for line in workspace.log_file.read_text().splitlines()[-8:]] == [
        " :: Start migrate Orders table",
        " :: insert row(1): [OrderID] = 9001",
        " :: insert row(2): [OrderID] = 9002",
        " :: insert row(3): [OrderID] = 9005",
        " :: insert row(4): [OrderID] = 9006",
        " :: insert row(5): [OrderID] = 9009",
        " :: insert row(6): [OrderID] = 9010",
        INVALID_KEY,
    ]
    assert workspace.query_destination('SELECT "OrderID", "GroupOrderID" FROM "Orders" ORDER BY ctid') == [
        (1, 1),
        (2, 2),
        (3, 3),
        (4, 4),
        (5, 5),
        (6, 6),
    ]
    for table in expectations.MIGRATED_TABLES[5:]:
        after = workspace.query_destination(f'SELECT ctid, xmin, * FROM "{table}" ORDER BY ctid')
        assert len(after) > 0
        assert after == before[table], table


def test_order_with_group_order_zero_ends_the_run(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}), ("GroupOrders", {"ID": 8, "GroupID": 5}), ("Orders", {"GroupOrderID": 0})
    )

    run = workspace.run()

    _assert_ends_at("Orders", workspace, run)
    assert workspace.query_destination('SELECT count(*) FROM "Orders"') == [(0,)]


def test_client_without_any_group_ends_the_run(new_source):
    workspace = new_source(("Clients", {"ClientCode": "KL1", "GroupID": 1}))

    run = workspace.run()

    _assert_ends_at("Clients", workspace, run)
    assert workspace.query_destination('SELECT count(*) FROM "Clients"') == [(0,)]


def test_client_of_an_unknown_group_ends_the_run(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("Clients", {"ClientCode": "KL1", "GroupID": 5}),
        # The new number of group 5 is no key.
        ("Clients", {"ClientCode": "KL2", "GroupID": 1}),
        ("Clients", {"ClientCode": "KL3", "GroupID": 5}),
    )

    run = workspace.run()

    _assert_ends_at("Clients", workspace, run)
    assert workspace.query_destination('SELECT "ClientCode", "GroupID" FROM "Clients"') == [("KL1", 1)]


def test_group_order_of_an_unknown_group_ends_the_run(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("GroupOrders", {"ID": 1, "GroupID": 5}),
        ("GroupOrders", {"ID": 2, "GroupID": 6}),
    )

    run = workspace.run()

    _assert_ends_at("GroupOrders", workspace, run)
    assert workspace.query_destination('SELECT "ID", "GroupID" FROM "GroupOrders"') == [(1, 1)]


def test_group_negotiated_order_of_an_unknown_group_ends_the_run(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("GroupNegOrders", {"ID": 1, "GroupID": 5}),
        ("GroupNegOrders", {"ID": 2, "GroupID": 6}),
        ("NegOrders", {"OrderId": 1}),
    )

    run = workspace.run()

    _assert_ends_at("GroupNegOrders", workspace, run)
    assert workspace.query_destination('SELECT "ID", "GroupID" FROM "GroupNegOrders"') == [(1, 1)]
    assert workspace.query_destination('SELECT count(*) FROM "NegOrders"') == [(0,)]


def test_two_groups_of_one_identifier_are_created_and_the_first_is_referred_to(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5, "GroupCode": "first"}),
        ("GroupDesc", {"GroupID": 5, "GroupCode": "second"}),
        ("Clients", {"ClientCode": "KL1", "GroupID": 5}),
        ("GroupOrders", {"ID": 3, "GroupID": 5}),
        ("GroupNegOrders", {"ID": 4, "GroupID": 5}),
        without_constraints=("GroupDesc",),
    )

    run = workspace.run()

    _assert_complete(run, {"GroupDesc": 2, "Clients": 1, "GroupOrders": 1, "GroupNegOrders": 1})
    assert workspace.query_destination('SELECT "GroupID", "GroupCode" FROM "GroupDesc" ORDER BY ctid') == [
        (1, "first"),
        (2, "second"),
    ]
    for table in ("Clients", "GroupOrders", "GroupNegOrders"):
        assert workspace.query_destination(f'SELECT "GroupID" FROM "{table}"') == [(1,)], table


def test_two_group_orders_of_one_identifier_are_created_and_the_first_is_referred_to(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("GroupOrders", {"ID": 3, "GroupID": 5}),
        ("GroupOrders", {"ID": 3, "GroupID": 5}),
        ("Orders", {"OrderID": 9, "GroupOrderID": 3}),
        without_constraints=("GroupOrders",),
    )

    run = workspace.run()

    _assert_complete(run, {"GroupDesc": 1, "GroupOrders": 2, "Orders": 1})
    assert workspace.query_destination('SELECT "ID" FROM "GroupOrders" ORDER BY ctid') == [(1,), (2,)]
    assert workspace.query_destination('SELECT "OrderID", "GroupOrderID" FROM "Orders"') == [(1, 1)]


def test_references_get_the_identifiers_that_the_procedures_return(new_source):
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("GroupDesc", {"GroupID": -7}),
        ("Clients", {"ClientCode": "KL1", "GroupID": -7}),
        ("Clients", {"ClientCode": "KL2", "GroupID": 5}),
        ("GroupOrders", {"ID": 1, "GroupID": -7}),
        ("GroupOrders", {"ID": 2, "GroupID": 5}),
        ("Orders", {"OrderID": 1, "GroupOrderID": 2}),
        ("Orders", {"OrderID": 2, "GroupOrderID": 1}),
        ("GroupNegOrders", {"ID": 1, "GroupID": -7}),
    )
    workspace.execute_destination(
        'ALTER TABLE "GroupDesc" ALTER "GroupID" SET START WITH 300 SET INCREMENT BY 50',
        'ALTER TABLE "GroupOrders" ALTER "ID" SET MAXVALUE 2147483647 SET START WITH 2147483640 SET INCREMENT BY 7',
    )

    workspace.run()

    assert workspace.query_destination('SELECT "GroupID" FROM "GroupDesc" ORDER BY ctid') == [(300,), (350,)]
    assert workspace.query_destination('SELECT "ClientCode", "GroupID" FROM "Clients" ORDER BY ctid') == [
        ("KL1", 350),
        ("KL2", 300),
    ]
    assert workspace.query_destination('SELECT "ID", "GroupID" FROM "GroupOrders" ORDER BY ctid') == [
        (2147483640, 350),
        (2147483647, 300),
    ]
    assert workspace.query_destination('SELECT "GroupOrderID" FROM "Orders" ORDER BY ctid') == [
        (2147483647,),
        (2147483640,),
    ]
    assert workspace.query_destination('SELECT "GroupID" FROM "GroupNegOrders"') == [(350,)]


def test_orders_in_a_pool_get_the_identifier_of_the_pool_read_at_their_position(new_source):
    workspace = new_source(
        ("PoolOrders", {"PoolID": 10, "PoolName": "ten"}),
        ("PoolOrders", {"PoolID": 20, "PoolName": "twenty"}),
        ("OrdersInPool", {"OrderID": 1, "PoolID": 1}),
        ("OrdersInPool", {"OrderID": 2, "PoolID": 2}),
        ("OrdersInPool", {"OrderID": 3, "PoolID": 1}),
        ("OrdersInPool", {"OrderID": 4, "PoolID": 10}),
        ("OrdersInPool", {"OrderID": 5, "PoolID": 1}),
    )

    run = workspace.run()

    assert workspace.query_destination('SELECT "PoolID", "PoolName" FROM "PoolOrders" ORDER BY ctid') == [
        (1, "ten"),
        (2, "twenty"),
    ]
    assert workspace.query_destination('SELECT "OrderID", "PoolID" FROM "OrdersInPool" ORDER BY ctid') == [
        (1, 10),
        (2, 20),
        (3, 10),
    ]
    _assert_ends_at("OrdersInPool", workspace, run)


def test_orders_in_pools_numbered_in_reading_order_keep_their_pool(new_source):
    workspace = new_source(
        ("PoolOrders", {"PoolID": 1}),
        ("PoolOrders", {"PoolID": 2}),
        ("OrdersInPool", {"OrderID": 1, "PoolID": 2}),
        ("OrdersInPool", {"OrderID": 2, "PoolID": 1}),
    )

    run = workspace.run()

    _assert_complete(run, {"PoolOrders": 2, "OrdersInPool": 2})
    assert workspace.query_destination('SELECT "PoolID" FROM "OrdersInPool" ORDER BY ctid') == [(2,), (1,)]


@pytest.mark.parametrize("pool", [0, 1, 3, -1])
def test_order_in_a_pool_beyond_the_pools_read_ends_the_run(new_source, pool):
    pools = [] if pool == 1 else [("PoolOrders", {"PoolID": 1}), ("PoolOrders", {"PoolID": 2})]
    workspace = new_source(*pools, ("OrdersInPool", {"PoolID": pool}))

    run = workspace.run()

    _assert_ends_at("OrdersInPool", workspace, run)
    assert workspace.query_destination('SELECT count(*) FROM "OrdersInPool"') == [(0,)]


def test_members_of_security_groups_with_gaps_keep_the_number_of_their_group(new_source):
    workspace = new_source(
        ("SecGroups", {"ID": 1, "SecGCode": "one"}),
        ("SecGroups", {"ID": 2, "SecGCode": "two"}),
        ("SecGroups", {"ID": 5, "SecGCode": "five"}),
        ("SecGrMemb", {"GroupID": 5, "MembCode": "AURX"}),
        ("SecGrMemb", {"GroupID": 2, "MembCode": "BLTK"}),
    )

    run = workspace.run()

    _assert_complete(run, {"SecGroups": 3, "SecGrMemb": 2})
    assert workspace.query_destination('SELECT "ID", "SecGCode" FROM "SecGroups" ORDER BY ctid') == [
        (1, "one"),
        (2, "two"),
        (3, "five"),
    ]
    assert workspace.query_destination('SELECT "GroupID", "MembCode" FROM "SecGrMemb" ORDER BY "MembCode"') == [
        (5, "AURX"),
        (2, "BLTK"),
    ]


def test_scales_of_rating_agencies_with_gaps_keep_the_number_of_their_agency(new_source):
    workspace = new_source(
        ("RatingAgencies", {"AgencyID": 1, "AgencyCode": "one"}),
        ("RatingAgencies", {"AgencyID": 2, "AgencyCode": "two"}),
        ("RatingAgencies", {"AgencyID": 4, "AgencyCode": "four"}),
        ("RatingScales", {"RatingID": 7, "AgencyID": 4, "Rating": "AAA"}),
        ("RatingScales", {"RatingID": 9, "AgencyID": 2, "Rating": "AA"}),
    )

    run = workspace.run()

    _assert_complete(run, {"RatingAgencies": 3, "RatingScales": 2})
    assert workspace.query_destination('SELECT "AgencyID", "AgencyCode" FROM "RatingAgencies" ORDER BY ctid') == [
        (1, "one"),
        (2, "two"),
        (3, "four"),
    ]
    assert workspace.query_destination('SELECT "RatingID", "AgencyID", "Rating" FROM "RatingScales" ORDER BY ctid') == [
        (1, 4, "AAA"),
        (2, 2, "AA"),
    ]


def test_imports_get_consecutive_numbers(new_source):
    workspace = new_source(
        *(("ImportLog", {"ID": number, "ImportType": f"import {number}"}) for number in (7, 9, 12))
    )

    run = workspace.run()

    _assert_complete(run, {"ImportLog": 3})
    assert workspace.query_destination('SELECT "ID", "ImportType" FROM "ImportLog" ORDER BY ctid') == [
        (1, "import 7"),
        (2, "import 9"),
        (3, "import 12"),
    ]
    assert "insert row(3): [ID] = 12, [ImportType] = import 12, " in workspace.log_file.read_text()


def test_rows_that_are_not_translated_keep_numbers_of_rows_that_are(new_source):
    """Stop orders, negotiated orders, restrictions and exported orders refer to the source's identifiers."""
    workspace = new_source(
        ("GroupDesc", {"GroupID": 5}),
        ("GroupOrders", {"ID": 8, "GroupID": 5}),
        ("SecGroups", {"ID": 9}),
        ("Restrictions", {"ID": 2, "SecGroupID": 9, "CoSecGroupID": 11}),
        ("GroupStopOrders", {"ID": 3, "GroupID": 5, "LinkedGrOrder": 8}),
        ("StopOrders", {"OrderID": 4, "GroupOrderID": 8}),
        ("NegOrders", {"OrderId": 6, "GroupOrderID": 8}),
        ("ExportOrder", {"ID": 7, "OrderID": 21, "GroupOrderID": 8, "UserGroupID": 5, "PoolID": 22}),
    )

    workspace.run()

    for query, row in (
        ('SELECT "ID", "SecGroupID", "CoSecGroupID" FROM "Restrictions"', (2, 9, 11)),
        ('SELECT "ID", "GroupID", "LinkedGrOrder" FROM "GroupStopOrders"', (3, 5, 8)),
        ('SELECT "OrderID", "GroupOrderID" FROM "StopOrders"', (4, 8)),
        ('SELECT "OrderId", "GroupOrderID" FROM "NegOrders"', (6, 8)),
        ('SELECT "ID", "OrderID", "GroupOrderID", "UserGroupID", "PoolID" FROM "ExportOrder"', (7, 21, 8, 5, 22)),
    ):
        assert workspace.query_destination(query) == [row]
