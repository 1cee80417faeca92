"""ODBC data sources in files of their own, so that nothing of the machine's configuration is read or changed."""

import pathlib

SOURCE = "BrantwellSource"
DESTINATION = "BrantwellDestination"

_DRIVER_DIRECTORIES = "/usr/lib/*/odbc"


def find_driver(library: str) -> pathlib.Path:
    """The installed driver of this machine's architecture."""
    found = sorted(pathlib.Path("/").glob(f"{_DRIVER_DIRECTORIES.lstrip('/')}/{library}"))
    if not found:
        raise FileNotFoundError(f"the ODBC driver {library} is not installed in {_DRIVER_DIRECTORIES}")
    return found[0]


def sql_server(port: int, database: str) -> dict:
    """The settings of a data source of the FreeTDS driver."""
    return {
        "Driver": find_driver("libtdsodbc.so"),
        "Description": "Brantwell on SQL Server",
        "Server": "127.0.0.1",
        "Port": port,
        "TDS_Version": "7.4",
        "Database": database,
        "ClientCharset": "UTF-8",
    }


def postgresql(port: int, database: str) -> dict:
    """The settings of a data source of psqlODBC's ANSI driver."""
    return {
        "Driver": find_driver("psqlodbca.so"),
        "Description": "Brantwell on PostgreSQL",
        "Servername": "127.0.0.1",
        "Port": port,
        "Database": database,
        "SSLmode": "disable",
        "ConnSettings": "SET client_encoding TO 'UTF8'",
    }


def write(directory: pathlib.Path, sources: dict) -> dict:
    """Writes odbc.ini, and an empty odbcinst.ini, and returns the environment that makes programs use them.

    `sources` maps data source names to their settings.
    """
    sections = []
    for name, settings in sources.items():
        sections.append(f"[{name}]\n" + "".join(f"{key} = {value}\n" for key, value in settings.items()))
    odbc_ini = directory / "odbc.ini"
    odbc_ini.write_text("\n".join(sections))
    (directory / "odbcinst.ini").write_text("")
    freetds_conf = directory / "freetds.conf"
    freetds_conf.write_text("")
    return {"ODBCINI": str(odbc_ini), "ODBCSYSINI": str(directory), "FREETDSCONF": str(freetds_conf)}
