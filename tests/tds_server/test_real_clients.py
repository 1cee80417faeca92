"""The server as FreeTDS's programs and its ODBC driver see it."""

import ctypes
import signal
import socket
import subprocess
import time

import pytest

import clients
import scratch

VERSIONS = ["7.1", "7.2", "7.3", "7.4"]

ENDLESS = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n"


def fetch_numbers(statement, count: int) -> list:
    numbers = []
    for _ in range(count):
        assert statement.fetch()
        numbers.append(statement.get_int(1))
    return numbers


@pytest.mark.parametrize("version", VERSIONS)
class TestEveryProtocolVersion:
    def test_accepts_the_right_password(self, server, version):
        run = clients.tsql(server, "SELECT 1", version)
        assert (run.status, run.rows, run.messages) == (0, ["1"], [])

    def test_refuses_a_wrong_password(self, server, version):
        run = clients.tsql(server, "SELECT 1", version, password="S3cret pW")
        assert run.status != 0
        assert run.messages == [(18456, "Login failed for user 'reader'.")]

    def test_refuses_an_unknown_user(self, server, version):
        run = clients.tsql(server, "SELECT 1", version, user="stranger")
        assert run.messages == [(18456, "Login failed for user 'stranger'.")]

    def test_understands_logins_beyond_ascii(self, server, version):
        assert clients.tsql(server, "SELECT 1", version, user="büro", password="grün").rows == ["1"]

    def test_sends_every_type_and_null(self, server, version):
        server.fill(
            """
            CREATE TABLE T ([I] int, [F] float, [V] varchar(10), [C] char(5));
            INSERT INTO T VALUES (-2147483648, -0.5, 'value', 'ab'), (NULL, NULL, NULL, NULL), (2147483647, 1e22, '', '');
            """
        )
        run = clients.tsql(server, "SELECT [I], [F], [V], [C], 'x' || [V], [I] + 0, [F] * 2 FROM dbo.[T]", version)
        assert run.rows == [
            "-2147483648|-0.5|value|ab   |xvalue|-2147483648|-1",
            "NULL|NULL|NULL|NULL|NULL|NULL|NULL",
            "2147483647|1e+22||     |x|2147483647|2e+22",
        ]
        assert run.messages == []

    def test_creates_and_changes_tables(self, server, version):
        run = clients.tsql(
            server,
            """
            CREATE TABLE [dbo].[T] ([A] int NOT NULL, [B] varchar(5) NULL, CONSTRAINT [PK_T] PRIMARY KEY ([A]));
            INSERT INTO [dbo].[T] VALUES (1, 'one'); INSERT INTO T VALUES (2, NULL), (3, 'three');
            go
            UPDATE dbo.[T] SET [B] = 'two' WHERE [A] = 2; DELETE FROM [T] WHERE [A] = 1
            go
            SELECT [A], [B] FROM dbo.T ORDER BY [A]
            """,
            version,
        )
        assert (run.rows, run.messages) == (["2|two", "3|three"], [])

    def test_reports_errors_and_stays_usable(self, server, version):
        run = clients.tsql(
            server,
            "SELECT * FROM [dbo].[Nope]\ngo\nSELECT [Nope] FROM sqlite_master\ngo\nSELEKT 1\ngo\nSELECT 7",
            version,
        )
        assert run.messages == [
            (208, "Invalid object name 'dbo.Nope'."),
            (207, "Invalid column name 'Nope'."),
            (102, "Incorrect syntax near 'SELEKT'."),
        ]
        assert run.rows == ["7"]

    def test_accepts_housekeeping_statements(self, server, version):
        run = clients.tsql(
            server,
            """
            USE [Brantwell] SET TEXTSIZE 64512 SET QUOTED_IDENTIFIER ON SET ANSI_NULLS ON
            SET TRANSACTION ISOLATION LEVEL READ COMMITTED
            IF @@TRANCOUNT > 0 COMMIT
            go
            BEGIN TRANSACTION; CREATE TABLE T (A int); ROLLBACK
            go
            SELECT @@TRANCOUNT, COUNT(*) FROM sqlite_master
            """,
            version,
        )
        assert (run.rows, run.messages) == (["0|0"], [])


class TestOdbc:
    def test_names_the_product(self, start_server, connect):
        assert connect(start_server()).product() == "Microsoft SQL Server"
        assert connect(start_server("--product", "Some Server")).product() == "Some Server"

    def test_refuses_a_wrong_password(self, server):
        with pytest.raises(clients.OdbcError) as failure:
            with clients.Connection(server.port, PWD="wrong"):
                pass
        assert ("37000", 18456) in failure.value.records

    @pytest.mark.parametrize(
        "sql, state, number",
        [
            ("SELECT * FROM dbo.[Nope]", "S0002", 208),
            ("SELECT [Nope] FROM dbo.[T]", "S0022", 207),
            ("SELEKT", "37000", 102),
            ("INSERT INTO dbo.[T] VALUES (1)", "23000", 2627),
            ("INSERT INTO dbo.[T] VALUES (NULL)", "23000", 515),
        ],
    )
    def test_reports_errors_with_their_states(self, server, connect, sql, state, number):
        server.fill("CREATE TABLE T ([A] int NOT NULL PRIMARY KEY); INSERT INTO T VALUES (1)")
        connection = connect(server)
        with pytest.raises(clients.OdbcError) as failure:
            connection.execute(sql)
        assert failure.value.records == [(state, number)]

    def test_describes_columns_by_their_declarations(self, server, connect):
        server.fill("CREATE TABLE T ([I] int, [F] float, [V] varchar(50), [C] char(3))")
        statement = connect(server).execute("SELECT [I], [F], [V], [C] FROM dbo.[T];")
        assert [statement.describe(column) for column in (1, 2, 3, 4)] == [
            ("I", clients.SQL_INTEGER, 10),
            ("F", clients.SQL_DOUBLE, 15),
            ("V", clients.SQL_VARCHAR, 50),
            ("C", clients.SQL_CHAR, 3),
        ]
        assert not statement.fetch()

    def test_reads_values_column_by_column(self, server, connect):
        server.fill(
            """
            CREATE TABLE T ([I] int, [F] float, [V] varchar(5), [C] char(5));
            INSERT INTO T VALUES (-7, 2.5, 'longer', 'ab'), (NULL, NULL, NULL, NULL);
            """
        )
        statement = connect(server).execute("SELECT [I], [F], [V], [C] FROM dbo.[T]")
        assert statement.fetch()
        assert (statement.get_int(1), statement.get_float(2)) == (-7, 2.5)
        assert (statement.get_bytes(3), statement.get_bytes(4)) == (b"longe", b"ab   ")
        assert statement.fetch()
        assert (statement.get_int(1), statement.get_float(2)) == (None, None)
        assert (statement.get_bytes(3), statement.get_bytes(4)) == (None, None)
        assert not statement.fetch()

    def test_text_is_read_as_a_number(self, server, connect):
        server.fill("CREATE TABLE SystemData (KeyName varchar(20), KeyValue varchar(50))")
        server.fill("INSERT INTO SystemData VALUES ('dbver', '29')")
        statement = connect(server).execute("SELECT [KeyValue] FROM [dbo].[SystemData] WHERE [KeyName] = 'dbver';")
        assert statement.fetch()
        assert statement.get_int(1) == 29

    def test_fetching_null_into_a_column_without_indicator_fails(self, server, connect):
        server.fill("CREATE TABLE T ([A] int); INSERT INTO T VALUES (5), (NULL)")
        statement = connect(server).execute("SELECT [A] FROM dbo.[T]")
        number = ctypes.c_int32()
        statement.bind(1, clients.SQL_C_LONG, number)
        assert statement.fetch()
        assert number.value == 5
        with pytest.raises(clients.OdbcError) as failure:
            statement.fetch()
        assert failure.value.records == [("22002", 0)]

    def test_counts_changed_rows(self, server, connect):
        server.fill("CREATE TABLE T ([A] int); INSERT INTO T VALUES (1), (2), (3)")
        connection = connect(server)
        assert connection.execute("UPDATE dbo.[T] SET [A] = 0 WHERE [A] > 1").row_count() == 2
        assert connection.execute("DELETE FROM dbo.[T]").row_count() == 3

    @pytest.mark.parametrize("version", VERSIONS)
    def test_commits_and_rolls_back(self, server, connect, version):
        server.fill("CREATE TABLE T ([A] int)")
        connection = connect(server, TDS_Version=version)
        connection.set_autocommit(False)
        connection.execute("INSERT INTO dbo.[T] VALUES (1)")
        connection.commit()
        connection.execute("INSERT INTO dbo.[T] VALUES (2)")
        connection.rollback()
        assert clients.tsql(server, "SELECT [A] FROM T").rows == ["1"]

    def test_refuses_statements_with_parameters_and_stays_usable(self, server, connect):
        server.fill("CREATE TABLE T ([A] int)")
        connection = connect(server)
        with pytest.raises(clients.OdbcError):
            connection.execute_with_parameter("INSERT INTO dbo.[T] VALUES (?)", 1)
        assert fetch_numbers(connection.execute("SELECT 7"), 1) == [7]

    def test_isql_prepares_and_executes(self, server):
        server.fill("CREATE TABLE SystemData (KeyName varchar(20), KeyValue varchar(50))")
        server.fill("INSERT INTO SystemData VALUES ('dbver', '29')")
        with scratch.ScratchDirectory() as directory:
            run = clients.isql(server, directory, "SELECT [KeyName], [KeyValue] FROM dbo.[SystemData]")
        assert "dbver|29" in run.stdout

    def test_isql_sees_the_error_of_a_prepared_statement(self, server):
        with scratch.ScratchDirectory() as directory:
            run = clients.isql(server, directory, "SELECT * FROM dbo.[Nope]")
        assert "Invalid object name 'dbo.Nope'." in run.stdout + run.stderr


class TestConversion:
    @pytest.mark.parametrize(
        "code_page, text, expected",
        [
            ("1252", "Zürich €", "Zürich €"),
            ("1252", "Жук", "???"),
            ("1251", "Жук №1", "Жук №1"),
            ("1251", "ü", "?"),
            ("65001", "Жук ü €", "Жук ü €"),
            ("1250", "żółw ő €", "żółw ő €"),
            ("1253", "Ελλάς", "Ελλάς"),
            ("1254", "Iğdır", "Iğdır"),
            ("1255", "שלום", "שלום"),
            ("1256", "سلام", "سلام"),
            ("1257", "ąžuolas", "ąžuolas"),
            ("1258", "đá", "đá"),
            ("932", "日本 ｶﾅ", "日本 ｶﾅ"),
            ("936", "中文", "中文"),
            ("949", "한국 뷁", "한국 뷁"),
            ("950", "中文", "中文"),
            # The driver's conversion lacks a character that the server has.
            ("936", "5 €", "5 ?"),
        ],
    )
    def test_text_arrives_in_the_code_page_of_the_server(self, start_server, connect, code_page, text, expected):
        server = start_server("--codepage", code_page)
        server.fill(f"CREATE TABLE T (V varchar(40)); INSERT INTO T VALUES ('{text}')")
        assert clients.tsql(server, "SELECT V FROM T").rows == [expected]
        statement = connect(server, ClientCharset="UTF-8").execute("SELECT V FROM T")
        assert statement.fetch()
        assert statement.get_bytes(1).decode() == expected

    def test_columns_have_code_pages_of_their_own(self, start_server, connect):
        server = start_server("--collation", "T.Greek:Greek_CI_AS", "--collation", "t.japanese:japanese_ci_as")
        server.fill("CREATE TABLE T (Western char(3), Greek varchar(9), Japanese varchar(9), Lacks varchar(9))")
        server.fill("INSERT INTO T VALUES ('ü', 'λ', '日本', 'λ日')")
        sql = "SELECT Western, Greek AS G, Japanese, Lacks FROM dbo.[T]"
        assert clients.tsql(server, sql).rows == ["ü  |λ|日本|??"]
        statement = connect(server, ClientCharset="UTF-8").execute(sql)
        assert statement.fetch()
        assert [statement.get_bytes(column).decode() for column in (1, 2, 3, 4)] == ["ü  ", "λ", "日本", "??"]

    def test_values_are_converted_to_a_code_page_and_to_utf16(self, start_server, connect):
        server = start_server("--codepage", "1252")
        sql = (
            "SELECT CONVERT(varchar(4), NCHAR(1078) COLLATE Cyrillic_General_CI_AS), CONVERT(varchar(4), NCHAR(1078)),"
            " CONVERT(varbinary(8), CONVERT(nvarchar(4), NCHAR(1078)))"
        )
        assert clients.tsql(server, sql).rows == ["ж|?|3604"]
        statement = connect(server, ClientCharset="CP1251").execute(sql)
        assert statement.fetch()
        assert (statement.get_bytes(1), statement.get_bytes(2)) == (b"\xe6", b"?")

    def test_texts_in_utf16_arrive(self, server, connect):
        server.fill("CREATE TABLE T (V nvarchar(4)); INSERT INTO T VALUES (NULL), ('ж🙂'), ('12345')")
        sql = "SELECT V, CONVERT(varbinary(8), CONVERT(nvarchar(4), [V])) FROM dbo.[T]"
        assert clients.tsql(server, sql).rows == ["NULL|NULL", "ж🙂|36043dd842de", "1234|3100320033003400"]
        statement = connect(server, ClientCharset="UTF-8").execute("SELECT V, CONCAT('a', NCHAR(1078)) FROM dbo.[T]")
        assert (statement.fetch(), statement.fetch()) == (True, True)
        assert (statement.get_bytes(1).decode(), statement.get_bytes(2).decode()) == ("ж🙂", "aж")

    def test_the_catalogue_names_collations(self, start_server):
        server = start_server("--codepage", "1251", "--collation", "T.B:Greek_CI_AS")
        server.fill("CREATE TABLE T (A varchar(4), B char(1), C int)")
        run = clients.tsql(
            server,
            "SELECT c.name, c.system_type_id, COLLATIONPROPERTY(c.collation_name, 'CodePage') FROM sys.columns c"
            " WHERE c.object_id = OBJECT_ID('dbo.[T]') AND c.collation_name IS NOT NULL",
        )
        assert (run.rows, run.messages) == (["A|167|1251", "B|175|1253"], [])

    def test_text_in_statements_reaches_the_store(self, server):
        server.fill("CREATE TABLE T (V varchar(40)); INSERT INTO T VALUES ('Zürich')")
        assert clients.tsql(server, "SELECT V FROM T WHERE V = 'Zürich'").rows == ["Zürich"]

    def test_text_in_an_int_column_fails(self, server, connect):
        server.fill("CREATE TABLE T ([A] int); INSERT INTO T VALUES (1), ('x')")
        statement = connect(server).execute("SELECT [A] FROM dbo.[T]")
        assert statement.fetch()
        with pytest.raises(clients.OdbcError) as failure:
            statement.fetch()
        assert failure.value.records == [("22005", 245)]


class TestStreaming:
    def test_a_result_that_is_given_up_leaves_the_connection_usable(self, server, connect):
        connection = connect(server)
        statement = connection.execute(ENDLESS)
        assert fetch_numbers(statement, 10) == list(range(1, 11))
        statement.close()
        assert fetch_numbers(connection.execute("SELECT 7"), 1) == [7]

    def test_a_client_that_is_killed_does_not_disturb_others(self, server, connect):
        command = ["tsql", "-H", "127.0.0.1", "-p", str(server.port), "-U", clients.USER, "-P", clients.PASSWORD]
        with subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as client:
            client.stdin.write(f"{ENDLESS}\ngo\n".encode())
            client.stdin.flush()
            client.stdout.read(100_000)
            client.kill()
        assert fetch_numbers(connect(server).execute("SELECT 7"), 1) == [7]


class TestFaults:
    def test_break_after_closes_the_connection(self, start_server, connect):
        server = start_server("--break-after", "numbers:3")
        server.create_numbers(10)
        statement = connect(server).execute("SELECT [Number] FROM dbo.[Numbers]")
        assert fetch_numbers(statement, 3) == [1, 2, 3]
        with pytest.raises(clients.OdbcError):
            statement.fetch()
        assert fetch_numbers(connect(server).execute("SELECT 7"), 1) == [7]

    def test_break_after_no_row_closes_the_connection_at_once(self, start_server, connect):
        server = start_server("--break-after", "Numbers:0")
        server.create_numbers(10)
        with pytest.raises(clients.OdbcError):
            connect(server).execute("SELECT [Number] FROM dbo.[Numbers]").fetch()

    def test_error_after_fails_the_statement_only(self, start_server, connect):
        server = start_server("--error-after", "Numbers:3")
        server.create_numbers(10)
        connection = connect(server)
        statement = connection.execute("SELECT [Number] FROM dbo.[Numbers]")
        assert fetch_numbers(statement, 3) == [1, 2, 3]
        with pytest.raises(clients.OdbcError) as failure:
            statement.fetch()
        assert failure.value.records == [("37000", 1205)]
        statement.close()
        assert fetch_numbers(connection.execute("SELECT 7"), 1) == [7]

    def test_faults_hit_only_their_table(self, start_server, connect):
        server = start_server("--break-after", "Numbers:0", "--error-after", "Numbers:0")
        server.create_numbers(10)
        server.fill("CREATE TABLE Others (Number int); INSERT INTO Others VALUES (1), (2)")
        assert fetch_numbers(connect(server).execute("SELECT [Number] FROM dbo.[Others]"), 2) == [1, 2]

    def test_delay_holds_each_row_back(self, start_server, connect):
        server = start_server("--delay", "Numbers:100")
        server.create_numbers(3)
        start = time.monotonic()
        assert fetch_numbers(connect(server).execute("SELECT [Number] FROM dbo.[Numbers]"), 3) == [1, 2, 3]
        assert time.monotonic() - start >= 0.3


class TestProcess:
    @pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
    def test_ends_in_order_while_clients_are_connected(self, server, connect, number):
        statement = connect(server).execute(ENDLESS)
        fetch_numbers(statement, 1)
        assert server.end(number) == 0

    def test_listens_on_the_loopback_interface_only(self, server):
        with open("/proc/net/tcp") as connections:
            listeners = [line.split()[1] for line in connections if line.split()[3] == "0A"]
        assert [address for address in listeners if address.endswith(f":{server.port:04X}")] == [
            f"0100007F:{server.port:04X}"
        ]

    @pytest.mark.parametrize(
        "request_bytes",
        [
            b"GET / HTTP/1.1\r\n\r\n",
            bytes.fromhex("12 01 00 0A 00 00 01 00 01 00"),
            bytes.fromhex("10 01 00 0C 00 00 01 00 FF FF FF FF"),
            bytes.fromhex("01 01 00 08 00 00 01 00"),
        ],
    )
    def test_closes_connections_that_speak_no_tds(self, server, connect, request_bytes):
        with socket.create_connection(("127.0.0.1", server.port)) as client:
            client.sendall(request_bytes)
            assert client.recv(1) == b""
        assert fetch_numbers(connect(server).execute("SELECT 7"), 1) == [7]
