"""The page in a real browser: Chromium, headless, through Selenium."""

from __future__ import annotations

import base64
import os
import pathlib
import re
from collections.abc import Iterator

import pytest
from selenium import webdriver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import vek
from chromium import problems, start
from conftest import VEKINFO
from vek.report import main
from vek.report._page import render
from vek.site import ConfigurePlan, Problem, ProblemKind, Site, SiteFile, SiteLibrary

#: The second that the page of 20,000 libraries may take, of the processor time of its main thread: a figure that
#: other processes on the machine do not change much.
LIMIT = 1.0


@pytest.fixture(scope="module")
def chromium(tmp_path_factory: pytest.TempPathFactory) -> Iterator[webdriver.Chrome]:
    driver = start(tmp_path_factory.mktemp("profile"))
    yield driver
    driver.quit()


@pytest.fixture(scope="module")
def chromium_without_scripts(tmp_path_factory: pytest.TempPathFactory) -> Iterator[webdriver.Chrome]:
    driver = start(tmp_path_factory.mktemp("profile"), **{"profile.managed_default_content_settings.javascript": 2})
    yield driver
    driver.quit()


def open_page(driver: webdriver.Chrome, *arguments: str) -> None:
    """Makes a report of the working directory and opens it. Nothing may be blocked or fail in it."""
    driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "", "features": []})
    assert main(["--quiet", "--vekinfo", VEKINFO, "-o", "page.html", *arguments]) == 0
    driver.get(pathlib.Path("page.html").resolve().as_uri())
    assert problems(driver) == []


def names(driver: webdriver.Chrome) -> list[str]:
    """The libraries that are shown, in their order."""
    rows = driver.execute_script(
        "return Array.from(document.querySelectorAll('tbody tr')).filter(r => !r.hidden).map(r => r.cells[0].textContent)"
    )
    return list(rows)


def columns(driver: webdriver.Chrome) -> list[str]:
    return [cell.text.rstrip(" ↕↑↓") for cell in driver.find_elements(By.CSS_SELECTOR, "thead th")]


# ---- content


def test_the_page_shows_the_site(project, chromium):
    open_page(chromium, "--check")
    assert chromium.title == f"4 libraries of {project}/vek.lib"
    assert [tile.text for tile in chromium.find_elements(By.CSS_SELECTOR, ".tiles li")] == [
        "4\nlibraries", "2\ndefinition files", "1\ndiagnostic", "4\nproblems",
    ]  # fmt: skip
    headings = [heading.text for heading in chromium.find_elements(By.TAG_NAME, "h2")]
    assert headings == ["Problems", "Library definition files", "Libraries", "Check"]
    assert columns(chromium) == ["Library", "Problems", "Directory", "Defined", "DMTYPE", "NAMESPACE", "VEKLIBRARY"]
    assert names(chromium) == ["adders", "multipliers", "symbols", "memories"]
    row = chromium.find_elements(By.CSS_SELECTOR, "tbody tr")[1].text
    assert "no VEKLIBRARY entry" in row
    assert "-configurelibrary would append VEKLIBRARY, DMTYPE none, NAMESPACE: by probe" in row
    cells = chromium.find_elements(By.CSS_SELECTOR, "tbody tr:nth-child(4) td")
    assert [cell.text for cell in cells] == [
        "redefined", f"{project}/memories", "vek.lib:5\nreplaces shared/vek.lib:3", "none\nvekinfo.tag",
        "LibraryUnix\nown tag file", "yes\nown tag file",
    ]  # fmt: skip
    assert (
        f"The library adders at {project}/adders has a vekinfo.tag definition."
        in chromium.find_element(By.ID, "check").text
    )
    assert f"{project}/vek.lib:5" not in chromium.find_element(By.ID, "problems").text
    assert "vek.lib:5" in chromium.find_element(By.ID, "problems").text


def test_the_picture_shows_files_with_their_libraries(project, chromium):
    open_page(chromium)
    labels = [link.get_attribute("aria-label") for link in chromium.find_elements(By.CSS_SELECTOR, "svg a")]
    assert labels == ["vek.lib: 3 libraries, 1 diagnostics", "shared/vek.lib: 1 libraries, 0 diagnostics"]
    texts = [text.text for text in chromium.find_elements(By.CSS_SELECTOR, "svg text")]
    assert texts == ["vek.lib", "3 libraries · 1 reported", "shared/vek.lib", "1 library"]
    boxes = chromium.execute_script(
        "return Array.from(document.querySelectorAll('svg a')).map(a => [a.querySelector('.name').getBBox(),"
        " a.querySelector('.file').getBBox()]).map(([t, r]) => [t.x >= r.x, t.x + t.width <= r.x + r.width])"
    )
    assert boxes == [[True, True], [True, True]]
    assert len(chromium.find_elements(By.CSS_SELECTOR, "svg .connector")) == 1


def test_temporary_directories_and_attributes_have_columns_if_there_are_any(project, chromium):
    with open("scratch/vek.lib", "a") as file:
        file.write("ASSIGN adders OWNER me\n")
    open_page(chromium, "scratch/vek.lib")
    assert columns(chromium)[4:6] == ["Temporary directories", "Attributes"]
    row = chromium.find_elements(By.CSS_SELECTOR, "tbody tr")[0].text
    assert "OWNER=me" in row and "adders\nglobal root" in row and "checked: " in row
    note = chromium.find_element(By.CSS_SELECTOR, "header .note").text
    assert note.startswith("A global temporary root is assigned at scratch/vek.lib:3.")
    assert "creates the libraries’ directories under that root" in note


def test_the_page_says_what_it_does_not_do(project, chromium):
    open_page(chromium, "--no-scan")
    text = chromium.find_element(By.ID, "problems").text
    assert "that needs a probe, which vekreport --check leaves to vekinfo -checklibrary" in text
    assert "were not searched for redundant tag files" in text
    footer = chromium.find_element(By.TAG_NAME, "footer").text
    assert "writes nothing but this page and does not probe file systems" in footer
    assert "with a global temporary root (ASSIGN AllLibs TmpRootDir) creates directories" in footer


def test_a_site_without_problems_says_so(write, chromium):
    write("lib/vekinfo.tag", "VEKLIBRARY")
    write("vek.lib", "DEFINE lib ./lib")
    open_page(chromium)
    assert "No problem was found." in chromium.find_element(By.ID, "problems").text


# ---- filter and sort


def set_filter(driver: webdriver.Chrome, text: str) -> None:
    field = driver.find_element(By.ID, "words")
    field.clear()
    field.send_keys(text)


def test_the_table_is_filtered_by_words_problem_and_file(project, chromium):
    open_page(chromium)
    assert chromium.find_element(By.ID, "shown").text == "4 of 4 shown"
    set_filter(chromium, "shared SYMBOLS")
    assert names(chromium) == ["symbols"]
    assert chromium.find_element(By.ID, "shown").text == "1 of 4 shown"
    set_filter(chromium, "no such word")
    assert names(chromium) == []
    set_filter(chromium, "")
    select = chromium.find_element(By.ID, "kind")
    select.send_keys("no VEKLIBRARY entry")
    assert names(chromium) == ["multipliers"]
    select.send_keys(Keys.ESCAPE)
    assert names(chromium) == ["adders", "multipliers", "symbols", "memories"]
    chromium.find_element(By.ID, "file").send_keys("shared/vek.lib")
    assert names(chromium) == ["symbols"]


def test_a_file_in_the_picture_filters_the_table(project, chromium):
    open_page(chromium)
    chromium.find_elements(By.CSS_SELECTOR, "svg a")[1].click()
    assert names(chromium) == ["symbols"]
    assert chromium.current_url.endswith("#libraries")


def test_a_link_of_a_problem_filters_the_table(write, chromium):
    for name in "abcde":
        write(f"{name}/vekinfo.tag", "VEKLIBRARY" if name == "c" else "A 1")
    write("vek.lib", *(f"DEFINE {name} ./{name}" for name in "abcde"))
    open_page(chromium)
    chromium.find_element(By.LINK_TEXT, "Show the 4 libraries in the table").click()
    assert names(chromium) == ["a", "b", "d", "e"]


def test_a_column_sorts_up_down_and_back(project, chromium):
    open_page(chromium)
    header = chromium.find_elements(By.CSS_SELECTOR, "thead th")[0]
    button = header.find_element(By.TAG_NAME, "button")
    orders = []
    for _ in range(3):
        button.click()
        orders.append((header.get_attribute("aria-sort"), names(chromium)))
    assert orders == [
        ("ascending", ["adders", "memories", "multipliers", "symbols"]),
        ("descending", ["symbols", "multipliers", "memories", "adders"]),
        ("none", ["adders", "multipliers", "symbols", "memories"]),
    ]


def test_the_column_of_problems_sorts_by_their_number(write, chromium):
    for name, below in (("a", 1), ("b", 3), ("c", 0)):
        write(f"{name}/vekinfo.tag", "VEKLIBRARY")
        for index in range(below):
            write(f"{name}/cell{index}/vekinfo.tag", "A 1")
    write("vek.lib", "DEFINE a ./a", "DEFINE b ./b", "DEFINE c ./c")
    open_page(chromium)
    chromium.find_elements(By.CSS_SELECTOR, "thead button")[1].click()
    assert names(chromium) == ["b", "a", "c"]


def test_a_filter_holds_while_the_table_is_sorted(project, chromium):
    open_page(chromium)
    set_filter(chromium, "m")
    chromium.find_elements(By.CSS_SELECTOR, "thead button")[0].click()
    assert names(chromium) == sorted(names(chromium))
    assert "symbols" in names(chromium)


def test_the_page_is_used_by_keyboard(project, chromium):
    open_page(chromium)
    body = chromium.find_element(By.TAG_NAME, "body")
    body.send_keys(Keys.TAB)
    assert chromium.switch_to.active_element.text == "Skip to the libraries"
    body.send_keys("/")
    field = chromium.switch_to.active_element
    assert field.get_attribute("id") == "words"
    field.send_keys("memories")
    assert names(chromium) == ["memories"]
    field.send_keys(Keys.ESCAPE)
    assert len(names(chromium)) == 4
    for _ in range(3):
        chromium.switch_to.active_element.send_keys(Keys.TAB)
    button = chromium.switch_to.active_element
    assert (button.tag_name, button.text.rstrip(" ↕")) == ("button", "Library")
    button.send_keys(Keys.ENTER)
    assert names(chromium)[1] == "memories"
    outline = chromium.execute_script("return getComputedStyle(document.activeElement).outlineStyle")
    assert outline == "solid"


# ---- without scripts, in print, in the dark


def test_without_scripts_it_is_a_plain_table(project, chromium_without_scripts):
    driver = chromium_without_scripts
    assert main(["--quiet", "-o", "page.html"]) == 0
    driver.get(pathlib.Path("page.html").resolve().as_uri())
    assert not driver.find_element(By.ID, "filter").is_displayed()
    assert driver.find_elements(By.CSS_SELECTOR, "thead button") == []
    shown = [cell.text for cell in driver.find_elements(By.CSS_SELECTOR, "tbody th") if cell.is_displayed()]
    assert shown == ["adders", "multipliers", "symbols", "memories"]
    assert driver.find_element(By.CSS_SELECTOR, "svg .name").is_displayed()


def brightness(driver: webdriver.Chrome, selector: str, what: str) -> int:
    color = driver.execute_script(f"return getComputedStyle(document.querySelector('{selector}')).{what}")
    return sum(int(value) for value in re.findall(r"\d+", color)[:3])


def test_light_and_dark_follow_the_preference(project, chromium):
    open_page(chromium)
    for scheme, is_light in (("light", True), ("dark", False)):
        feature = [{"name": "prefers-color-scheme", "value": scheme}]
        chromium.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": feature})
        assert (brightness(chromium, "body", "backgroundColor") > 384) is is_light
        assert (brightness(chromium, "body", "color") > 384) is not is_light
        assert (brightness(chromium, "svg text", "fill") > 384) is not is_light


def test_printed_on_paper_it_is_light_and_has_no_controls(project, chromium):
    open_page(chromium)
    features = [{"name": "prefers-color-scheme", "value": "dark"}]
    chromium.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print", "features": features})
    assert brightness(chromium, "body", "backgroundColor") == 765
    assert brightness(chromium, "body", "color") == 0
    assert not chromium.find_element(By.ID, "filter").is_displayed()
    displays = chromium.execute_script(
        "return ['table', 'thead', 'tbody', 'tbody tr', 'tbody td'].map(s => getComputedStyle(document.querySelector(s)).display)"
    )
    # A real table, whose heading is repeated on every page.
    assert displays == ["table", "table-header-group", "table-row-group", "table-row", "table-cell"]
    paper = base64.b64decode(chromium.print_page())
    assert paper.startswith(b"%PDF")


def test_a_narrow_window_needs_no_sideways_scrolling(project, chromium):
    open_page(chromium)
    size = chromium.get_window_size()
    chromium.set_window_size(500, 900)
    try:
        width = chromium.execute_script("return [document.documentElement.scrollWidth, window.innerWidth]")
        assert width[0] <= width[1]
        assert all(cell.is_displayed() for cell in chromium.find_elements(By.CSS_SELECTOR, "tbody th"))
    finally:
        chromium.set_window_size(size["width"], size["height"])


# ---- hostile names

HOSTILE = [
    b"<script>document.title='x'</script>",
    b"<img src=x onerror=document.title=1>",
    b"'\"></td><b>bold</b>",
    b"&lt;&amp;&#60;",
    b"{{ 7 * 7 }}{% raw %}",
    b"\xff\xfe-bytes",
    b"bell\x07-escape\x1b[31m",
    "right‮to-left".encode(),
    b"</style><script>",
    b"javascript:alert(1)",
    b"-->",
]


def test_hostile_names_stay_text(tree, chromium):
    lines = []
    for index, name in enumerate(HOSTILE):
        directory = os.fsencode(tree) + b"/%d_" % index + name.replace(b"/", b"|").replace(b'"', b"")
        os.mkdir(directory)
        with open(directory + b"/vekinfo.tag", "wb") as file:
            file.write(b"DMTYPE " + name.replace(b" ", b"_") + b"\n")
        lines.append(b'DEFINE "' + name.replace(b'"', b"") + b'" "' + directory + b'"\n')
        lines.append(
            b'ASSIGN "'
            + name.replace(b'"', b"")
            + b'" "A'
            + name.replace(b'"', b"")
            + b'" "'
            + name.replace(b'"', b"")
            + b'"\n'
        )
    with open("vek.lib", "wb") as file:
        file.writelines([*lines, b"<script>document.title='y'</script>\n"])
    open_page(chromium)
    assert chromium.title == f"{len(HOSTILE)} libraries of {tree}/vek.lib"
    assert (
        chromium.execute_script("return document.querySelectorAll('main script, main img, main b b, td b').length") == 0
    )
    shown = names(chromium)
    assert len(shown) == len(HOSTILE)
    assert shown[0] == "<script>document.title='x'</script>"
    assert shown[3] == "&lt;&amp;&#60;"
    assert shown[4] == "{{ 7 * 7 }}{% raw %}"
    assert shown[5] == "\\xff\\xfe-bytes"
    assert shown[6] == "bell\\x07-escape\\x1b[31m"
    assert shown[7] == "right\\u202eto-left"


def test_a_newline_in_a_path_stays_text(tree, chromium, monkeypatch):
    directory = tree / "new\nline <b>"
    (directory / "lib").mkdir(parents=True)
    (directory / "vek.lib").write_text("DEFINE lib ./lib\n")
    monkeypatch.chdir(directory)
    open_page(chromium)
    assert chromium.find_element(By.TAG_NAME, "h1").text == f"{tree}/new\\nline <b>/vek.lib"
    assert names(chromium) == ["lib"]


def test_nothing_is_loaded_from_outside(project, chromium):
    open_page(chromium, "--check")
    page = pathlib.Path("page.html").read_text()
    policy = re.search(r'http-equiv="Content-Security-Policy" content="([^"]*)"', page).group(1)
    assert policy.startswith("default-src &#39;none&#39;; style-src &#39;sha256-")
    assert "unsafe" not in policy
    assert re.findall(r'(?:src|href)="(?!#)[^"]*"', page) == []
    assert "http://" not in page and "https://" not in page and "@import" not in page and "url(" not in page
    resources = chromium.execute_script("return performance.getEntriesByType('resource').map(entry => entry.name)")
    assert resources == []


def test_a_script_that_is_injected_does_not_run(project, chromium):
    """The policy holds even if something were not escaped."""
    assert main(["--quiet", "-o", "page.html"]) == 0
    page = pathlib.Path("page.html")
    page.write_text(page.read_text().replace("<main>", "<main><script>document.title = 'injected'</script>"))
    chromium.get(page.resolve().as_uri())
    assert chromium.title == f"4 libraries of {project}/vek.lib"
    assert any("Content Security Policy" in entry["message"] for entry in chromium.get_log("browser"))


# ---- 20,000 libraries


def large_site() -> Site:
    """A site with 20,000 libraries in 41 definition files, of which every tenth has a problem."""
    top = "/site/vek.lib"
    files = [SiteFile(top, None, 0, 0)]
    libraries = []
    for project in range(40):
        file = f"/site/project{project:02}/vek.lib"
        files.append(SiteFile(file, vek.Place(top, project + 1), 500, 0))
        for index in range(500):
            name = f"block_{project * 500 + index:05}"
            directory = f"/site/project{project:02}/libraries/{name}"
            tag_file = f"{directory}/vekinfo.tag"
            missing = Problem(ProblemKind.NO_LIBRARY_ENTRY, "no VEKLIBRARY entry in its own tag file", name, tag_file)
            is_bad = index % 10 == 0
            libraries.append(
                SiteLibrary(
                    name, directory, directory, vek.Place(file, 2 * index + 1), (), (), {"OWNER": f"team{index % 13}"},
                    vek.Entry("none", "/site/vekinfo.tag"), vek.Entry("LibraryUnix", tag_file),
                    None if is_bad else vek.Entry("", tag_file),
                    ConfigurePlan(tag_file, ("VEKLIBRARY", "NAMESPACE: by probe"), None) if is_bad else None,
                    (missing,) if is_bad else (),
                )
            )  # fmt: skip
    problems = tuple(problem for library in libraries for problem in library.problems)
    return Site("0", top, "/site", (".",), None, tuple(files), tuple(libraries), problems, True, None)


def processor_seconds(driver: webdriver.Chrome) -> float:
    """Processor time of the main thread of the page so far."""
    metrics = driver.execute_cdp_cmd("Performance.getMetrics", {})["metrics"]
    return float(next(metric["value"] for metric in metrics if metric["name"] == "TaskDuration"))


def settle(driver: webdriver.Chrome, action: str) -> float:
    """Runs `action` and waits until its result is painted; returns wall-clock seconds."""
    script = (
        "const done = arguments[0], start = performance.now();" + action + ";"
        "requestAnimationFrame(() => requestAnimationFrame(() => done((performance.now() - start) / 1000)));"
    )
    return float(driver.execute_async_script(script))


def test_20000_libraries_open_and_filter_within_a_second(tree, chromium):
    large_page = tree / "page.html"
    with open(large_page, "w") as file:
        file.writelines(render(large_site()))
    chromium.execute_cdp_cmd("Performance.enable", {"timeDomain": "threadTicks"})
    figures: dict[str, list[tuple[float, float]]] = {"open": [], "filter": [], "sort": []}
    for _ in range(3):
        chromium.get("about:blank")
        before = processor_seconds(chromium)
        chromium.get(large_page.as_uri())
        settle(chromium, "")
        load = chromium.execute_script("return performance.getEntriesByType('navigation')[0].loadEventEnd / 1000")
        figures["open"].append((processor_seconds(chromium) - before, load))
        for name, action in (
            ("filter", "document.getElementById('words').value = 'block_0012';"
                       "document.getElementById('words').dispatchEvent(new Event('input'))"),
            ("sort", "document.querySelector('thead button').click()"),
        ):  # fmt: skip
            before = processor_seconds(chromium)
            wall = settle(chromium, action)
            figures[name].append((processor_seconds(chromium) - before, wall))
        assert names(chromium) == [f"block_{index:05}" for index in range(120, 130)]
    chromium.execute_cdp_cmd("Performance.disable", {})
    best = {name: min(values) for name, values in figures.items()}
    for name, (processor, wall) in best.items():
        print(f"{name}: {processor:.2f} s of the processor, {wall:.2f} s by the clock")
    assert best["open"][0] < LIMIT
    assert best["filter"][0] < LIMIT
