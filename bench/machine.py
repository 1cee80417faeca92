"""What the benchmarks run on."""

import datetime
import os
import pathlib
import platform
import re
import subprocess

import arguments
import document

import postgres_cluster

_PACKAGES = ("unixodbc", "odbc-postgresql", "tdsodbc", "libdbd-odbc-perl")


def main() -> None:
    options = arguments.parse(__doc__)
    model = re.search(r"^model name\s*: (.*)$", pathlib.Path("/proc/cpuinfo").read_text(), re.MULTILINE)
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / 2**30
    server = f"postgresql-{postgres_cluster.major_version(postgres_cluster.find_binaries())}"
    versions = subprocess.run(
        ["dpkg-query", "--show", "--showformat=${Package} ${Version}, ", *_PACKAGES, server, f"{server}-tds-fdw"],
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    ).stdout.removesuffix(", ")
    document.replace_block(
        options.document,
        "machine",
        f"{datetime.date.today()}: {os.cpu_count()} processors, {model[1] if model else platform.machine()},"
        f" {memory:.0f} GiB; {os.getloadavg()[0]:.1f} other processes ran when the measurements began."
        f" {versions}.",
    )


if __name__ == "__main__":
    main()
