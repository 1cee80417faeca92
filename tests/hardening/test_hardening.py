"""The built program has the defences of the compiler, the linker and the C library."""

import functools
import json
import os
import pathlib
import platform
import re
import shlex
import subprocess

import pytest

_BUILD = pathlib.Path(os.environ["BW_BUILD_DIR"])
_PROGRAM = _BUILD / "app" / "bw_db_migrate"
_LAYERS = {"app", "db", "logging", "odbc"}

on_x86_64 = pytest.mark.skipif(platform.machine() != "x86_64", reason="says what x86-64 code looks like")


@functools.cache
def _output(*command: str) -> str:
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run([*command, str(_PROGRAM)], check=True, capture_output=True, text=True, env=environment).stdout


def _flags_of_dynamic_section() -> set[str]:
    flags = re.findall(r"\((?:FLAGS|FLAGS_1)\)\s+(.*)", _output("readelf", "--dynamic", "--wide"))
    return {flag for line in flags for flag in line.replace("Flags:", "").split()}


def _segments() -> dict[str, list[str]]:
    """The access flags of the program headers, such as ["R", "RE"], by their type."""
    segments: dict[str, list[str]] = {}
    for line in _output("readelf", "--program-headers", "--wide").splitlines():
        header = re.match(r"\s+([A-Z_]+)(?:\s+0x[0-9a-f]+){5} ([R ][W ][E ]) 0x", line)
        if header:
            segments.setdefault(header.group(1), []).append(header.group(2).replace(" ", ""))
    return segments


def _cache_variable(name: str) -> str:
    cache = (_BUILD / "CMakeCache.txt").read_text()
    return re.search(rf"^{name}:\w+=(.*)$", cache, re.MULTILINE).group(1)


def _is_optimised() -> bool:
    return _cache_variable("CMAKE_BUILD_TYPE") != "Debug"


def _compilations() -> dict[str, list[str]]:
    """The arguments of the compiler for each source file of the program."""
    commands = json.loads((_BUILD / "compile_commands.json").read_text())
    source = pathlib.Path(_cache_variable("CMAKE_HOME_DIRECTORY"))
    files = {pathlib.Path(entry["file"]).relative_to(source): shlex.split(entry["command"]) for entry in commands}
    return {str(file): arguments for file, arguments in files.items() if file.parts[0] in _LAYERS}


def test_the_program_can_be_loaded_anywhere():
    assert re.search(r"Type:\s+DYN ", _output("readelf", "--file-header"))
    assert "PIE" in _flags_of_dynamic_section()


def test_what_the_loader_fills_in_is_read_only_before_the_program_starts():
    assert "GNU_RELRO" in _segments()
    assert {"BIND_NOW", "NOW"} <= _flags_of_dynamic_section()


def test_nothing_is_writable_and_executable():
    segments = _segments()
    assert segments["GNU_STACK"] == ["RW"]
    assert "RE" in segments["LOAD"]
    assert "RWE" not in segments["LOAD"]


def test_libraries_are_looked_for_where_the_system_has_them():
    assert not re.search(r"\((RPATH|RUNPATH)\)", _output("readelf", "--dynamic", "--wide"))


def test_functions_with_buffers_check_the_stack():
    assert "__stack_chk_fail" in _output("nm", "--dynamic", "--undefined-only")


@on_x86_64
@pytest.mark.skipif(not _is_optimised(), reason="nothing is inlined, so no function has a frame of that size")
def test_functions_with_large_frames_touch_every_page():
    assert re.search(r"\sorq?\s+\$0x0,\(%rsp\)", _output("objdump", "--disassemble", "--no-show-raw-insn"))


@on_x86_64
def test_indirect_calls_find_a_landing_mark():
    code = _output("objdump", "--disassemble=_ZN3app12RunMigrationEv", "--no-show-raw-insn")
    first_instruction = re.search(r"<_ZN3app12RunMigrationEv>:\n\s+[0-9a-f]+:\s+(\w+)", code).group(1)
    assert first_instruction == "endbr64"


def test_every_source_file_has_the_checks_of_the_stack():
    for file, arguments in _compilations().items():
        assert {"-fstack-protector-strong", "-fstack-clash-protection"} <= set(arguments), file


def test_every_source_file_of_an_optimised_build_has_the_checks_of_the_c_library():
    """Seen in the commands: no call of the program needs a check at run time, so none is found in the program."""
    fortified = _is_optimised() and "-fsanitize=" not in _cache_variable("CMAKE_CXX_FLAGS")
    compilations = _compilations()
    assert "app/main.cpp" in compilations
    for file, arguments in compilations.items():
        assert ("-D_FORTIFY_SOURCE=2" in arguments) == fortified, file
