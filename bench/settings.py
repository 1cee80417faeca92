"""What each setting of the two data sources does to the program's speed, one by one and in turn."""

import collections
import re

import arguments
import document
import measured_run

import data_sources
import lab
import sample_data
import scratch

_PASSWORDS = f"{lab.SOURCE_PASSWORD}\n{lab.DESTINATION_PASSWORD}\n"

# As the operator's server has it and unlike the lab: a commit waits for the disk.
_DURABLE = ("sh", "-c", 'exec "$@" -c fsync=on -c full_page_writes=on', "sh")

_PLAIN_TABLE = "LoadedPositions"
_PROCEDURE_TABLE = "Orders"

_USUAL = "TCP, TDS 7.4, all else as the drivers have it"
_CLIENT_PREPARE = "UseServerSidePrepare = 0"
_NO_WAIT = {"ConnSettings": "SET client_encoding TO 'UTF8'; SET synchronous_commit TO off"}


def _driver_settings(unix_socket) -> dict[str, tuple[dict, dict]]:
    """What each setting changes in the source and in the destination."""
    return {
        _USUAL: ({}, {}),
        "Unix socket": ({}, unix_socket),
        _CLIENT_PREPARE: ({}, {"UseServerSidePrepare": 0}),
        "Protocol = 7.4-0 (no rollback)": ({}, {"Protocol": "7.4-0"}),
        "Protocol = 7.4-1 (of the transaction)": ({}, {"Protocol": "7.4-1"}),
        "Protocol = 7.4-2 (of the statement)": ({}, {"Protocol": "7.4-2"}),
        "PacketSize = 512": ({"PacketSize": 512}, {}),
        "PacketSize = 32767": ({"PacketSize": 32767}, {}),
        "TDS_Version = 7.1": ({"TDS_Version": "7.1"}, {}),
        "TDS_Version = 7.3": ({"TDS_Version": "7.3"}, {}),
    }


def _commit_settings(unix_socket) -> dict[str, tuple[dict, dict]]:
    return {
        _USUAL: ({}, {}),
        "Unix socket": ({}, unix_socket),
        "ConnSettings with synchronous_commit off": ({}, _NO_WAIT),
        "both": ({}, unix_socket | _NO_WAIT),
    }


def main() -> None:
    options = arguments.parse(__doc__)
    scratch.end_on_sigterm()
    rounds = 1 if options.quick else 5
    with lab.Lab(options.build_directory) as started:
        settings = _driver_settings({"Servername": started.postgres.socket_directory})
        rows = _plain_rows(400 if options.quick else 40_000)
        text = _rates(_measure(started, settings, rows, _PLAIN_TABLE, rounds), _PLAIN_TABLE)
        document.replace_block(options.document, "settings", text)
        # The calls of the procedures fail under it.
        settings.pop(_CLIENT_PREPARE)
        rows = _procedure_rows(200 if options.quick else 10_000)
        text = _rates(_measure(started, settings, rows, _PROCEDURE_TABLE, rounds), _PROCEDURE_TABLE)
        document.replace_block(options.document, "procedure-settings", text)
    with lab.Lab(options.build_directory, _DURABLE) as started:
        settings = _commit_settings({"Servername": started.postgres.socket_directory})
        rows = _plain_rows(400 if options.quick else 4_000)
        text = _rates(_measure(started, settings, rows, _PLAIN_TABLE, rounds), _PLAIN_TABLE)
        rows = _procedure_rows(200 if options.quick else 2_000)
        text += "\n" + _rates(_measure(started, settings, rows, _PROCEDURE_TABLE, rounds), _PROCEDURE_TABLE)
        document.replace_block(options.document, "commit-settings", text)


def _plain_rows(count) -> dict[str, int]:
    return {_PLAIN_TABLE: count}


def _procedure_rows(count) -> dict[str, int]:
    return {"GroupDesc": 20, "GroupOrders": 50, _PROCEDURE_TABLE: count}


def _measure(started, settings, rows, table, rounds) -> dict[str, list[float]]:
    """The rows per second of a table under each setting in each round."""
    rates = collections.defaultdict(list)
    with started.workspace(lambda path: sample_data.fill(path, scale=0, rows=rows)) as workspace:
        source = data_sources.sql_server(workspace.source_server.port, lab.SOURCE_DATABASE)
        destination = data_sources.postgresql(started.postgres.port, workspace.database)
        for _ in range(rounds):
            for name, (of_source, of_destination) in settings.items():
                workspace.write_data_sources(source | of_source, destination | of_destination)
                workspace.execute_destination("CHECKPOINT")
                run = measured_run.run([started.migrator], workspace.directory, workspace.environment, _PASSWORDS)
                summary = re.search(
                    rf"^Complete migrate {table} table\. Total rows read = {rows[table]} Total migrated rows ="
                    rf" {rows[table]}\. Migration time is (\d+) milliseconds$",
                    run.output,
                    re.MULTILINE,
                )
                if not summary:
                    raise RuntimeError(f"{name}: {workspace.log_file.read_text()[-500:]}")
                rates[name].append(rows[table] / int(summary[1]) * 1000)
    return rates


def _rates(rates, table) -> str:
    lines = [
        [
            name,
            f"{document.median(of_rounds):,.0f}",
            # What is measured in the same round is measured on an alike busy machine.
            f"{document.median(a / b for a, b in zip(of_rounds, rates[_USUAL], strict=True)):.2f}",
            f"{min(of_rounds):,.0f} to {max(of_rounds):,.0f}",
        ]
        for name, of_rounds in rates.items()
    ]
    return document.table([table, "rows per second", "times the first line", "of all rounds"], lines)


if __name__ == "__main__":
    main()
