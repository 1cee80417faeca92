"""Changes that somebody makes to a migrated destination, and what `bw_db_check after` has to say of each."""

import dataclasses

import flawed_source
import psycopg2
import sample_data
import what_happened

# By which a row is recognised that holds other values. Where it is assigned by the destination, it is the number.
_KEYS = {
    "SystemData": ("KeyName",), "Clients": ("GroupID", "ClientCode"),
    "SecGrMemb": ("GroupID", "MembType", "MembCode", "MembClass", "MembID"), "SecMinQt": ("ClassCode", "SecCode"),
    "LoadedSecuritiesClientPrices": ("ClientID", "SecID"),
}  # fmt: skip

_NUMBER = "98765.4375"
_TEXT = "damaged"

# Lets the superuser change rows without the foreign keys and triggers.
_WITHOUT_TRIGGERS = "SET session_replication_role = replica"


@dataclasses.dataclass
class Damage:
    statements: list[str]
    expected: list[tuple]  # table, identifier, column and number of rows of each finding


class Damages:
    """What can be done to the rows of a destination, apart from the tables `spared`."""

    def __init__(self, workspace, chance, spared):
        self._workspace = workspace
        self._chance = chance
        self._rows = {
            table: [] if table in spared else what_happened.destination_rows(workspace, table)
            for table in sample_data.TABLES
        }
        self._types = {
            (table, column): kind
            for table, column, kind in what_happened.query(
                workspace,
                "SELECT c.relname, a.attname, format_type(a.atttypid, a.atttypmod) FROM pg_class c"
                " JOIN pg_attribute a ON a.attrelid = c.oid AND a.attnum > 0 AND a.attgenerated = ''",
            )
        }

    def do(self, kind) -> Damage | None:
        """Does one damage of a kind; None where nothing of the kind can be done."""
        damages = list(_KINDS[kind](self))
        self._chance.shuffle(damages)
        for damage in damages:
            try:
                self._workspace.execute_destination(_WITHOUT_TRIGGERS, "BEGIN", *damage.statements, "COMMIT")
            except psycopg2.Error:
                # A constraint of the destination refuses it.
                continue
            return damage
        return None

    def delete(self):
        """A row that no other one refers to."""
        for table, row in self._some_rows():
            if not self._is_referred(table, row):
                statement = f'DELETE FROM "{table}" WHERE {_this(row)}'
                yield Damage([statement], [(table, "rows-missing", None, 1)])

    def double(self):
        """A row that no other one refers to, in a table whose rows are numbered by the destination."""
        for table, row in self._some_rows():
            if not self._is_assigned(table) or self._is_referred(table, row):
                continue
            names = [name for name in row if name != "ctid" and (table, name) not in what_happened.ASSIGNED]
            columns = ", ".join(f'"{name}"' for name in names)
            statement = f'INSERT INTO "{table}" ({columns}) SELECT {columns} FROM "{table}" WHERE {_this(row)}'
            yield Damage([statement], [(table, "rows-unexpected", None, 1)])

    def change_a_number(self):
        return self._change("double precision", _NUMBER)

    def change_a_text(self):
        return self._change("character varying", f"'{_TEXT}'")

    def move(self):
        """A row to a row of other content in the table that it refers to."""
        for (table, column), referred in flawed_source.REFERENCES.items():
            number = what_happened.source_columns(referred)[0]
            if column in _KEYS.get(table, ()):
                continue
            for row in self._sample(self._without_twins(table)):
                present = next((each for each in self._rows[referred] if each[number] == row[column]), None)
                others = [
                    each for each in self._rows[referred] if not present or self._is_another(referred, each, present)
                ]
                if others:
                    to = self._chance.choice(others)[number]
                    statement = f'UPDATE "{table}" SET "{column}" = {to} WHERE {_this(row)}'
                    yield Damage([statement], [(table, "rows-different", column, 1)])

    def exchange_numbers(self):
        """The numbers of two rows of other content to which rows refer."""
        for table in {referred for referred in flawed_source.REFERENCES.values() if self._is_assigned(referred)}:
            number = what_happened.source_columns(table)[0]
            pair = self._chance.sample(self._rows[table], min(2, len(self._rows[table])))
            if len(pair) < 2 or not self._is_another(table, *pair):
                continue
            first, second = (row[number] for row in pair)
            if first is None or second is None or first == second:
                continue
            expected = self._referring(table, {first, second})
            if expected:
                yield Damage(
                    [
                        f'UPDATE "{table}" SET "{number}" = {new} WHERE "{number}" = {old}'
                        for old, new in ((first, -4711), (second, first), (-4711, second))
                    ],
                    expected,
                )

    def _change(self, kind, value):
        for table, row in self._some_rows(self._without_twins):
            columns = [
                name
                for name in row
                if self._types.get((table, name), "").startswith(kind)
                and name not in _KEYS.get(table, ())
                and (table, name) not in what_happened.ASSIGNED
            ]
            if columns:
                column = self._chance.choice(columns)
                statement = f'UPDATE "{table}" SET "{column}" = {value} WHERE {_this(row)}'
                yield Damage([statement], [(table, "rows-different", column, 1)])

    def _some_rows(self, of=None):
        """A row of each table that has one."""
        for table in sample_data.TABLES:
            for row in self._sample(of(table) if of else self._rows[table]):
                yield table, row

    def _sample(self, rows) -> list[dict]:
        return self._chance.sample(rows, min(1, len(rows)))

    def _without_twins(self, table) -> list[dict]:
        contents = [self._content(table, row) for row in self._rows[table]]
        return [row for row, content in zip(self._rows[table], contents, strict=True) if contents.count(content) == 1]

    def _is_another(self, table, row, other) -> bool:
        references = {column for of, column in flawed_source.REFERENCES if of == table}
        return self._content(table, row, references) != self._content(table, other, references)

    @staticmethod
    def _content(table, row, without=()) -> tuple:
        return tuple(
            value
            for name, value in row.items()
            if name != "ctid" and name not in without and (table, name) not in what_happened.ASSIGNED
        )

    @staticmethod
    def _is_assigned(table) -> bool:
        return (table, what_happened.source_columns(table)[0]) in what_happened.ASSIGNED

    def _is_referred(self, table, row) -> bool:
        number = row[what_happened.source_columns(table)[0]]
        return any(
            each[column] == number
            for (referring, column), referred in flawed_source.REFERENCES.items()
            if referred == table
            for each in self._rows[referring]
        )

    def _referring(self, table, numbers) -> list[tuple] | None:
        """A finding for each column with references to the rows of these numbers. None where rows are alike except for
        that reference: they may be exchanged with their references.
        """
        findings = []
        for (referring, column), referred in flawed_source.REFERENCES.items():
            if referred != table:
                continue
            rows = [row for row in self._rows[referring] if row[column] in numbers]
            alike = {}
            for row in rows:
                if alike.setdefault(self._content(referring, row, {column}), row[column]) != row[column]:
                    return None
            if rows:
                findings.append((referring, "rows-different", column, len(rows)))
        # A row with two such references would be one finding.
        tables = [referring for referring, *_ in findings]
        return findings if len(set(tables)) == len(tables) else None


def _this(row) -> str:
    return f"ctid = '{row['ctid']}'"


_KINDS = {
    "delete": Damages.delete,
    "double": Damages.double,
    "number": Damages.change_a_number,
    "text": Damages.change_a_text,
    "move": Damages.move,
    "exchange": Damages.exchange_numbers,
}

KINDS = tuple(_KINDS)
