"""Runs that fail at a server: the console stops where the run stopped, and the error is the last entry of the log."""

import contextlib
import socket

import data_sources
import expectations
import lab
import sample_data
from expectations import PROMPTS, assert_text

SYSTEM_DATA = 'SELECT "KeyName", "KeyValue" FROM "SystemData" ORDER BY ctid'
SOURCE_LOGIN_FAILED = (
    "<time> :: SQL Error: State = S1000 Code = 0 Message = "
    "[unixODBC][FreeTDS][SQL Server]Unable to connect to data source"
    "State = 37000 Code = 18456 Message = [unixODBC][FreeTDS][SQL Server]Login failed for user 'bw_reader'."
)
FOUR_ROWS = (("dbver", "29"), ("second", "2"), ("third", "3"), ("fourth", "4"))


@contextlib.contextmanager
def _closed_port():
    """A port that nobody can listen on, because it is taken, and that refuses connections."""
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        yield taken.getsockname()[1]


def _row_counts(workspace) -> dict:
    return {
        table: workspace.query_destination(f'SELECT count(*) FROM "{table}"')[0][0]
        for table in expectations.MIGRATED_TABLES
    }


def test_wrong_source_password(new_workspace):
    workspace = new_workspace()

    run = workspace.run(passwords=("wrong", lab.DESTINATION_PASSWORD))

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)
    assert run.errors == ""
    assert run.exit_code == 0


def test_wrong_destination_password(new_workspace):
    workspace = new_workspace()
    workspace.execute_destination("INSERT INTO \"SystemData\" VALUES ('kept', 'as it was')")

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, "wrong"))

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = 08001 Code = 101 Message = [unixODBC]"
        f'connection to server at "127.0.0.1", port {workspace.lab.postgres.port} failed: '
        'FATAL:  password authentication failed for user "bw_migrator"\n',
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("kept", "as it was")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_empty_passwords(new_workspace):
    workspace = new_workspace()

    run = workspace.run(passwords=("", ""))

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)
    assert run.exit_code == 0


def test_input_that_ends_before_the_passwords(new_workspace):
    workspace = new_workspace()

    run = workspace.run_redirected(passwords=())

    assert run.console == PROMPTS
    assert_text(workspace.log_file.read_text(), SOURCE_LOGIN_FAILED)
    assert run.errors == ""
    assert run.exit_code == 0


def test_unreachable_source(new_workspace):
    workspace = new_workspace()
    with _closed_port() as port:
        workspace.write_data_sources(source=data_sources.sql_server(port, "Brantwell"))
        run = workspace.run()

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = S1000 Code = 0 Message = "
        "[unixODBC][FreeTDS][SQL Server]Unable to connect to data source"
        "State = 08S01 Code = 20009 Message = [unixODBC][FreeTDS][SQL Server]"
        "Unable to connect: Adaptive Server is unavailable or does not exist",
    )
    assert run.errors == ""
    assert run.exit_code == 0


def test_unreachable_destination(new_workspace):
    workspace = new_workspace()
    with _closed_port() as port:
        workspace.write_data_sources(destination=data_sources.postgresql(port, workspace.database))
        run = workspace.run()

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = 08001 Code = 101 Message = [unixODBC]"
        f'connection to server at "127.0.0.1", port {port} failed: Connection refused\n'
        "\tIs the server running on that host and accepting TCP/IP connections?\n",
    )
    assert run.errors == ""
    assert run.exit_code == 0


def test_configuration_without_a_destination(new_workspace):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").write_text(
        "[DBSource]\ndb_connection_name=BrantwellSource\ndb_connection_login=bw_reader\ndb_schema=dbo\n"
    )

    run = workspace.run()

    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = IM002 Code = 0 Message = "
        "[unixODBC][Driver Manager]Data source name not found and no default driver specified",
    )
    assert run.exit_code == 0


def test_missing_destination_table(new_workspace):
    workspace = new_workspace()
    workspace.execute_destination('DROP TABLE "SystemData"')

    run = workspace.run()

    # The table is emptied before its start is reported.
    assert run.console == PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = 42P01 Code = 1 Message = "
        'ERROR: relation "public.SystemData" does not exist;\n'
        "Error while executing the query",
    )
    assert run.errors == ""
    assert run.exit_code == 0


def test_failing_insert_of_the_third_row(new_workspace):
    workspace = new_workspace(FOUR_ROWS)
    workspace.execute_destination(
        "INSERT INTO \"SystemData\" VALUES ('emptied', 'before')",
        "ALTER TABLE \"SystemData\" ADD CONSTRAINT no_third CHECK (\"KeyName\" <> 'third')",
    )

    run = workspace.run()

    assert run.console == f"{PROMPTS}Start migrate SystemData table\n"
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: Start migrate SystemData table\n"
        "<time> :: insert row(1): [KeyName] = dbver, [KeyValue] = 29;\n"
        "<time> :: insert row(2): [KeyName] = second, [KeyValue] = 2;\n"
        "<time> :: SQL Error: State = 23514 Code = 1 Message = "
        'ERROR: new row for relation "SystemData" violates check constraint "no_third"\n'
        "DETAIL: Failing row contains (third, 3).;\n"
        "Error while executing the query",
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("second", "2")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_failure_in_the_fifth_table_leaves_the_later_tables_untouched(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.run()
    complete = _row_counts(workspace)
    workspace.execute_destination(
        "CREATE FUNCTION refuse() RETURNS trigger LANGUAGE plpgsql AS $$BEGIN RAISE 'no third order'; END$$",
        'CREATE TRIGGER refuse_third BEFORE INSERT ON "Orders"'
        " FOR EACH ROW WHEN (NEW.\"OrderID\" = 3) EXECUTE FUNCTION refuse()",
        # One row less in each later table tells whether it is emptied or filled again.
        "SET session_replication_role = replica",
        *(
            f'DELETE FROM "{table}" WHERE ctid = (SELECT min(ctid) FROM "{table}")'
            for table in expectations.MIGRATED_TABLES[5:]
        ),
    )

    run = workspace.run()

    assert run.console.endswith(" milliseconds\nStart migrate Orders table\n")
    entries, error = workspace.log_file.read_text().split(" :: SQL Error: ")
    assert [entry[19:54] for entry in entries.splitlines()[-4:-1]] == [
        " :: Start migrate Orders table",
        " :: insert row(1): [OrderID] = 9001",
        " :: insert row(2): [OrderID] = 9002",
    ]
    assert error == "State = P0001 Code = 1 Message = ERROR: no third order;\nError while executing the query"
    expected = {table: rows - 1 for table, rows in complete.items()}
    for table in ("SystemData", "GroupDesc", "Clients", "GroupOrders"):
        expected[table] = complete[table]
    expected["Orders"] = 2
    assert _row_counts(workspace) == expected
    assert run.errors == ""
    assert run.exit_code == 0


def test_null_in_the_third_row_ends_the_table_like_its_end(new_workspace):
    workspace = new_workspace(system_data=())
    workspace.execute_source("DROP TABLE SystemData")
    workspace.execute_source("CREATE TABLE SystemData (KeyName varchar(20) NOT NULL, KeyValue varchar(50))")
    workspace.execute_source(
        "INSERT INTO SystemData VALUES (?, ?)",
        [("dbver", "29"), ("second", "2"), ("third", None), ("fourth", "4")],
    )

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=2))
    assert_text(
        workspace.log_file.read_text(),
        expectations.log(
            system_data=("[KeyName] = dbver, [KeyValue] = 29;", "[KeyName] = second, [KeyValue] = 2;")
        ),
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("second", "2")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_error_of_the_source_after_two_rows_ends_the_table_like_its_end(new_workspace):
    workspace = new_workspace(FOUR_ROWS, server_options=("--error-after", "SystemData:2"))

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=2))
    assert_text(
        workspace.log_file.read_text(),
        expectations.log(
            system_data=("[KeyName] = dbver, [KeyValue] = 29;", "[KeyName] = second, [KeyValue] = 2;")
        ),
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("second", "2")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_source_connection_that_breaks_after_two_rows_fails_at_the_next_table(new_workspace):
    workspace = new_workspace(FOUR_ROWS, server_options=("--break-after", "SystemData:2"))

    run = workspace.run()

    # The table in progress ends like at its end.
    assert_text(
        run.console,
        f"{PROMPTS}Start migrate SystemData table\n"
        "Complete migrate SystemData table. Total rows read = 2 Total migrated rows = 2."
        " Migration time is <ms> milliseconds\n",
    )
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: Start migrate SystemData table\n"
        "<time> :: insert row(1): [KeyName] = dbver, [KeyValue] = 29;\n"
        "<time> :: insert row(2): [KeyName] = second, [KeyValue] = 2;\n"
        "<time> :: Complete migrate SystemData table. Total rows read = 2 Total migrated rows = 2."
        " Migration time is <ms> milliseconds\n"
        "<time> :: SQL Error: State = 08S01 Code = 0 Message = [FreeTDS][SQL Server]Communication link failure",
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("second", "2")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_destination_connection_that_breaks_at_the_third_row(new_workspace):
    workspace = new_workspace(FOUR_ROWS)
    workspace.execute_destination(
        "CREATE FUNCTION break_connection() RETURNS trigger LANGUAGE plpgsql"
        " AS $$BEGIN PERFORM pg_terminate_backend(pg_backend_pid()); RETURN NEW; END$$",
        'CREATE TRIGGER break_at_third BEFORE INSERT ON "SystemData"'
        " FOR EACH ROW WHEN (NEW.\"KeyName\" = 'third') EXECUTE FUNCTION break_connection()",
    )

    run = workspace.run()

    assert run.console == f"{PROMPTS}Start migrate SystemData table\n"
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: Start migrate SystemData table\n"
        "<time> :: insert row(1): [KeyName] = dbver, [KeyValue] = 29;\n"
        "<time> :: insert row(2): [KeyName] = second, [KeyValue] = 2;\n"
        "<time> :: SQL Error: State = 08S01 Code = 35 Message = "
        "FATAL:  terminating connection due to administrator command\n"
        'CONTEXT:  SQL statement "SELECT pg_terminate_backend(pg_backend_pid())"\n'
        "PL/pgSQL function break_connection() line 1 at PERFORM\n"
        "server closed the connection unexpectedly\n"
        "\tThis probably means the server terminated abnormally\n"
        "\tbefore or while processing the request.\n"
        ";\n"
        "The connection has been lost",
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("second", "2")]
    assert run.errors == ""
    assert run.exit_code == 0
