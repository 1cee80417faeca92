"""The files that the program finds or does not find in its working directory."""

import os

import expectations
from expectations import assert_text

# Root with all its privileges dropped: the permissions of files and directories bind it as they bind everyone.
_UNPRIVILEGED = ("setpriv", "--bounding-set=-all", "--inh-caps=-all", "--") if os.geteuid() == 0 else ()

_NO_LOG_CONSOLE = "Warning: Can't open log file\n"


def test_without_configuration_file_only_says_so(new_workspace):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").unlink()

    run = workspace.run()

    assert run.console == "Error: Configuration file does not exist\n"
    assert run.errors == ""
    assert run.exit_code == 0
    assert list(workspace.directory.iterdir()) == []


def test_without_configuration_file_keeps_the_log_of_an_earlier_run(new_workspace):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").unlink()
    workspace.log_file.write_text("an earlier run")

    workspace.run()

    assert workspace.log_file.read_text() == "an earlier run"


def test_configuration_file_is_looked_for_in_the_working_directory_only(new_workspace):
    workspace = new_workspace()
    below = workspace.directory / "below"
    below.mkdir()
    workspace.directory = below

    run = workspace.run()

    assert run.console == "Error: Configuration file does not exist\n"
    assert list(below.iterdir()) == []


def test_link_to_nowhere_counts_as_no_configuration_file(new_workspace):
    workspace = new_workspace()
    configuration = workspace.directory / "bw_migrate.ini"
    configuration.unlink()
    configuration.symlink_to("nowhere.ini")

    run = workspace.run()

    assert run.console == "Error: Configuration file does not exist\n"
    assert not workspace.log_file.exists()


def test_configuration_file_that_cannot_be_looked_up_ends_without_a_word(new_workspace):
    workspace = new_workspace()
    configuration = workspace.directory / "bw_migrate.ini"
    configuration.unlink()
    configuration.symlink_to("bw_migrate.ini")

    run = workspace.run()

    assert run.console == ""
    assert run.errors == ""
    assert run.exit_code == 0
    assert not workspace.log_file.exists()


def test_working_directory_that_is_gone_ends_without_a_word(new_workspace):
    workspace = new_workspace()

    run = workspace.run(wrapper=("sh", "-c", 'mkdir gone; cd gone; rmdir ../gone; exec "$0"'))

    assert run.console == ""
    assert run.errors == ""
    assert run.exit_code == 0


def test_directory_in_place_of_the_configuration_file_is_one_without_settings(new_workspace):
    workspace = new_workspace()
    configuration = workspace.directory / "bw_migrate.ini"
    configuration.unlink()
    configuration.mkdir()

    run = workspace.run()

    assert run.console == expectations.PROMPTS
    assert_text(
        workspace.log_file.read_text(),
        "<time> :: SQL Error: State = IM002 Code = 0 Message = "
        "[unixODBC][Driver Manager]Data source name not found and no default driver specified",
    )
    assert run.exit_code == 0


def test_read_only_directory_costs_the_log_only(new_workspace):
    workspace = new_workspace()
    workspace.directory.chmod(0o555)

    run = workspace.run(wrapper=_UNPRIVILEGED)

    assert_text(run.console, _NO_LOG_CONSOLE + expectations.console(system_data=1))
    assert not workspace.log_file.exists()
    assert workspace.query_destination('SELECT "KeyName", "KeyValue" FROM "SystemData"') == [("dbver", "29")]
    assert run.errors == ""
    assert run.exit_code == 0


def test_read_only_log_file_is_kept_as_it_is(new_workspace):
    workspace = new_workspace()
    workspace.log_file.write_text("an earlier run")
    workspace.log_file.chmod(0o444)

    run = workspace.run(wrapper=_UNPRIVILEGED)

    assert_text(run.console, _NO_LOG_CONSOLE + expectations.console(system_data=1))
    assert workspace.log_file.read_text() == "an earlier run"
    assert run.exit_code == 0


def test_directory_in_place_of_the_log_costs_the_log_only(new_workspace):
    workspace = new_workspace()
    workspace.log_file.mkdir()

    run = workspace.run()

    assert_text(run.console, _NO_LOG_CONSOLE + expectations.console(system_data=1))
    assert run.errors == ""
    assert run.exit_code == 0


def test_refusal_is_shown_without_a_log_too(new_workspace):
    workspace = new_workspace([("dbver", "28")])
    workspace.log_file.mkdir()

    run = workspace.run()

    assert run.console == (
        _NO_LOG_CONSOLE
        + expectations.PROMPTS
        + "Error: Migration is possible only for version 29 of the Brantwell database\n"
    )
    assert run.exit_code == 0
