"""Destinations that are not as the migrator's guide has them, each with one difference.

`before` has to foresee what a run then does with them, or to say for which tables it cannot.
"""

import dataclasses
import re

import lab


@dataclasses.dataclass(frozen=True)
class Destination:
    """A difference of the destination's schema, and the rows of the source that meet it."""

    change: tuple[str, ...]  # statements, executed in one session as the superuser
    each: dict = dataclasses.field(default_factory=dict)  # values of all rows, see flawed_source.create
    some: dict = dataclasses.field(default_factory=dict)  # values of single rows that the difference may refuse
    unforeseen: tuple[str, ...] = ()  # the tables of which `before` may say that it cannot foresee them
    settings: dict = dataclasses.field(default_factory=dict)  # of the destination's data source


def _type(column, new_type) -> str:
    table, _, name = column.partition(".")
    return f'ALTER TABLE "{table}" ALTER "{name}" TYPE {new_type} USING "{name}"::text::{new_type}'


def _column(column, new_type, *before, each=None, some=None, unforeseen=()) -> Destination:
    """A column of another type, after the statements `before`, with values of that column."""
    return Destination(
        (*before, _type(column, new_type)),
        {column: each} if each else {},
        {column: some} if some else {},
        unforeseen,
    )


def _add(table, what, **rest) -> Destination:
    return Destination((f'ALTER TABLE "{table}" ADD {what}',), **rest)


def _procedure(name, *before, each=None, some=None, **types) -> Destination:
    """One of the four procedures with parameters of other types."""
    (definition,) = re.findall(rf'CREATE PROCEDURE "{name}"\(.*?\n\$\$;', lab.DESTINATION_SCHEMA.read_text(), re.DOTALL)
    for parameter, new_type in types.items():
        definition, changed = re.subn(rf"IN {parameter} [a-z ]+", f"IN {parameter} {new_type}", definition)
        assert changed == 1, parameter
    return Destination(
        (*before, "SET ROLE bw_migrator", f'DROP PROCEDURE "{name}"', definition), each or {}, some or {}
    )


_INT_MAX = 2147483647
_INT_MIN = -2147483648

_TYPES = {
    "numeric of two places": _column("Clients.Weight", "numeric(6, 2)", some=(0.125, 9999.996, 12.5)),
    "numeric of two places behind a procedure": _column("GroupOrders.Price", "numeric(6, 2)", some=(0.125, 9999.996)),
    "numeric of any size": _column("LoadedSecurities.Price", "numeric", some=(1e300, 0.1 + 0.2)),
    "numeric of hundreds": _column("Clients.Num", "numeric(3, -2)", some=(149, 99950)),
    "smallint": _column("SecMinQt.MinQty", "smallint", some=(40000, -32769, 32767)),
    "smallint behind a procedure": _column("Orders.TradeTime", "smallint", some=(40000,)),
    "bigint": _column("Clients.Num", "bigint", some=(_INT_MAX, _INT_MIN)),
    "real": _column("LoadedPositions.OpenBalance", "real", each=(1.5, 0.1, 16777217.0), some=(1e300, 1e-300)),
    "real for an integer": _column("LoadedPositions.PosType", "real", some=(16777217,)),
    "double for an integer": _column("LoadedPositions.PosType", "double precision", some=(_INT_MAX,)),
    "integer for a double": _column("Clients.Weight", "integer", each=(1.0, -2.0, 0.0), some=(1.5, 3e9)),
    "text for an integer": _column("Clients.Num", "text"),
    "text for a kept number": _column("StopOrders.GroupOrderID", "varchar(20)"),
    "text for a followed number": _column("GroupNegOrders.GroupID", "text"),
    "text for a pool's number": _column("OrdersInPool.PoolID", "text"),
    "text for a double": _column("StopOrders.Price", "text"),
    "date for an integer": _column("GroupStopOrders.TradeDate", "date", each=(20240101, 20240229), some=(20230229,)),
    "date for a text": _column("PoolOrders.Status", "date", each=("2024-01-31", "20240229"), some=("31.1.2024", "x")),
    "timestamp for a text": _column("ImportLog.ImportType", "timestamptz", each=("2024-01-31 12:00",), some=("noon",)),
    "interval for a text": _column("PoolOrders.Status", "interval", each=("1 day", "02:00"), some=("never",)),
    "boolean for a text": _column("Restrictions.disabled", "boolean", each=("0", "1", "t"), some=("X",)),
    "boolean for an integer": _column("GroupStopOrders.OrdersCount", "boolean", each=(0, 1), some=(2,)),
    "boolean behind a procedure": _column("SecGroups.disabled", "boolean", each=("0", "1")),
    "money": _column("LoadedSecurities.Price", "money", each=(1.5, 0.0, -2.25), some=(0.125, 1e300)),
    "money for an integer": _column("SecMinQt.MinQty", "money"),
    "bits": _column("SecMinQt.MinQty", "bit(4)", each=(1000, 1111), some=(10000, 2000)),
    "varying bits": _column("SecMinQt.MinQty", "bit varying(4)", each=(1000, 11), some=(10000,)),
    "oid": _column("SecMinQt.MinQty", "oid", some=(-1,)),
    "integer for a text": _column("PoolOrders.Status", "integer", each=("1", "22", " 7 "), some=("x", "")),
    "uuid": _column("PoolOrders.Status", "uuid", each=("a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11",), some=("a0eebc99",)),
    "network address": _column("PoolOrders.Status", "inet", each=("10.0.0.1",), some=("10.0.0.1/33",)),
    "json": _column("Clients.Comment", "json", each=("{}", '{"a":  1}'), some=("{",)),
    "binary json": _column("Clients.Comment", "jsonb", each=("{}", '{"a":  1}'), some=("'",)),
    "bytes": _column("ImportLog.ImportType", "bytea", each=("A", "\\x41"), some=("\\x4", "\\")),
    "array": _column("Clients.Comment", "text[]", each=("{}", "{a,b}"), some=("{", "a")),
    "range": _column("Clients.Comment", "int4range", each=("[1,3)", "[1,2]"), some=("[2,1)",)),
    "enumeration": _column(
        "Restrictions.RestType", "side", "CREATE TYPE side AS ENUM ('B', 'S')", each=("B", "S"), some=("X",)
    ),
    "composite": _column(
        "Clients.Comment", "pair", "CREATE TYPE pair AS (a integer, b text)", each=("(1,x)",), some=("(x)",)
    ),
    "domain": _column("Clients.Comment", "short", "CREATE DOMAIN short AS varchar(8)", some=("123456789", "12345678 ")),
    "domain with a check": _column(
        "SecMinQt.MinQty", "amount", "CREATE DOMAIN amount AS integer CHECK (VALUE BETWEEN 1 AND 4000)", some=(0, 4001)
    ),
    "domain over a domain": _column(
        "LoadedPositions.OpenBalance",
        "balance",
        "CREATE DOMAIN number AS numeric(8, 2)",
        "CREATE DOMAIN balance AS number NOT NULL CHECK (VALUE <> 7)",
        each=(1.5, 8.0),
        some=(7.001, 1e7),
    ),
    "domain of another schema": _column(
        "Clients.Comment",
        '"a desk"."Short text"',
        'CREATE SCHEMA "a desk" AUTHORIZATION bw_migrator',
        'CREATE DOMAIN "a desk"."Short text" AS varchar(12)',
        some=("1234567890123", "123456789012 "),
    ),
    "domain with a check of its own function": _column(
        "SecMinQt.MinQty",
        "amount",
        "CREATE FUNCTION is_low(n integer) RETURNS boolean LANGUAGE sql STABLE AS 'SELECT n < 4000'",
        "CREATE DOMAIN amount AS integer CHECK (is_low(VALUE))",
        some=(4000,),
        unforeseen=("SecMinQt",),
    ),
}  # fmt: skip

_NO_CASE = "CREATE COLLATION no_case (provider = icu, locale = 'und-u-ks-level2', deterministic = false)"

_TEXTS = {
    "char that pads": _column("LoadedPositions.FirmID", "char(12)", some=("A", "A   ", "")),
    "narrower char": _column("LoadedPositions.FirmID", "char(4)", each=("A", "AB  "), some=("ABCDE", "ABCD   ")),
    "narrower varchar": _column("Clients.Comment", "varchar(6)", each=("A", "AB"), some=("123456   ", "1234567")),
    "narrower varchar behind a procedure": _column(
        "SecGroups.SecGName", "varchar(6)", each=("A", "AB"), some=("123456   ", "1234567")
    ),
    "text": _column("Clients.Comment", "text", some=("A   ", "   ", "")),
    "name": _column("PoolOrders.Source", "name", some=("X" * 64, "X" * 63)),
    "one byte": _column("RatingScales.Rating", '"char"', some=("AB", "")),
    "text that ignores case": Destination(
        ("CREATE EXTENSION citext", _type("SecMinQt.SecCode", "citext")),
        {"SecMinQt.ClassCode": ("A",)},
        {"SecMinQt.SecCode": ("abc", "ABC")},
    ),
    "collation that ignores case": Destination(
        (_NO_CASE, 'ALTER TABLE "SecMinQt" ALTER "SecCode" TYPE varchar(12) COLLATE no_case'),
        {"SecMinQt.ClassCode": ("A",)},
        {"SecMinQt.SecCode": ("abc", "ABC")},
    ),
    "collation that ignores case in a check": Destination(
        (
            _NO_CASE,
            'ALTER TABLE "SecMinQt" ALTER "SecCode" TYPE varchar(12) COLLATE no_case',
            """ALTER TABLE "SecMinQt" ADD CHECK ("SecCode" <> 'stop')""",
        ),
        some={"SecMinQt.SecCode": ("STOP",)},
    ),
    "no room for the number of a mode": _column("Restrictions.Mode", "varchar(8)", each=("1",), some=("LIMIT",)),
}

_KEYS = {
    "unique column": _add("ImportLog", 'UNIQUE ("BWUserID")', some={"ImportLog.BWUserID": (7, 7)}),
    "unique index over some rows": Destination(
        ('CREATE UNIQUE INDEX ON "SecMinQt" ("SecCode") WHERE "MinQty" > 2000',),
        some={"SecMinQt.SecCode": ("A", "A", "A")},
    ),
    "unique index over an expression": Destination(
        ('CREATE UNIQUE INDEX ON "SecMinQt" (lower("SecCode"))',), some={"SecMinQt.SecCode": ("abc", "ABC")}
    ),
    "index whose expression fails": Destination(
        ('CREATE INDEX ON "SecMinQt" ((1000 / ("MinQty" - 7)))',), some={"SecMinQt.MinQty": (7, 8)}
    ),
    "unique over a text that is cut": _add(
        "LoadedPositions",
        'UNIQUE ("ClientCode")',
        some={"LoadedPositions.ClientCode": ("123456789012A", "123456789012B")},
    ),
    "unique over a text of the destination that is cut": Destination(
        (_type("Clients.Comment", "varchar(4)"), 'ALTER TABLE "Clients" ADD UNIQUE ("Comment")'),
        {"Clients.Comment": ("A", "B", "C", "D", "E", "F", "G", "H")},
        {"Clients.Comment": ("ABCD", "ABCD  ")},
    ),
    "unique over a replaced NULL": _add(
        "GroupNegOrders", 'UNIQUE ("OrderType")', some={"GroupNegOrders.OrderType": (None, None)}
    ),
    "unique over a replaced NULL and its value": _add(
        "ExportOrder",
        'UNIQUE ("PoolID")',
        each={"ExportOrder.PoolID": (21, 22, 23, 24, 25, 26, 27, 28)},
        some={"ExportOrder.PoolID": (None, -1)},
    ),
    "unique over Mode": _add(
        "Restrictions", 'UNIQUE ("Mode")', some={"Restrictions.Mode": ("LIMITS", "LIMITED")}
    ),
    "unique over Flags": _add(
        "NegOrders",
        'UNIQUE ("Flags")',
        each={"NegOrders.Flags": (2097153, 4194305, _INT_MAX, 1073741825, 1610612737, 536870913, 7, 268435457)},
        some={"NegOrders.Flags": (0, 8)},
    ),
    "unique over BrokerPoolID": _add(
        "ExportOrder",
        'UNIQUE ("BrokerPoolID")',
        each={"ExportOrder.BrokerPoolID": ("66", "67", "68", "69", "70", "71", "72", "73")},
        some={"ExportOrder.BrokerPoolID": ("65", "65601")},
    ),
    "unique over the pool of a position": _add(
        "OrdersInPool",
        'UNIQUE ("PoolID")',
        each={"PoolOrders.PoolID": (3, 1, 2, 4, 5, 6, 7, 8), "OrdersInPool.PoolID": (1, 2, 3, 4)},
    ),
    "unique over a double": _add(
        "LoadedPositions",
        'UNIQUE ("OpenBalance")',
        each={"LoadedPositions.OpenBalance": (1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5)},
        some={"LoadedPositions.OpenBalance": (0.3, 0.1 + 0.2)},
    ),
    "unique over a fraction that is dropped": Destination(
        (
            _type("LoadedPositions.OpenBalance", "numeric(9, 1)"),
            'ALTER TABLE "LoadedPositions" ADD UNIQUE ("OpenBalance")',
        ),
        {"LoadedPositions.OpenBalance": (1.5, 2.5, 3.5, 4.5, 5.5, 6.5, 7.5, 8.5)},
        {"LoadedPositions.OpenBalance": (9.0, 9.04)},
    ),
    "unique over a new number": _add("Clients", 'UNIQUE ("GroupID")'),
    "unique at the end of the transaction": _add(
        "SecMinQt", 'UNIQUE ("SecCode") DEFERRABLE INITIALLY DEFERRED', some={"SecMinQt.SecCode": ("A", "A", "A")}
    ),
    "unique over NULLs": Destination(
        ('ALTER TABLE "SecMinQt" ADD note integer', 'ALTER TABLE "SecMinQt" ADD UNIQUE NULLS NOT DISTINCT (note)'),
        {"SecMinQt.MinQty": (1, 2, 3)},
    ),
    "unique over a column that nobody fills": Destination(
        ('ALTER TABLE "SecMinQt" ADD note integer UNIQUE',), {"SecMinQt.MinQty": (1, 2, 3)}
    ),
    "unique with a column beside": _add(
        "SecMinQt", 'UNIQUE ("SecCode") INCLUDE ("MinQty")', some={"SecMinQt.SecCode": ("A", "A")}
    ),
    "no key at all": Destination(
        ('ALTER TABLE "SecMinQt" DROP CONSTRAINT "SecMinQt_pkey"',), {"SecMinQt.SecCode": ("A",)}
    ),
    "another key": Destination(
        (
            'ALTER TABLE "LoadedPositions" DROP CONSTRAINT "LoadedPositions_pkey"',
            'ALTER TABLE "LoadedPositions" ADD PRIMARY KEY ("PosType", "FirmID")',
        ),
        some={"LoadedPositions.FirmID": ("A", "A"), "LoadedPositions.PosType": (5, 5)},
    ),
    "exclusion of ranges": _add(
        "LoadedPositions",
        'EXCLUDE USING gist (int4range("PosType", "PosType" + 9) WITH &&)',
        some={"LoadedPositions.PosType": (500, 508, 509)},
    ),
    "exclusion of a range that cannot be": _add(
        "LoadedPositions",
        'EXCLUDE USING gist (int4range("PosType", "LimitKind") WITH &&)',
        each={"LoadedPositions.PosType": (1, 11, 21, 31, 41, 51, 61, 71)},
        some={"LoadedPositions.LimitKind": (0, 10**6)},
    ),
    "exclusion of equal texts": _add(
        "SecMinQt", 'EXCLUDE ("SecCode" WITH =) WHERE ("MinQty" < 3000)', some={"SecMinQt.SecCode": ("A", "A", "A")}
    ),
}  # fmt: skip

_CHECKS = {
    "check": _add("StopOrders", 'CHECK ("TransFlags" < 3000)', some={"StopOrders.TransFlags": (3000, 2999)}),
    "check behind a procedure": _add(
        "GroupOrders",
        """CHECK ("Buy" <> 'B' OR "ML" <> 'L')""",
        some={"GroupOrders.Buy": ("B",), "GroupOrders.ML": ("L",)},
    ),
    "check that is not validated": _add(
        "SecMinQt", 'CHECK ("MinQty" < 3000) NOT VALID', some={"SecMinQt.MinQty": (3000, 1)}
    ),
    "check that fails": _add("SecMinQt", 'CHECK (1 / ("MinQty" - 7) < 5)', some={"SecMinQt.MinQty": (7, 8)}),
    "check that is never inherited": _add("SecMinQt", 'CHECK ("MinQty" > 1500) NO INHERIT'),
    "check over a cut text": _add(
        "LoadedPositions",
        """CHECK ("ClientCode" <> '123456789012')""",
        some={"LoadedPositions.ClientCode": ("123456789012A",)},
    ),
    "check over the number that is assigned": _add(
        "RatingAgencies", 'CHECK ("AgencyID" < 3)', some={"RatingAgencies.AgencyCode": ("A",)}
    ),
    "check over Mode": _add(
        "Restrictions",
        'CHECK ("Mode"::numeric < 1000000)',
        each={"Restrictions.Mode": ("1",)},
        some={"Restrictions.Mode": ("LIMIT",)},
    ),
    "check with a name and a text that need care": _add(
        "SecMinQt",
        """CONSTRAINT "what's ""this""? {x} $1 %s \\" """
        """CHECK ("SecCode" NOT IN ('?', '{fn now()}', 'it''s', E'\\\\', '$1'))""",
        some={"SecMinQt.SecCode": ("?", "{fn now()}", "it's", "\\")},
    ),
    "check with an immutable function of its own": Destination(
        (
            "CREATE FUNCTION is_low(n integer) RETURNS boolean LANGUAGE sql IMMUTABLE AS 'SELECT n < 4000'",
            'ALTER TABLE "SecMinQt" ADD CHECK (is_low("MinQty"))',
        ),
        some={"SecMinQt.MinQty": (4000,)},
        unforeseen=("SecMinQt",),
    ),
    "check with an immutable function that writes": Destination(
        (
            "CREATE TABLE seen (number integer)",
            "GRANT INSERT ON seen TO bw_migrator",
            "CREATE FUNCTION note(n integer) RETURNS void LANGUAGE sql AS 'INSERT INTO seen VALUES (n)'",
            "CREATE FUNCTION is_noted(n integer) RETURNS boolean LANGUAGE plpgsql IMMUTABLE AS"
            " $$ BEGIN PERFORM note(n); RETURN true; END $$",
            'ALTER TABLE "LoadedSecurities" ADD CHECK (is_noted("SecID"))',
        ),
        unforeseen=("LoadedSecurities", "LoadedSecuritiesClientPrices"),
    ),
    "check with a function that reads a table": Destination(
        (
            "CREATE TABLE limits (most integer)",
            "GRANT SELECT ON limits TO bw_migrator",
            "INSERT INTO limits VALUES (4000)",
            "CREATE FUNCTION is_low(n integer) RETURNS boolean LANGUAGE sql STABLE AS 'SELECT n < most FROM limits'",
            'ALTER TABLE "SecMinQt" ADD CHECK (is_low("MinQty"))',
        ),
        some={"SecMinQt.MinQty": (4000,)},
        unforeseen=("SecMinQt",),
    ),
    "check with a function that counts its own table": Destination(
        (
            "CREATE FUNCTION has_room() RETURNS boolean LANGUAGE plpgsql AS"
            """ $$ BEGIN RETURN (SELECT count(*) < 3 FROM "SecMinQt"); END $$""",
            'ALTER TABLE "SecMinQt" ADD CHECK (has_room())',
        ),
        {"SecMinQt.MinQty": (1, 2, 3)},
        unforeseen=("SecMinQt",),
    ),
}  # fmt: skip

_DEFAULTS = {
    "generated column that fails": _add(
        "Clients", 'inverse double precision GENERATED ALWAYS AS (1 / "Num") STORED', some={"Clients.Num": (0, 5)}
    ),
    "generated column that is too large": _add(
        "Clients", 'twice integer GENERATED ALWAYS AS ("Num" * 2) STORED', some={"Clients.Num": (_INT_MAX, 5)}
    ),
    "generated column that is unique": _add(
        "Clients", 'tens integer GENERATED ALWAYS AS ("Num" / 10) STORED UNIQUE', some={"Clients.Num": (51, 59)}
    ),
    "generated column behind a procedure": _add(
        "Orders",
        'inverse double precision GENERATED ALWAYS AS (1 / ("TradeTime" - 7)) STORED',
        some={"Orders.TradeTime": (7,)},
    ),
    "generated column where a value is written": Destination(
        (
            'ALTER TABLE "SecMinQt" DROP "MinQty"',
            'ALTER TABLE "SecMinQt" ADD "MinQty" integer GENERATED ALWAYS AS (1) STORED',
        ),
        {"SecMinQt.SecCode": ("A", "B")},
    ),
    "default that fails": Destination(
        (
            'ALTER TABLE "SecMinQt" ADD note varchar(3)',
            'ALTER TABLE "SecMinQt" ALTER note SET DEFAULT current_user',
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "default of a setting": Destination(
        ("""ALTER TABLE "SecMinQt" ADD note text DEFAULT current_setting('desk.name', true)""",),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "default of a setting that is missing": Destination(
        (
            'ALTER TABLE "SecMinQt" ADD note text',
            """ALTER TABLE "SecMinQt" ALTER note SET DEFAULT current_setting('desk.name')""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "default that is unique": _add("SecMinQt", "note integer DEFAULT 7 UNIQUE", each={"SecMinQt.MinQty": (1, 2)}),
    "default of the time that is unique": _add(
        "SecMinQt", "written timestamptz DEFAULT now() UNIQUE", each={"SecMinQt.MinQty": (1, 2)}
    ),
    "default that is random": _add(
        "SecMinQt", "note uuid DEFAULT gen_random_uuid() UNIQUE", each={"SecMinQt.MinQty": (1, 2)}
    ),
    "column without a default": _add("SecMinQt", "note integer NOT NULL", each={"SecMinQt.MinQty": (1, 2)}),
    "column without a default behind a procedure": _add(
        "SecGroups", "note integer NOT NULL", each={"SecGroups.RAgencies": (1, 2)}
    ),
    "numbers of an own sequence that run out": Destination(
        (
            'ALTER TABLE "SecMinQt" ADD line serial',
            'ALTER SEQUENCE "SecMinQt_line_seq" OWNER TO bw_migrator',
            'ALTER SEQUENCE "SecMinQt_line_seq" MAXVALUE 3',
            """SELECT setval('"SecMinQt_line_seq"', 3)""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "numbers of a sequence that nobody owns": Destination(
        (
            "CREATE SEQUENCE lines MAXVALUE 5",
            "SELECT setval('lines', 2)",
            "GRANT USAGE, SELECT ON SEQUENCE lines TO bw_migrator",
            """ALTER TABLE "SecMinQt" ADD line integer DEFAULT nextval('lines')""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "numbers of a sequence of two tables": Destination(
        (
            "CREATE SEQUENCE lines MAXVALUE 9",
            "GRANT USAGE, SELECT ON SEQUENCE lines TO bw_migrator",
            """ALTER TABLE "SecMinQt" ADD line integer DEFAULT nextval('lines')""",
            """ALTER TABLE "LoadedPositions" ADD line integer DEFAULT nextval('lines')""",
        ),
        {"SecMinQt.MinQty": (1, 2), "LoadedPositions.PosType": (1, 2)},
    ),
    "numbers of a sequence of somebody else": Destination(
        (
            "CREATE SEQUENCE lines",
            """ALTER TABLE "SecMinQt" ADD line integer DEFAULT nextval('lines')""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "numbers of a sequence of another schema": Destination(
        (
            'CREATE SCHEMA "a desk" AUTHORIZATION bw_migrator',
            "SET ROLE bw_migrator",
            'CREATE SEQUENCE "a desk"."Lines" MAXVALUE 3',
            """ALTER TABLE "SecMinQt" ADD line integer DEFAULT nextval('"a desk"."Lines"')""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
    ),
    "numbers in a text": Destination(
        (
            "CREATE SEQUENCE lines MAXVALUE 3",
            "GRANT USAGE, SELECT ON SEQUENCE lines TO bw_migrator",
            """ALTER TABLE "SecMinQt" ADD line text DEFAULT 'line ' || nextval('lines')""",
        ),
        {"SecMinQt.MinQty": (1, 2)},
        unforeseen=("SecMinQt",),
    ),
    "default of a function of its own": Destination(
        (
            "CREATE TABLE counters (used integer)",
            "ALTER TABLE counters OWNER TO bw_migrator",
            "INSERT INTO counters VALUES (0)",
            "CREATE FUNCTION next_counter() RETURNS integer LANGUAGE sql AS"
            " 'UPDATE counters SET used = used + 1 RETURNING 100 / (3 - used)'",
            'ALTER TABLE "SecMinQt" ADD note integer DEFAULT next_counter()',
        ),
        {"SecMinQt.MinQty": (1, 2)},
        unforeseen=("SecMinQt",),
    ),
    "columns in another order": Destination(
        (
            'ALTER TABLE "SecMinQt" DROP "MinQty", DROP "ClassCode"',
            'ALTER TABLE "SecMinQt" ADD "a ""note"", {?}" text DEFAULT \'?\', ADD "MinQty" integer NOT NULL,'
            ' ADD "ClassCode" varchar(12) NOT NULL, ADD PRIMARY KEY ("SecCode", "ClassCode")',
        ),
        some={"SecMinQt.SecCode": ("A", "A"), "SecMinQt.ClassCode": ("A", "A")},
    ),
}  # fmt: skip


def _numbering(column, how, **rest) -> Destination:
    table, _, name = column.partition(".")
    return Destination((f'ALTER TABLE "{table}" ALTER "{name}" {how}',), **rest)


def _without_identity(column, *then, **rest) -> Destination:
    table, _, name = column.partition(".")
    return Destination(("SET ROLE bw_migrator", f'ALTER TABLE "{table}" ALTER "{name}" DROP IDENTITY', *then), **rest)


# The groups of clients, and what refers to them by foreign keys.
_GROUPS_AND_BELOW = ("GroupDesc", "Clients", "GroupOrders", "Orders")

_NUMBERS = {
    "identity that runs out": _numbering(
        "RatingAgencies.AgencyID", "SET MAXVALUE 3", each={"RatingAgencies.AgencyCode": ("A", "B")}
    ),
    "identity that runs out behind a procedure": _numbering(
        "GroupDesc.GroupID", "SET MAXVALUE 3", each={"GroupDesc.GroupCode": ("A", "B")}
    ),
    "counter that runs out": _numbering(
        "GroupOrders.BWCounter", "SET MAXVALUE 3", each={"GroupOrders.TradeDate": (1, 2)}
    ),
    "identity that goes round": _numbering(
        "ImportLog.ID", "SET MAXVALUE 3 SET CYCLE", each={"ImportLog.BWCounter": (1, 2)}
    ),
    "identity that goes round without a key": Destination(
        (
            'ALTER TABLE "ImportLog" DROP CONSTRAINT "ImportLog_pkey"',
            'ALTER TABLE "ImportLog" ALTER "ID" SET MAXVALUE 3 SET CYCLE',
        ),
        {"ImportLog.BWCounter": (1, 2)},
    ),
    "identity from 100": _numbering("RatingAgencies.AgencyID", "SET START WITH 100"),
    "identity from 100 behind a procedure": _numbering("GroupDesc.GroupID", "SET START WITH 100"),
    "identity in steps": _numbering("PoolOrders.PoolID", "SET INCREMENT BY 10"),
    "identity in steps behind a procedure": _numbering("GroupOrders.ID", "SET INCREMENT BY 10"),
    "identity that falls": _numbering(
        "SecGroups.ID", "SET INCREMENT BY -1 SET MINVALUE -100 SET MAXVALUE 4 SET START WITH 2 RESTART"
    ),
    "identity that was used": Destination(
        ("""SELECT setval(pg_get_serial_sequence('"GroupDesc"', 'GroupID'), 41)""",)
    ),
    "identity of small numbers": _column("OrdersInPool.OrderID", "smallint"),
    "identity that takes no value": _numbering("ImportLog.ID", "SET GENERATED ALWAYS"),
    "identity where a value is written": _numbering(
        "LoadedPositions.PosID", "ADD GENERATED ALWAYS AS IDENTITY", each={"LoadedPositions.PosType": (1, 2)}
    ),
    "serial": _without_identity(
        "ImportLog.ID",
        'CREATE SEQUENCE numbers START 7 OWNED BY "ImportLog"."ID"',
        """ALTER TABLE "ImportLog" ALTER "ID" SET DEFAULT nextval('numbers')""",
        "SELECT nextval('numbers')",
    ),
    "serial behind a procedure": _without_identity(
        "GroupOrders.ID",
        'CREATE SEQUENCE numbers MAXVALUE 4 OWNED BY "GroupOrders"."ID"',
        """ALTER TABLE "GroupOrders" ALTER "ID" SET DEFAULT nextval('numbers')""",
        "SELECT nextval('numbers')",
        each={"GroupOrders.TradeDate": (1, 2)},
    ),
    "sequence that nobody owns": _without_identity(
        "RatingAgencies.AgencyID",
        "CREATE SEQUENCE numbers",
        "SELECT setval('numbers', 41)",
        """ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET DEFAULT nextval('numbers')""",
    ),
    "sequence that nobody owns behind a procedure": _without_identity(
        "GroupDesc.GroupID",
        "CREATE SEQUENCE numbers MAXVALUE 5",
        "SELECT setval('numbers', 2)",
        """ALTER TABLE "GroupDesc" ALTER "GroupID" SET DEFAULT nextval('numbers')""",
    ),
    "numbers with a decimal place": _without_identity(
        "RatingAgencies.AgencyID",
        'ALTER TABLE "RatingAgencies" ALTER "AgencyID" TYPE numeric(9, 1)',
        'CREATE SEQUENCE numbers OWNED BY "RatingAgencies"."AgencyID"',
        """ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET DEFAULT nextval('numbers')""",
    ),
    "numbers with a decimal place behind a procedure": _without_identity(
        "GroupDesc.GroupID",
        'ALTER TABLE "GroupDesc" ALTER "GroupID" TYPE numeric(9, 1)',
        'CREATE SEQUENCE numbers OWNED BY "GroupDesc"."GroupID"',
        """ALTER TABLE "GroupDesc" ALTER "GroupID" SET DEFAULT nextval('numbers')""",
    ),
    "sequence of two tables that one of them owns": Destination(
        (
            "SET ROLE bw_migrator",
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" DROP IDENTITY',
            'ALTER TABLE "RatingScales" ALTER "RatingID" DROP IDENTITY',
            'CREATE SEQUENCE numbers OWNED BY "RatingAgencies"."AgencyID"',
            "SELECT setval('numbers', 41)",
            """ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET DEFAULT nextval('numbers')""",
            """ALTER TABLE "RatingScales" ALTER "RatingID" SET DEFAULT nextval('numbers')""",
        ),
        unforeseen=("RatingAgencies", "RatingScales"),
    ),
    "sequence of two tables that nobody owns": Destination(
        (
            "SET ROLE bw_migrator",
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" DROP IDENTITY',
            'ALTER TABLE "RatingScales" ALTER "RatingID" DROP IDENTITY',
            "CREATE SEQUENCE numbers",
            "SELECT setval('numbers', 41)",
            """ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET DEFAULT nextval('numbers')""",
            """ALTER TABLE "RatingScales" ALTER "RatingID" SET DEFAULT nextval('numbers')""",
        ),
    ),
    "sequence that another table owns": _without_identity(
        "RatingAgencies.AgencyID",
        'CREATE SEQUENCE numbers OWNED BY "SecMinQt"."MinQty"',
        "SELECT setval('numbers', 41)",
        """ALTER TABLE "RatingAgencies" ALTER "AgencyID" SET DEFAULT nextval('numbers')""",
        unforeseen=("RatingAgencies",),
    ),
    "sequence of an identity that another table uses": _without_identity(
        "RatingScales.RatingID",
        """ALTER TABLE "RatingScales" ALTER "RatingID" SET DEFAULT nextval('"RatingAgencies_AgencyID_seq"')""",
        unforeseen=("RatingAgencies", "RatingScales"),
    ),
    "sequence by its name as a text": _without_identity(
        "GroupDesc.GroupID",
        "CREATE SEQUENCE numbers",
        """ALTER TABLE "GroupDesc" ALTER "GroupID" SET DEFAULT nextval('numbers'::text)""",
        unforeseen=_GROUPS_AND_BELOW,
    ),
    "last number of another table": _without_identity(
        "RatingScales.RatingID",
        'ALTER TABLE "RatingScales" DROP CONSTRAINT "RatingScales_pkey"',
        """ALTER TABLE "RatingScales" ALTER "RatingID" SET DEFAULT currval('"RatingAgencies_AgencyID_seq"'::text)""",
        unforeseen=("RatingScales",),
    ),
    "sequence of a domain": Destination(
        (
            "SET ROLE bw_migrator",
            "CREATE SEQUENCE numbers",
            "CREATE DOMAIN number AS integer DEFAULT nextval('numbers')",
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" DROP IDENTITY',
            'ALTER TABLE "RatingAgencies" ALTER "AgencyID" TYPE number',
        ),
        unforeseen=("RatingAgencies",),
    ),
    "numbers that a procedure cannot return": Destination(
        (
            'ALTER TABLE "GroupDesc" ALTER "GroupID" TYPE bigint',
            'ALTER TABLE "GroupDesc" ALTER "GroupID" SET MAXVALUE 9000000000 SET START WITH 3000000000',
        ),
        unforeseen=_GROUPS_AND_BELOW,
    ),
    "decimal numbers of a sequence that nobody owns": _without_identity(
        "GroupDesc.GroupID",
        'ALTER TABLE "GroupDesc" ALTER "GroupID" TYPE numeric(9, 1)',
        "CREATE SEQUENCE numbers",
        "SELECT setval('numbers', 41)",
        """ALTER TABLE "GroupDesc" ALTER "GroupID" SET DEFAULT nextval('numbers')""",
    ),
    "the same number always": _without_identity(
        "ImportLog.ID", 'ALTER TABLE "ImportLog" ALTER "ID" SET DEFAULT 7', each={"ImportLog.BWCounter": (1, 2)}
    ),
    "no number": _without_identity("ImportLog.ID", each={"ImportLog.BWCounter": (1, 2)}),
    "NULL for a number": _without_identity(
        "ImportLog.ID",
        'ALTER TABLE "ImportLog" DROP CONSTRAINT "ImportLog_pkey"',
        'ALTER TABLE "ImportLog" ALTER "ID" DROP NOT NULL',
        each={"ImportLog.BWCounter": (1, 2)},
    ),
}  # fmt: skip

_STOP_KEY = 'FOREIGN KEY ("GroupID") REFERENCES "GroupDesc"'
_STOP_ROWS = {"GroupStopOrders.GroupID": (77, 1)}

# Changes how the triggers of the only foreign key of a table fire.
_FIRE = (
    "DO $$ DECLARE one record; BEGIN FOR one IN SELECT tgname FROM pg_trigger"
    """ WHERE tgrelid = '"GroupStopOrders"'::regclass LOOP"""
    """ EXECUTE format('ALTER TABLE "GroupStopOrders" ENABLE {} TRIGGER %I', one.tgname); END LOOP; END $$"""
)

_OLD_SECURITIES = (
    """INSERT INTO "LoadedSecurities" SELECT n, n, n, n, n, 0, 0, 0 FROM generate_series(1, 4) n"""
)
_OLD_POOLS = (
    """INSERT INTO "PoolOrders" OVERRIDING SYSTEM VALUE"""
    """ SELECT n, n, n, n, n, n, n, n, n, 0, 0, 0, 0, 0, 0 FROM generate_series(1, 4) n"""
)
_OLD_MINIMA = """INSERT INTO "SecMinQt" SELECT n, n, n FROM generate_series(1, 4) n"""

_FOREIGN_KEYS = {
    "foreign key to an earlier table": _add("GroupStopOrders", _STOP_KEY, some=_STOP_ROWS),
    "foreign key of a new number": _add(
        "OrdersInPool",
        'FOREIGN KEY ("PoolID") REFERENCES "PoolOrders"',
        each={"OrdersInPool.PoolID": (1, 2, 3, 4)},
        some={"PoolOrders.PoolID": (77,)},
    ),
    "foreign key of orders that are numbered again": _add(
        "StopOrders", 'FOREIGN KEY ("GroupOrderID") REFERENCES "GroupOrders"', some={"StopOrders.GroupOrderID": (77, 0)}
    ),
    "foreign key at the end of the transaction": _add(
        "GroupStopOrders", _STOP_KEY + " DEFERRABLE INITIALLY DEFERRED", some=_STOP_ROWS
    ),
    "foreign key that is not validated": _add("GroupStopOrders", _STOP_KEY + " NOT VALID", some=_STOP_ROWS),
    "foreign key of two columns": Destination(
        (
            'ALTER TABLE "LoadedSecurities" ADD UNIQUE ("SecID", "SecCode")',
            'ALTER TABLE "LoadedSecuritiesClientPrices" ADD FOREIGN KEY ("SecID", "Code")'
            ' REFERENCES "LoadedSecurities" ("SecID", "SecCode") MATCH FULL',
        ),
        {"LoadedSecurities.SecCode": ("S",), "LoadedSecuritiesClientPrices.Code": ("S",)},
        {"LoadedSecuritiesClientPrices.Code": ("T",)},
    ),
    "foreign key to a text that is cut": Destination(
        (
            _type("LoadedSecurities.SecCode", "varchar(4)"),
            'ALTER TABLE "LoadedSecurities" ADD UNIQUE ("SecCode")',
            'ALTER TABLE "LoadedSecuritiesClientPrices" ADD FOREIGN KEY ("Code")'
            ' REFERENCES "LoadedSecurities" ("SecCode")',
        ),
        {
            "LoadedSecurities.SecCode": ("A", "B", "C", "D    ", "E", "F", "G", "H"),
            "LoadedSecuritiesClientPrices.Code": ("A", "D"),
        },
        {"LoadedSecuritiesClientPrices.Code": ("Z",), "LoadedSecurities.SecCode": ("ABCDE",)},
    ),
    "foreign key between two types": _column(
        "LoadedSecurities.SecID", "numeric(9, 1)", some=(77,)
    ),
    "foreign key whose triggers are off": Destination(
        (f'ALTER TABLE "GroupStopOrders" ADD {_STOP_KEY}', 'ALTER TABLE "GroupStopOrders" DISABLE TRIGGER ALL'),
        some=_STOP_ROWS,
    ),
    "usual foreign key whose triggers are off": Destination(
        ('ALTER TABLE "LoadedSecuritiesClientPrices" DISABLE TRIGGER ALL',),
        some={"LoadedSecuritiesClientPrices.SecID": (77, 78)},
    ),
    "no foreign key to rows that are lost": Destination(
        ('ALTER TABLE "LoadedSecuritiesClientPrices" DROP CONSTRAINT "LoadedSecuritiesClientPrices_SecID_fkey"',),
        {"LoadedSecuritiesClientPrices.SecID": (1, 2, 3, 4)},
        {"LoadedSecurities.FaceValue": (None,)},
    ),
    "foreign key whose triggers are off at the other table": Destination(
        ('ALTER TABLE "LoadedSecurities" DISABLE TRIGGER ALL',), some={"LoadedSecuritiesClientPrices.SecID": (77, 78)}
    ),
    "foreign key of replicas only": Destination(
        (f'ALTER TABLE "GroupStopOrders" ADD {_STOP_KEY}', _FIRE.format("REPLICA")), some=_STOP_ROWS
    ),
    "foreign key that always holds": Destination(
        (f'ALTER TABLE "GroupStopOrders" ADD {_STOP_KEY}', _FIRE.format("ALWAYS")), some=_STOP_ROWS
    ),
    "login that is a replica": Destination(
        (
            f'ALTER TABLE "GroupStopOrders" ADD {_STOP_KEY}',
            "DO $$ BEGIN EXECUTE format('ALTER ROLE bw_migrator IN DATABASE %I SET session_replication_role = replica',"
            " current_database()); END $$",
        ),
        some=_STOP_ROWS,
    ),
    "foreign key to a later table": Destination(
        (_OLD_SECURITIES, 'ALTER TABLE "Clients" ADD FOREIGN KEY ("Num") REFERENCES "LoadedSecurities"'),
        {"Clients.Num": (1, 2, 3)},
        {"Clients.Num": (9, 4)},
    ),
    "foreign key to a later table that is empty": _add(
        "Clients", 'FOREIGN KEY ("Num") REFERENCES "LoadedSecurities"', each={"Clients.Num": (1, 2, 3)}
    ),
    "foreign key to a later table that cannot be emptied then": Destination(
        (
            'ALTER TABLE "SecMinQt" ADD UNIQUE ("MinQty")',
            _OLD_MINIMA,
            'ALTER TABLE "Clients" ADD FOREIGN KEY ("Num") REFERENCES "SecMinQt" ("MinQty")',
        ),
        {"Clients.Num": (1, 2, 3)},
        {"Clients.Num": (9, 4)},
    ),
    "foreign key to an earlier table that cannot be emptied": _add(
        "SecGrMemb", 'FOREIGN KEY ("GroupID") REFERENCES "SecGroups"'
    ),
    # The securities are emptied before the restrictions are written, and with them the pools.
    "foreign key to a later table that a cascade empties first": Destination(
        (
            _OLD_SECURITIES,
            _OLD_POOLS,
            'ALTER TABLE "PoolOrders" ADD FOREIGN KEY ("LoadDate") REFERENCES "LoadedSecurities"',
            'ALTER TABLE "Restrictions" ADD FOREIGN KEY ("BWUserID") REFERENCES "PoolOrders"',
        ),
        {"Restrictions.BWUserID": (1, 2), "PoolOrders.LoadDate": (1,)},
    ),
    # The groups and all that refers to them are emptied again with the securities.
    "earlier table that a later cascade empties": Destination(
        (
            _OLD_SECURITIES,
            'ALTER TABLE "GroupDesc" ADD FOREIGN KEY ("SplitOrders") REFERENCES "LoadedSecurities"',
            f'ALTER TABLE "GroupStopOrders" ADD {_STOP_KEY}',
        ),
        {"GroupDesc.SplitOrders": (1, 2, 3)},
        {"GroupStopOrders.GroupID": (1,)},
    ),
    "foreign key of a table to itself": Destination(
        (
            'ALTER TABLE "RatingScales" ADD UNIQUE ("National")',
            'ALTER TABLE "RatingScales" ADD FOREIGN KEY ("Position") REFERENCES "RatingScales" ("National")',
        ),
        {"RatingScales.National": (1, 2, 3, 4, 5, 6, 7, 8), "RatingScales.Position": (1, 1, 2, 4, 5, 1, 1, 1)},
        {"RatingScales.Position": (4, 77)},
    ),
    "foreign key to a table outside": Destination(
        (
            "CREATE TABLE classes (code varchar(12) PRIMARY KEY)",
            "INSERT INTO classes VALUES ('A'), ('B')",
            'ALTER TABLE "SecMinQt" ADD FOREIGN KEY ("ClassCode") REFERENCES classes',
        ),
        {"SecMinQt.ClassCode": ("A", "B")},
        {"SecMinQt.ClassCode": ("C", "A ")},
        unforeseen=("SecMinQt",),
    ),
    "foreign key to a table outside that may be read": Destination(
        (
            "CREATE TABLE classes (code char(4) PRIMARY KEY, secret text)",
            "INSERT INTO classes VALUES ('A'), ('B')",
            "GRANT SELECT (code) ON classes TO bw_migrator",
            _type("SecMinQt.ClassCode", "char(4)"),
            'ALTER TABLE "SecMinQt" ADD FOREIGN KEY ("ClassCode") REFERENCES classes',
        ),
        {"SecMinQt.ClassCode": ("A", "B")},
        {"SecMinQt.ClassCode": ("C", "A ")},
    ),
    "foreign key to a partitioned table": Destination(
        (
            "CREATE TABLE classes (code varchar(12) PRIMARY KEY) PARTITION BY LIST (code)",
            "CREATE TABLE some_classes PARTITION OF classes FOR VALUES IN ('A', 'B')",
            "INSERT INTO classes VALUES ('A'), ('B')",
            "GRANT SELECT ON classes TO bw_migrator",
            'ALTER TABLE "SecMinQt" ADD FOREIGN KEY ("ClassCode") REFERENCES classes',
        ),
        {"SecMinQt.ClassCode": ("A", "B")},
        {"SecMinQt.ClassCode": ("C",)},
    ),
    "foreign key to a table outside that a cascade empties": Destination(
        (
            _OLD_SECURITIES,
            'CREATE TABLE notes (note integer PRIMARY KEY, security integer REFERENCES "LoadedSecurities")',
            "ALTER TABLE notes OWNER TO bw_migrator",
            "INSERT INTO notes VALUES (1, 1), (2, NULL)",
            'ALTER TABLE "StopOrders" ADD FOREIGN KEY ("TransFlags") REFERENCES notes',
        ),
        {"StopOrders.TransFlags": (1, 2)},
    ),
    "foreign key from a table outside": Destination(
        (
            'CREATE TABLE notes (note integer, pool integer REFERENCES "PoolOrders")',
            "ALTER TABLE notes OWNER TO bw_migrator",
            "INSERT INTO notes VALUES (1, NULL)",
        ),
    ),
    "foreign key from a table outside that ends the run": Destination(
        ('CREATE TABLE notes (note integer, "group" integer REFERENCES "SecGroups")',)
    ),
}  # fmt: skip


def _trigger(body, when, *then, **rest) -> Destination:
    return Destination(
        (
            f"CREATE FUNCTION act() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN {body} END $$",
            f"CREATE TRIGGER acts {when} EXECUTE FUNCTION act()",
            *then,
        ),
        **rest,
    )


_REFUSE = """IF NEW."MinQty" = 7 THEN RAISE 'seven'; END IF; RETURN NEW;"""
_ROWS = 'ON "SecMinQt" FOR EACH ROW'
_SEVEN = {"SecMinQt.MinQty": (7, 8)}
_RULE = 'CREATE RULE acts AS ON {} TO "SecMinQt" DO {}'

_OBJECTS = {
    "trigger that refuses rows": _trigger(_REFUSE, f"BEFORE INSERT {_ROWS}", some=_SEVEN, unforeseen=("SecMinQt",)),
    "trigger that refuses rows afterwards": _trigger(
        _REFUSE, f"AFTER INSERT {_ROWS}", some=_SEVEN, unforeseen=("SecMinQt",)
    ),
    "trigger at the end of the transaction": Destination(
        (
            f"CREATE FUNCTION act() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN {_REFUSE} END $$",
            'CREATE CONSTRAINT TRIGGER acts AFTER INSERT ON "SecMinQt" DEFERRABLE INITIALLY DEFERRED'
            " FOR EACH ROW EXECUTE FUNCTION act()",
        ),
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "trigger that changes rows": _trigger(
        """NEW."MinQty" := 1; RETURN NEW;""", f"BEFORE INSERT {_ROWS}", some=_SEVEN, unforeseen=("SecMinQt",)
    ),
    "trigger that drops rows": _trigger(
        """RETURN CASE WHEN NEW."MinQty" <> 7 THEN NEW END;""",
        f"BEFORE INSERT {_ROWS}",
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "trigger that makes bad rows good": _trigger(
        """NEW."MinQty" := 1; RETURN NEW;""",
        f"BEFORE INSERT {_ROWS}",
        'ALTER TABLE "SecMinQt" ADD CHECK ("MinQty" = 1)',
        each={"SecMinQt.MinQty": (1, 2)},
        unforeseen=("SecMinQt",),
    ),
    "trigger of the statement": _trigger(
        """IF (SELECT count(*) FROM "SecMinQt") > 3 THEN RAISE 'full'; END IF; RETURN NULL;""",
        'AFTER INSERT ON "SecMinQt" FOR EACH STATEMENT',
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "trigger behind a procedure": _trigger(
        "IF NEW.\"RAgencies\" = 7 THEN RAISE 'seven'; END IF; RETURN NEW;",
        'BEFORE INSERT ON "SecGroups" FOR EACH ROW',
        some={"SecGroups.RAgencies": (7,)},
        unforeseen=("SecGroups",),
    ),
    "trigger of a truncate that refuses": _trigger(
        "RAISE 'kept';", 'BEFORE TRUNCATE ON "SecMinQt" FOR EACH STATEMENT', unforeseen=("SecMinQt",)
    ),
    "trigger that always fires": _trigger(
        _REFUSE,
        f"BEFORE INSERT {_ROWS}",
        'ALTER TABLE "SecMinQt" ENABLE ALWAYS TRIGGER acts',
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "trigger that is off": _trigger(
        _REFUSE, f"BEFORE INSERT {_ROWS}", 'ALTER TABLE "SecMinQt" DISABLE TRIGGER acts', some=_SEVEN
    ),
    "trigger of replicas only": _trigger(
        _REFUSE, f"BEFORE INSERT {_ROWS}", 'ALTER TABLE "SecMinQt" ENABLE REPLICA TRIGGER acts', some=_SEVEN
    ),
    "trigger of updates": _trigger(_REFUSE, f"BEFORE UPDATE OR DELETE {_ROWS}", some=_SEVEN),
    "rule that drops rows": Destination(
        (_RULE.format("INSERT", "INSTEAD NOTHING"),), {"SecMinQt.MinQty": (1,)}, unforeseen=("SecMinQt",)
    ),
    "rule for some rows": Destination(
        (_RULE.format("INSERT", "INSTEAD NOTHING").replace("DO", 'WHERE NEW."MinQty" = 7 DO'),),
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "rule of replicas only": Destination(
        (_RULE.format("INSERT", "INSTEAD NOTHING"), 'ALTER TABLE "SecMinQt" ENABLE REPLICA RULE acts'), some=_SEVEN
    ),
    "rule of replicas only for a login that is one": Destination(
        (
            _RULE.format("INSERT", "INSTEAD NOTHING"),
            'ALTER TABLE "SecMinQt" ENABLE REPLICA RULE acts',
            "DO $$ BEGIN EXECUTE format('ALTER ROLE bw_migrator IN DATABASE %I SET session_replication_role = replica',"
            " current_database()); END $$",
        ),
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "rule that is off": Destination(
        (_RULE.format("INSERT", "INSTEAD NOTHING"), 'ALTER TABLE "SecMinQt" DISABLE RULE acts'), some=_SEVEN
    ),
    "rule of updates": Destination((_RULE.format("UPDATE", "INSTEAD NOTHING"),), some=_SEVEN),
    "row security": Destination(
        (
            'ALTER TABLE "SecMinQt" ENABLE ROW LEVEL SECURITY, FORCE ROW LEVEL SECURITY',
            'CREATE POLICY good ON "SecMinQt" USING (true) WITH CHECK ("MinQty" <> 7)',
        ),
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "row security that spares the owner": Destination(
        (
            'ALTER TABLE "SecMinQt" ENABLE ROW LEVEL SECURITY',
            'CREATE POLICY good ON "SecMinQt" USING (true) WITH CHECK ("MinQty" <> 7)',
        ),
        some=_SEVEN,
    ),
    "view in the table's place": Destination(
        (
            'ALTER TABLE "SecMinQt" RENAME TO minima',
            'CREATE VIEW "SecMinQt" AS SELECT * FROM minima',
            'ALTER VIEW "SecMinQt" OWNER TO bw_migrator',
        ),
        unforeseen=("SecMinQt",),
    ),
    "partitioned table": Destination(
        (
            'DROP TABLE "SecMinQt"',
            "SET ROLE bw_migrator",
            'CREATE TABLE "SecMinQt" ("ClassCode" text, "SecCode" text, "MinQty" integer)'
            ' PARTITION BY RANGE ("MinQty")',
            'CREATE TABLE low PARTITION OF "SecMinQt" FOR VALUES FROM (0) TO (4000)',
        ),
        some={"SecMinQt.MinQty": (4000,)},
        unforeseen=("SecMinQt",),
    ),
    "partition of another table": Destination(
        (
            "SET ROLE bw_migrator",
            'CREATE TABLE every (LIKE "SecMinQt") PARTITION BY RANGE ("MinQty")',
            'ALTER TABLE every ATTACH PARTITION "SecMinQt" FOR VALUES FROM (0) TO (4000)',
        ),
        some={"SecMinQt.MinQty": (3999, 4000)},
    ),
    "partition of a text that needs care": Destination(
        (
            "SET ROLE bw_migrator",
            'CREATE TABLE every (LIKE "SecMinQt") PARTITION BY LIST ("ClassCode")',
            'ALTER TABLE every ATTACH PARTITION "SecMinQt"'
            """ FOR VALUES IN ('?', '{fn now()}', 'it''s', E'\\\\', 'A')""",
        ),
        {"SecMinQt.ClassCode": ("?", "{fn now()}", "it's", "\\")},
        {"SecMinQt.ClassCode": ("B",)},
    ),
    # Up to PostgreSQL 14, what a partition gets from its parent is internal.
    "trigger of the table that it is a partition of": Destination(
        (
            "SET ROLE bw_migrator",
            'CREATE TABLE every (LIKE "SecMinQt") PARTITION BY LIST ("ClassCode")',
            'ALTER TABLE every ATTACH PARTITION "SecMinQt" DEFAULT',
            f"CREATE FUNCTION act() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN {_REFUSE} END $$",
            "CREATE TRIGGER acts BEFORE INSERT ON every FOR EACH ROW EXECUTE FUNCTION act()",
            "RESET ROLE",
            "UPDATE pg_trigger SET tgisinternal = true WHERE tgparentid <> 0",
        ),
        some=_SEVEN,
        unforeseen=("SecMinQt",),
    ),
    "table that others inherit": Destination(
        ("SET ROLE bw_migrator", 'CREATE TABLE more () INHERITS ("SecMinQt")'), some=_SEVEN
    ),
    "table that inherits": Destination(
        (
            "SET ROLE bw_migrator",
            'CREATE TABLE minima ("MinQty" integer NOT NULL, CHECK ("MinQty" <> 7))',
            'ALTER TABLE "SecMinQt" ADD CONSTRAINT "minima_MinQty_check" CHECK ("MinQty" <> 7)',
            'ALTER TABLE "SecMinQt" INHERIT minima',
        ),
        some=_SEVEN,
    ),
    "unlogged table": Destination(('ALTER TABLE "SecMinQt" SET UNLOGGED',), some=_SEVEN),
    "settings of the storage": Destination(
        (
            'ALTER TABLE "SecMinQt" SET (fillfactor = 50, autovacuum_enabled = off)',
            'ALTER TABLE "SecMinQt" ALTER "SecCode" SET STORAGE EXTERNAL, ALTER "MinQty" SET STATISTICS 7',
            'CREATE STATISTICS pairs ON "SecCode", "MinQty" FROM "SecMinQt"',
            'CREATE INDEX ON "SecMinQt" USING hash ("SecCode")',
            'CREATE INDEX ON "SecMinQt" USING brin ("MinQty")',
            """CREATE INDEX ON "SecMinQt" USING gin (to_tsvector('simple', "SecCode"))""",
            """COMMENT ON COLUMN "SecMinQt"."SecCode" IS 'what''s this'""",
        ),
    ),
    "table that may not be read": Destination(
        ('REVOKE SELECT ON "SecMinQt" FROM bw_migrator',), some=_SEVEN, unforeseen=("SecMinQt",)
    ),
    "missing table": Destination(('DROP TABLE "SecMinQt"',), {"SecMinQt.MinQty": (1, 2)}),
    "missing column": Destination(('ALTER TABLE "Clients" DROP "Num"',), {"Clients.Weight": (1.5,)}),
    "settings of the login": Destination(
        (
            """DO $$ DECLARE setting text; BEGIN FOREACH setting IN ARRAY ARRAY[
                'standard_conforming_strings = off', 'escape_string_warning = off', 'DateStyle = ''German, DMY''',
                'IntervalStyle = iso_8601', 'bytea_output = escape', 'extra_float_digits = -3', 'lc_monetary = ''C''',
                'TimeZone = ''Asia/Tokyo''', 'default_transaction_isolation = serializable', 'lock_timeout = 59000',
                'search_path = pg_catalog', 'client_min_messages = debug1', 'default_transaction_deferrable = on',
                'check_function_bodies = off', 'row_security = off', 'plan_cache_mode = force_generic_plan',
                'array_nulls = off', 'transform_null_equals = on'
            ] LOOP EXECUTE format('ALTER ROLE bw_migrator IN DATABASE %I SET %s', current_database(), setting);
            END LOOP; END $$""",
            _type("LoadedSecurities.Price", "numeric(9, 2)"),
            _type("PoolOrders.Status", "date"),
        ),
        {"PoolOrders.Status": ("31.1.2024", "2024-01-31"), "LoadedSecurities.Price": (0.125, 1.5)},
        {"PoolOrders.Status": ("13.13.2024",)},
    ),
}  # fmt: skip

_SHORT = "CREATE DOMAIN short AS varchar(5)"


def _of_another_role(*change, **rest) -> Destination:
    """A procedure that runs with the rights of a role that has none but what it is given here."""
    return Destination(
        (
            'ALTER PROCEDURE "BW_CreateSecGroupEx" OWNER TO pg_signal_backend',
            'ALTER PROCEDURE "BW_CreateSecGroupEx" SECURITY DEFINER',
            *change,
        ),
        **rest,
    )


_SEC_GROUP_COLUMNS = '"SecGCode", "SecGName", "disabled", "Filter", "mode", "RAgencies", "ListLevel"'
_OWN_NUMBERS = (
    'ALTER TABLE "SecGroups" ALTER "ID" DROP IDENTITY',
    "CREATE SEQUENCE numbers",
    "SELECT setval('numbers', 41)",
    """ALTER TABLE "SecGroups" ALTER "ID" SET DEFAULT nextval('numbers')""",
)

_PROCEDURES = {
    "rights of another role": _of_another_role('GRANT INSERT, SELECT ON "SecGroups" TO pg_signal_backend'),
    "rights of another role on the columns": _of_another_role(
        f'GRANT INSERT ({_SEC_GROUP_COLUMNS}), SELECT ("ID") ON "SecGroups" TO pg_signal_backend'
    ),
    "rights of another role on some columns": _of_another_role(
        'GRANT INSERT ("SecGCode"), SELECT ON "SecGroups" TO pg_signal_backend'
    ),
    "rights of another role that may not read": _of_another_role(
        'GRANT INSERT ON "SecGroups" TO pg_signal_backend', unforeseen=("SecGroups",)
    ),
    "rights of another role that may not use the schema": _of_another_role(
        'GRANT INSERT, SELECT ON "SecGroups" TO pg_signal_backend',
        "REVOKE ALL ON SCHEMA public FROM PUBLIC",
        "GRANT USAGE ON SCHEMA public TO bw_migrator",
    ),
    "rights of another role that may not take numbers": _of_another_role(
        *_OWN_NUMBERS,
        "GRANT USAGE, SELECT ON SEQUENCE numbers TO bw_migrator",
        'GRANT INSERT, SELECT ON "SecGroups" TO pg_signal_backend',
        unforeseen=("SecGroups",),
    ),
    "rights of another role that may take numbers": _of_another_role(
        *_OWN_NUMBERS,
        "GRANT USAGE, SELECT ON SEQUENCE numbers TO pg_signal_backend",
        'GRANT INSERT, SELECT ON "SecGroups" TO pg_signal_backend',
        unforeseen=("SecGroups",),
    ),
    "numbers that the login may not take": Destination(_OWN_NUMBERS, unforeseen=("SecGroups",)),
    "parameter of a short domain": _procedure(
        "BW_CreateSecGroupEx", _SHORT, group_name="short",
        each={"SecGroups.SecGName": ("A", "B")}, some={"SecGroups.SecGName": ("12345   ", "123456")},
    ),
    "parameter of a domain of another schema": _procedure(
        "BW_CreateSecGroupEx",
        'CREATE SCHEMA "a desk" AUTHORIZATION bw_migrator',
        'CREATE DOMAIN "a desk"."Short text" AS varchar(5)',
        group_name='"a desk"."Short text"',
        each={"SecGroups.SecGName": ("A", "B")}, some={"SecGroups.SecGName": ("12345   ", "123456")},
    ),
    "parameter of a domain with a check": _procedure(
        "BW_CreateOrder", "CREATE DOMAIN early AS integer CHECK (VALUE < 3000)", trade_time="early",
        some={"Orders.TradeTime": (3000, 2999)},
    ),
    "parameter that is an integer": _procedure(
        "BW_CreateSecGroupEx", group_mode="integer",
        each={"SecGroups.mode": ("1", "007", " 8 ")}, some={"SecGroups.mode": ("x",)},
    ),
    "parameter that is a smallint": _procedure(
        "BW_CreateGroupOrder", trade_time="smallint", some={"GroupOrders.TradeTime": (40000, 32767)}
    ),
    "parameter that is numeric": _procedure(
        "BW_CreateGroupOrder", price="numeric(6, 2)", some={"GroupOrders.Price": (0.125, 123456.5)}
    ),
    "parameter that is real": _procedure(
        "BW_CreateClientGroupEx", default_weight="real",
        each={"GroupDesc.DefWeight": (1.5, 0.1)}, some={"GroupDesc.DefWeight": (1e300,)},
    ),
    "parameter that is char": _procedure(
        "BW_CreateClientGroupEx", group_name="character", some={"GroupDesc.GroupName": ("AB  ", "ABC")}
    ),
    "parameter that is a boolean": _procedure(
        "BW_CreateSecGroupEx", is_disabled="boolean",
        each={"SecGroups.disabled": ("0", "1")}, some={"SecGroups.disabled": ("X",)},
    ),
    "parameter that is text": _procedure(
        "BW_CreateSecGroupEx", group_code="text", some={"SecGroups.SecGCode": ("A  ", "")}
    ),
    "parameter that is a name": _procedure(
        "BW_CreateSecGroupEx", group_name="name", some={"SecGroups.SecGName": ("X" * 99,)}
    ),
    "parameter that is bigint": _procedure(
        "BW_CreateOrder", trade_time="bigint", some={"Orders.TradeTime": (_INT_MAX,)}
    ),
}  # fmt: skip

_ODD_TEXTS = {"Clients.Comment": ("a\nb", "a\r\nb", "\r", "\\n"), "PoolOrders.Source": ("\n", "x" * 250)}


def _connection(*change, some=None, **settings) -> Destination:
    return Destination(change, some=some or _ODD_TEXTS, settings=settings)


_CONNECTIONS = {
    "line feeds are converted": _connection(LFConversion=1),
    "line feeds are not converted": _connection(LFConversion=0),
    "rows are fetched with a cursor": _connection(UseDeclareFetch=1, Fetch=2),
    "an error ends no transaction": _connection(Protocol="7.4-2", some={"Clients.Num": (7, 7)}),
    "an error ends a transaction": _connection(Protocol="7.4-1", some={"Clients.Num": (7, 7)}),
    "long texts have a type of their own": _connection(TextAsLongVarchar=1, MaxVarcharSize=10, MaxLongVarcharSize=12),
    "booleans are bits": _connection(
        _type("GroupStopOrders.OrdersCount", "boolean"), BoolsAsChar=0, some={"GroupStopOrders.OrdersCount": (2, 1)}
    ),
    "bytes are long": _connection(
        _type("ImportLog.ImportType", "bytea"), ByteaAsLongVarBinary=1, some={"ImportLog.ImportType": ("\\x41", "\\")}
    ),
    "cursors may be updated": _connection(UpdatableCursors=1, ShowOidColumn=1, RowVersioning=1),
    "backslashes escape": _connection(
        ConnSettings="SET client_encoding TO 'UTF8'; SET standard_conforming_strings TO off"
    ),
}  # fmt: skip

_GROUPS = {
    "types": _TYPES,
    "texts": _TEXTS,
    "keys": _KEYS,
    "checks": _CHECKS,
    "defaults": _DEFAULTS,
    "numbers": _NUMBERS,
    "foreign keys": _FOREIGN_KEYS,
    "objects": _OBJECTS,
    "procedures": _PROCEDURES,
    "connections": _CONNECTIONS,
}

# Each with what is different as its name.
DESTINATIONS = {"as it should be": Destination(())} | {
    f"{group}: {name}": destination
    for group, destinations in _GROUPS.items()
    for name, destination in destinations.items()
}
