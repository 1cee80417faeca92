"""Runs the real bw_db_migrate as an operator does, at a terminal, or with its input and output redirected."""

import codecs
import contextlib
import dataclasses
import os
import pathlib
import subprocess
import termios

import pexpect

_PROMPTS = ("Enter the password for source database: ", "Enter the password for destination database: ")

_TERMINAL_ECHO = 3  # the place of the local modes, which hold ECHO, among the terminal's attributes


@dataclasses.dataclass
class Run:
    """What one run of the program left behind."""

    console: str  # with the line ends that the program wrote
    errors: str  # standard error
    exit_code: int  # negative: ended by that signal
    echo_at_prompts: list[bool] = dataclasses.field(default_factory=list)  # the terminal's echo at each prompt
    echo_after: bool | None = None  # the terminal's echo after the end; None without a terminal


def run_at_terminal(
    program, directory, environment, passwords, show=None, seconds=120, wrapper=(), meanwhile=None
) -> Run:
    """Runs the program at a pseudo-terminal and types the passwords when it asks for them.

    `show`, if given, is a text file that gets the console as it comes. `wrapper` is put in front of the command.
    `meanwhile`, if given, is called with the running process once both passwords are typed. The program is killed when
    it does not end within `seconds`, and when `meanwhile` fails.
    """
    errors_file = pathlib.Path(environment["HOME"]) / "standard-error"

    def redirect_errors() -> None:
        os.dup2(os.open(errors_file, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), 2)

    command = [*wrapper, str(program)]
    screen = _Screen(show)
    child = pexpect.spawn(
        command[0],
        command[1:],
        cwd=str(directory),
        env=environment,
        timeout=seconds,
        preexec_fn=redirect_errors,
    )
    child.logfile_read = screen
    child.delaybeforesend = None
    try:
        run = Run(console="", errors="", exit_code=0)
        for prompt, password in zip(_PROMPTS, passwords, strict=True):
            if child.expect_exact([prompt, pexpect.EOF]) == 1:
                break
            run.echo_at_prompts.append(_echoes(child.child_fd))
            child.send(password)
            child.send("\r")  # What Enter sends.
        else:
            if meanwhile:
                meanwhile(child)
            child.expect_exact(pexpect.EOF)
        run.echo_after = _echoes(child.child_fd)
        child.wait()
    finally:
        child.close(force=True)
    run.console = screen.text
    run.errors = errors_file.read_text()
    run.exit_code = child.exitstatus if child.signalstatus is None else -child.signalstatus
    return run


def run_redirected(
    program, directory, environment, standard_input: bytes, arguments=(), seconds=120, wrapper=(), meanwhile=None
) -> Run:
    """Runs a program with `standard_input`, which must fit into a pipe, and its output on pipes.

    `wrapper`, `meanwhile` and `seconds` are as at a terminal.
    """
    with subprocess.Popen(
        [*wrapper, str(program), *arguments],
        cwd=directory,
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
    ) as process:
        try:
            with contextlib.suppress(BrokenPipeError), process.stdin as pipe:
                pipe.write(standard_input)
            process.stdin = None
            if meanwhile:
                meanwhile(process)
            console, errors = process.communicate(timeout=seconds)
        except BaseException:
            process.kill()
            raise
    return Run(console.decode(), errors.decode(), process.returncode)


def _echoes(terminal: int) -> bool:
    return bool(termios.tcgetattr(terminal)[_TERMINAL_ECHO] & termios.ECHO)


class _Screen:
    """Gathers what a terminal shows, with the line ends that were written to it, and passes it on as it comes."""

    def __init__(self, show):
        self.text = ""
        self._show = show
        self._decoder = codecs.getincrementaldecoder("utf-8")()

    def write(self, data: bytes) -> None:
        # The terminal puts a carriage return in front of each line end. The program itself writes none.
        text = self._decoder.decode(data).replace("\r", "")
        self.text += text
        if self._show:
            self._show.write(text)
            self._show.flush()

    def flush(self) -> None:
        pass
