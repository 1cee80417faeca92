"""Source databases of a few rows, clean or with random flaws. A seed always gives the same database."""

import contextlib
import random
import sqlite3

import sample_data
import source

# How many rows a table has at most; the tables that others refer to have at least one.
_MOST_ROWS = 6
_REFERRED = ("GroupDesc", "GroupOrders", "SecGroups", "RatingAgencies", "LoadedSecurities", "PoolOrders")

# The first column of these tables is numbered 1, 2, 3 ... in a clean source, so that the destination's new numbers are
# the same.
_NUMBERED = (
    "GroupDesc", "GroupOrders", "Orders", "SecGroups", "ImportLog", "LoadedPositions", "RatingAgencies", "RatingScales",
    "LoadedSecurities", "Restrictions", "PoolOrders", "OrdersInPool", "GroupStopOrders", "StopOrders", "GroupNegOrders",
    "NegOrders", "ExportOrder",
)  # fmt: skip

_REFERENCES = {
    ("Clients", "GroupID"): "GroupDesc",
    ("GroupOrders", "GroupID"): "GroupDesc",
    ("Orders", "GroupOrderID"): "GroupOrders",
    ("SecGrMemb", "GroupID"): "SecGroups",
    ("RatingScales", "AgencyID"): "RatingAgencies",
    ("LoadedSecuritiesClientPrices", "SecID"): "LoadedSecurities",
    ("Restrictions", "SecGroupID"): "SecGroups",
    ("Restrictions", "CoSecGroupID"): "SecGroups",
    ("OrdersInPool", "PoolID"): "PoolOrders",
    ("GroupStopOrders", "GroupID"): "GroupDesc",
    ("StopOrders", "GroupOrderID"): "GroupOrders",
    ("GroupNegOrders", "GroupID"): "GroupDesc",
    ("NegOrders", "GroupOrderID"): "GroupOrders",
    ("ExportOrder", "OrderID"): "Orders",
    ("ExportOrder", "GroupOrderID"): "GroupOrders",
    ("ExportOrder", "UserGroupID"): "GroupDesc",
    ("ExportOrder", "PoolID"): "PoolOrders",
}

# What would arrive as something else.
_PLAIN_VALUES = {("NegOrders", "RepoTerm"): 0, ("NegOrders", "Flags"): 0, ("ExportOrder", "BrokerPoolID"): ""}

# Numbers from here on name no row and stay as they are.
_LARGE = 1_000_000

_LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-/ "


def create(path, seed: int, flaws: int) -> list[str]:
    """Creates the source anew with the given number of flaws, and returns what they are."""
    chance = random.Random(seed)
    path.unlink(missing_ok=True)
    _create_tables(path)
    counts = {table: chance.randint(1 if table in _REFERRED else 0, _MOST_ROWS) for table in sample_data.TABLES}
    rows = _clean_rows(path, chance, counts)
    done = [chance.choice(_FLAWS)(chance, rows) for _ in range(flaws)]
    _insert(path, rows)
    return done


def create_clean(path) -> None:
    """Fills the empty source with three rows of each table, but of Restrictions none, that arrive as they are.

    They are numbered 1, 2 and 3. Nothing but the numbers of rows and the references between them is worth relying on.
    """
    for table in sample_data.TABLES:
        source.drop_constraints(path, table)
    _insert(path, _clean_rows(path, random.Random(1), dict.fromkeys(sample_data.TABLES, 3)))


def _insert(path, rows) -> None:
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.execute("PRAGMA synchronous = OFF")
        for table, of_table in rows.items():
            for row in of_table:
                markers = ", ".join("?" * len(row))
                connection.execute(f"INSERT INTO [{table}] VALUES ({markers})", list(row.values()))


def _create_tables(path) -> None:
    """The 22 tables without keys and with NULL allowed everywhere."""
    sample_data.create_source(path)
    for table in sample_data.TABLES:
        source.drop_constraints(path, table)


def _clean_rows(path, chance, counts) -> dict[str, list[dict]]:
    # Whatever its Mode, a restriction arrives changed.
    counts = counts | {"Restrictions": 0}
    rows = {}
    for table in sample_data.TABLES:
        kinds = source.columns(path, table)
        rows[table] = [
            {name: _value(chance, table, name, kind, number, counts) for name, kind in kinds.items()}
            for number in range(1, counts[table] + 1)
        ]
    rows["SystemData"].insert(0, {"KeyName": "dbver", "KeyValue": "29"})
    return rows


def _value(chance, table, name, kind, number, counts):
    if (table, name) in _PLAIN_VALUES:
        return _PLAIN_VALUES[table, name]
    if (table, name) in _REFERENCES:
        referred = _REFERENCES[table, name]
        return chance.randint(1, counts[referred]) if counts[referred] else 0
    if table in _NUMBERED and name.lower() in ("id", "groupid", "orderid", "secid", "posid", "poolid", "agencyid",
                                               "ratingid"):
        return number
    if kind == "int":
        # Unlike for every row, so that no key of a clean source is there twice.
        return 1000 * number + chance.randint(0, 999)
    if kind == "float":
        return chance.choice((0.0, 1.5, -2.25, 0.1, 1e300, round(chance.uniform(-1000, 1000), 2)))
    width = min(int(kind.partition("(")[2].rstrip(")")), 12)
    if width == 1:
        return chance.choice(_LETTERS)
    return f"{number}{''.join(chance.choices(_LETTERS, k=chance.randint(0, width - 2)))}"[:width]


def _some_row(chance, rows, tables=None):
    choices = [(table, row) for table in tables or rows for row in rows[table] if row.get("KeyName") != "dbver"]
    return chance.choice(choices) if choices else (None, None)


def _null(chance, rows) -> str:
    table, row = _some_row(chance, rows)
    if row is None:
        return "nothing"
    name = chance.choice(list(row))
    row[name] = None
    return f"NULL in {table}.{name}"


def _null_by_column(chance, rows) -> str:
    table, row = _some_row(chance, rows, ("GroupNegOrders", "NegOrders", "ExportOrder"))
    if row is None:
        return "nothing"
    name = chance.choice(list(row))
    row[name] = None
    return f"NULL in {table}.{name}"


def _gap(chance, rows) -> str:
    """Numbers with a gap, which the references follow."""
    table = chance.choice(("GroupDesc", "GroupOrders", "Orders", "SecGroups", "RatingAgencies", "PoolOrders"))
    if not rows[table]:
        return "nothing"
    number = next(iter(rows[table][0]))
    first = chance.randint(1, len(rows[table]))
    step = chance.randint(1, 9)
    for row in rows[table]:
        if row[number] is not None and row[number] >= first:
            row[number] += step
    for (referring, name), referred in _REFERENCES.items():
        for row in rows[referring] if referred == table else ():
            if row[name] is not None and first <= row[name] < _LARGE:
                row[name] += step
    return f"{table} from {first} on {step} higher"


def _missing(chance, rows) -> str:
    table, name = chance.choice(list(_REFERENCES))
    if not rows[table]:
        return "nothing"
    row = chance.choice(rows[table])
    row[name] = chance.choice((0, -1, 77, 2147483647))
    return f"{table}.{name} = {row[name]}"


def _twice(chance, rows) -> str:
    table, row = _some_row(chance, rows)
    if row is None:
        return "nothing"
    rows[table].insert(chance.randint(0, len(rows[table])), dict(row))
    return f"a row of {table} twice"


def _another_order(chance, rows) -> str:
    table = chance.choice(list(rows))
    chance.shuffle(rows[table])
    return f"{table} in another order"


def _pools(chance, rows) -> str:
    numbers = chance.sample(range(1, 9), len(rows["PoolOrders"]))
    for row, number in zip(rows["PoolOrders"], numbers, strict=True):
        row["PoolID"] = number
    return f"pools {numbers}"


def _broker_pool(chance, rows) -> str:
    if not rows["ExportOrder"]:
        return "nothing"
    row = chance.choice(rows["ExportOrder"])
    row["BrokerPoolID"] = chance.choice(
        ("65", "0", "256", "16961", "1145258561", " 66 ", "+67", "0068", "-5", "195", "12.5", "- 7", "65x", "BROKER-1", "2147483648", None)
    )
    return f"ExportOrder.BrokerPoolID = {row['BrokerPoolID']!r}"


def _restriction(chance, rows) -> str:
    number = len(rows["Restrictions"]) + 1
    row = {
        "ID": number, "RestType": "A", "Client": "C1", "Mode": chance.choice(("", "1", "22", "LIMIT", "HARDLIMIT1")),
        "Limit": 1.5, "SecGroupID": 1, "CoSecGroupID": 1, "disabled": "0", "Value": 2.5, "NoCheck": 0, "BWUserID": 1,
        "BWSessionID": "S", "BWCounter": 1, "LimitKind": 0, "RestrCode": "R", "RestrName": "N",
    }  # fmt: skip
    rows["Restrictions"].append(row)
    return f"Restrictions.Mode = {row['Mode']!r}"


def _half_double(chance, rows) -> str:
    if not rows["NegOrders"]:
        return "nothing"
    row = chance.choice(rows["NegOrders"])
    name = chance.choice(("RepoTerm", "Flags"))
    row[name] = chance.choice((7, -1, 2147483647, 2097153, None))
    return f"NegOrders.{name} = {row[name]}"


def _long_text(chance, rows) -> str:
    table, name, length = chance.choice((("Clients", "Comment", 80), ("LoadedPositions", "ClientCode", 18)))
    if not rows[table]:
        return "nothing"
    chance.choice(rows[table])[name] = "X" * length
    return f"a long {table}.{name}"


def _letter(chance, rows) -> str:
    """A letter beyond ASCII: two bytes, so that a column of one letter has no room for it."""
    table, row = _some_row(chance, rows)
    texts = [name for name, value in (row or {}).items() if isinstance(value, str)]
    if not texts:
        return "nothing"
    name = chance.choice(texts)
    row[name] = "é"
    return f"é in {table}.{name}"


def _zero_byte(chance, rows) -> str:
    table, row = _some_row(chance, rows)
    texts = [name for name, value in (row or {}).items() if isinstance(value, str) and len(value) > 3]
    if not texts:
        return "nothing"
    name = chance.choice(texts)
    row[name] = row[name][:2] + "\0" + row[name][3:]
    return f"a zero byte in {table}.{name}"


_FLAWS = (
    _null, _null_by_column, _gap, _missing, _twice, _another_order, _pools, _broker_pool, _restriction, _half_double,
    _long_text, _letter, _zero_byte,
)  # fmt: skip

# What makes the destination refuse rows, and how it is undone.
DESTINATION_FLAWS = (
    None,
    None,
    (
        'ALTER TABLE "StopOrders" ADD CONSTRAINT few CHECK ("TransFlags" < 3000)',
        'ALTER TABLE "StopOrders" DROP CONSTRAINT few',
    ),
    (
        'ALTER TABLE "GroupOrders" ADD CONSTRAINT known CHECK ("Buy" <> \'B\' OR "ML" <> \'L\')',
        'ALTER TABLE "GroupOrders" DROP CONSTRAINT known',
    ),
    (
        'ALTER TABLE "SecGroups" ALTER COLUMN "SecGName" TYPE varchar(8)',
        'ALTER TABLE "SecGroups" ALTER COLUMN "SecGName" TYPE varchar(255)',
    ),
    (
        'ALTER TABLE "ImportLog" ADD CONSTRAINT once UNIQUE ("BWUserID")',
        'ALTER TABLE "ImportLog" DROP CONSTRAINT once',
    ),
    (
        'ALTER TABLE "Restrictions" ADD CONSTRAINT group_there FOREIGN KEY ("ID") REFERENCES "LoadedSecurities"',
        'ALTER TABLE "Restrictions" DROP CONSTRAINT group_there',
    ),
)


def empty_destination(workspace) -> None:
    """Empties the 22 tables."""
    names = ", ".join(f'"{table}"' for table in sample_data.TABLES)
    workspace.execute_destination(f"TRUNCATE {names} CASCADE")


def row_counts(workspace) -> dict[str, int]:
    """The number of rows of each destination table."""
    counts = " UNION ALL ".join(f"SELECT '{table}', count(*) FROM \"{table}\"" for table in sample_data.TABLES)
    return dict(workspace.query_destination(counts))
