"""Random databases with random flaws, on destinations of all kinds: what `bw_db_check before` says will happen is what
happens then, and `after` says just what became different.
"""

import random

import pytest

import data_sources
import flawed_source
import sample_data
import what_happened
from checker import check
from damage import KINDS, Damages
from unusual_destinations import DESTINATIONS

# Of each destination. The first source has no flaw but those that the destination is about.
_SOURCES = 2

# What `after` says of rows that are not as they should be.
_DIFFERENCES = ("rows-missing", "rows-unexpected", "rows-different", "match-ambiguous")


@pytest.fixture(scope="module")
def workspace(shared_lab):
    with shared_lab.workspace() as started:
        yield started


@pytest.mark.parametrize("name", DESTINATIONS)
def test_the_prediction_comes_true(workspace, name):
    for number in range(_SOURCES):
        _Case(workspace, name, number).test()


class _Case:
    """One source, one destination."""

    def __init__(self, workspace, name, number):
        self._workspace = workspace
        self._destination = DESTINATIONS[name]
        self._unforeseen = set(self._destination.unforeseen)
        # Unlike Python's own hash of a text, the same in every process.
        self._chance = random.Random(f"{name} {number}")
        self._kind = self._chance.choice(KINDS)
        # Such a destination numbers its rows otherwise each time, and a changed row is recognised by its number.
        if name.startswith("numbers: "):
            self._kind = self._chance.choice(("delete", "double"))
        flaws = flawed_source.create(
            workspace.source_file,
            self._chance.randrange(1_000_000),
            self._chance.randint(1, 4) if number else 0,
            self._destination.each,
            self._destination.some if number != 1 else None,
        )
        self._context = [f"{name}, source {number}: {flaws}"]

    def test(self) -> None:
        self._new_destination()
        self._connect()
        source_rows = what_happened.source_row_counts(self._workspace)
        self._before = self._check("before")
        self._assert_chosen_tables_are_as_all()
        run = self._workspace.run_redirected()
        self._note(run.console, self._workspace.log_file.read_text(errors="replace")[-600:])
        self._console = run.console
        self._ended = what_happened.ended_in(run)
        self._note(f"It ended in {self._ended}.")
        after = self._check("after")

        assert {table: self._figure(table, "source_rows") for table in sample_data.TABLES} == source_rows, self._told()
        self._assert_only_what_cannot_be_asked_is_unforeseen()
        self._assert_foreseen_end()
        self._assert_foreseen_rows()
        if self._ended:
            self._assert_refused_rows(run)
        else:
            self._assert_foreseen_meaning()
        self._assert_agreement(after)
        if not self._ended:
            self._assert_damage_is_found()

    def _new_destination(self) -> None:
        database = self._workspace.database
        self._workspace.lab.postgres.execute(f"DROP DATABASE {database} WITH (FORCE)")
        self._workspace.lab.create_destination(database)
        self._workspace.execute_destination(*self._destination.change)

    def _connect(self) -> None:
        usual = data_sources.postgresql(self._workspace.lab.postgres.port, self._workspace.database)
        self._workspace.write_data_sources(destination=usual | self._destination.settings)

    def _check(self, *arguments):
        result = check(self._workspace, *arguments)
        self._note(result.text, result.errors)
        assert result.code in (0, 1), self._told()
        return result

    def _note(self, *texts) -> None:
        self._context += texts

    def _told(self) -> str:
        return "\n".join(self._context)

    def _figure(self, table, figure):
        return self._before.table(table).get(figure)

    def _foreseen(self) -> list[str]:
        """The tables of which everything has to be foreseen."""
        tables = sample_data.TABLES
        # What comes after an end that could not be foreseen could not either.
        if self._ended in self._unforeseen:
            tables = tables[: tables.index(self._ended)]
        return [table for table in tables if table not in self._unforeseen]

    def _assert_only_what_cannot_be_asked_is_unforeseen(self) -> None:
        said = {table for table, identifier, *_ in self._before.findings() if identifier == "cannot-foresee"}
        unknown = {table for table in sample_data.TABLES if self._figure(table, "arriving_rows") is None}
        assert said <= self._unforeseen, self._told()
        # Nothing arrives after the end.
        end = self._before.report["run_ends_in"]
        reached = sample_data.TABLES[: sample_data.TABLES.index(end) + 1] if end else sample_data.TABLES
        assert unknown == said.intersection(reached), self._told()
        assert ("as far as can be foreseen" in self._before.report["status_line"]) == bool(said), self._told()

    def _assert_chosen_tables_are_as_all(self) -> None:
        """The report on some tables has the same of each as that on all, unless the run ends in another one."""
        if self._before.report["run_ends_in"]:
            return
        tables = sorted(self._chance.sample(sample_data.TABLES, 2), key=sample_data.TABLES.index)
        chosen = self._check("before", "--tables", ",".join(tables))
        of_all = [self._before.table(table) | {"milliseconds": 0} for table in tables]
        assert [table | {"milliseconds": 0} for table in chosen.report["tables"]] == of_all, (tables, self._told())

    def _assert_foreseen_end(self) -> None:
        said = self._before.report["run_ends_in"]
        if self._ended not in self._unforeseen:
            assert said == self._ended, self._told()
        else:
            assert said is None or sample_data.TABLES.index(said) >= sample_data.TABLES.index(self._ended), self._told()

    def _assert_foreseen_rows(self) -> None:
        counts = what_happened.row_counts(self._workspace)
        for table in self._foreseen():
            # A table that was not emptied has its old rows still, and none of the run's.
            arrived = counts[table] if f"Start migrate {table} table" in self._console else 0
            assert self._figure(table, "arriving_rows") == arrived, (table, self._told())

    def _assert_refused_rows(self, run) -> None:
        refused = what_happened.refused_rows(self._workspace, run, self._new_destination)
        for table in self._foreseen():
            if table in refused:
                assert self._figure(table, "refused_rows") == refused[table], (table, refused, self._told())

    def _assert_foreseen_meaning(self) -> None:
        rows = what_happened.Rows(self._workspace)
        elsewhere = {
            (table, column): count
            for table, identifier, column, count, _ in self._before.findings()
            if identifier == "points-elsewhere"
        }
        for table in self._foreseen():
            assert self._figure(table, "refused_rows") == 0, (table, self._told())
            unchanged = rows.unchanged(table)
            figure = self._figure(table, "unchanged_rows")
            # Where the rows lead that refer to those of a table that cannot be foreseen, cannot be foreseen either.
            open_ended = figure is None and self._refers_to_unforeseen(table)
            assert unchanged in (None, figure) or open_ended, (table, unchanged, self._told())
        for table, column in flawed_source.REFERENCES:
            if table in self._foreseen() and flawed_source.REFERENCES[table, column] in self._foreseen():
                expected = rows.pointing_elsewhere(table, column)
                assert expected in (None, elsewhere.get((table, column), 0)), (table, column, expected, self._told())

    def _refers_to_unforeseen(self, table) -> bool:
        references = flawed_source.REFERENCES.items()
        return any(referring == table and referred in self._unforeseen for (referring, _), referred in references)

    def _assert_agreement(self, after) -> None:
        assert after.report["run_ends_in"] == self._ended, self._told()
        assert self._differences(after) == [], self._told()
        if not self._unforeseen:
            assert after.report["status"].startswith("incomplete" if self._ended else "complete"), self._told()
        if not self._unforeseen and not self._ended:
            for table in sample_data.TABLES:
                unchanged = after.table(table)["unchanged_rows"]
                assert unchanged == self._figure(table, "unchanged_rows"), (table, self._told())

    def _differences(self, result) -> list[tuple]:
        found = [
            (table, identifier, column, rows)
            for table, identifier, column, rows, _ in result.findings()
            if identifier in _DIFFERENCES and table not in self._unforeseen
        ]
        # The group is part of a client's key: one that came to another group is a client less and a client more.
        clients = [each for each in found if each[0] == "Clients"]
        if {(kind, column) for _, kind, column, _ in clients} == {("rows-missing", None), ("rows-unexpected", None)}:
            (less, more) = (rows for *_, rows in clients)
            if less == more:
                found = [each for each in found if each[0] != "Clients"]
                found.append(("Clients", "rows-different", "GroupID", less))
        return sorted(found, key=str)

    def _assert_damage_is_found(self) -> None:
        """Damages the destination; `after` has to say just that."""
        damage = Damages(self._workspace, self._chance, self._unforeseen).do(self._kind)
        if damage is None:
            return
        self._note(f"{self._kind}: {damage}")

        after = self._check("after")

        assert self._differences(after) == sorted(damage.expected, key=str), self._told()
        if not self._unforeseen:
            assert after.report["status"] == "different", self._told()
