"""What operators read: the files that are installed, and the links between them."""

import pathlib
import re

_PROJECT = pathlib.Path(__file__).resolve().parents[2]

PAGES = (
    "check",
    "data-changes",
    "data-sources",
    "encodings",
    "messages",
    "operating",
    "reliability",
    "setup",
    "windows",
)

_FENCED = re.compile(r"^ *```.*?^ *```$", re.MULTILINE | re.DOTALL)


def files() -> set[str]:
    """The paths of the installed documents, relative to the source directory as well as to the installed one."""
    found = {"README.md", "CHANGELOG.md", "docs/images/report.png"} | {f"docs/{page}.md" for page in PAGES}
    for directory in ("queries", "samples"):
        found |= {str(path.relative_to(_PROJECT)) for path in (_PROJECT / directory).rglob("*") if path.is_file()}
    return found


def broken_links(root, pages) -> list[str]:
    """The links of some pages that lead to no file below `root`, or to no heading of it."""
    root = pathlib.Path(root).resolve()
    broken = []
    for page in pages:
        for target in re.findall(r"\]\(([^)]*)\)", _FENCED.sub("", page.read_text(encoding="utf-8"))):
            if not _leads_somewhere(root, page, target):
                broken.append(f"{page}: {target}")
    return broken


def _leads_somewhere(root, page, target) -> bool:
    path, _, anchor = target.partition("#")
    file = (page.parent / path if path else page).resolve()
    if not file.is_relative_to(root) or not file.exists():
        return False
    return not anchor or anchor in _anchors(file.read_text(encoding="utf-8"))


def _anchors(text) -> set[str]:
    """The anchors of a page's headings, as the usual hosts of Markdown make them."""
    headings = re.findall(r"^#+ (.*)$", _FENCED.sub("", text), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}
