"""What a run must show, and the comparison with what it showed."""

import re

# The tables that the program migrates, in its order.
MIGRATED_TABLES = (
    "SystemData",
    "GroupDesc",
    "Clients",
    "GroupOrders",
    "Orders",
    "SecGroups",
    "SecGrMemb",
    "SecMinQt",
    "ImportLog",
    "LoadedPositions",
    "RatingAgencies",
    "RatingScales",
    "LoadedSecurities",
    "LoadedSecuritiesClientPrices",
    "Restrictions",
    "PoolOrders",
    "OrdersInPool",
    "GroupStopOrders",
    "StopOrders",
    "GroupNegOrders",
    "NegOrders",
    "ExportOrder",
)

PROMPTS = "Enter the password for source database: \nEnter the password for destination database: \n"

_PATTERNS = {
    "<time>": r"\d{4}-(0[1-9]|1[0-2])-(0[1-9]|[12]\d|3[01]) ([01]\d|2[0-3]):[0-5]\d:([0-5]\d|60)",
    "<ms>": r"(0|-?[1-9]\d*)",
}


def assert_text(actual: str, expected: str) -> None:
    """Compares byte by byte; "<time>" stands for a time stamp and "<ms>" for a number of milliseconds."""
    pattern = re.escape(expected)
    for placeholder, value in _PATTERNS.items():
        pattern = pattern.replace(re.escape(placeholder), value)
    assert re.fullmatch(pattern, actual), f"expected:\n{expected!r}\nactual:\n{actual!r}"


def masked(text: str) -> str:
    """`text` with "<time>" and "<ms>" in place of its time stamps and numbers of milliseconds."""
    text = re.sub(rf"^{_PATTERNS['<time>']}(?= :: )", "<time>", text, flags=re.MULTILINE)
    return re.sub(rf"(?<= time is ){_PATTERNS['<ms>']}(?= milliseconds$)", "<ms>", text, flags=re.MULTILINE)


def complete_console(rows: dict) -> str:
    """The console of a complete run; `rows` maps tables to numbers of rows, the other tables have none."""
    text = PROMPTS
    for table in MIGRATED_TABLES:
        text += f"Start migrate {table} table\n{_summary(table, rows.get(table, 0))}"
    return text


def complete_log(descriptions: dict) -> str:
    """The log of a complete run; `descriptions` maps tables to the descriptions of their rows."""
    text = ""
    for table in MIGRATED_TABLES:
        of_table = descriptions.get(table, ())
        text += f"<time> :: Start migrate {table} table\n"
        for number, description in enumerate(of_table, start=1):
            text += f"<time> :: insert row({number}): {description}\n"
        text += f"<time> :: {_summary(table, len(of_table))}"
    return text


def console(system_data=0) -> str:
    """The console of a complete run whose source has rows in SystemData only."""
    return complete_console({"SystemData": system_data})


def log(system_data=()) -> str:
    """The log of a complete run whose source has rows in SystemData only, given as the descriptions of its rows."""
    return complete_log({"SystemData": system_data})


def _summary(table: str, rows: int) -> str:
    return (
        f"Complete migrate {table} table. Total rows read = {rows} Total migrated rows = {rows}."
        " Migration time is <ms> milliseconds\n"
    )
