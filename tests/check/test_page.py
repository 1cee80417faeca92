"""The page of --html, in a browser."""

import base64
import contextlib
import json
import os
import pathlib
import platform
import re
import subprocess

import pytest
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

import scratch

_PAGES = pathlib.Path(os.environ["BW_BUILD_DIR"]) / "tests" / "check" / "sample_pages"


@pytest.fixture(scope="session")
def browser():
    if platform.freedesktop_os_release()["ID"] == "ubuntu":
        pytest.skip("Ubuntu has the browser as a snap only, which sees no files of the tests")
    options = webdriver.ChromeOptions()
    # Root may not use the sandbox, and small machines have little shared memory.
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--window-size=1200,900",
                     "--disable-gpu", "--disable-background-networking", "--disable-component-update", "--disable-sync",
                     "--no-first-run"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
    with scratch.ScratchDirectory() as profile, contextlib.ExitStack() as stack:
        options.add_argument(f"--user-data-dir={profile}")
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        stack.callback(driver.quit)
        driver.execute_cdp_cmd("Browser.grantPermissions", {"permissions": ["clipboardReadWrite"]})
        yield driver


@pytest.fixture
def show(browser, empty_directory):
    """Shows a sample page and returns its address. Whatever a test does, the page asks for nothing and has no errors."""

    page = empty_directory / "page.html"

    def open_page(name) -> str:
        page.write_bytes(subprocess.run([_PAGES, name], capture_output=True, timeout=60, check=True).stdout)
        browser.get("about:blank")
        browser.get_log("performance")
        browser.get_log("browser")
        browser.get(page.as_uri())
        return page.as_uri()

    yield open_page
    events = [json.loads(entry["message"])["message"] for entry in browser.get_log("performance")]
    requests = [event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"]
    assert set(requests) <= {page.as_uri()}
    assert browser.execute_script("return performance.getEntriesByType('resource').length") == 0
    assert browser.get_log("browser") == []
    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "", "features": []})


def _texts(browser, selector) -> list[str]:
    return [each.text for each in browser.find_elements(By.CSS_SELECTOR, selector)]


def _visible(browser) -> list[str]:
    """The headings of the findings that are shown."""
    articles = browser.find_elements(By.TAG_NAME, "article")
    return [each.find_element(By.TAG_NAME, "h3").text for each in articles if each.is_displayed()]


def test_status_and_identity(browser, show):
    show("before")

    assert browser.title == "bw_db_check before: Ends in Orders, as far as can be foreseen"
    assert _texts(browser, "#status") == ["Ends in Orders, as far as can be foreseen"]
    assert _texts(browser, "#verdict") == ["The destination refuses a row."]
    assert browser.find_elements(By.ID, "partial") == []
    rows = [row.split() for row in _texts(browser, "#identity tbody tr")]
    assert ["Server", "SQL1", "pg1"] in rows
    assert ["Schema", "dbo", "public"] in rows
    assert "2026-05-01 21:40:12 +0200 on desk7, version 1.0.0" in browser.find_element(By.TAG_NAME, "main").text


def test_bars_are_told_in_words(browser, show):
    show("before")

    assert _texts(browser, "#tables .words") == [
        "20 unchanged, 4 changed",
        "30 unchanged, 10 changed, 5 refused, 55 lost",
        "not known",
    ]
    widths = browser.execute_script(
        "return [...document.querySelectorAll('#tables tr:nth-child(2) .bar span')].map("
        "(each) => each.getBoundingClientRect().width)"
    )
    whole = sum(widths)
    assert [round(100 * width / whole) for width in widths] == [30, 10, 5, 55]
    # Patterns tell the parts apart without colour.
    patterns = browser.execute_script(
        "return [...document.querySelectorAll('#tables tr:nth-child(2) .bar span')].map("
        "(each) => getComputedStyle(each).backgroundImage.replace(/rgb\\([^)]*\\)/g, ''))"
    )
    assert len(set(patterns)) == 4


def test_after_a_run(browser, show):
    show("after")

    assert _texts(browser, "#status") == ["Partial, different"]
    assert _texts(browser, "#partial") == [
        "Partial report: only the tables below were looked at. It promises nothing about the whole run."
    ]
    assert _texts(browser, "#tables .words") == [
        "20 unchanged, 2 changed, 2 lost",
        "17 as expected, 2 different, 4 unexpected, 3 missing",
    ]


def test_filters(browser, show):
    show("before")
    everything = [
        "Cannot foresee: General",
        "Value changed: Clients · Mode · 3 rows",
        "Text cut: Clients · Comment · 4 rows",
        "Run ends: Orders · Price · 5 rows",
    ]
    assert _visible(browser) == everything
    assert _texts(browser, "#shown") == ["4 findings"]

    Select(browser.find_element(By.ID, "table")).select_by_visible_text("Clients")
    assert _visible(browser) == everything[1:3]
    assert _texts(browser, "#shown") == ["2 of 4 findings"]

    browser.find_element(By.ID, "cost-text-cut").click()
    assert _visible(browser) == everything[1:2]

    browser.find_element(By.ID, "accepted").click()
    assert _visible(browser) == []

    Select(browser.find_element(By.ID, "table")).select_by_visible_text("All")
    assert _visible(browser) == [everything[0], everything[3]]

    browser.find_element(By.ID, "accepted").click()
    browser.find_element(By.ID, "cost-text-cut").click()
    assert _visible(browser) == everything


def test_link_of_a_table_shows_its_findings(browser, show):
    address = show("before")

    browser.find_element(By.LINK_TEXT, "1 finding").click()

    assert _visible(browser) == ["Run ends: Orders · Price · 5 rows"]
    assert browser.current_url == address + "#findings"


def _clipboard(browser) -> str:
    return browser.execute_async_script("navigator.clipboard.readText().then(arguments[0], arguments[0])")


def test_sql_is_copied(browser, show):
    show("before")
    button = browser.find_elements(By.CSS_SELECTOR, "button.copy")[0]

    button.click()

    WebDriverWait(browser, 10).until(lambda _: "Copied" in _texts(browser, "article:nth-of-type(2) .sql-title")[0])
    assert _clipboard(browser) == "SELECT [ID], [Mode]\nFROM dbo.[Clients];"


def test_sql_is_copied_where_the_clipboard_is_not_given(browser, show):
    show("before")
    browser.execute_script("navigator.clipboard.writeText = () => Promise.reject(new Error('no'))")

    browser.find_elements(By.CSS_SELECTOR, "button.copy")[1].click()

    WebDriverWait(browser, 10).until(lambda _: "Copied" in _texts(browser, "article:nth-of-type(3) .sql-title")[0])
    assert _clipboard(browser) == "SELECT [ID], [Comment]\nFROM dbo.[Clients];"


def test_keyboard(browser, show):
    show("before")
    reached = []
    body = browser.find_element(By.TAG_NAME, "body")
    for _ in range(16):
        body = browser.switch_to.active_element
        body.send_keys(Keys.TAB)
        reached.append(browser.execute_script("return document.activeElement.id || document.activeElement.className"))
    for name in ("table", "cost-run-ends", "accepted", "copy"):
        assert name in reached, reached
    outline = browser.execute_script("return getComputedStyle(document.activeElement).outlineStyle")
    assert outline == "solid"

    browser.find_element(By.ID, "cost-text-cut").send_keys(Keys.SPACE)
    assert "Text cut: Clients · Comment · 4 rows" not in _visible(browser)
    copy = browser.find_elements(By.CSS_SELECTOR, "button.copy")[0]
    copy.send_keys(Keys.ENTER)
    WebDriverWait(browser, 10).until(lambda _: "Copied" in _texts(browser, "article:nth-of-type(2) .sql-title")[0])


def test_nothing_was_found(browser, show):
    show("clean")

    assert _texts(browser, "#none") == ["Nothing was found."]
    assert browser.find_elements(By.CSS_SELECTOR, "article, .filters") == []
    assert _texts(browser, "#tables .words") == ["no rows", "24 unchanged"]


def test_refused_run(browser, show):
    show("refused")

    assert _texts(browser, "#status") == ["Refused"]
    assert "bad" in browser.find_element(By.TAG_NAME, "header").get_attribute("class").split()
    assert browser.find_elements(By.ID, "tables") == []
    assert _texts(browser, "#shown") == ["1 finding"]
    assert _visible(browser) == ["Run refused: General"]


def test_hundreds_of_findings(browser, show):
    show("hundreds")

    assert _texts(browser, "#shown") == ["661 findings"]
    Select(browser.find_element(By.ID, "table")).select_by_visible_text("Table21")
    assert len(_visible(browser)) == 30
    # Nothing is wider than the window.
    assert browser.execute_script("return document.documentElement.scrollWidth <= innerWidth")


def test_data_is_text_whatever_it_holds(browser, show):
    show("hostile")

    assert browser.execute_script("return window.harmed") is None
    assert browser.find_elements(By.TAG_NAME, "img") == []
    assert [each for each in _texts(browser, "a") if "finding" not in each] == []
    hostile = (
        "</script><script>window.harmed = 1</script><img src=x onerror='window.harmed = 1'>"
        r'<a href="javascript:window.harmed = 1">{nonce}{report}<!--\u001b[2J\u202eevil&lt;é'
    )
    for selector in ("#verdict", "#facts li", "article p"):
        assert hostile in _texts(browser, selector)
    # Only SQL is shown as it is, since it is copied.
    assert "\u202e" in browser.find_element(By.TAG_NAME, "pre").get_property("textContent")


def test_policy_allows_nothing_from_elsewhere(browser, show):
    show("before")

    refused = browser.execute_async_script(
        """const done = arguments[0];
        document.addEventListener("securitypolicyviolation", (event) => done(event.violatedDirective));
        document.body.append(Object.assign(document.createElement("img"), {src: "http://127.0.0.1:9/"}));"""
    )

    assert refused == "img-src"
    show("before")


def test_two_pages_have_different_nonces():
    pages = [subprocess.run([_PAGES, "clean"], capture_output=True, text=True, timeout=60, check=True).stdout for _ in "12"]

    nonces = [re.findall(r"nonce[-=]\"?([0-9a-f]{32})\b", page) for page in pages]

    assert [len(each) for each in nonces] == [4, 4]
    assert [len(set(each)) for each in nonces] == [1, 1]
    assert nonces[0] != nonces[1]


def _contrast(browser) -> float:
    """Of text and background of the page, as WCAG counts it."""

    def luminance(colour):
        parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
        linear = [part / 12.92 if part <= 0.03928 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    style = "return getComputedStyle(document.body)"
    light, dark = sorted(
        (luminance(browser.execute_script(f"{style}.{name}")) for name in ("color", "backgroundColor")), reverse=True
    )
    return (light + 0.05) / (dark + 0.05)


def test_light_and_dark(browser, show):
    show("before")
    backgrounds = []
    for scheme in ("light", "dark"):
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})
        backgrounds.append(browser.execute_script("return getComputedStyle(document.body).backgroundColor"))
        assert _contrast(browser) >= 7
    assert backgrounds[0] != backgrounds[1]


def test_print(browser, show):
    show("before")

    browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})

    assert not any(each.is_displayed() for each in browser.find_elements(By.CSS_SELECTOR, ".filters, button"))
    assert len(_visible(browser)) == 4
    assert browser.execute_script("return getComputedStyle(document.querySelector('pre')).maxHeight") == "none"
    printed = base64.b64decode(browser.execute_cdp_cmd("Page.printToPDF", {"paperWidth": 8.27})["data"])
    assert printed.startswith(b"%PDF")
