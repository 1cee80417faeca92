"""What a migration makes of a source, stated as plain rules over whole tables."""

import struct

import source
from expectations import MIGRATED_TABLES

NULL_DOUBLE = 1e50
NULL_INTEGER = -2147483648

# Columns that are wider in the source than what is migrated of them.
_MIGRATED_WIDTHS = {("Clients", "Comment"): 50, ("LoadedPositions", "ClientCode"): 12}

# The columns that the destination numbers again, from 1 in the order of reading.
_NUMBERED = {
    "GroupDesc": ("GroupID",),
    "GroupOrders": ("ID", "BWCounter"),
    "Orders": ("OrderID", "BWCounter"),
    "SecGroups": ("ID",),
    "ImportLog": ("ID",),
    "RatingAgencies": ("AgencyID",),
    "RatingScales": ("RatingID",),
    "PoolOrders": ("PoolID",),
    "OrdersInPool": ("OrderID",),
}


class Migration:
    """The outcome for the source at `path`, which must hold nothing that ends a migration early.

    `descriptions` maps each table to the texts that the log shows of its rows, `rows` to the destination's rows, both
    in the order of reading. `encoding` is the one in which FreeTDS gives the texts.
    """

    def __init__(self, path, encoding="utf-8"):
        self._encoding = encoding
        self.descriptions = {}
        self.rows = {}
        self._groups = {}
        self._group_orders = {}
        self._pools = []
        # Whatever is not written to these fields stays in them from the rows before.
        self._mode = bytearray(11)
        self._broker_pool = bytearray(33)
        for table in MIGRATED_TABLES:
            self._migrate(table, source.columns(path, table), source.rows(path, table))

    def _migrate(self, table, columns, rows) -> None:
        self.descriptions[table] = []
        self.rows[table] = []
        for number, row in enumerate(rows, start=1):
            row = {name: self._cut(value, _width(table, name, columns[name])) for name, value in row.items()}
            self._read(table, columns, row, number)
            self.descriptions[table].append(_describe(row))
            self._write(table, row, number)
            self.rows[table].append(tuple(row.values()))

    def _cut(self, value, width):
        return value.encode(self._encoding)[:width].decode(self._encoding) if isinstance(value, str) else value

    def _read(self, table, columns, row, number) -> None:
        if table == "GroupDesc":
            self._groups.setdefault(row["GroupID"], number)
        elif table == "GroupOrders":
            self._group_orders.setdefault(row["ID"], number)
        elif table == "PoolOrders":
            self._pools.append(row["PoolID"])
        elif table == "GroupNegOrders":
            row["GroupID"] = self._groups[row["GroupID"]]
            _replace_nulls(columns, row)
        elif table == "NegOrders":
            for name in ("RepoTerm", "Flags"):
                if row[name] is not None:
                    row[name] = struct.unpack("<ii", struct.pack("<d", row[name]))[0]
            _replace_nulls(columns, row)
        elif table == "ExportOrder":
            if row["PoolID"] is None:
                row["PoolID"] = -1
            if row["BrokerPoolID"] is None:
                self._broker_pool[0] = 0
            else:
                self._broker_pool[:4] = struct.pack("<i", int(row["BrokerPoolID"]))
            row["BrokerPoolID"] = self._broker_pool.split(b"\0")[0].decode()

    def _write(self, table, row, number) -> None:
        for name in _NUMBERED.get(table, ()):
            row[name] = number
        if table in ("Clients", "GroupOrders"):
            row["GroupID"] = self._groups[row["GroupID"]]
        elif table == "Orders":
            row["GroupOrderID"] = self._group_orders[row["GroupOrderID"]]
        elif table == "OrdersInPool":
            row["PoolID"] = self._pools[row["PoolID"] - 1]
        elif table == "Restrictions":
            text = row["Mode"].encode(self._encoding) + b"\0"
            self._mode[: len(text)] = text
            row["Mode"] = str(struct.unpack("<i", self._mode[:4])[0])


def _width(table, name, declared) -> int | None:
    """How many bytes of a text are migrated; None for numbers."""
    if declared in ("int", "float"):
        return None
    return _MIGRATED_WIDTHS.get((table, name)) or int(declared.partition("(")[2].rstrip(")"))


def _replace_nulls(columns, row) -> None:
    for name, value in row.items():
        if value is None:
            row[name] = {"int": NULL_INTEGER, "float": NULL_DOUBLE}[columns[name]]


def _describe(row) -> str:
    return ", ".join(f"[{name}] = {_shown(value)}" for name, value in row.items()) + ";"


def _shown(value) -> str:
    return f"{value:g}" if isinstance(value, float) else str(value)


def assert_destination(workspace, expected: Migration) -> None:
    """Compares every row and value of the 22 tables, in the order in which the rows were written."""
    for table in MIGRATED_TABLES:
        names = ", ".join(f'"{name}"' for name in source.columns(workspace.source_file, table))
        rows = workspace.query_destination(f'SELECT {names} FROM "{table}" ORDER BY ctid')
        assert rows == expected.rows[table], table
