"""A source with one row in each table, of which nothing is said: but for Restrictions, whose rows always arrive changed.
"""

import sample_data
import source

# What would arrive as something else.
_PLAIN_VALUES = {"NegOrders": {"RepoTerm": 0, "Flags": 0}, "ExportOrder": {"BrokerPoolID": ""}}


def fill(path) -> None:
    for table in sample_data.TABLES:
        if table not in ("SystemData", "Restrictions"):
            kinds = source.columns(path, table)
            row = {name: 1 if kind == "int" else 1.5 if kind == "float" else "A" for name, kind in kinds.items()}
            source.insert(path, table, **row | _PLAIN_VALUES.get(table, {}))
