"""The pages of the manual: their form, and that they say what the program and its samples say."""

import os
import pathlib
import re
import subprocess

import pytest

import sample_data

_PROJECT = pathlib.Path(__file__).resolve().parents[2]
_PAGES = sorted((_PROJECT / "docs" / "man").glob("*.[1-9]"))

_ENVIRONMENT = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "MANWIDTH": "80", "MANROFFSEQ": "", "HOME": "/"}

each_page = pytest.mark.parametrize("page", _PAGES, ids=lambda page: page.name)


def _output(*command) -> subprocess.CompletedProcess:
    return subprocess.run(
        [str(part) for part in command], env=_ENVIRONMENT, capture_output=True, text=True, timeout=60
    )


def _text(name: str) -> str:
    """What a reader of the page sees, with one blank for every run of blanks and line ends."""
    shown = _output("man", "--local-file", _PROJECT / "docs" / "man" / name)
    assert shown.returncode == 0, shown.stderr
    return " ".join(shown.stdout.split())


@each_page
def test_page_is_formatted_without_a_warning(page):
    formatted = _output("man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page)

    assert formatted.stderr == ""
    assert formatted.returncode == 0


@each_page
def test_page_is_formatted_by_mandoc_without_a_finding(page):
    checked = _output("mandoc", "-Tlint", page)

    assert checked.stdout + checked.stderr == ""
    assert checked.returncode == 0


@each_page
def test_page_names_the_other_pages_of_the_project(page):
    see_also = _text(page.name).partition(" SEE ALSO ")[2]

    others = {f"{other.stem}({other.suffix[1:]})" for other in _PAGES if other != page}
    assert {name for name in others if name in see_also} == others


@each_page
def test_page_can_be_found_by_its_name_and_says_what_it_is_about(page):
    found = _output("lexgrog", page)

    assert found.returncode == 0, found.stdout + found.stderr
    assert re.fullmatch(rf'{re.escape(str(page))}: "{re.escape(page.stem)} - \w.*"\n', found.stdout)


@each_page
def test_page_is_headed_by_its_name_and_section(page):
    assert _text(page.name).startswith(f"{page.stem.upper()}({page.suffix[1:]}) ")


@each_page
def test_pages_of_the_project_that_a_page_refers_to_exist(page):
    references = re.findall(r"\b(bw_[\w.]*\w)\((\d)\)", _text(page.name))

    assert references
    assert {f"{name}.{section}" for name, section in references} <= {page.name for page in _PAGES}


def test_tables_are_shown_in_the_order_of_the_run():
    assert f"The tables, in their order: {', '.join(sample_data.TABLES)} They " in _text("bw_db_migrate.1")


@pytest.mark.parametrize(
    "text",
    [
        "Enter the password for source database: Enter the password for destination database: Start migrate",
        "Start migrate X table",
        "Complete migrate X table. Total rows read = N Total migrated rows = M. Migration time is T milliseconds",
        "Error: Configuration file does not exist",
        "Error: Migration is only possible from Microsoft SQL Server to PostgreSQL",
        "Error: Migration is possible only for version 29 of the Brantwell database",
        "Warning: Can't open log file",
        "SQL Error: State = S Code = C Message = text",
        "invalid map<K, T> key",
        "bw_migrate.ini",
        "bw_db_migrate.log",
        "exits with 0 in every case",
    ],
)
def test_page_of_the_program_has_the_text(text):
    assert text in _text("bw_db_migrate.1")


@pytest.mark.parametrize("sample", ["bw_migrate.ini", "odbc.ini"])
def test_page_of_the_configuration_shows_the_sample(sample):
    lines = (_PROJECT / "samples" / sample).read_text().splitlines()
    settings = [line for line in lines if line and not line.startswith((";", "Description"))]

    assert " ".join(" ".join(settings).split()) in _text("bw_migrate.ini.5")
