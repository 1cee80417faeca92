"""The program reads its configuration on Linux as on Windows, where the system reads it.

`docs/development/configuration-file.md` says why the readers differ about the files that are listed as different.
"""

import os
import pathlib
import subprocess

import pytest

import configuration_files
import scratch
import wine

_GENERATED = 300

_PROBE = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "tests/windows/probe/configuration_probe"
_PROBE_FOR_WINDOWS = "tests/windows/probe/configuration_probe.exe"


def _settings(output: bytes) -> dict:
    """What the probe printed: name of the file -> settings of the source and of the destination."""
    settings = {}
    for line in output.decode().splitlines():
        name, *texts = line.split(" ")
        assert len(texts) == 6, line
        decoded = [bytes.fromhex(text).decode("latin-1") for text in texts]
        settings[name] = (tuple(decoded[:3]), tuple(decoded[3:]))
    return settings


@pytest.fixture(scope="module")
def read(windows) -> dict:
    """What the readers of "linux" and "wine" read: case -> settings. The case "missing" is a file that is not there."""
    contents = configuration_files.AGREED | {
        case: different["file"] for case, different in configuration_files.DIFFERENT.items()
    }
    contents |= {number: file for number, file in enumerate(configuration_files.generated(_GENERATED))}
    files = {f"{i}.ini": case for i, case in enumerate(contents)} | {"missing.ini": "missing"}
    names = "".join(f"{name}\n" for name in files).encode()
    with scratch.ScratchDirectory() as directory:
        for name, case in files.items():
            if case in contents:
                (directory / name).write_bytes(contents[case])
        outputs = {
            "linux": subprocess.run([_PROBE], cwd=directory, input=names, check=True, stdout=subprocess.PIPE).stdout,
            "wine": windows.run(wine.built(_PROBE_FOR_WINDOWS), directory, names),
        }
    settings = {system: _settings(output) for system, output in outputs.items()}
    assert [*settings["linux"]] == [*settings["wine"]] == [*files]
    return {system: {files[name]: of_file for name, of_file in by_name.items()} for system, by_name in settings.items()}


@pytest.mark.parametrize("case", [*configuration_files.AGREED, "missing"])
def test_they_agree(read, case):
    assert read["linux"][case] == read["wine"][case]


def test_they_agree_about_generated_files(read):
    said = 0
    for number, file in enumerate(configuration_files.generated(_GENERATED)):
        assert read["linux"][number] == read["wine"][number], file
        said += sum(bool(text) for side in read["linux"][number] for text in side)
    assert said > _GENERATED, "the files say too little"


@pytest.mark.parametrize("case", configuration_files.DIFFERENT)
def test_they_differ_as_documented(read, case):
    assert read["linux"][case] == configuration_files.DIFFERENT[case]["linux"]
    assert read["wine"][case] == configuration_files.DIFFERENT[case]["wine"]
