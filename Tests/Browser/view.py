#!/usr/bin/python3
"""Looks at views in headless Chromium: view.py FOLDER [PICTURE]

FOLDER has statements.html, invisible.html, hostile.html, long.html, hostile-1.svg to
hostile-9.svg and differences.html. Each step says what it saw; exit status 1 if any step found a fault. With PICTURE, a picture of the view is written.
"""

import base64
import io
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

from PIL import Image
from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--force-color-profile=srgb", "--disable-dev-shm-usage",
]
PAPER = (255, 255, 255)


class Fault(Exception):
    """What isn't as it must be."""


def check(holds, what):
    if not holds:
        raise Fault(what)


def check_same(found, wanted, what):
    check(found == wanted, f"{what}: {found!r}, not {wanted!r}")


class Browser:
    """One browser, and what it says of the page that it shows."""

    def __init__(self, folder):
        self.folder = folder
        self.profile = tempfile.mkdtemp(prefix="kz-browser-")
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for flag in FLAGS + [f"--user-data-dir={self.profile}"]:
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.run = self.driver.execute_script
        self.driver.get("about:blank")
        self.logs()  # of the browser's own first page

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def size(self, width, height):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def dark(self, is_dark):
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": [
            {"name": "prefers-color-scheme", "value": "dark" if is_dark else "light"}]})

    def open(self, name, ending="html"):
        """Shows a file; the seconds until it was there."""
        self.driver.get("about:blank")
        start = time.monotonic()
        self.driver.get(f"file://{self.folder}/{name}.{ending}")
        seconds = time.monotonic() - start
        self.settle()
        return seconds

    def settle(self):
        """Waits until the page is drawn, with its pictures."""
        self.driver.execute_async_script("""
            const done = arguments[arguments.length - 1];
            const images = [...document.querySelectorAll('.pages image')];
            const decode = (image) => {
              const loader = new Image();
              loader.src = image.getAttribute('href') ?? '';
              return loader.decode();
            };
            Promise.allSettled(images.map(decode)).then(() =>
              setTimeout(() => requestAnimationFrame(() => setTimeout(done)), 20));
        """)

    def press(self, *keys):
        for key in keys:
            self.driver.switch_to.active_element.send_keys(key)
        self.settle()

    def zoom(self, name):
        Select(self.find("#zoom")).select_by_visible_text(name)
        self.run("document.activeElement.blur()")
        self.settle()

    def screenshot(self):
        return Image.open(io.BytesIO(self.driver.get_screenshot_as_png())).convert("RGB")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        return self.run("return document.querySelector(arguments[0]).textContent", selector)

    def count(self, selector):
        return self.run("return document.querySelectorAll(arguments[0]).length", selector)

    def page(self):
        return self.run("return Number(document.getElementById('page-number').value)")

    def frame(self, place):
        """Where a page is in the window: left, top, width, height."""
        return self.run("""
            const at = document.querySelector(`.page[data-place="${arguments[0]}"]`)
              .getBoundingClientRect();
            return [at.left, at.top, at.width, at.height];
        """, place)

    def at_point(self, picture, place, x, y, width=595.3):
        """The colour at a place in points of a page that is that wide."""
        left, top, pixels, _ = self.frame(place)
        scale = pixels / width
        return picture.getpixel((round(left + x * scale), round(top + y * scale)))

    def search(self, words):
        self.press("/")
        field = self.find("#query")
        field.clear()
        field.send_keys(words)
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline:
            time.sleep(0.15)
            found = self.text("#hits")
            if found and found != "…" and not found.endswith("+"):
                break
        self.settle()
        return found

    def logs(self):
        """What the page has said, and what it has asked for, since the last call."""
        said = [entry["message"] for entry in self.driver.get_log("browser")]
        asked = []
        for entry in self.driver.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                asked.append(message["params"]["request"]["url"])
        return said, asked


def near(color, wanted, by=12):
    return all(abs(one - other) <= by for one, other in zip(color, wanted))


def check_quiet(browser):
    """Nothing was said on the console, and nothing was asked for but the file and its pictures."""
    said, asked = browser.logs()
    check_same(said, [], "the console")
    own = ("file://" + browser.folder, "blob:null/", "about:", "data:,", "data:image/png;base64,")
    elsewhere = [url[:200] for url in asked if not url.startswith(own)]
    check_same(elsewhere, [], "asked for elsewhere")


# Steps. What a step leaves is what the next one of the same document finds.

def step_shows_pages(browser):
    browser.size(1280, 860)
    browser.open("statements")
    check_same(browser.driver.title, "statements.afp", "title")
    check_same(browser.text("#page-count"), "of 6", "pages")
    picture = browser.screenshot()
    check(near(browser.at_point(picture, 0, 300, 104.7), (24, 78, 140)), "the rule isn't blue")
    check(near(browser.at_point(picture, 0, 20, 300), PAPER), "the paper isn't white")
    check(near(picture.getpixel((230, 500)), (233, 235, 239)), "the desk isn't grey")
    letters = [browser.at_point(picture, 0, 112 + x / 4, 68) for x in range(800)]
    check(any(near(color, (24, 78, 140), 60) for color in letters), "the heading has no ink")


def step_shows_pictures(browser):
    browser.zoom("Fit page")
    picture = browser.screenshot()
    check(near(browser.at_point(picture, 0, 297, 380), (72, 122, 189), 25), "there is no sky")
    emblem = [browser.at_point(picture, 0, 78, 52 + y / 2) for y in range(72)]
    check(any(sum(color) < 200 for color in emblem), "the emblem has no ink")
    check(any(near(color, PAPER) for color in emblem), "the emblem isn't clear")
    stored = browser.count("script[id^=picture-][data-type]")
    check_same(stored, 2, "pictures that are stored")
    browser.zoom("Automatic")


def step_sets_text_in_place(browser):
    """Each text begins where the layout has it and is as wide."""
    apart = browser.run("""
        const sheet = document.querySelector('.page .sheet');
        const scale = sheet.getBoundingClientRect().width / sheet.viewBox.baseVal.width;
        const origin = sheet.getBoundingClientRect();
        const items = JSON.parse(document.getElementById('page-0').textContent).items
          .filter((item) => item[0] === 0);
        const texts = [...sheet.querySelectorAll(':scope > text')];
        return items.map(([, x, y, , width, , text], i) => {
          const at = texts[i].getBoundingClientRect();
          return [text === texts[i].textContent, (at.left - origin.left) / scale - x,
                  at.width / scale - width, (at.top - origin.top) / scale < y,
                  (at.bottom - origin.top) / scale > y];
        });
    """)
    check(len(apart) > 10, "there is hardly any text")
    for same, left, width, above, below in apart:
        check(same and above and below, "a text isn't at its line")
        check(abs(left) < 1 and abs(width) < 1, f"a text is {left} and {width} points off")


def step_turns_pages_by_keyboard(browser):
    turns = [(Keys.PAGE_DOWN, 2), (Keys.PAGE_DOWN, 3), (Keys.PAGE_UP, 2), (Keys.ARROW_RIGHT, 3),
             (Keys.ARROW_LEFT, 2), (Keys.END, 6), (Keys.PAGE_DOWN, 6), (Keys.HOME, 1)]
    for key, page in turns:
        browser.press(key)
        check_same(browser.page(), page, "the page")
        left, top, _, height = browser.frame(page - 1)
        check(top < 860 and top + height > 48, f"page {page} isn't in sight")
        check_same(browser.text(".thumbnail[aria-current] span"), str(page), "the thumbnail")
    top = browser.frame(0)[1]
    browser.press(Keys.ARROW_DOWN)
    check_same(browser.frame(0)[1], top - 60, "after an arrow down, the top")
    browser.press(Keys.HOME)


def step_zooms(browser):
    width = browser.frame(0)[2]
    browser.press("+")
    check(browser.frame(0)[2] > width, "nothing is larger")
    browser.press("-", "-")
    check(browser.frame(0)[2] < width, "nothing is smaller")
    browser.press("0")
    check_same(browser.frame(0)[2], width, "the width after 0")
    browser.zoom("100%")
    check(abs(browser.frame(0)[2] - 595.3 * 96 / 72) < 1, "100% isn't the page's size")
    browser.zoom("Automatic")


def step_searches(browser):
    check_same(browser.search("harbour  BRINGS"), "1 of 3", "hits")
    check_same(browser.page(), 1, "the page of the first hit")
    mark = browser.find(".page .mark.current").rect
    picture = browser.screenshot()
    colors = [picture.getpixel((round(mark["x"]) + x, round(mark["y"] + 2)))
              for x in range(0, round(mark["width"]), 2)]
    check(any(near(color, (255, 155, 61), 8) for color in colors), "the hit isn't marked")
    check(110 < mark["width"] < 180, "the mark isn't as wide as the words")
    browser.press(Keys.ENTER)
    check_same((browser.text("#hits"), browser.page()), ("2 of 3", 3), "the second hit")
    browser.press(Keys.SHIFT + Keys.ENTER)
    check_same(browser.text("#hits"), "1 of 3", "back at the first hit")
    browser.run("document.activeElement.blur()")
    browser.press("N")
    check_same((browser.text("#hits"), browser.page()), ("3 of 3", 5), "round to the last hit")
    browser.press("n")
    check_same(browser.text("#hits"), "1 of 3", "round to the first hit")
    check_same(browser.search("(.*)[-/]"), "No hits", "hits of what would be an expression")
    browser.press(Keys.ESCAPE)
    check_same(browser.count(".mark"), 0, "marks after Esc")
    check_same(browser.text("#hits"), "", "hits after Esc")


def step_leads_through_contents(browser):
    browser.find("#tab-contents").click()
    browser.settle()
    entries = browser.run("return [...document.querySelectorAll('.entry')].map((e) => e.textContent)")
    check_same(entries[:4], ["Account 1001", "Customer: Ada Berg", "Kind: Readings", "Account 1002"],
               "contents")
    check_same(browser.text(".entry[aria-current]"), "Account 1001", "the entry of page 1")
    for entry, page in [(4, 3), (3, 2)]:
        browser.find(f".entry:nth-child({entry})").click()
        browser.settle()
        check_same(browser.page(), page, "the page of an entry")
    browser.find("#tab-thumbnails").click()
    browser.find("#pages").click()
    browser.press(Keys.HOME)


def step_copies_lines(browser):
    copied = browser.run("""
        const texts = document.querySelectorAll('.page[data-place="0"] .sheet > text');
        const range = document.createRange();
        range.setStart(texts[3].firstChild, 5);
        range.setEnd(texts[4].firstChild, 9);
        getSelection().removeAllRanges();
        getSelection().addRange(range);
        const data = new DataTransfer();
        texts[3].dispatchEvent(new ClipboardEvent('copy', {
          clipboardData: data, bubbles: true, cancelable: true }));
        getSelection().removeAllRanges();
        return data.getData('text/plain');
    """)
    check_same(copied, "Ada Berg,\nthis is w", "the copied text")


def step_prints_all_pages(browser):
    browser.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})
    printed = browser.driver.execute_cdp_cmd("Page.printToPDF", {
        "preferCSSPageSize": True, "printBackground": True})
    path = browser.folder + "/printed.pdf"
    with open(path, "wb") as file:
        file.write(base64.b64decode(printed["data"]))
    told = subprocess.run(["pdfinfo", path], capture_output=True, text=True, check=True).stdout
    check("Pages:           6" in told, f"printed: {told}")
    size = [float(word) for word in told.split("Page size:")[1].split()[:3] if word != "x"]
    check(abs(size[0] - 595.3) < 1 and abs(size[1] - 841.9) < 1, f"the paper: {size}")
    text = subprocess.run(["pdftotext", "-layout", path, "-"], capture_output=True, text=True,
                          check=True).stdout
    check(text.count("Fjordside Water Works") == 9, "the text isn't printed")
    check("Search" not in text, "the bar is printed")


def step_needs_no_mouse(browser):
    """The tab key reaches everything, each has a name, and where it is can be seen."""
    browser.open("statements")
    names = []
    for _ in range(40):
        browser.driver.switch_to.active_element.send_keys(Keys.TAB)
        name, seen = browser.run("""
            const at = document.activeElement;
            const style = getComputedStyle(at.id === 'query' ? at.parentElement : at);
            return [at.getAttribute('aria-label') || at.textContent.trim(),
                    style.outlineStyle !== 'none'];
        """)
        if name == "Pages" and "Pages" in names[1:]:
            break
        check(name, "something has no name")
        check(seen, f"the focus can't be seen on {name}")
        names.append(name)
    for name in ["Sidebar", "Next page", "Page number", "Zoom in", "Search the text", "Print",
                 "Help", "Pages", "Page 1"]:
        check(name in names, f"{name} isn't reached: {names}")
    browser.press("?")
    check_same(browser.run("return document.querySelector('dialog[open]').id"), "help", "the dialog")
    browser.press(Keys.ESCAPE)
    check_same(browser.count("dialog[open]"), 0, "open dialogs")


def step_is_dark_and_narrow(browser):
    browser.dark(True)
    browser.settle()
    picture = browser.screenshot()
    check(sum(picture.getpixel((400, 10))) < 150, "the bar isn't dark")
    check(near(browser.at_point(picture, 0, 20, 300), PAPER), "the paper isn't white in the dark")
    browser.dark(False)
    browser.size(420, 800)
    browser.open("statements")
    left, _, width, _ = browser.frame(0)
    check(left >= 0 and left + width <= 420, "the page is wider than the window")
    check(browser.run("""return [...document.querySelectorAll('.bar > *')].every((part) => {
            const at = part.getBoundingClientRect();
            return at.top >= 0 && at.bottom <= 92 && at.right <= 420;
        })"""), "the bar has no room for its parts")
    check(not browser.find("#sidebar").is_displayed(), "the sidebar covers the page")
    browser.find("#toggle-sidebar").click()
    check(browser.find("#sidebar").is_displayed(), "the sidebar doesn't open")
    browser.find(".thumbnail:nth-child(2)").click()
    browser.settle()
    check_same(browser.page(), 2, "the page of the thumbnail")
    check(not browser.find("#sidebar").is_displayed(), "the sidebar stays open")
    browser.size(1280, 860)


def step_finds_invisible_text(browser):
    browser.open("invisible")
    check_same(browser.search("harbour brings"), "1 of 3", "hits in text that isn't seen")
    picture = browser.screenshot()
    letters = [browser.at_point(picture, 0, 112 + x / 4, 68) for x in range(800)]
    check(all(near(color, PAPER) for color in letters), "invisible text is seen")
    check(browser.count(".mark.current") >= 1, "the hit isn't marked")


def step_runs_nothing_of_a_document(browser):
    browser.open("hostile")
    scripts = browser.run("return [...document.scripts].filter((s) => s.type === '').length")
    check_same(scripts, 1, "scripts")
    check_same(browser.count("style"), 1, "styles")
    check_same(browser.driver.title, "</script><script>window.broken=1</script>", "title")
    check_same(browser.text("#title"), browser.driver.title, "heading")
    browser.find("#tab-contents").click()
    browser.settle()
    entries = browser.run("return [...document.querySelectorAll('.entry')].map((e) => e.textContent)")
    check("<!--<script>" in entries, f"contents: {entries}")
    for page in range(1, 10):
        item = browser.run("""return JSON.parse(document.getElementById(`page-${arguments[0]}`)
            .textContent).items.find((item) => item[0] === 0)[6]""", page - 1)
        shown = browser.run("""return document.querySelector(
            `.page[data-place="${arguments[0]}"] .sheet > text`).textContent""", page - 1)
        check_same(shown, item, "a text")
        browser.press(Keys.PAGE_DOWN)
    check_same(browser.search("<script>window.broken"), "1 of 1", "hits of a script")
    browser.find("#show-warnings").click()
    check(browser.count("#warning-list li") >= 9, "warnings are missing")
    check("<i>" in browser.text("#warning-list"), "a warning hasn't the name")
    browser.press(Keys.ESCAPE)
    check_same(browser.run("return window.broken === undefined"), True, "nothing was run")
    check_same(browser.count("img, iframe, object, embed, [onload], [onerror], [onfocus]"), 0,
               "elements that no view has")


def step_runs_nothing_of_pictures(browser):
    for page in range(1, 10):
        browser.open(f"hostile-{page}", "svg")
        check_same(browser.run("return document.documentElement.localName"), "svg", "the root")
        check_same(browser.count("script, style, a, foreignObject, parsererror, [onload], "
                                 "[onerror], [onfocus]"), 0, "elements that no drawing has")
        check_same(browser.run("return window.broken === undefined"), True, "nothing was run")
        check(len(browser.screenshot().getcolors(1 << 24)) > 1, "nothing is drawn")


def step_shows_differences(browser):
    browser.open("differences")
    check_same(browser.count("script, iframe, object, embed, [onload], [onerror], [onfocus]"), 0,
               "elements that no comparison has")
    check_same(browser.count("style"), 1, "styles")
    text = browser.run("return document.body.innerText")
    for name in ["</script><script>window.broken=1</script>", "<img src=x onerror=window.broken=2>"]:
        check(name in text, f"{name} isn't there")
    pictures, drawn = browser.driver.execute_async_script("""
        const done = arguments[arguments.length - 1];
        const images = [...document.images];
        for (const image of images) image.loading = 'eager';
        Promise.allSettled(images.map((image) => image.decode())).then(() =>
          done([images.length, images.filter((i) => i.naturalWidth > 100).length]));
    """)
    check(pictures >= 15, f"{pictures} pictures")
    check_same(drawn, pictures, "pictures that can be seen")
    check_same(browser.run("return window.broken === undefined"), True, "nothing was run")


def step_opens_long_documents(browser):
    seconds = browser.open("long")
    print(f"  2000 pages opened in {seconds:.2f} s, "
          f"{os.path.getsize(browser.folder + '/long.html') / 1e6:.1f} MB")
    check_same(browser.text("#page-count"), "of 2000", "pages")
    check(browser.count(".page") <= 6, "more pages are drawn than are in sight")
    browser.press(Keys.END)
    check_same(browser.page(), 2000, "the last page")
    check(browser.count(".page") <= 6, "pages that are far stay drawn")
    check(browser.count(".thumbnail") <= 24, "thumbnails that are far stay drawn")
    check_same(browser.count("script[id^=picture-][data-type]"), 10, "pictures that are stored")
    start = time.monotonic()
    check_same(browser.search("Sheet 1234"), "1 of 1", "hits")
    print(f"  searched in {time.monotonic() - start:.2f} s")
    check_same(browser.page(), 1234, "the page of the hit")


STEPS = [step for name, step in list(globals().items()) if name.startswith("step_")]


def take_picture(browser, path):
    """The picture of the view in the documentation."""
    browser.size(1200, 800)
    browser.open("statements")
    browser.zoom("100%")
    browser.search("harbour")
    browser.run("document.activeElement.blur()")
    browser.settle()
    browser.screenshot().save(path, optimize=True)


def main():
    folder = os.path.realpath(sys.argv[1])
    faults = 0
    browser = Browser(folder)
    try:
        for step in STEPS:
            name = step.__name__[5:].replace("_", " ")
            try:
                step(browser)
                check_quiet(browser)
                print(f"ok: {name}")
            except Exception as fault:  # a fault of any kind is one of the step
                faults += 1
                print(f"FAULT: {name}: {fault}")
                if not isinstance(fault, Fault):
                    traceback.print_exc(limit=4)
                browser.logs()
        if len(sys.argv) > 2:
            take_picture(browser, sys.argv[2])
    finally:
        browser.close()
    return 1 if faults else 0


sys.exit(main())
