"""The built programs have the defences of the compiler, the linker and the C library."""

import functools
import os
import pathlib
import platform
import re
import shlex
import subprocess

import pytest

_BUILD = pathlib.Path(os.environ["BW_BUILD_DIR"])

pytestmark = pytest.mark.parametrize("program", ["app/bw_db_migrate", "check/bw_db_check"])

on_x86_64 = pytest.mark.skipif(platform.machine() != "x86_64", reason="says what x86-64 code looks like")


@functools.cache
def _output(program, *command: str) -> str:
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run(
        [*command, str(_BUILD / program)], check=True, capture_output=True, text=True, env=environment
    ).stdout


def _flags_of_dynamic_section(program) -> set[str]:
    flags = re.findall(r"\((?:FLAGS|FLAGS_1)\)\s+(.*)", _output(program, "readelf", "--dynamic", "--wide"))
    return {flag for line in flags for flag in line.replace("Flags:", "").split()}


def _segments(program) -> dict[str, list[str]]:
    """The access flags of the program headers, such as ["R", "RE"], by their type."""
    segments: dict[str, list[str]] = {}
    for line in _output(program, "readelf", "--program-headers", "--wide").splitlines():
        header = re.match(r"\s+([A-Z_]+)(?:\s+0x[0-9a-f]+){5} ([R ][W ][E ]) 0x", line)
        if header:
            segments.setdefault(header.group(1), []).append(header.group(2).replace(" ", ""))
    return segments


def _cache_variable(name: str) -> str:
    cache = (_BUILD / "CMakeCache.txt").read_text()
    return re.search(rf"^{name}:\w+=(.*)$", cache, re.MULTILINE).group(1)


def _is_optimised() -> bool:
    return _cache_variable("CMAKE_BUILD_TYPE") != "Debug"


@functools.cache
def _compilations(program) -> dict[str, list[str]]:
    """The arguments of the compiler for each source file of the program, those of its static libraries included."""
    commands = subprocess.run(
        ["ninja", "-C", str(_BUILD), "-t", "commands", program], check=True, capture_output=True, text=True
    ).stdout
    source = pathlib.Path(_cache_variable("CMAKE_HOME_DIRECTORY"))
    compilations = [shlex.split(command) for command in commands.splitlines() if " -c " in command]
    files = {
        str(pathlib.Path(arguments[arguments.index("-c") + 1]).relative_to(source)): arguments
        for arguments in compilations
    }
    assert [file for file in files if file.endswith("/main.cpp")] in (["app/main.cpp"], ["check/cli/main.cpp"])
    assert {"config", "db", "logging", "odbc"} <= {file.partition("/")[0] for file in files}
    return files


def test_the_program_can_be_loaded_anywhere(program):
    assert re.search(r"Type:\s+DYN ", _output(program, "readelf", "--file-header"))
    assert "PIE" in _flags_of_dynamic_section(program)


def test_what_the_loader_fills_in_is_read_only_before_the_program_starts(program):
    assert "GNU_RELRO" in _segments(program)
    assert {"BIND_NOW", "NOW"} <= _flags_of_dynamic_section(program)


def test_nothing_is_writable_and_executable(program):
    segments = _segments(program)
    assert segments["GNU_STACK"] == ["RW"]
    assert "RE" in segments["LOAD"]
    assert "RWE" not in segments["LOAD"]


def test_libraries_are_looked_for_where_the_system_has_them(program):
    assert not re.search(r"\((RPATH|RUNPATH)\)", _output(program, "readelf", "--dynamic", "--wide"))


def test_functions_with_buffers_check_the_stack(program):
    assert "__stack_chk_fail" in _output(program, "nm", "--dynamic", "--undefined-only")


@on_x86_64
@pytest.mark.skipif(not _is_optimised(), reason="nothing is inlined, so no function has a frame of that size")
def test_functions_with_large_frames_touch_every_page(program):
    assert re.search(r"\sorq?\s+\$0x0,\(%rsp\)", _output(program, "objdump", "--disassemble", "--no-show-raw-insn"))


@on_x86_64
def test_indirect_calls_find_a_landing_mark(program):
    code = _output(program, "objdump", "--disassemble=main", "--no-show-raw-insn")
    first_instruction = re.search(r"<main>:\n\s+[0-9a-f]+:\s+(\w+)", code).group(1)
    assert first_instruction == "endbr64"
    for file, arguments in _compilations(program).items():
        assert "-fcf-protection=full" in arguments, file


def test_every_source_file_has_the_checks_of_the_stack(program):
    for file, arguments in _compilations(program).items():
        assert {"-fstack-protector-strong", "-fstack-clash-protection"} <= set(arguments), file


def test_every_source_file_of_an_optimised_build_has_the_checks_of_the_c_library(program):
    """Seen in the commands: not every program has a call that needs a check at run time."""
    for file, arguments in _compilations(program).items():
        assert ("-D_FORTIFY_SOURCE=2" in arguments) == _is_optimised(), file
