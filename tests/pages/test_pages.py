"""The manual pages as HTML in a real browser (scripts/test-pages)."""

from __future__ import annotations

import os
import pathlib
import sys
from collections.abc import Iterator
from urllib.parse import unquote, urlsplit

import pytest

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests" / "support"))

import chromium as harness  # noqa: E402  (after the path)
from selenium import webdriver  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402

PAGES = pathlib.Path(os.environ.get("VEK_PAGES", SOURCE / "build" / "release" / "html"))
FILES = sorted(file.name for file in PAGES.glob("*.html"))
MANUAL = [name for name in FILES if name != "index.html"]


@pytest.fixture(scope="module")
def chromium(tmp_path_factory: pytest.TempPathFactory) -> Iterator[webdriver.Chrome]:
    driver = harness.start(tmp_path_factory.mktemp("profile"))
    yield driver
    driver.quit()


@pytest.fixture(autouse=True)
def usual_window(chromium: webdriver.Chrome) -> None:
    chromium.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "", "features": []})
    chromium.set_window_size(1280, 900)


def open_page(driver: webdriver.Chrome, name: str) -> None:
    driver.get((PAGES / name).as_uri())
    assert harness.problems(driver) == []


def headings(driver: webdriver.Chrome) -> list[str]:
    return [heading.text for heading in driver.find_elements(By.CSS_SELECTOR, "h1, h2") if heading.is_displayed()]


def file_of(driver: webdriver.Chrome) -> str:
    return pathlib.PurePosixPath(unquote(urlsplit(driver.current_url).path)).name


# ---- content


def test_each_manual_page_of_the_repository_has_a_page() -> None:
    sources = [*SOURCE.glob("docs/man/*.[135]"), *SOURCE.glob("bindings/*/man/*.[135]"), *SOURCE.glob("bindings/*/*.n")]
    assert len(sources) > 10
    assert MANUAL == sorted(f"{source.name}.html" for source in sources)


@pytest.mark.parametrize("name", MANUAL)
def test_page_has_its_headings_in_the_contents(chromium: webdriver.Chrome, name: str) -> None:
    open_page(chromium, name)
    shown = headings(chromium)
    assert shown[:3] == ["NAME", "SYNOPSIS", "DESCRIPTION"] or shown[:2] == ["NAME", "DESCRIPTION"]
    assert [link.text for link in chromium.find_elements(By.CSS_SELECTOR, "nav.contents a")] == shown
    assert chromium.title.startswith(".".join(name.split(".")[:-2]) + "(")


def test_index_lists_all_pages(chromium: webdriver.Chrome) -> None:
    open_page(chromium, "index.html")
    assert headings(chromium) == ["Manual of vek " + version(), "Commands", "Files", "Library", "Tcl"]
    links = [link.get_dom_attribute("href") for link in chromium.find_elements(By.CSS_SELECTOR, "main a")]
    assert sorted(links) == MANUAL


def version() -> str:
    text = (SOURCE / "common" / "base" / "vek_version.h").read_text(encoding="utf-8")
    return text.split('#define VEK_VERSION "')[1].split('"')[0]


# ---- links


def test_links_lead_from_page_to_page_and_back(chromium: webdriver.Chrome) -> None:
    open_page(chromium, "index.html")
    chromium.find_element(By.LINK_TEXT, "vekinfo(1)").click()
    assert file_of(chromium) == "vekinfo.1.html"
    chromium.find_element(By.LINK_TEXT, "vekinfo.tag(5)").click()
    assert file_of(chromium) == "vekinfo.tag.5.html"
    assert headings(chromium)[0] == "NAME"
    chromium.find_element(By.LINK_TEXT, "All manual pages").click()
    assert file_of(chromium) == "index.html"


def test_name_of_a_function_leads_to_its_description(chromium: webdriver.Chrome) -> None:
    open_page(chromium, "libvek.3.html")
    chromium.find_element(By.LINK_TEXT, "rynGetPath").click()
    assert file_of(chromium) == "ryn.3.html"
    target = chromium.find_element(By.CSS_SELECTOR, ":target")
    assert target.text.startswith("rynGetPath(handle, ")
    assert target.is_displayed()


def test_every_link_has_its_target(chromium: webdriver.Chrome) -> None:
    ids: dict[str, list[str]] = {}
    links: list[tuple[str, str]] = []
    for name in FILES:
        open_page(chromium, name)
        ids[name] = chromium.execute_script("return Array.from(document.querySelectorAll('[id]'), e => e.id)")
        assert len(ids[name]) == len(set(ids[name])), f"{name}: an id twice"
        hrefs = chromium.execute_script("return Array.from(document.querySelectorAll('a[href], link[href]'), e => e.href)")
        links += [(name, href) for href in hrefs]
    assert len(links) > 500

    broken = []
    for name, href in links:
        parts = urlsplit(href)
        file = pathlib.Path(unquote(parts.path))
        fragment = unquote(parts.fragment)
        if parts.scheme != "file" or file.parent != PAGES or not file.exists():
            broken.append((name, href))
        elif fragment and fragment not in ids[file.name]:
            broken.append((name, href))
    assert broken == []


# ---- looks


@pytest.mark.parametrize("name", FILES)
def test_page_fits_a_narrow_window(chromium: webdriver.Chrome, name: str) -> None:
    open_page(chromium, name)
    chromium.set_window_size(500, 900)
    width, shown = chromium.execute_script(
        "return [document.documentElement.scrollWidth, document.documentElement.clientWidth]")
    assert width <= shown


def test_page_follows_light_dark_and_paper(chromium: webdriver.Chrome) -> None:
    open_page(chromium, "vekinfo.1.html")

    def looks(media: str, scheme: str) -> tuple[str, bool]:
        features = [{"name": "prefers-color-scheme", "value": scheme}]
        chromium.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": media, "features": features})
        color = chromium.execute_script("return getComputedStyle(document.documentElement).color")
        return color, chromium.find_element(By.CSS_SELECTOR, "nav.contents").is_displayed()

    assert looks("screen", "light") == ("rgb(27, 31, 36)", True)
    assert looks("screen", "dark") == ("rgb(230, 237, 243)", True)
    assert looks("print", "light") == ("rgb(0, 0, 0)", False)
