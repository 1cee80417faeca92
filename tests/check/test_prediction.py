"""Random databases with random flaws: what `bw_db_check before` says will happen is what happens then, and `after` says
just what became different.
"""

import contextlib
import random
import re

import pytest

import flawed_source
import sample_data
from checker import check

_SEEDS = 200
_SEEDS_OF_A_TEST = 10


@pytest.fixture(scope="module")
def workspace(shared_lab):
    with shared_lab.workspace() as started:
        yield started


@contextlib.contextmanager
def _changed(workspace, change_and_undo):
    """The destination with a change, which is undone afterwards."""
    if change_and_undo is None:
        yield
        return
    change, undo = change_and_undo
    workspace.execute_destination(change)
    try:
        yield
    finally:
        workspace.execute_destination(undo)


def _unfinished_table(console) -> str | None:
    """The table in which a run ended: the one that it began and did not complete, or that behind the completed ones."""
    complete = re.findall(r"^Complete migrate (\w+) table", console, re.MULTILINE)
    assert tuple(complete) == sample_data.TABLES[: len(complete)]
    return None if len(complete) == len(sample_data.TABLES) else sample_data.TABLES[len(complete)]


@pytest.mark.parametrize("first", range(0, _SEEDS, _SEEDS_OF_A_TEST))
def test_the_prediction_comes_true(workspace, first):
    for seed in range(first, first + _SEEDS_OF_A_TEST):
        flaws = flawed_source.create(workspace.source_file, seed, flaws=seed % 4)
        destination_flaw = flawed_source.DESTINATION_FLAWS[seed % len(flawed_source.DESTINATION_FLAWS)]
        flawed_source.empty_destination(workspace)
        with _changed(workspace, destination_flaw):
            before = check(workspace, "before")
            run = workspace.run_redirected()
            after = check(workspace, "after")

        flaws.append(destination_flaw)
        context = f"seed {seed}: {flaws}\n{before.text}{before.errors}\n{run.console}\n{after.text}{after.errors}\n" + workspace.log_file.read_text(
            errors="replace"
        )[-600:]
        assert before.code in (0, 1), context
        assert before.report["run_ends_in"] == _unfinished_table(run.console), context
        predicted = {table["table"]: table["arriving_rows"] for table in before.report["tables"]}
        assert predicted == flawed_source.row_counts(workspace), context
        ended = before.report["run_ends_in"]
        assert after.code in (0, 1), context
        assert after.report["run_ends_in"] == ended, context
        assert after.report["verdict"].startswith("Incomplete: " if ended else "Complete"), context
        assert _differences(after) == [], context
        if not ended:
            _damage_and_check(workspace, random.Random(seed), context)


def _differences(result) -> list[tuple]:
    """Table, identifier, column and number of rows of the findings that rows are not as they should be."""
    kinds = ("rows-missing", "rows-unexpected", "rows-different")
    return [(table, kind, column, rows) for table, kind, column, rows, _ in result.findings() if kind in kinds]


# Tables that no foreign key refers to, and one of their text columns.
_DAMAGED = {
    "Clients": "Comment", "Orders": "BWSessionID", "ImportLog": "BWSessionID",
    "LoadedPositions": "FirmID", "RatingScales": "Rating", "OrdersInPool": "Comment", "StopOrders": "TrdAcc",
    "GroupNegOrders": "CPFirmID", "NegOrders": "TrdAcc", "ExportOrder": "UserGroupCode",
}  # fmt: skip


def _damage_and_check(workspace, chance, context) -> None:
    """Changes one row of the destination and deletes one of another table; `after` has to say just that."""
    counts = flawed_source.row_counts(workspace)
    candidates = [table for table in _DAMAGED if counts[table]]
    if len(candidates) < 2:
        return
    changed, deleted = chance.sample(candidates, 2)
    column = _DAMAGED[changed]
    some_row = "ctid = (SELECT ctid FROM \"{0}\" ORDER BY ctid OFFSET {1} LIMIT 1)"
    workspace.execute_destination(
        f"UPDATE \"{changed}\" SET \"{column}\" = 'damage' WHERE "
        + some_row.format(changed, chance.randrange(counts[changed])),
        f"DELETE FROM \"{deleted}\" WHERE " + some_row.format(deleted, chance.randrange(counts[deleted])),
    )

    after = check(workspace, "after")

    found = _differences(after)
    # A row in which most is alike is the changed one.
    expected = [(changed, "rows-different", column, 1), (deleted, "rows-missing", None, 1)]
    assert sorted(found) == sorted(expected), (changed, deleted, after.text, context)
    assert after.report["verdict"].startswith("Different: "), context
