"""Source databases of a few rows, clean or with random flaws. A seed always gives the same database."""

import contextlib
import functools
import pathlib
import random
import re
import sqlite3
import tempfile

import sample_data
import source

# How many rows a table has at most; the tables that others refer to have at least one.
_MOST_ROWS = 8
_REFERRED = ("GroupDesc", "GroupOrders", "SecGroups", "RatingAgencies", "LoadedSecurities", "PoolOrders")

# At least how many rows a table has that a wish names.
_FEWEST_WISHED_ROWS = 4

# The first column of these tables is numbered 1, 2, 3 ... in a clean source, so that the destination's new numbers are
# the same.
_NUMBERED = (
    "GroupDesc", "GroupOrders", "Orders", "SecGroups", "ImportLog", "LoadedPositions", "RatingAgencies", "RatingScales",
    "LoadedSecurities", "Restrictions", "PoolOrders", "OrdersInPool", "GroupStopOrders", "StopOrders", "GroupNegOrders",
    "NegOrders", "ExportOrder",
)  # fmt: skip

# The columns that name a row of another table by the number that it has in the source.
REFERENCES = {
    ("Clients", "GroupID"): "GroupDesc",
    ("GroupOrders", "GroupID"): "GroupDesc",
    ("GroupOrders", "PoolID"): "PoolOrders",
    ("Orders", "GroupOrderID"): "GroupOrders",
    ("Orders", "OrderInPoolID"): "OrdersInPool",
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

_INT_MAX = 2147483647
_INT_MIN = -2147483648

_CHARACTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-/ "


class _Source:
    """The rows of each table, and the columns whose type is another one than usual."""

    def __init__(self, rows):
        self.rows = rows
        self.types = {}  # of (table, column)

    def some_row(self, chance, tables=None):
        """A row that a flaw may change, with its table; two None when there is none."""
        choices = [
            (table, row) for table in tables or self.rows for row in self.rows[table] if row.get("KeyName") != "dbver"
        ]
        return chance.choice(choices) if choices else (None, None)

    def some_value(self, chance, kinds):
        """Table, row and column of a value that is not NULL and whose column is of one of the kinds."""
        choices = [
            (table, row, name)
            for table, rows in self.rows.items()
            for row in rows
            for name, value in row.items()
            if value is not None and row.get("KeyName") != "dbver" and columns()[table][name].startswith(kinds)
            and (table, name) not in self.types
        ]
        return chance.choice(choices) if choices else (None, None, None)


def create(path, seed: int, flaws: int, each=None, some=None) -> list[str]:
    """Creates the source again with the given number of flaws, and returns what they are.

    `each` and `some` map columns, such as "Clients.Num", to values. Those of `each` are repeated through all rows of
    the table. Of `some`, at most four, each is in one row: the first values of a table's columns in the same row, and
    so on.
    """
    chance = random.Random(seed)
    counts = {table: chance.randint(1 if table in _REFERRED else 0, _MOST_ROWS) for table in sample_data.TABLES}
    # Whatever its Mode, a restriction arrives changed.
    counts["Restrictions"] = 0
    for column in [*(each or {}), *(some or {})]:
        table = column.partition(".")[0]
        counts[table] = max(counts[table], chance.randint(_FEWEST_WISHED_ROWS, _MOST_ROWS))
    made = _Source(_clean_rows(chance, counts))
    for column, values in (each or {}).items():
        table, _, name = column.partition(".")
        for number, row in enumerate(_ordinary_rows(made.rows[table])):
            row[name] = values[number % len(values)]
    done = []
    chosen = {}  # of each table, so that values of several columns meet in a row
    for column, values in (some or {}).items():
        table, _, name = column.partition(".")
        rows = _ordinary_rows(made.rows[table])
        numbers = chosen.setdefault(table, sorted(chance.sample(range(len(rows)), _FEWEST_WISHED_ROWS)))
        for number, value in zip(numbers, values, strict=False):
            rows[number][name] = value
        done.append(f"{column}: {values!r} in rows {numbers[: len(values)]}")
    done += [chance.choice(_FLAWS)(chance, made) for _ in range(flaws)]
    _write(path, made)
    return done


def create_clean(path) -> None:
    """Creates the source again with three rows of each table, but of Restrictions none, that arrive as they are.

    They are numbered 1, 2 and 3. Nothing but the numbers of rows and the references between them is worth relying on.
    """
    counts = dict.fromkeys(sample_data.TABLES, 3) | {"Restrictions": 0}
    _write(path, _Source(_clean_rows(random.Random(1), counts)))


@functools.cache
def _definitions() -> dict[str, str]:
    """The CREATE TABLE statements of the 22 tables, without keys and with NULL allowed everywhere."""
    with tempfile.TemporaryDirectory() as directory:
        path = pathlib.Path(directory) / "empty.sqlite"
        sample_data.create_source(path)
        with contextlib.closing(sqlite3.connect(path)) as connection:
            statements = dict(connection.execute("SELECT name, sql FROM sqlite_master WHERE type = 'table'"))
    return {table: source.without_constraints(statements[table], table) for table in sample_data.TABLES}


@functools.cache
def columns() -> dict[str, dict[str, str]]:
    """The declared type of each column of each table."""
    with contextlib.closing(sqlite3.connect(":memory:")) as connection:
        for definition in _definitions().values():
            connection.execute(definition)
        return {
            table: {name: kind.lower() for _, name, kind, *_ in connection.execute(f"PRAGMA table_info([{table}])")}
            for table in sample_data.TABLES
        }


def _write(path, made) -> None:
    path.unlink(missing_ok=True)
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        # The file is worth nothing before it is complete, so nothing waits for the disk.
        connection.execute("PRAGMA synchronous = OFF")
        for table, rows in made.rows.items():
            definition = _definitions()[table]
            for name in columns()[table]:
                if (table, name) in made.types:
                    definition, changed = re.subn(
                        rf"\[{name}\] \S+ NULL", f"[{name}] {made.types[table, name]} NULL", definition
                    )
                    assert changed == 1, (table, name)
            connection.execute(definition)
            for row in rows:
                markers = ", ".join("?" * len(row))
                connection.execute(f"INSERT INTO [{table}] VALUES ({markers})", list(row.values()))


def _ordinary_rows(rows) -> list[dict]:
    """All but the schema version."""
    return [row for row in rows if row.get("KeyName") != "dbver"]


def _clean_rows(chance, counts) -> dict[str, list[dict]]:
    rows = {}
    for table in sample_data.TABLES:
        kinds = columns()[table]
        rows[table] = [
            {name: _value(chance, table, name, kind, number, counts) for name, kind in kinds.items()}
            for number in range(1, counts[table] + 1)
        ]
    rows["SystemData"].insert(0, {"KeyName": "dbver", "KeyValue": "29"})
    return rows


def _value(chance, table, name, kind, number, counts):
    if (table, name) in _PLAIN_VALUES:
        return _PLAIN_VALUES[table, name]
    if (table, name) in REFERENCES:
        referred = REFERENCES[table, name]
        return chance.randint(1, counts[referred]) if counts[referred] else 0
    if table in _NUMBERED and name == next(iter(columns()[table])):
        return number
    if kind == "int":
        # Unlike for every row, so that no key of a clean source is there twice.
        return 1000 * number + chance.randint(0, 999)
    if kind == "float":
        return chance.choice((0.0, 1.5, -2.25, 0.1, 1e300, round(chance.uniform(-1000, 1000), 2)))
    width = min(_width(kind), 12)
    if width == 1:
        return chance.choice(_CHARACTERS)
    return f"{number}{''.join(chance.choices(_CHARACTERS, k=chance.randint(0, width - 2)))}"[:width]


def _width(kind) -> int:
    return int(kind.partition("(")[2].rstrip(")"))


# The flaws. Each says what it did.


def _null(chance, made) -> str:
    table, row = made.some_row(chance)
    if row is None:
        return "nothing"
    name = chance.choice(list(row))
    row[name] = None
    return f"NULL in {table}.{name}"


def _null_by_column(chance, made) -> str:
    """NULLs in one column of a table where NULL is a usual value."""
    table, row = made.some_row(chance, ("GroupNegOrders", "NegOrders", "ExportOrder"))
    if row is None:
        return "nothing"
    name = chance.choice(list(row))
    rows = chance.sample(made.rows[table], min(len(made.rows[table]), chance.randint(1, 3)))
    for each in rows:
        each[name] = None
    return f"{len(rows)} times NULL in {table}.{name}"


def _gap(chance, made) -> str:
    """Numbers with a gap, which the references follow."""
    table = chance.choice(
        ("GroupDesc", "GroupOrders", "Orders", "SecGroups", "RatingAgencies", "PoolOrders", "OrdersInPool")
    )
    if not made.rows[table]:
        return "nothing"
    number = next(iter(made.rows[table][0]))
    first = chance.randint(1, len(made.rows[table]))
    step = chance.randint(1, 9)
    for row in made.rows[table]:
        if isinstance(row[number], int) and row[number] >= first:
            row[number] += step
    for (referring, name), referred in REFERENCES.items():
        for row in made.rows[referring] if referred == table else ():
            if isinstance(row[name], int) and first <= row[name] < _LARGE:
                row[name] += step
    return f"{table} from {first} on {step} higher"


def _missing(chance, made) -> str:
    table, name = chance.choice(list(REFERENCES))
    if not made.rows[table]:
        return "nothing"
    rows = chance.sample(made.rows[table], min(len(made.rows[table]), chance.randint(1, 2)))
    number = chance.choice((0, -1, 77, _INT_MAX))
    for row in rows:
        row[name] = number
    return f"{len(rows)} times {table}.{name} = {number}"


def _twice(chance, made) -> str:
    table, row = made.some_row(chance)
    if row is None:
        return "nothing"
    made.rows[table].insert(chance.randint(0, len(made.rows[table])), dict(row))
    return f"a row of {table} twice"


def _twin(chance, made) -> str:
    """The value of one row in another one as well."""
    table, row, name = made.some_value(chance, ("int", "float", "varchar", "char"))
    if row is None:
        return "nothing"
    other = chance.choice(_ordinary_rows(made.rows[table]))
    other[name] = row[name]
    return f"{table}.{name} = {row[name]!r} in two rows"


def _another_order(chance, made) -> str:
    table = chance.choice(list(made.rows))
    chance.shuffle(made.rows[table])
    return f"{table} in another order"


def _pools(chance, made) -> str:
    numbers = chance.sample(range(1, 2 * _MOST_ROWS), len(made.rows["PoolOrders"]))
    for row, number in zip(made.rows["PoolOrders"], numbers, strict=True):
        row["PoolID"] = number
    return f"pools {numbers}"


def _broker_pool(chance, made) -> str:
    if not made.rows["ExportOrder"]:
        return "nothing"
    row = chance.choice(made.rows["ExportOrder"])
    row["BrokerPoolID"] = chance.choice(
        ("65", "0", "256", "16961", "1145258561", " 66 ", "+67", "0068", "-5", "195", "12.5", "- 7", "65x", "BROKER-1",
         "2147483648", None)
    )  # fmt: skip
    return f"ExportOrder.BrokerPoolID = {row['BrokerPoolID']!r}"


def _restriction(chance, made) -> str:
    number = len(made.rows["Restrictions"]) + 1
    row = {
        "ID": number, "RestType": "A", "Client": "C1", "Mode": chance.choice(("", "1", "22", "LIMIT", "HARDLIMIT1")),
        "Limit": 1.5, "SecGroupID": 1, "CoSecGroupID": 1, "disabled": "0", "Value": 2.5, "NoCheck": 0, "BWUserID": 1,
        "BWSessionID": "S", "BWCounter": 1, "LimitKind": 0, "RestrCode": "R", "RestrName": "N",
    }  # fmt: skip
    made.rows["Restrictions"].append(row)
    return f"Restrictions.Mode = {row['Mode']!r}"


def _half_double(chance, made) -> str:
    if not made.rows["NegOrders"]:
        return "nothing"
    row = chance.choice(made.rows["NegOrders"])
    name = chance.choice(("RepoTerm", "Flags"))
    row[name] = chance.choice((7, -1, _INT_MAX, 2097153, None))
    return f"NegOrders.{name} = {row[name]}"


def _long_text(chance, made) -> str:
    table, name, length = chance.choice((("Clients", "Comment", 80), ("LoadedPositions", "ClientCode", 18)))
    if not made.rows[table]:
        return "nothing"
    chance.choice(made.rows[table])[name] = "X" * length
    return f"a long {table}.{name}"


def _character(chance, made) -> str:
    """A character beyond ASCII: two bytes, so that a column of one character has no room for it."""
    table, row, name = made.some_value(chance, ("varchar", "char"))
    if row is None:
        return "nothing"
    row[name] = "é"
    return f"é in {table}.{name}"


def _zero_byte(chance, made) -> str:
    table, row, name = made.some_value(chance, ("varchar",))
    if row is None or len(row[name]) < 4:
        return "nothing"
    row[name] = row[name][:2] + "\0" + row[name][3:]
    return f"a zero byte in {table}.{name}"


def _trailing_spaces(chance, made) -> str:
    table, row, name = made.some_value(chance, ("varchar",))
    if row is None:
        return "nothing"
    row[name] = (row[name] + chance.randint(1, 9) * " ")[: _width(columns()[table][name])]
    return f"{table}.{name} = {row[name]!r}"


def _odd_text(chance, made) -> str:
    """A text that means something where it is not taken as it is."""
    table, row, name = made.some_value(chance, ("varchar",))
    if row is None:
        return "nothing"
    text = chance.choice(
        ("", "'", "\\", "\\'", "\\'); --", "'); DROP TABLE \"Orders\"; --", '"', "?", "$1", "%s", "{fn now()}", "a\nb",
         "\t", "\r\n", "NULL", "\\N", "(1,2)", "\x7f", "\x1b[1m")
    )  # fmt: skip
    row[name] = text[: _width(columns()[table][name])]
    return f"{table}.{name} = {row[name]!r}"


def _odd_double(chance, made) -> str:
    """A double that has many digits, or that is at an end of the range."""
    table, row, name = made.some_value(chance, ("float",))
    if row is None:
        return "nothing"
    row[name] = chance.choice(
        (0.1 + 0.2, 1 / 3, 123456789.12345679, 9007199254740992.0, 5e-324, 1.7976931348623157e308, -1e-300)
    )
    return f"{table}.{name} = {row[name]!r}"


def _extreme_number(chance, made) -> str:
    table, row, name = made.some_value(chance, ("int",))
    if row is None or (table, name) in REFERENCES:
        return "nothing"
    row[name] = chance.choice((_INT_MAX, _INT_MIN, 0, -1, 40000))
    return f"{table}.{name} = {row[name]}"


def _fraction(chance, made) -> str:
    """An integer of the migrator that the source stores as a float, with a fraction in one row."""
    table, row, name = made.some_value(chance, ("int",))
    if row is None:
        return "nothing"
    made.types[table, name] = "float"
    row[name] += chance.choice((0.75, 0.25, 0.5, 3e9))
    return f"{table}.{name} = {row[name]!r}, a float"


def _other_type(chance, made) -> str:
    """A column that the source stores as a text or as a larger integer."""
    table, row, name = made.some_value(chance, ("int",))
    if row is None:
        return "nothing"
    made.types[table, name], row[name] = chance.choice(
        (("varchar(12)", f" {row[name]} "), ("varchar(12)", "12.75"), ("varchar(12)", "x"), ("varchar(12)", ""),
         ("bigint", row[name]), ("bigint", 2**31), ("bigint", -(2**40)))
    )  # fmt: skip
    return f"{table}.{name} = {row[name]!r}, a {made.types[table, name]}"


_FLAWS = (
    _null, _null_by_column, _gap, _missing, _twice, _twin, _another_order, _pools, _broker_pool, _restriction,
    _half_double, _long_text, _character, _zero_byte, _trailing_spaces, _odd_text, _odd_double, _extreme_number,
    _fraction, _other_type,
)  # fmt: skip
