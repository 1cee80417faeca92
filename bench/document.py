"""The tables of docs/development/performance.md that the benchmarks write, each between two markers of its name."""

import pathlib
import re
import statistics


def replace_block(document: pathlib.Path, name: str, text: str) -> None:
    """Replaces what stands between the markers of `name`; fails when they are not there."""
    begin, end = f"<!-- begin {name} -->", f"<!-- end {name} -->"
    replaced, count = re.subn(
        f"(?<={re.escape(begin)}\n).*?(?={re.escape(end)})",
        lambda _: f"\n{text.strip()}\n\n",
        document.read_text(),
        flags=re.DOTALL,
    )
    if count != 1:
        raise ValueError(f"{document} has no block {name}")
    document.write_text(replaced)


def table(header: list[str], rows: list[list]) -> str:
    """A Markdown table whose first column is text and whose others are numbers."""
    lines = [header, ["---", *["---:"] * (len(header) - 1)], *rows]
    return "".join("| " + " | ".join(str(cell) for cell in line) + " |\n" for line in lines)


def median(values) -> float:
    """The median of what was measured in all rounds."""
    return statistics.median(values)
