"""Clients that were not written with the server: tsql, isql, and FreeTDS's ODBC driver below the driver manager."""

import ctypes
import dataclasses
import os
import pathlib
import re
import subprocess
import textwrap

USER = "reader"
PASSWORD = "S3cret pw"
LOGINS = {USER: PASSWORD, "büro": "grün"}

_DRIVER = "libtdsodbc.so"


@dataclasses.dataclass
class TsqlRun:
    """What tsql printed: rows as text with "|" between the values, and the server's messages as (number, text)."""

    status: int
    rows: list
    messages: list


def tsql(server, sql: str, version: str = "7.4", user: str = USER, password: str = PASSWORD) -> TsqlRun:
    """Runs the batches of `sql`, each ended by a line "go"."""
    command = ["tsql", "-H", "127.0.0.1", "-p", str(server.port), "-U", user, "-P", password, "-o", "qfh", "-t", "|"]
    environment = {**os.environ, "TDSVER": version, "LC_ALL": "C.UTF-8"}
    run = subprocess.run(command, input=textwrap.dedent(sql) + "\ngo\nexit\n", env=environment, capture_output=True, text=True)
    messages = re.findall(r'^Msg (\d+) \(.*\) from .*\n\t"(.*)"$', run.stderr, re.MULTILINE)
    return TsqlRun(run.returncode, run.stdout.splitlines(), [(int(number), text) for number, text in messages])


def isql(server, directory: pathlib.Path, sql: str) -> subprocess.CompletedProcess:
    """Runs one statement, which isql prepares and then executes."""
    (directory / "odbcinst.ini").write_text(f"[FreeTDS]\nDriver={_DRIVER}\n")
    (directory / "odbc.ini").write_text(f"[Lab]\nDriver=FreeTDS\nServer=127.0.0.1\nPort={server.port}\n")
    environment = {**os.environ, "ODBCINI": str(directory / "odbc.ini"), "ODBCSYSINI": str(directory)}
    command = ["isql", "-v", "-b", "-d|", "Lab", USER, PASSWORD]
    return subprocess.run(command, input=sql + "\n", env=environment, capture_output=True, text=True)


SQL_SUCCESS = 0
SQL_NO_DATA = 100
SQL_NULL_DATA = -1
SQL_NTS = -3

SQL_CHAR = 1
SQL_INTEGER = 4
SQL_DOUBLE = 8
SQL_VARCHAR = 12
SQL_C_CHAR = SQL_CHAR
SQL_C_LONG = SQL_INTEGER
SQL_C_DOUBLE = SQL_DOUBLE

_SQL_HANDLE_DBC = 2
_SQL_HANDLE_STMT = 3
_SQL_CLOSE = 0
_SQL_PARAM_INPUT = 1
_SQL_DBMS_NAME = 17
_SQL_AUTOCOMMIT = 102
_SQL_COMMIT = 0
_SQL_ROLLBACK = 1
_SQL_DRIVER_NOPROMPT = 0

_odbc = ctypes.CDLL("libodbc.so.2")


class OdbcError(Exception):
    """A failed ODBC call: the states and the server's error numbers of its diagnostic records."""

    def __init__(self, handle_type: int, handle: ctypes.c_void_p):
        self.records = []
        state = ctypes.create_string_buffer(6)
        number = ctypes.c_int32()
        while _odbc.SQLGetDiagRec(
            handle_type, handle, len(self.records) + 1, state, ctypes.byref(number), None, 0, None
        ) in (0, 1):
            self.records.append((state.value.decode(), number.value))
        super().__init__(str(self.records))


class Connection:
    """A connection without an ODBC version in its environment, so that the driver reports the states of ODBC 2."""

    def __init__(self, port: int, **attributes: str):
        values = {"Driver": _DRIVER, "Server": "127.0.0.1", "Port": port, "UID": USER, "PWD": PASSWORD, **attributes}
        self._text = "".join(f"{name}={value};" for name, value in values.items()).encode()
        self._environment = ctypes.c_void_p()
        self._handle = ctypes.c_void_p()

    def __enter__(self) -> "Connection":
        _odbc.SQLAllocEnv(ctypes.byref(self._environment))
        _odbc.SQLAllocConnect(self._environment, ctypes.byref(self._handle))
        try:
            self._check(
                _odbc.SQLDriverConnect(
                    self._handle, None, self._text, SQL_NTS, None, 0, None, _SQL_DRIVER_NOPROMPT
                )
            )
        except OdbcError:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_) -> None:
        _odbc.SQLDisconnect(self._handle)
        _odbc.SQLFreeConnect(self._handle)
        _odbc.SQLFreeEnv(self._environment)

    def product(self) -> str:
        name = ctypes.create_string_buffer(128)
        self._check(_odbc.SQLGetInfo(self._handle, _SQL_DBMS_NAME, name, len(name), None))
        return name.value.decode()

    def set_autocommit(self, on: bool) -> None:
        self._check(_odbc.SQLSetConnectOption(self._handle, _SQL_AUTOCOMMIT, ctypes.c_size_t(on)))

    def commit(self) -> None:
        self._check(_odbc.SQLTransact(self._environment, self._handle, _SQL_COMMIT))

    def rollback(self) -> None:
        self._check(_odbc.SQLTransact(self._environment, self._handle, _SQL_ROLLBACK))

    def execute(self, sql: str) -> "Statement":
        statement = self._allocate()
        statement.execute(sql)
        return statement

    def execute_with_parameter(self, sql: str, value: int) -> "Statement":
        statement = self._allocate()
        statement.bind_parameter(1, value)
        statement.execute(sql)
        return statement

    def _allocate(self) -> "Statement":
        handle = ctypes.c_void_p()
        self._check(_odbc.SQLAllocStmt(self._handle, ctypes.byref(handle)))
        return Statement(handle)

    def _check(self, result: int) -> None:
        if ctypes.c_int16(result).value not in (0, 1):
            raise OdbcError(_SQL_HANDLE_DBC, self._handle)


class Statement:
    def __init__(self, handle: ctypes.c_void_p):
        self._handle = handle

    def execute(self, sql: str) -> None:
        self._check(_odbc.SQLExecDirect(self._handle, sql.encode(), SQL_NTS))

    def fetch(self) -> bool:
        """Goes to the next row; false at the end."""
        result = ctypes.c_int16(_odbc.SQLFetch(self._handle)).value
        if result == SQL_NO_DATA:
            return False
        self._check(result)
        return True

    def bind(self, column: int, c_type: int, buffer) -> None:
        """Binds a ctypes object without an indicator."""
        size = ctypes.c_ssize_t(ctypes.sizeof(buffer))
        self._check(_odbc.SQLBindCol(self._handle, column, c_type, ctypes.byref(buffer), size, None))

    def bind_parameter(self, number: int, value: int) -> None:
        self._parameter = ctypes.c_int32(value)
        self._check(
            _odbc.SQLBindParameter(
                self._handle,
                number,
                _SQL_PARAM_INPUT,
                SQL_C_LONG,
                SQL_INTEGER,
                ctypes.c_size_t(0),
                0,
                ctypes.byref(self._parameter),
                ctypes.c_ssize_t(0),
                None,
            )
        )

    def get_int(self, column: int):
        return self._get(column, SQL_C_LONG, ctypes.c_int32())

    def get_float(self, column: int):
        return self._get(column, SQL_C_DOUBLE, ctypes.c_double())

    def get_bytes(self, column: int):
        return self._get(column, SQL_C_CHAR, ctypes.create_string_buffer(9000))

    def describe(self, column: int):
        """Name, SQL type and size of a column."""
        name = ctypes.create_string_buffer(128)
        sql_type = ctypes.c_int16()
        size = ctypes.c_size_t()
        self._check(
            _odbc.SQLDescribeCol(
                self._handle, column, name, len(name), None, ctypes.byref(sql_type), ctypes.byref(size), None, None
            )
        )
        return name.value.decode(), sql_type.value, size.value

    def row_count(self) -> int:
        count = ctypes.c_ssize_t()
        self._check(_odbc.SQLRowCount(self._handle, ctypes.byref(count)))
        return count.value

    def close(self) -> None:
        """Gives up the rows that have not been fetched, for which the driver sends an attention."""
        self._check(_odbc.SQLFreeStmt(self._handle, _SQL_CLOSE))

    def _get(self, column: int, c_type: int, buffer):
        indicator = ctypes.c_ssize_t()
        size = ctypes.c_ssize_t(ctypes.sizeof(buffer))
        result = _odbc.SQLGetData(
            self._handle, column, c_type, ctypes.byref(buffer), size, ctypes.byref(indicator)
        )
        self._check(result)
        return None if indicator.value == SQL_NULL_DATA else buffer.value

    def _check(self, result: int) -> None:
        if ctypes.c_int16(result).value not in (0, 1):
            raise OdbcError(_SQL_HANDLE_STMT, self._handle)
