"""The passwords are typed at a terminal that does not show them."""

# A shell that notes the terminal's settings before and after the program, as the operator's shell would find them.
_NOTING_SHELL = ("sh", "-c", 'stty -a >"$HOME/before"; "$0"; code=$?; stty -a >"$HOME/after"; exit $code')


def _modes(workspace, moment: str) -> list[str]:
    with open(f'{workspace.environment["HOME"]}/{moment}', encoding="ascii") as file:
        return file.read().split()


def test_echo_is_off_at_the_prompts_and_stays_off_after_the_end(new_workspace):
    workspace = new_workspace()

    run = workspace.run(wrapper=_NOTING_SHELL)

    before, after = _modes(workspace, "before"), _modes(workspace, "after")
    assert "echo" in before
    assert run.echo_at_prompts == [False, False]
    assert run.echo_after is False
    assert "-echo" in after
    # Nothing else about the terminal changes.
    assert [mode for mode in before if mode != "echo"] == [mode for mode in after if mode != "-echo"]
    assert run.exit_code == 0


def test_echo_stays_off_after_a_refused_run(new_workspace):
    workspace = new_workspace([("dbver", "28")])

    run = workspace.run(wrapper=_NOTING_SHELL)

    assert "echo" in _modes(workspace, "before")
    assert "-echo" in _modes(workspace, "after")
    assert run.echo_after is False


def test_echo_is_left_alone_without_a_configuration_file(new_workspace):
    workspace = new_workspace()
    (workspace.directory / "bw_migrate.ini").unlink()

    run = workspace.run(wrapper=_NOTING_SHELL)

    assert _modes(workspace, "before") == _modes(workspace, "after")
    assert run.echo_after is True


def test_passwords_are_nowhere_to_be_seen(new_workspace):
    workspace = new_workspace()

    run = workspace.run(passwords=("night-desk-1", "day-desk-2"))

    for password in ("night-desk-1", "day-desk-2"):
        assert password not in run.console
        assert password not in workspace.log_file.read_text()
