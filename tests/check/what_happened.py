"""What a run of the migrator did, read by other means than the check's own."""

import contextlib
import re
import sqlite3

import flawed_source
import sample_data
import source

# The columns whose values the destination assigns. Nothing is expected of them.
ASSIGNED = {
    ("GroupDesc", "GroupID"), ("GroupOrders", "ID"), ("GroupOrders", "BWCounter"), ("Orders", "OrderID"),
    ("Orders", "BWCounter"), ("SecGroups", "ID"), ("ImportLog", "ID"), ("RatingAgencies", "AgencyID"),
    ("RatingScales", "RatingID"), ("PoolOrders", "PoolID"), ("OrdersInPool", "OrderID"),
}  # fmt: skip

# The log's text for a reference that names no row.
_NO_SUCH_REFERENCE = "invalid map<K, T> key"

# More rows than that are not looked for: each costs a run.
_MOST_REFUSED = 12


def ended_in(run) -> str | None:
    """The table in which a run ended: the one that it began and did not complete, or that after the completed ones."""
    complete = re.findall(r"^Complete migrate (\w+) table", run.console, re.MULTILINE)
    assert tuple(complete) == sample_data.TABLES[: len(complete)]
    return None if len(complete) == len(sample_data.TABLES) else sample_data.TABLES[len(complete)]


def row_counts(workspace) -> dict[str, int]:
    """The number of rows of each destination table; of one that is not there, 0."""
    there = {name for (name,) in query(workspace, "SELECT relname FROM pg_class")}
    tables = [table for table in sample_data.TABLES if table in there]
    counts = " UNION ALL ".join(f"SELECT '{table}', count(*) FROM \"{table}\"" for table in tables)
    return dict.fromkeys(sample_data.TABLES, 0) | dict(query(workspace, counts))


def refused_rows(workspace, run, new_destination) -> dict[str, int]:
    """How many rows of each table the destination refuses, found by removing from the source one that ended the run and
    running again, until a run is complete.

    Only of tables of which that shows it: not of those after one that ends the run without any row, of those that refer
    to a table with a removed row, nor of Restrictions with one: its later rows have bytes of it.
    `new_destination` creates the destination again, as it was before the first run.
    """
    refused = dict.fromkeys(sample_data.TABLES, 0)
    removed = []
    while (table := ended_in(run)) is not None:
        log = workspace.log_file.read_text(errors="replace")
        _, started, of_table = log.rpartition(f":: Start migrate {table} table\n")
        if not started or len(removed) == _MOST_REFUSED:
            # Its later rows are not known.
            for later in sample_data.TABLES[sample_data.TABLES.index(table) :]:
                del refused[later]
            break
        if _NO_SUCH_REFERENCE not in of_table:
            refused[table] += 1
        removed.append(table)
        written = len(re.findall(r":: insert row\(\d+\)", of_table))
        workspace.execute_source(
            f"DELETE FROM [{table}] WHERE rowid = (SELECT rowid FROM [{table}] ORDER BY rowid LIMIT 1 OFFSET {written})"
        )
        new_destination()
        run = workspace.run_redirected()
    unclear = _referring(workspace, removed) | {"Restrictions"}.intersection(removed)
    return {table: rows for table, rows in refused.items() if table not in unclear}


def _referring(workspace, tables) -> set[str]:
    """The tables that refer to one of these, or to one that does."""
    references = {(table, referred) for (table, _), referred in flawed_source.REFERENCES.items()}
    references |= set(query(
        workspace,
        "SELECT a.relname, b.relname FROM pg_constraint k JOIN pg_class a ON a.oid = k.conrelid"
        " JOIN pg_class b ON b.oid = k.confrelid WHERE k.contype = 'f'",
    ))  # fmt: skip
    found = set()
    wanted = set(tables)
    while new := {table for table, referred in references if referred in wanted} - found:
        found |= new
        wanted = new
    return found


class Rows:
    """The rows of both sides after a complete run, in the order in which they were read and written."""

    def __init__(self, workspace):
        self._source = {table: source.rows(workspace.source_file, table) for table in sample_data.TABLES}
        self._categories = {
            (table, column): category
            for table, column, category in query(
                workspace,
                "SELECT c.relname, a.attname, t.typcategory FROM pg_class c"
                " JOIN pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND NOT a.attisdropped"
                " JOIN pg_type t ON t.oid = a.atttypid WHERE c.relkind IN ('r', 'p')",
            )
        }
        self._destination = {table: destination_rows(workspace, table) for table in sample_data.TABLES}

    def pointing_elsewhere(self, table, column) -> int | None:
        """How many rows of the destination refer to another row than in the source; None where that is not clear."""
        ways = self._ways(table, column)
        return None if None in ways else sum(ways)

    def unchanged(self, table) -> int | None:
        """How many rows arrived with the values that they had and refer to the rows to which they referred; None where
        that is not clear.
        """
        changed = [False] * len(self._destination[table])
        for name in source_columns(table):
            if (table, name) in ASSIGNED:
                continue
            if (table, name) in flawed_source.REFERENCES:
                different = self._ways(table, name)
                if (table, name) not in _NEW_NUMBERS:
                    different = [
                        None if elsewhere is None else elsewhere or self._differs(table, number, name)
                        for number, elsewhere in enumerate(different)
                    ]
            else:
                different = [self._differs(table, number, name) for number in range(len(changed))]
            if None in different:
                return None
            changed = [one or other for one, other in zip(changed, different, strict=True)]
        return changed.count(False)

    def _ways(self, table, column) -> list[bool | None]:
        """For each row that arrived, whether its reference leads elsewhere."""
        referred = flawed_source.REFERENCES[table, column]
        number = source_columns(referred)[0]
        before = [row[number] for row in self._source[referred]]
        after = [_number(row.get(number)) for row in self._destination[referred]]
        arrived = zip(self._source[table], self._destination[table], strict=False)
        return [self._leads_elsewhere(was[column], _number(became.get(column)), before, after) for was, became in arrived]

    @staticmethod
    def _leads_elsewhere(was, became, before, after) -> bool | None:
        # A NULL, a fraction and a number that several rows bear have no row of their own.
        if not isinstance(was, int) or before.count(was) > 1 or after.count(became) > 1:
            return None
        row_before = before.index(was) if was in before else None
        row_after = after.index(became) if became in after else None
        return row_before != row_after

    def _differs(self, table, row, name) -> bool | None:
        was = self._source[table][row][name]
        became = self._destination[table][row].get(name)
        category = self._categories.get((table, name))
        if was is None or became is None:
            return was is not became
        if isinstance(was, str) and category == "S":
            return was != became
        if not isinstance(was, str) and category == "N":
            with contextlib.suppress(ValueError):
                return float(became) != was
        return None


# References whose number is replaced by the new number of the row that it names.
_NEW_NUMBERS = {
    ("Clients", "GroupID"), ("GroupOrders", "GroupID"), ("Orders", "GroupOrderID"), ("GroupNegOrders", "GroupID"),
    ("OrdersInPool", "PoolID"),
}  # fmt: skip


def _number(text) -> float | str | None:
    """The number that a text writes, in one way or another."""
    try:
        return text and float(text)
    except ValueError:
        return text


def destination_rows(workspace, table) -> list[dict]:
    """The rows of a destination table in the order of their storage, which is that of writing: the migrator's columns
    as texts, NULL as None, and "ctid". No row of a table that does not exist.
    """
    kinds = dict(
        query(workspace, f"SELECT attname, atttypid::regtype::text FROM pg_attribute WHERE attrelid = {_oid(table)}")
    )
    if not kinds:
        return []
    names = ["ctid", *(name for name in source_columns(table) if name in kinds)]
    columns = ", ".join(_as_text(name, kinds[name]) for name in names)
    rows = query(workspace, f'SELECT {columns} FROM "{table}" ORDER BY ctid')
    return [dict(zip(names, row, strict=True)) for row in rows]


def _as_text(column, kind) -> str:
    # The number that a real stores has more digits than it shows.
    value = f'"{column}"::float8' if kind == "real" else f'"{column}"'
    # The text that the type's output function gives, unlike a cast, keeps the spaces at the end of a char(n).
    return f"CASE WHEN {value} IS NOT NULL THEN format('%s', {value}) END"


def _oid(table) -> str:
    return f"""to_regclass('public."{table}"')"""


def source_columns(table) -> list[str]:
    """The names of a table's columns, in the order of the source."""
    return list(flawed_source.columns()[table])


def source_row_counts(workspace) -> dict[str, int]:
    """The number of rows of each table of the source."""
    with contextlib.closing(sqlite3.connect(workspace.source_file)) as connection:
        return {
            table: connection.execute(f"SELECT count(*) FROM [{table}]").fetchone()[0] for table in sample_data.TABLES
        }


def query(workspace, text) -> list[tuple]:
    """The rows of a query on the destination, read as the superuser: whatever the login may read and is set to."""
    connection = workspace.lab.postgres.connect(workspace.database)
    try:
        with connection.cursor() as cursor:
            cursor.execute(text)
            return cursor.fetchall()
    finally:
        connection.close()
