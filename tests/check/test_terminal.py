"""bw_db_check at a terminal: passwords that are typed unseen, colour and a progress line."""

import os
import pathlib
import resource
import signal
import termios

import pexpect
import pytest

import lab
import scratch

CHECKER = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "check" / "bw_db_check"

PROMPTS = ("Password for the source database: ", "Password for the destination database: ")

_LOCAL_MODES = 3  # their place among the terminal's attributes

# Notes the terminal's settings before and after the program, as the operator's shell would find them.
_NOTING_SHELL = 'stty -a >before; "$@"; code=$?; stty -a >after; exit $code'


class _Terminal:
    """A program at a pseudo-terminal. Use as a context manager."""

    def __init__(self, command, directory, **environment):
        self._command = [str(part) for part in command]
        self._directory = str(directory)
        inherited = {name: value for name, value in os.environ.items() if name != "NO_COLOR"}
        self._environment = {**inherited, "TERM": "xterm", **environment}

    def __enter__(self) -> "_Terminal":
        self.child = pexpect.spawn(
            self._command[0],
            self._command[1:],
            cwd=self._directory,
            env=self._environment,
            timeout=60,
            encoding="utf-8",
            # SIGQUIT shall leave no core file.
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0)),
        )
        self.child.delaybeforesend = None
        return self

    def __exit__(self, *_) -> None:
        self.child.close(force=True)

    def echoes(self) -> bool:
        return bool(termios.tcgetattr(self.child.child_fd)[_LOCAL_MODES] & termios.ECHO)

    def expect(self, text) -> None:
        self.child.expect_exact(text)

    def expect_hidden(self, prompt) -> None:
        """Waits for a prompt; what is typed then does not show."""
        self.expect(prompt)
        assert not self.echoes()

    def type(self, line) -> None:
        """Types a line and Enter, which sends a carriage return."""
        self.child.send(f"{line}\r")

    def end(self) -> tuple[str, int]:
        """What the terminal shows until the end, and the exit code, negative when a signal ended the program."""
        self.child.expect_exact(pexpect.EOF)
        shown = self.child.before.replace("\r\n", "\n")
        self.child.wait()
        return shown, self.child.exitstatus if self.child.signalstatus is None else -self.child.signalstatus


@pytest.fixture
def directory(unreachable_directory):
    """A working directory whose configuration leads nowhere: the program ends when both passwords are typed."""
    return unreachable_directory


def _modes(path) -> list[str]:
    return path.read_text(encoding="ascii").split()


def test_passwords_are_typed_without_echo_which_is_back_at_the_end(directory):
    with _Terminal(["sh", "-c", _NOTING_SHELL, "sh", CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.type("night-desk-1")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("day-desk-2")
        shown, exit_code = terminal.end()
        assert terminal.echoes()

    assert shown.startswith("\n")
    assert "cannot connect to the source" in shown
    assert "desk" not in shown
    assert exit_code == 2
    assert "echo" in _modes(directory / "before")
    assert _modes(directory / "before") == _modes(directory / "after")


def test_echo_is_back_when_no_password_comes(directory):
    with _Terminal([CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.child.sendeof()
        shown, exit_code = terminal.end()
        assert terminal.echoes()

    assert "bw_db_check: standard input ends before the password of the source\n" in shown
    assert exit_code == 2


def test_prompts_are_at_the_terminal_wherever_the_output_goes(directory):
    command = ["sh", "-c", 'exec "$@" >output 2>&1', "sh", CHECKER, "before"]
    with _Terminal(command, directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.type("one")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("two")
        shown, exit_code = terminal.end()

    assert shown == "\n"
    assert (directory / "output").read_text().startswith("bw_db_check: cannot connect to the source, ")
    assert exit_code == 2


def test_nothing_is_asked_where_standard_input_is_no_terminal(directory):
    command = ["sh", "-c", 'printf "one\\ntwo\\n" | "$@"', "sh", CHECKER, "before"]
    with _Terminal(command, directory) as terminal:
        shown, exit_code = terminal.end()

    assert "Password" not in shown
    assert "cannot connect to the source, " in shown
    assert exit_code == 2


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT])
@pytest.mark.parametrize("prompt", [0, 1], ids=["first prompt", "second prompt"])
def test_echo_is_back_after_a_signal(directory, prompt, number):
    with _Terminal([CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        if prompt == 1:
            terminal.type("one")
            terminal.expect_hidden(PROMPTS[1])
        os.kill(terminal.child.pid, number)
        shown, exit_code = terminal.end()
        assert terminal.echoes()

    assert "bw_db_check" not in shown
    assert exit_code == -number


def test_echo_is_back_after_ctrl_c(directory):
    with _Terminal([CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.child.sendintr()
        _, exit_code = terminal.end()
        assert terminal.echoes()

    assert exit_code == -signal.SIGINT


def test_signal_that_is_ignored_stays_ignored(directory):
    with _Terminal(["sh", "-c", 'trap "" HUP; exec "$@"', "sh", CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        os.kill(terminal.child.pid, signal.SIGHUP)
        terminal.type("one")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("two")
        _, exit_code = terminal.end()

    assert exit_code == 2


def _is_stopped(shell) -> bool:
    """Whether a child of the shell is stopped."""
    children = pathlib.Path(f"/proc/{shell}/task/{shell}/children").read_text(encoding="ascii").split()
    states = [pathlib.Path(f"/proc/{child}/stat").read_text(encoding="utf-8").rpartition(")")[2] for child in children]
    return any(state.split()[0] == "T" for state in states)


# A shell with job control, which goes on when the program stops, and continues it.
_JOB_SHELL = 'set -m; "$@"; stty -a >stopped; read -r line; fg >/dev/null; code=$?; stty -a >after; exit $code'


def test_echo_is_back_while_the_program_is_stopped(directory):
    with _Terminal(["bash", "-c", _JOB_SHELL, "bash", CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.child.sendcontrol("z")
        scratch.wait_until(lambda: (directory / "stopped").exists() and terminal.echoes(), "the program's stop")
        terminal.type("continue")
        terminal.expect("continue")
        # Asked for again, and hidden again.
        terminal.expect_hidden(PROMPTS[0])
        terminal.type("one")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("two")
        shown, exit_code = terminal.end()

    assert "cannot connect to the source, " in shown
    assert exit_code == 2
    assert "echo" in _modes(directory / "stopped")
    assert "echo" in _modes(directory / "after")


def test_typing_stays_hidden_when_a_stop_stops_nothing(directory):
    # The program leads the terminal's session here; such a process is not stopped from the terminal.
    with _Terminal([CHECKER, "before"], directory) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.child.sendcontrol("z")
        terminal.expect_hidden(PROMPTS[0])
        terminal.type("one")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("two")
        _, exit_code = terminal.end()

    assert exit_code == 2


@pytest.mark.parametrize("moved_back", [False, True], ids=["started there", "moved there"])
def test_program_of_the_background_asks_when_it_is_brought_to_the_front(directory, moved_back):
    """In a shell that reads its lines itself, with modes of the terminal of its own."""
    with _Terminal(["bash", "--norc", "--noprofile", "-i"], directory, PS1="ready> ", HISTFILE="") as terminal:
        terminal.expect("ready> ")
        terminal.type("stty -a >before")
        terminal.expect("ready> ")
        if moved_back:
            terminal.type(f"{CHECKER} before")
            terminal.expect_hidden(PROMPTS[0])
            terminal.child.sendcontrol("z")
            terminal.expect("ready> ")
            terminal.type("bg")
        else:
            terminal.type(f"{CHECKER} before &")
        terminal.expect("ready> ")
        scratch.wait_until(lambda: _is_stopped(terminal.child.pid), "the stop of the program")
        terminal.type("fg")
        terminal.expect_hidden(PROMPTS[0])
        terminal.type("night-desk-1")
        terminal.expect_hidden(PROMPTS[1])
        terminal.type("day-desk-2")
        terminal.expect("cannot connect to the source, ")
        between = terminal.child.before
        terminal.expect("ready> ")
        terminal.type("stty -a >after")
        terminal.expect("ready> ")
        terminal.type("exit")
        terminal.end()

    assert "desk" not in between
    assert _modes(directory / "before") == _modes(directory / "after")


# Colour and progress.


def _check_at_terminal(workspace, command=('"$@"',), **environment) -> str:
    """What the terminal shows behind the passwords."""
    shell = ["sh", "-c", *command, "sh", CHECKER, "before"]
    with _Terminal(shell, workspace.directory, **(workspace.environment | environment)) as terminal:
        terminal.expect_hidden(PROMPTS[0])
        terminal.type(lab.SOURCE_PASSWORD)
        terminal.expect_hidden(PROMPTS[1])
        terminal.type(lab.DESTINATION_PASSWORD)
        shown, exit_code = terminal.end()
    assert exit_code == 0
    return shown


def test_colour_and_progress_at_a_terminal(new_workspace):
    shown = _check_at_terminal(new_workspace())

    progress, report = shown.split("bw_db_check before\n")
    assert progress.startswith("\n\r\x1b[K\x1b[?7lConnecting\x1b[?7h\r\x1b[K")
    assert "\r\x1b[K\x1b[?7lExportOrder, table 22 of 22\x1b[?7h" in progress
    # The line is empty again before the report begins.
    assert progress.endswith("\r\x1b[K")
    assert "\r" not in report
    assert "\x1b[1;32m" in report.splitlines()[-1]
    assert report.splitlines()[-1].endswith("\x1b[0m")


def test_no_colour_where_none_is_wanted(new_workspace):
    shown = _check_at_terminal(new_workspace(), NO_COLOR="1")

    progress, report = shown.split("bw_db_check before\n")
    assert "\r\x1b[K\x1b[?7lExportOrder, table 22 of 22\x1b[?7h" in progress
    assert "\x1b" not in report


@pytest.mark.parametrize("kind", ["dumb", ""])
def test_neither_colour_nor_progress_at_a_terminal_that_cannot(new_workspace, kind):
    shown = _check_at_terminal(new_workspace(), TERM=kind)

    assert shown.startswith("\nbw_db_check before\n")
    assert "\x1b" not in shown


def test_no_colour_in_a_file(new_workspace):
    workspace = new_workspace()

    shown = _check_at_terminal(workspace, ('exec "$@" >report',))

    assert "\r\x1b[K\x1b[?7lExportOrder, table 22 of 22\x1b[?7h" in shown
    assert shown.endswith("\r\x1b[K")
    report = (workspace.directory / "report").read_text()
    assert report.startswith("bw_db_check before\n")
    assert "\x1b" not in report


def test_no_progress_in_a_file(new_workspace):
    workspace = new_workspace()

    shown = _check_at_terminal(workspace, ('exec "$@" 2>errors',))

    assert "\x1b[K" not in shown
    assert (workspace.directory / "errors").read_text() == ""


def test_neither_without_a_terminal(new_workspace):
    run = new_workspace().check("before")

    assert "\x1b" not in run.console
    assert run.errors == ""
