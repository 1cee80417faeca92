"""Deterministic sample data for the source database: a trading desk's book of any size.

    sample_data.py FILE.sqlite [--scale N] [--rows TABLE=N]... [--letters latin|cyrillic]

creates FILE.sqlite with the 22 tables of the source and fills them. The same arguments always give the same rows.

Scale 1, the default, gives each table the few rows of `BASE_ROWS`. At scale N the tables of the daily business
(`_BUSINESS_TABLES`) have N times as many rows, the reference tables as many times as the square root of N; scale 0
leaves every table empty except for the schema version. `--rows` sets the number of rows of single tables.

The data migrates without an error. Among the first rows of the tables are the odd cases: NULLs where the source allows
them, identifiers with gaps, texts that fill their column, empty texts, texts that end with blanks, texts longer than
what is migrated, negative numbers, doubles at both ends of their range, letters beyond ASCII. Pools are numbered
without gaps, because the orders in a pool are migrated by the pool's position; rows whose reference is translated or
constrained in the destination always name an existing row.

Letters beyond ASCII take two bytes in UTF-8, and the migrator's text fields are counted in bytes: such letters stand
only in texts short enough to have room for them.
"""

import argparse
import contextlib
import datetime
import hashlib
import math
import pathlib
import sqlite3
import sys

SCHEMA_VERSION = "29"

# The number of rows of each table at scale 1. The order is that of the migration.
BASE_ROWS = {
    "SystemData": 8,
    "GroupDesc": 6,
    "Clients": 24,
    "GroupOrders": 16,
    "Orders": 48,
    "SecGroups": 6,
    "SecGrMemb": 24,
    "SecMinQt": 12,
    "ImportLog": 8,
    "LoadedPositions": 40,
    "RatingAgencies": 4,
    "RatingScales": 20,
    "LoadedSecurities": 16,
    "LoadedSecuritiesClientPrices": 24,
    "Restrictions": 12,
    "PoolOrders": 6,
    "OrdersInPool": 24,
    "GroupStopOrders": 8,
    "StopOrders": 24,
    "GroupNegOrders": 12,
    "NegOrders": 24,
    "ExportOrder": 16,
}

TABLES = tuple(BASE_ROWS)

_BUSINESS_TABLES = {
    "Clients",
    "GroupOrders",
    "Orders",
    "LoadedPositions",
    "LoadedSecuritiesClientPrices",
    "OrdersInPool",
    "GroupStopOrders",
    "StopOrders",
    "GroupNegOrders",
    "NegOrders",
    "ExportOrder",
}

# Rows of the first table need at least one row of the second, or the migration ends with an error.
_REQUIRED_ROWS = (
    ("Clients", "GroupDesc"),
    ("GroupOrders", "GroupDesc"),
    ("Orders", "GroupOrders"),
    ("LoadedSecuritiesClientPrices", "LoadedSecurities"),
    ("OrdersInPool", "PoolOrders"),
    ("GroupNegOrders", "GroupDesc"),
)

_SCHEMA = pathlib.Path(__file__).resolve().parent / "schema" / "source.sql"

_LETTERS = {
    "latin": {
        "firm": "Brantwell Zürich",
        "group": "Crédit Genève, réserve",
        "remark": "Übertrag, façade, señal",
        "bond": "Köln é",
        "agency": "Agence d'évaluation Père & Müller",
        "pool": "Pool für Châlons",
        "mode": "clé",
        "restriction": "Größe höchstens",
        "note": "à vérif",
    },
    "cyrillic": {
        "firm": "Брантвелл Москва",
        "group": "Кредит Москва, резерв",
        "remark": "Перевод, счёт, знак",
        "bond": "Урал э",
        "agency": "Агентство оценки Егоров и Щукин",
        "pool": "Пул для Шуи",
        "mode": "да",
        "restriction": "Объём не более",
        "note": "сверить",
    },
}

_TICKERS = (
    "AURX", "BLTK", "CRNE", "DVNA", "ELMT", "FRGO", "GLDR", "HVST",
    "KRSL", "LMNS", "MGNA", "NRTH", "OPTM", "PLRS", "QRTZ", "RDGE",
)
_CLASSES = ("TQBR", "TQBR", "TQOB", "FUTS", "NEGDEALS_EUR")
_FIRMS = ("MC0012300000", "NC0045600000", "BRW")

_INT_MAX = 2147483647
_INT_MIN = -2147483648

# In this order, so that even tables of few rows have both ends of the range.
_ODD_DOUBLES = (
    1e300, -1e-300, 1.7976931348623157e308, 5e-324, -1.7976931348623157e308, 2.2250738585072014e-308,
    1 / 3, 0.1 + 0.2, -0.001, 0.0,
)


def _trading_days(count: int) -> tuple[int, ...]:
    days = (datetime.date(2023, 1, 9) + datetime.timedelta(days=n) for n in range(2 * count))
    return tuple(int(day.strftime("%Y%m%d")) for day in days if day.weekday() < 5)[:count]


_DAYS = _trading_days(250)

# 40 characters fill the column.
_SESSIONS = tuple(
    hashlib.sha1(f"session {n}".encode()).hexdigest() if n % 2 == 0 else f"ARM{n:03d}-{_DAYS[n]}" for n in range(64)
)


def _day(n: int) -> int:
    return _pick(_DAYS, n * 31 // 64)


def _time(n: int) -> int:
    """A time within the session from 09:30:00 on, as hhmmss."""
    second = 34200 + n * 37 % 33000
    return second // 3600 * 10000 + second // 60 % 60 * 100 + second % 60


def _session(n: int) -> str:
    return _pick(_SESSIONS, n)


def _user(n: int) -> int:
    return 100 + n % 7


def _price(n: int) -> float:
    return (1000 + n * 7919 % 99000) / 100


def _quantity(n: int) -> float:
    return float((1 + n * 13 % 90) * 10)


def _order_number(n: int) -> float:
    """As large as exchanges number orders: just below the last whole number that a double holds exactly."""
    return 9007199254740991.0 - n if n % 2 == 0 else 1892734650000000.0 + n


def _odd_double(n: int, otherwise: float) -> float:
    return _ODD_DOUBLES[n] if n < len(_ODD_DOUBLES) else otherwise


def _with_gaps(n: int) -> int:
    """1, 2, 5, 6, 9, 10 ..."""
    return 1 + n + n // 2 * 2


def _pick(choices, n: int):
    return choices[n % len(choices)]


def _filling(text: str, width: int) -> str:
    return (text * width)[:width]


def _with_nulls(values: tuple, n: int) -> list:
    """Of six rows, one has no NULL, one has nothing else, and each of the others has NULL in every fourth place."""
    return [None if n % 6 in (place % 4, 4) else value for place, value in enumerate(values)]


def _security(n: int) -> str:
    """A code of its own for every n: a ticker, or 12 characters, which fill the column."""
    if n % 5 == 4:
        return f"XS{n:010d}"
    ticker = _pick(_TICKERS, n)
    return ticker if n < len(_TICKERS) else f"{ticker}{n}"


def _traded_security(n: int) -> str:
    return _security(n * 7 % 16)


def _class(n: int) -> str:
    return _pick(_CLASSES, n)


def _client(n: int) -> str:
    return f"KL{n:010d}" if n % 4 == 1 else f"C{n:05d}"


def _account(n: int) -> str:
    return "L01-00000F00" if n % 3 == 0 else f"L01+{n % 900:04d}"


def _system_data(count, _counts, letters):
    head = (
        ("dbver", SCHEMA_VERSION),
        ("dbname", "Brantwell"),
        ("firm", letters["firm"]),
        ("lastimport", f"{_DAYS[-1]} 183000"),
        (_filling("settlement_codes_", 20), _filling("T+2;", 50)),
        ("comment", ""),
        ("lotrounding", "-1"),
        ("sessionstart", "093000"),
    )
    yield from head[:count]
    for n in range(len(head), count):
        yield f"setting{n:08d}", f"{n * 17 % 1000}"


def _group_id(n: int) -> int:
    return 10 + _with_gaps(n)


def _group_desc(count, _counts, letters):
    names = ("Own book", letters["group"], _filling("Clients of the branch, ", 255), "Pension funds", "")
    for n in range(count):
        name = names[n] if n < len(names) else f"Client group {n}"
        code = _filling("DESK-A/", 64) if n == 2 else f"GRP{n:05d}"
        yield (_group_id(n), code, name, _pick("001", n), "BYWEIGHT10" if n % 3 == 2 else "LOTS",
               _odd_double(n, 1.0), -1 if n == 1 else n % 2)


def _clients(count, counts, letters):
    remarks = (
        "",
        letters["remark"],
        _filling("See the contract. ", 50),
        # More characters than the 50 that are migrated.
        _filling("Calls only in the morning, never on Fridays. ", 100),
        "Calls back  ",
    )
    for n in range(count):
        code = f"DESK/CLIENT/{n:08d}" if n % 11 == 3 else _client(n)
        number = (_INT_MAX, _INT_MIN, -1)[n] if n < 3 else n
        remark = remarks[n] if n < len(remarks) else f"Contract {1000 + n}"
        yield code, _group_id(n % counts["GroupDesc"]), number, _odd_double(n, 1 + n % 9 / 4), remark


def _group_order_id(n: int) -> int:
    return 500 + _with_gaps(n)


def _group_orders(count, counts, _letters):
    for n in range(count):
        price = -37.63 if n == 3 else _price(n)
        quantity = _quantity(n)
        yield (
            _group_order_id(n), _group_id(n % counts["GroupDesc"]), _day(n), _time(n), _pick("BS", n), _pick("LLM", n),
            _traded_security(n), _class(n), price, quantity, quantity - 10, 10.0, 0.0, _pick("ACKE", n), _pick("01", n),
            1 + n % 5, _pick(("", "AUTO", "0123456789"), n), n % 4, _odd_double(n, price * quantity), _user(n),
            _session(n), 70001 + 3 * n, quantity / 2,
        )


def _orders(count, counts, _letters):
    for n in range(count):
        price = _price(n + 3)
        quantity = _quantity(n)
        yield (
            9000 + _with_gaps(n), _group_order_id(n % counts["GroupOrders"]), _pick("BS", n), _pick("LLM", n), _day(n),
            _time(n), _traded_security(n), _class(n), _client(n % 40), _account(n), price, quantity,
            -quantity if n == 5 else quantity / 4, _order_number(n), _pick("ACKE", n), _pick("01", n), n % 3,
            _odd_double(n, price * quantity), quantity, _user(n), _session(n), 80001 + 2 * n,
        )


def _sec_group_id(n: int) -> int:
    return _with_gaps(n)


def _sec_groups(count, _counts, letters):
    names = ("Blue chips", letters["group"], _filling("Papers of the first list, ", 255), "", "Government bonds")
    for n in range(count):
        name = names[n] if n < len(names) else f"Securities {n}"
        code = _filling("SEC-LIST/", 64) if n == 2 else f"SG{n:04d}"
        yield (_sec_group_id(n), code, name, _pick("01", n), _pick(("ALL", "CLASS+CODE", ""), n),
               _pick(("include", "exclude_10"), n), -(n % 8), n % 4)


def _sec_gr_memb(count, counts, _letters):
    for n in range(count):
        group = _sec_group_id(n % counts["SecGroups"]) if counts["SecGroups"] else 0
        code = f"MEMBER/{n:013d}" if n % 6 == 5 else _security(n % 16)
        yield group, _pick("SSA", n), code, _pick(("TQBR", "", "NEGOTIATED_DEALS_EUR"), n), -1 if n == 1 else 100 + n


def _sec_min_qt(count, _counts, _letters):
    for n in range(count):
        yield _class(n), _security(n), (_INT_MAX, 0, -10)[n] if n < 3 else 1 + n % 100


def _import_log(count, _counts, _letters):
    kinds = ("positions", "securities", _filling("client prices, ", 32), "pools")
    for n in range(count):
        yield 6 + _with_gaps(n), _pick(kinds, n), _user(n), _session(n), -1 if n == 2 else 50 + n


def _loaded_positions(count, _counts, _letters):
    for n in range(count):
        # More characters than the 12 that are migrated.
        client = f"{_client(n % 50)}/SUB{n % 9}" if n % 8 == 1 else _client(n % 50)
        limit_kind = (_INT_MIN, _INT_MAX, -1)[n] if n < 3 else n % 3
        yield (_with_gaps(n), 1 + n % 2, _pick(_FIRMS, n), _traded_security(n), client, limit_kind,
               _odd_double(n, (n * 4099 % 2000001 - 1000000) / 100))


def _agency_id(n: int) -> int:
    return _with_gaps(n)


def _rating_agencies(count, _counts, letters):
    names = ("Northern Ratings", letters["agency"], _filling("National ratings agency, ", 128), "")
    for n in range(count):
        name = names[n] if n < len(names) else f"Rating agency {n}"
        yield _agency_id(n), "AGENCY_OF_20_LETTERS" if n == 2 else f"AG{n:03d}", name


def _rating_scales(count, counts, _letters):
    ratings = ("AAA", "AA+", "AA", "A-", _filling("BBB (outlook) ", 20), "BB", "", "D")
    for n in range(count):
        agency = _agency_id(n % counts["RatingAgencies"]) if counts["RatingAgencies"] else 0
        yield 20 + _with_gaps(n), agency, n % 2, _pick(ratings, n), -1 if n == 7 else 1 + n % 8


def _security_id(n: int) -> int:
    return 300 + _with_gaps(n)


def _loaded_securities(count, _counts, letters):
    names = ("Aurex", letters["bond"], _filling("Bond ", 16))
    styles = ("Share", _filling("Debt paper/", 16), "")
    types = ("common", _filling("corporate bond/", 32), "fund unit")
    for n in range(count):
        name = names[n] if n < len(names) else f"Paper {n}"
        yield (
            _security_id(n), _security(n), name, _pick(styles, n), _pick(types, n), 1000.0 if n % 3 else 0.05,
            _odd_double(n, n % 50 / 7), -3.25 if n == 3 else _price(n),
        )


def _loaded_securities_client_prices(count, counts, _letters):
    securities = counts["LoadedSecurities"]
    for n in range(count):
        yield (1 + n // securities, _security_id(n % securities), _client(n % 50), -1 if n == 2 else n % 3,
               _odd_double(n, _price(n)))


def _restrictions(count, counts, letters):
    names = ("", letters["restriction"], _filling("Limit of the day, ", 50))
    # Short modes after long ones as well: the migrator's row keeps bytes of the longer text behind the shorter one.
    modes = ("", "1", "HARDLIMIT1", "1", "", letters["mode"], "SOFT", "2")
    for n in range(count):
        group = _sec_group_id(n % counts["SecGroups"]) if counts["SecGroups"] else 0
        name = names[n] if n < len(names) else f"Limit {n}"
        yield (
            40 + _with_gaps(n), _pick("CGS", n), _filling("DESK/", 20) if n == 2 else _client(n),
            _pick(modes, n), _odd_double(n, n * 1000.0), group, -1 if n % 3 == 0 else group, _pick("01", n),
            -0.5 if n == 1 else n / 8, n % 2, _user(n), _session(n), 90001 + n, n % 3,
            f"RESTR{n:07d}" if n % 2 else f"R{n}", name,
        )


def _pool_orders(count, _counts, letters):
    names = (letters["pool"], "", _filling("Pool of the morning, ", 128))
    for n in range(count):
        quantity = _quantity(n) * 100
        name = names[n] if n < len(names) else f"Pool {n}"
        yield (
            1 + n, f"BROKER-POOL/{n:020d}" if n == 1 else f"BP{n}", name, _day(n), _time(n), _day(n + 20),
            _filling("/import/", 250) if n == 2 else f"/import/pool{n}.csv",
            _filling("Partly executed, ", 50) if n == 2 else "Active", -1 if n == 3 else _time(n + 5),
            quantity, quantity / 2, quantity / 4, 0.0, _odd_double(n, 0.0), quantity / 4,
        )


def _orders_in_pool(count, counts, letters):
    remarks = ("", letters["note"], _filling("as agreed, ", 20), "to be checked")
    for n in range(count):
        quantity = _quantity(n)
        yield (
            60 + _with_gaps(n), 1 + n % counts["PoolOrders"], _pick("LS", n), _client(n % 40), _class(n),
            _traded_security(n), -0.01 if n == 4 else _price(n), quantity, _pick("BS", n), _pick("LM", n), quantity / 2,
            quantity / 4, 0.0, _odd_double(n, 0.0), quantity / 4, _pick(remarks, n),
        )


def _group_stop_order_id(n: int) -> int:
    return 700 + _with_gaps(n)


def _group_stop_orders(count, counts, _letters):
    for n in range(count):
        group = _group_id(n % counts["GroupDesc"]) if counts["GroupDesc"] else 0
        price = _price(n)
        quantity = _quantity(n)
        yield (
            _group_stop_order_id(n), group, n % 4, _day(n), _time(n), _pick("BS", n), _pick("LM", n),
            _traded_security(n), _class(n), "" if n % 3 else _traded_security(n + 2), "" if n % 3 else _class(n + 1),
            n % 3, -1 if n == 0 else n % 256, price, price + 0.5, 0.0, -0.25 if n % 2 else 0.25, 0.05, quantity,
            quantity, quantity / 2, _odd_double(n, 0.0), _order_number(n), _pick("AKE", n), _pick("01", n), 1 + n % 5,
            -n, _order_number(n + 1), _day(n + 10), price - 1, 100000, 184500,
        )


def _stop_orders(count, counts, _letters):
    for n in range(count):
        group_order = _group_stop_order_id(n % counts["GroupStopOrders"]) if counts["GroupStopOrders"] else 0
        price = _price(n)
        quantity = _quantity(n)
        yield (
            7000 + _with_gaps(n), group_order, n % 4, _pick("BS", n), _pick("LM", n), _day(n), _time(n),
            _traded_security(n), _class(n), "" if n % 3 else _traded_security(n + 2), "" if n % 3 else _class(n + 1),
            n % 3, -1 if n == 0 else n % 256, _client(n % 40), price, price + 0.5, 0.0, -0.25 if n % 2 else 0.25, 0.05,
            quantity, _odd_double(n, quantity / 2), _order_number(n), _order_number(n + 1), 0.0, _order_number(n + 2),
            _pick("AKE", n), _pick("01", n), _day(n + 10), price - 1, 100000, 184500, _account(n),
        )


def _group_neg_order_id(n: int) -> int:
    return 800 + _with_gaps(n)


def _group_neg_orders(count, counts, _letters):
    for n in range(count):
        price = _price(n)
        quantity = _quantity(n)
        values = (
            price, price * quantity, quantity, quantity, _odd_double(n, 0.0), 1e6 + n, 1e6, 0.5, -0.125, 12.5, -0.75,
            7 + n % 30, -1 if n == 1 else n % 3, _INT_MAX if n == 2 else n % 64, 95001 + n,
        )
        nullable = _with_nulls(values, n)
        yield (
            _group_neg_order_id(n), _group_id(n % counts["GroupDesc"]), _day(n), _time(n), _pick("BS", n),
            _traded_security(n), "NEGDEALS_EUR", _pick(_FIRMS, n), "T0" if n % 2 else "SETTLE_CODE2",
            _pick(("", "REF0123456", "M1"), n), *nullable[:5], _pick("AKE", n), _pick("01", n), 1 + n % 5,
            *nullable[5:14], _user(n), _session(n), nullable[14],
        )


def _neg_orders(count, counts, _letters):
    for n in range(count):
        group_order = _group_neg_order_id(n % counts["GroupNegOrders"]) if counts["GroupNegOrders"] else 0
        price = _price(n)
        quantity = _quantity(n)
        values = (
            price, price * quantity, quantity, _odd_double(n, 1e6 + n), 0.5, -0.125, 12.5, -0.75,
            _INT_MAX if n == 1 else 7 + n % 30, -1 if n == 2 else n % 64, 96001 + n,
        )
        nullable = _with_nulls(values, n)
        yield (
            8000 + _with_gaps(n), group_order, _day(n), _time(n), _pick("BS", n), "NEGDEALS_EUR", _traded_security(n),
            _client(n % 40), _account(n), _pick(_FIRMS, n), "T0" if n % 2 else "SETTLE_CODE2",
            _pick(("", "REF0123456", "M1"), n), *nullable[:3], _order_number(n), _pick("AKE", n), _pick("01", n),
            *nullable[3:10], _user(n), _session(n), nullable[10],
        )


def _broker_pool_number(n: int) -> str:
    """A number whose four bytes are ASCII letters or zero, because the migrator carries its bytes as text."""
    letters = [ord("A") + (n * step) % 26 for step in (1, 3, 5, 7)][: 1 + n % 4]
    return str(int.from_bytes(bytes(letters), "little"))


def _export_order(count, counts, _letters):
    pools = counts["PoolOrders"]
    # NULL comes after numbers of one and of several letters, and a short number after a long one.
    broker_pools = (None, "65", None, "1145258561", None, "0", "256", "16961", "66")
    for n in range(count):
        group = _group_id(n % counts["GroupDesc"]) if counts["GroupDesc"] else 0
        broker_pool = broker_pools[n] if n < len(broker_pools) else _broker_pool_number(n)
        yield (
            600 + _with_gaps(n), 9000 + _with_gaps(n), _group_order_id(n), n % 3, _day(n), _day(n), _time(n),
            _time(n + 1), -1 if n == 1 else n % 5, group, _filling("USERS/", 64) if n == 2 else f"GRP{n % 90:05d}",
            None if n % 4 == 1 or not pools else 1 + n % pools,
            broker_pool, _client(n % 40), _account(n), -37.63 if n == 3 else _price(n), _quantity(n),
            _quantity(n) / 2, _pick("BS", n), _pick("LM", n), _class(n), _traded_security(n), _quantity(n),
            _odd_double(n, 0.0), 0.5, 12.5, -0.125, -0.75, n % 30,
        )


_GENERATORS = {
    "SystemData": _system_data,
    "GroupDesc": _group_desc,
    "Clients": _clients,
    "GroupOrders": _group_orders,
    "Orders": _orders,
    "SecGroups": _sec_groups,
    "SecGrMemb": _sec_gr_memb,
    "SecMinQt": _sec_min_qt,
    "ImportLog": _import_log,
    "LoadedPositions": _loaded_positions,
    "RatingAgencies": _rating_agencies,
    "RatingScales": _rating_scales,
    "LoadedSecurities": _loaded_securities,
    "LoadedSecuritiesClientPrices": _loaded_securities_client_prices,
    "Restrictions": _restrictions,
    "PoolOrders": _pool_orders,
    "OrdersInPool": _orders_in_pool,
    "GroupStopOrders": _group_stop_orders,
    "StopOrders": _stop_orders,
    "GroupNegOrders": _group_neg_orders,
    "NegOrders": _neg_orders,
    "ExportOrder": _export_order,
}


def create_source(path) -> None:
    """Creates the SQLite file `path` with the 22 empty tables of the source."""
    with contextlib.closing(sqlite3.connect(":memory:")) as connection:
        connection.execute("ATTACH DATABASE ? AS dbo", (str(path),))
        connection.executescript(_SCHEMA.read_text())


def allow_nulls(path) -> None:
    """Lets every column of the source at `path` hold NULL, as in an installation that lost its constraints."""
    with contextlib.closing(sqlite3.connect(path)) as connection, connection:
        connection.execute("PRAGMA writable_schema = ON")
        connection.execute("UPDATE sqlite_master SET sql = replace(sql, ' NOT NULL', ' NULL') WHERE type = 'table'")


def row_counts(scale: int = 1, rows: dict[str, int] | None = None) -> dict[str, int]:
    """The number of rows of each table; see the module's description."""
    counts = {}
    for table, base in BASE_ROWS.items():
        if table in _BUSINESS_TABLES:
            counts[table] = base * scale
        else:
            counts[table] = base * math.isqrt(scale)
    # Without the schema version there is no migration.
    counts["SystemData"] = max(1, counts["SystemData"])
    for table, count in (rows or {}).items():
        if table not in counts:
            raise ValueError(f"there is no table {table}")
        counts[table] = count
    for table, required in _REQUIRED_ROWS:
        if counts[table] and not counts[required]:
            raise ValueError(f"rows of {table} need rows of {required}")
    return counts


def fill(path, scale: int = 1, rows: dict[str, int] | None = None, letters: str = "latin") -> None:
    """Fills the empty source at `path`; see the module's description. `rows` maps tables to numbers of rows."""
    counts = row_counts(scale, rows)
    with contextlib.closing(sqlite3.connect(path)) as connection:
        # The file is worth nothing before it is complete, so nothing waits for the disk.
        connection.execute("PRAGMA synchronous = OFF")
        with connection:
            for table, generate in _GENERATORS.items():
                columns = len(connection.execute(f"SELECT * FROM [{table}]").description)
                markers = ", ".join("?" * columns)
                connection.executemany(
                    f"INSERT INTO [{table}] VALUES ({markers})",
                    generate(counts[table], counts, _LETTERS[letters]),
                )


def _table_rows(text: str) -> tuple[str, int]:
    table, _, count = text.partition("=")
    if table not in BASE_ROWS or not count.isdecimal():
        raise argparse.ArgumentTypeError(f"{text} is not TABLE=N")
    return table, int(count)


def _natural(text: str) -> int:
    if not text.isdecimal():
        raise argparse.ArgumentTypeError(f"{text} is not a whole number")
    return int(text)


def _main() -> None:
    parser = argparse.ArgumentParser(description="Creates a source database of sample data.")
    parser.add_argument("file", type=pathlib.Path, help="the SQLite file to create")
    parser.add_argument("--scale", type=_natural, default=1, metavar="N", help="size, 0 for no data (default: 1)")
    parser.add_argument(
        "--rows", type=_table_rows, action="append", default=[], metavar="TABLE=N", help="rows of one table; repeatable"
    )
    parser.add_argument("--letters", choices=_LETTERS, default="latin", help="letters beyond ASCII (default: latin)")
    arguments = parser.parse_args()
    if arguments.file.exists():
        sys.exit(f"{arguments.file} exists already")
    try:
        create_source(arguments.file)
        fill(arguments.file, arguments.scale, dict(arguments.rows), arguments.letters)
    except BaseException as error:
        arguments.file.unlink(missing_ok=True)
        if isinstance(error, ValueError):
            sys.exit(str(error))
        raise


if __name__ == "__main__":
    _main()
