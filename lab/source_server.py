"""The sample SQL Server: a process of tds_server with its logins file."""

import pathlib
import re
import select
import signal
import subprocess
import time

import scratch

_START_SECONDS = 60


class SourceServer:
    """Serves an SQLite file on a free loopback port. Use as a context manager.

    `logins` maps user names to passwords; `options` are further command-line options of tds_server.
    """

    def __init__(self, program: pathlib.Path, directory: pathlib.Path, database: pathlib.Path, logins, options=()):
        self.port = 0
        self.log_file = directory / "tds_server.log"
        self._logins_file = directory / "tds_server.logins"
        self._logins = dict(logins)
        self._command = [str(program), "--database", str(database), "--logins", str(self._logins_file), *options]
        self._process = None

    def __enter__(self) -> "SourceServer":
        self._logins_file.touch(mode=0o600)
        self._logins_file.write_text("".join(f"{user}\t{password}\n" for user, password in self._logins.items()))
        with open(self.log_file, "ab") as log:
            self._process = scratch.start_server(
                self._command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=log
            )
        try:
            self.port = self._read_port()
        except BaseException:
            self.stop()
            raise
        return self

    def __exit__(self, *_) -> None:
        self.stop()

    def kill(self) -> None:
        """Kills the server, which breaks its connections."""
        self._process.kill()
        self._process.wait()

    def stop(self) -> None:
        """Ends the server; does nothing when it has ended."""
        if self._process.poll() is None:
            scratch.end_server(self._process, signal.SIGTERM)
        self._process.stdout.close()

    def _read_port(self) -> int:
        line = b""
        deadline = time.monotonic() + _START_SECONDS
        while not line.endswith(b"\n"):
            readable, _, _ = select.select([self._process.stdout], [], [], max(0, deadline - time.monotonic()))
            byte = self._process.stdout.read1(1) if readable else b""
            if not byte:
                raise RuntimeError(f"tds_server does not start: {self.log_file.read_text()}")
            line += byte
        return int(re.fullmatch(rb"listening on 127\.0\.0\.1:(\d+)\n", line)[1])
