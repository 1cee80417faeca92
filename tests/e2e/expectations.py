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


def console(system_data=0) -> str:
    """The console of a complete run whose source has rows in SystemData only."""
    text = PROMPTS
    for table in MIGRATED_TABLES:
        rows = system_data if table == "SystemData" else 0
        text += (
            f"Start migrate {table} table\n"
            f"Complete migrate {table} table. Total rows read = {rows} Total migrated rows = {rows}."
            " Migration time is <ms> milliseconds\n"
        )
    return text


def log(system_data=()) -> str:
    """The log of a complete run whose source has rows in SystemData only, given as the descriptions of its rows."""
    text = ""
    for table in MIGRATED_TABLES:
        descriptions = system_data if table == "SystemData" else ()
        text += f"<time> :: Start migrate {table} table\n"
        for number, description in enumerate(descriptions, start=1):
            text += f"<time> :: insert row({number}): {description}\n"
        text += (
            f"<time> :: Complete migrate {table} table. Total rows read = {len(descriptions)}"
            f" Total migrated rows = {len(descriptions)}. Migration time is <ms> milliseconds\n"
        )
    return text
