"""A migration that succeeds."""

import contextlib
import datetime
import re
import sqlite3

import expectations
import lab
import sample_data
from expectations import MIGRATED_TABLES, assert_text

SYSTEM_DATA = 'SELECT "KeyName", "KeyValue" FROM "SystemData" ORDER BY ctid'


def test_copies_the_rows_and_reports_them_on_console_and_in_log(new_workspace):
    rows = [
        ("dbver", "29"),
        ("12345678901234567890", "12345678901234567890123456789012345678901234567890"),
        ("empty", ""),
        ("quotes", "it's \"quoted\" ?; {x} \\n %s"),
        ("desk", "Zürich – Ørsted"),
    ]
    workspace = new_workspace(rows)

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=5))
    assert_text(
        workspace.log_file.read_text(),
        expectations.log(
            system_data=(
                "[KeyName] = dbver, [KeyValue] = 29;",
                "[KeyName] = 12345678901234567890,"
                " [KeyValue] = 12345678901234567890123456789012345678901234567890;",
                "[KeyName] = empty, [KeyValue] = ;",
                "[KeyName] = quotes, [KeyValue] = it's \"quoted\" ?; {x} \\n %s;",
                "[KeyName] = desk, [KeyValue] = Zürich – Ørsted;",
            )
        ),
    )
    assert workspace.query_destination(SYSTEM_DATA) == rows
    assert run.errors == ""
    assert run.exit_code == 0


def test_time_stamps_are_the_local_time_of_the_run(new_workspace):
    workspace = new_workspace()
    workspace.environment["TZ"] = "XYZ-05:45"
    zone = datetime.timezone(datetime.timedelta(hours=5, minutes=45))

    before = datetime.datetime.now(zone).replace(microsecond=0, tzinfo=None)
    workspace.run()
    after = datetime.datetime.now(zone).replace(tzinfo=None)

    stamps = re.findall(r"^(.{19}) :: ", workspace.log_file.read_text(), re.MULTILINE)
    times = [datetime.datetime.strptime(stamp, "%Y-%m-%d %H:%M:%S") for stamp in stamps]
    assert len(times) == 2 * len(MIGRATED_TABLES) + 1
    assert before <= times[0]
    assert times == sorted(times)
    assert times[-1] <= after


def test_works_with_input_and_output_redirected(new_workspace):
    workspace = new_workspace()

    run = workspace.run_redirected()

    assert_text(run.console, expectations.console(system_data=1))
    assert_text(
        workspace.log_file.read_text(), expectations.log(system_data=("[KeyName] = dbver, [KeyValue] = 29;",))
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_password_may_be_any_line_of_text(new_workspace):
    password = " ünter; {x}=\\'\"% "
    workspace = new_workspace()
    quoted = password.replace("'", "''")
    workspace.lab.postgres.execute(f"CREATE ROLE another SUPERUSER LOGIN PASSWORD '{quoted}'")
    workspace.write_configuration(destination=("BrantwellDestination", "another", "public"))

    run = workspace.run(passwords=(lab.SOURCE_PASSWORD, password))

    assert_text(run.console, expectations.console(system_data=1))


def test_second_run_replaces_the_rows_and_the_log_of_the_first(new_workspace):
    workspace = new_workspace([("dbver", "29"), ("first", "1"), ("both", "1")])
    workspace.run()
    workspace.execute_source("DELETE FROM SystemData WHERE KeyName = ?", [("first",)])
    workspace.execute_source("UPDATE SystemData SET KeyValue = ? WHERE KeyName = ?", [("2", "both")])

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=2))
    assert_text(
        workspace.log_file.read_text(),
        expectations.log(
            system_data=("[KeyName] = dbver, [KeyValue] = 29;", "[KeyName] = both, [KeyValue] = 2;")
        ),
    )
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29"), ("both", "2")]
    assert run.exit_code == 0


def test_works_without_schemas(new_workspace):
    workspace = new_workspace()
    workspace.write_configuration(
        source=("BrantwellSource", "bw_reader", ""), destination=("BrantwellDestination", "bw_migrator", "")
    )

    run = workspace.run()

    assert_text(run.console, expectations.console(system_data=1))
    assert workspace.query_destination(SYSTEM_DATA) == [("dbver", "29")]


def test_destination_schema_is_the_configured_one(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)
    workspace.execute_destination(
        "SET ROLE bw_migrator", "CREATE SCHEMA desk", "SET search_path TO desk", lab.DESTINATION_SCHEMA.read_text()
    )
    workspace.write_configuration(destination=("BrantwellDestination", "bw_migrator", "desk"))

    workspace.run()

    for table in MIGRATED_TABLES:
        assert workspace.query_destination(f'SELECT count(*) > 0 FROM desk."{table}"') == [(True,)], table
        assert workspace.query_destination(f'SELECT count(*) FROM public."{table}"') == [(0,)], table


def test_every_row_of_the_sample_data_arrives(new_workspace):
    workspace = new_workspace(system_data=(), fill=sample_data.fill)

    run = workspace.run()

    text = expectations.PROMPTS
    with contextlib.closing(sqlite3.connect(workspace.source_file)) as source:
        for table in MIGRATED_TABLES:
            ((rows,),) = source.execute(f"SELECT count(*) FROM [{table}]")
            assert rows > 0, f"the sample data has no rows of {table}"
            assert workspace.query_destination(f'SELECT count(*) FROM "{table}"') == [(rows,)], table
            text += (
                f"Start migrate {table} table\n"
                f"Complete migrate {table} table. Total rows read = {rows} Total migrated rows = {rows}."
                " Migration time is <ms> milliseconds\n"
            )
    assert_text(run.console, text)
