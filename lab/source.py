"""Changes to a source database that tests make by hand."""

import contextlib
import re
import sqlite3


def columns(path, table) -> dict:
    """The declared type of each column of a table, in order."""
    with contextlib.closing(sqlite3.connect(path)) as connection:
        return {name: kind.lower() for _, name, kind, *_ in connection.execute(f"PRAGMA table_info([{table}])")}


def rows(path, table) -> list[dict]:
    """The rows of a table, in the order in which a SELECT without ORDER BY gives them."""
    names = ", ".join(f"[{name}]" for name in columns(path, table))
    with contextlib.closing(sqlite3.connect(path)) as connection:
        connection.row_factory = sqlite3.Row
        return [dict(row) for row in connection.execute(f"SELECT {names} FROM [{table}]")]


def insert(path, table, **values) -> None:
    """Adds a row. Columns that are not named are 0, or the empty text."""
    row = {name: 0 if kind in ("int", "float") else "" for name, kind in columns(path, table).items()}
    assert values.keys() <= row.keys(), table
    row |= values
    names = ", ".join(f"[{name}]" for name in row)
    markers = ", ".join("?" * len(row))
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.execute(f"INSERT INTO [{table}] ({names}) VALUES ({markers})", list(row.values()))


def without_constraints(definition, table) -> str:
    """The CREATE TABLE statement of a source table, but without its key and with NULL allowed in every column."""
    definition, dropped = re.subn(r",\s*CONSTRAINT \[\w+\] PRIMARY KEY \([^)]*\)", "", definition)
    assert dropped == 1, table
    return definition.replace(" NOT NULL", " NULL")


def drop_constraints(path, table) -> None:
    """Lets a table hold NULL in every column, and several rows of the same key."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        ((definition,),) = connection.execute("SELECT sql FROM sqlite_master WHERE name = ?", (table,)).fetchall()
        connection.execute(f"ALTER TABLE [{table}] RENAME TO constrained")
        connection.execute(without_constraints(definition, table))
        connection.execute(f"INSERT INTO [{table}] SELECT * FROM constrained")
        connection.execute("DROP TABLE constrained")


def change_type(path, table, column, declaration) -> None:
    """Declares a column with another type; the values stay as they are, apart from what the new type makes of them."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        ((definition,),) = connection.execute("SELECT sql FROM sqlite_master WHERE name = ?", (table,)).fetchall()
        definition, changed = re.subn(rf"\[{column}\] \S+", f"[{column}] {declaration}", definition)
        assert changed == 1, (table, column)
        connection.execute(f"ALTER TABLE [{table}] RENAME TO declared")
        connection.execute(definition)
        connection.execute(f"INSERT INTO [{table}] SELECT * FROM declared")
        connection.execute("DROP TABLE declared")
