"""A scratch directory, and the processes that work in it, that do not outlive the process that made them."""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

# Short places on purpose: a Unix socket's path is limited to 107 bytes, and TMPDIR may be long.
_DISK = "/tmp"
_MEMORY = "/dev/shm"
# Three labs at a time, with a PostgreSQL cluster each, were seen to take 0.3 GiB.
_FREE_MEMORY = 1 << 30

# Reads until its standard input ends, which happens when the owner of the other end is gone for whatever reason, and
# then removes the directory, write-protected parts included. After a kill a server that is just shutting down may still
# write to it, hence the repetition.
_GUARD = """
cat >/dev/null
for attempt in $(seq 600); do
  chmod -R u+rwX -- "$1" 2>/dev/null
  rm -rf -- "$1" 2>/dev/null && exit
  sleep 0.1
done
"""


class ScratchDirectory:
    """A new directory. A guard process removes it at the end of the `with` block, and also after a kill.

    It is on the disk, or `in_memory` where there is enough of it.
    """

    def __init__(self, in_memory=False):
        self._parent = _MEMORY if in_memory and _has_memory() else _DISK

    def __enter__(self) -> pathlib.Path:
        self._path = pathlib.Path(tempfile.mkdtemp(prefix="bw_lab.", dir=self._parent))
        self._guard = subprocess.Popen(
            ["setsid", "--fork", "sh", "-c", _GUARD, "sh", str(self._path)],
            stdin=subprocess.PIPE,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        self._guard.wait()
        # A server that runs as another user must be able to reach its own directory in here.
        self._path.chmod(0o755)
        return self._path

    def __exit__(self, *_) -> None:
        self._guard.stdin.close()
        wait_until(lambda: not self._path.exists(), f"the removal of {self._path}")


def _has_memory() -> bool:
    """Whether files in memory are possible, executable ones too, and have room."""
    if not os.access(_MEMORY, os.W_OK):
        return False
    state = os.statvfs(_MEMORY)
    return not state.f_flag & os.ST_NOEXEC and state.f_bavail * state.f_frsize >= _FREE_MEMORY


def end_on_sigterm() -> None:
    """Turns SIGTERM into an exception, so that every `with` block is left and cleans up."""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))


def start_server(command, user=None, end_signal="TERM", wrapper=(), **options) -> subprocess.Popen:
    """Starts a process that gets `end_signal` when this process dies; `user` is taken on by root only.

    `wrapper` is put in front of the command and must become it by exec.

    It has a session of its own, so that Ctrl-C at the terminal reaches only this process, which then stops its servers
    in order.
    """
    identity = ["--reuid", user, "--regid", user, "--init-groups"] if user and os.geteuid() == 0 else []
    return subprocess.Popen(
        [*wrapper, "setpriv", "--pdeathsig", end_signal, *identity, "--", *command], start_new_session=True, **options
    )


def end_server(process: subprocess.Popen, end_signal: int, seconds: float = 60) -> None:
    """Asks a process to end, waits for it, and kills it when it takes longer than `seconds`."""
    process.send_signal(end_signal)
    try:
        process.wait(seconds)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
        raise


def wait_until(condition, what: str, seconds: float = 60):
    """Polls `condition` until it returns something true, and returns that; fails after `seconds`."""
    deadline = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise TimeoutError(f"{what}: not within {seconds} seconds")
        time.sleep(0.01)
    return value
