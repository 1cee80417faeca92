"""The pages: every link leads somewhere, in the source directory and in the package, and none is longer than it should."""

import pathlib
import re
import subprocess

import pytest

import operator_documents

_PROJECT = pathlib.Path(__file__).resolve().parents[2]
_PAGES = sorted([*_PROJECT.glob("*.md"), *(_PROJECT / "docs").rglob("*.md")])

# The longest that a page may be, in lines.
_LIMITS = {"README.md": 110, "docs/operating.md": 250}

each_page = pytest.mark.parametrize("page", _PAGES, ids=lambda page: str(page.relative_to(_PROJECT)))


@each_page
def test_links_lead_to_files_and_headings(page):
    assert operator_documents.broken_links(_PROJECT, [page]) == []


def test_links_lead_to_files_and_headings_in_the_package(package, scratch_directory):
    root = scratch_directory / "documents"
    subprocess.run(["dpkg-deb", "--extract", package, root], check=True, timeout=60)
    documents = root / "usr" / "share" / "doc" / "bw-db-migrate"
    pages = list(documents.rglob("*.md"))

    assert {str(page.relative_to(documents)) for page in pages} == {
        name for name in operator_documents.files() if name.endswith(".md")
    }
    assert operator_documents.broken_links(documents, pages) == []


def test_a_broken_link_is_noticed(tmp_path):
    (tmp_path / "page.md").write_text(
        "# One heading: `code`\n[a](other.md) [b](page.md#one-heading-code) [c](#two) [d](../page.md)\n"
        "```sh\n[e](in-a-block.md)\n# Two\n```\n"
    )
    broken = operator_documents.broken_links(tmp_path, [tmp_path / "page.md"])
    assert [text.rpartition(": ")[2] for text in broken] == ["other.md", "#two", "../page.md"]


def test_every_page_of_operators_is_installed():
    assert {page.stem for page in (_PROJECT / "docs").glob("*.md")} == set(operator_documents.PAGES)


@pytest.mark.parametrize("name, lines", _LIMITS.items())
def test_page_is_short(name, lines):
    assert len((_PROJECT / name).read_text(encoding="utf-8").splitlines()) <= lines


@pytest.mark.parametrize("name", sorted(operator_documents.PAGES))
def test_page_names_its_reader_first(name):
    text = (_PROJECT / "docs" / f"{name}.md").read_text(encoding="utf-8")
    assert re.match(r"# .*\n\nFor (the|whoever|every)\b", text)


def test_readme_names_every_page_of_operators():
    readme = (_PROJECT / "README.md").read_text(encoding="utf-8")
    table = readme.partition("\n## All pages\n")[2]
    assert {name for name in operator_documents.PAGES if f"(docs/{name}.md)" in table} == set(operator_documents.PAGES)


def test_readme_shows_the_commands_that_try_and_test():
    readme = (_PROJECT / "README.md").read_text(encoding="utf-8")
    for command in ("scripts/run-demo", "scripts/run-tests"):
        assert re.search(f"^{command}\\b", readme, re.MULTILINE)
        assert (_PROJECT / command).stat().st_mode & 0o111


@pytest.mark.parametrize("sample", ["bw_migrate.ini", "odbc.ini"])
def test_setup_shows_the_samples(sample):
    lines = (_PROJECT / "samples" / sample).read_text(encoding="utf-8").splitlines()
    settings = [line for line in lines if not line.startswith((";", "Description"))]

    shown = (_PROJECT / "docs" / "setup.md").read_text(encoding="utf-8")

    assert "\n".join(settings).strip() in shown
