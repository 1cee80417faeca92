"""Runs programs for Windows under wine, in an environment of its own."""

import os
import pathlib
import re
import subprocess

import pexpect
import pytest

import migrator

PROGRAM = "app/bw_db_migrate.exe"
CHECKER = "check/bw_db_check.exe"

_PROGRAM_LOADER = "/usr/lib/wine/wine64"
_SERVER = "/usr/lib/wine/wineserver64"
_BUILD = pathlib.Path(os.environ["BW_WINDOWS_BUILD_DIR"])

# A slow machine takes its time to make the files of a Windows system.
_START_SECONDS = 300

# How long the system waits for the next program: for longer than from one to the next, and after a kill of this process
# not for ever.
_IDLE_SECONDS = 60


def built(path: str) -> pathlib.Path:
    """A file that the build for Windows has made, by its path in there."""
    file = _BUILD / path
    if not file.exists():
        pytest.fail(f"{file} is missing: build the preset windows first, as scripts/run-tests does", pytrace=False)
    return file


class Wine:
    """A Windows system in a directory that must not exist yet, in a scratch directory. Use as a context manager.

    `command` is what a program's path is put behind; `environment` is what it needs besides PATH and HOME.
    """

    def __init__(self, directory: pathlib.Path):
        self.command = (_PROGRAM_LOADER,)
        self.environment = {
            "WINEPREFIX": str(directory),
            # The server leaves a directory there.
            "TMPDIR": str(directory.parent),
            "WINEDEBUG": "-all",
            # Neither entries in menus nor questions about what could be installed besides.
            "WINEDLLOVERRIDES": "winemenubuilder.exe,mscoree,mshtml=",
            # File names and the console are in UTF-8; the code page is that of Western Europe.
            "LC_ALL": "C.UTF-8",
        }
        self._directory = directory

    def __enter__(self) -> "Wine":
        self._directory.mkdir()
        # Services run as long as the server does. Started by the server's first program they would get that program's
        # output, which then stays open until they end.
        self._run_in_silence(_SERVER, f"--persistent={_IDLE_SECONDS}")
        try:
            self._run_in_silence(*self.command, "wineboot", "--init")
        except BaseException:
            self._stop()
            raise
        return self

    def __exit__(self, *_) -> None:
        self._stop()

    def run(self, program: pathlib.Path, directory: pathlib.Path, typed: bytes) -> bytes:
        """Runs a program, which must succeed, and returns its standard output."""
        return subprocess.run(
            [*self.command, str(program)],
            env=self._all_environment(),
            cwd=directory,
            input=typed,
            check=True,
            stdout=subprocess.PIPE,
        ).stdout

    def run_program(self, workspace, typed: bytes, program=PROGRAM, arguments=()) -> migrator.Run:
        """Runs a built program in a workspace of the lab, with its input and output on pipes."""
        return migrator.run_redirected(
            built(program),
            workspace.directory,
            workspace.environment | self.environment,
            typed,
            arguments=arguments,
            wrapper=self.command,
        )

    def run_program_at_console(self, workspace, line: str) -> str:
        """Runs the program in a workspace at a console, types the line when it is asked, and returns all that is shown.

        What is typed before the program reads is lost, so the line is typed again whenever nothing has happened for a
        while.
        """
        child = pexpect.spawn(
            self.command[0],
            [str(built(PROGRAM))],
            cwd=str(workspace.directory),
            env=workspace.environment | self.environment | {"TERM": "xterm"},
            encoding="utf-8",
        )
        child.delaybeforesend = None
        shown = ""
        try:
            while True:
                try:
                    shown += child.read_nonblocking(1024, timeout=1)
                except pexpect.TIMEOUT:
                    if "password" in _text(shown):
                        child.send(f"{line}\r")
        except pexpect.EOF:
            return _text(shown)
        finally:
            child.close(force=True)

    def _stop(self) -> None:
        for option in ("--kill", "--wait"):
            self._run_in_silence(_SERVER, option)

    def _run_in_silence(self, *command) -> None:
        subprocess.run(
            command,
            env=self._all_environment(),
            check=True,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
            timeout=_START_SECONDS,
        )

    def _all_environment(self) -> dict:
        return {"PATH": os.environ["PATH"], "HOME": str(self._directory.parent), **self.environment}


def _text(shown: str) -> str:
    """What a terminal was told to show, without colours and line ends; a blank is a step of its cursor."""
    text = re.sub(r"\x1b\[(\d+)C", lambda step: " " * int(step[1]), shown)
    return re.sub(r"\x1b\[[?\d;]*[A-Za-z]|[\r\n]", "", text)
