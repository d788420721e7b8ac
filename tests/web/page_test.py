#!/usr/bin/python3
"""The page of the report server, in a browser: page_test.py SERVER AXE_JS FOLDER

AXE_JS is the file axe.min.js of the npm package axe-core; screenshots, downloads and the server's log go into FOLDER.
It takes Debian's packages chromium, chromium-driver and python3-selenium.
"""
import contextlib
import json
import pathlib
import re
import sys

from page import Page
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.common.keys import Keys
from server import Server

PROGRAM, AXE, FOLDER = sys.argv[1], pathlib.Path(sys.argv[2]).read_text(), pathlib.Path(sys.argv[3]).resolve()
COUNT = "from weather; measure count(*)"
FOR_EVER = f"{COUNT}; where (select count(*) from weather a, weather b, weather c, weather d) > 0"
REPORT = f"report | anna | Climate | 9 | {COUNT}"
ENDLESS = f"report | hana | Climate | 4 | {FOR_EVER}"
FAILING = "report | farid | Wildlife | 3 | from fishstrikes; measure count(*)"
DOCUMENT = f"document | ivan | Climate | 6 | {FOR_EVER} & {COUNT}"
MARKUP = "<img src=x onerror=alert(1)><script>alert(2)</script>"
HOSTILE = f"report | {MARKUP}\u202etxt.exe | Climate | 9 | from weather; measure count(*); by {MARKUP}{'x' * 3000}"
NEWEST = "#/jobs?sort=created&order=desc"
TOKEN = "a token for tests only"


def row(job):
    return f"#rows [data-job='{job}']"


def cancel(page, job, button=None, **fields):
    page.click(button or f"{row(job)} .c-commands button")
    page.answer("button.cancel", **fields)
    page.wait("its end", lambda: page.mark(job) == "cancelled")


def shows_jobs_live(page):
    endless = page.submit(ENDLESS, "running")
    page.submit(REPORT, "completed")
    # A row that has the focus stays the same element while jobs come, go and are sorted around it.
    page.run("window.row = document.querySelector(arguments[0]); row.querySelector('a').focus()", row(endless))
    page.submit(REPORT, "completed")
    assert page.run("return row.isConnected && row.contains(document.activeElement)"), "the row lost the focus"

    page.click("#hold")
    page.wait("the pause", lambda: page.text("#link-text").startswith("Paused at"))
    unseen = page.submit(REPORT)
    page.click("#hold")
    page.wait("what came meanwhile", lambda: page.mark(unseen) == "completed")

    cancel(page, endless, reason="nobody <b>wants</b> it")
    assert "nobody <b>wants</b> it" in page.text(row(endless))
    page.wait("the answer", lambda: page.text("#toast") == f"Job {endless} is cancelled.")
    assert page.focused_job() == endless, "the focus went with the button"


def is_used_by_keyboard(page):
    job = page.submit(ENDLESS, "running")
    page.run("document.activeElement.blur()")

    page.wait("j comes to the row", lambda: page.press("j") or page.focused_job() == job)
    page.press("c", Keys.ESCAPE)
    assert not page.has("dialog[open]") and page.mark(job) == "running" and page.focused_job() == job
    page.press("c", Keys.ENTER)
    page.wait("its end", lambda: page.mark(job) == "cancelled")


def tells_an_error_in_german(page):
    job = page.submit(FAILING, "failed")
    page.run("document.querySelector(arguments[0]).focus()", f"{row(job)} a")
    page.press(Keys.ENTER)
    for name, language, said in (("Deutsch", "de", "fehlgeschlagen"), ("English", "en", "failed")):
        page.choose("#language", name)
        parts = f"[lang={language}] [data-part=title]", f"[data-part=error] p[lang={language}]"
        page.wait(f"all in {name}", lambda: all(said in page.text(part) for part in parts))
    page.press(Keys.ESCAPE)
    page.wait("the table", lambda: page.focused_job() == job)


def narrows_the_list(page):
    document = page.submit(DOCUMENT, "waiting")
    for field, choice, cells, left in [
        ("state", "waits for children", ".c-job", str(document)),
        ("search", "FISHstrikes", ".c-user", "farid"),
        ("user", "hana", ".c-user", "hana"),
        ("status", "failed", ".c-status", "failed"),
        ("unit", "query execution", ".c-unit", "query execution"),
        ("type", "Document", ".c-type", "Document"),
    ]:
        page.choose(f"#filters [name={field}]", choice)
        page.wait(f"{field} {choice}", lambda: set(page.texts(f"#rows {cells}")) == {left})
        page.driver.refresh()
        page.wait(f"the same again: {field}", lambda: set(page.texts(f"#rows {cells}")) == {left})
        page.click("#reset")
        page.wait("all of them", lambda: len(set(page.texts("#rows .c-user"))) > 2)

    # A job comes into a list of old ones by nothing but its age.
    young = page.submit(REPORT)
    page.choose("#filters [name=older]", "≥ 1 min")
    page.wait("the filter", lambda: "older=60" in page.driver.current_url and page.mark(young) is None)
    page.go(f"{NEWEST}&older=2")
    page.wait("its time", lambda: page.mark(young) == "completed")
    cancel(page, document)


def sorts_by_its_headings(page):
    for name, first, value in [
        ("user", "ascending", "cell.textContent"), ("id", "ascending", "Number(cell.textContent)"),
        ("priority", "ascending", "Number(cell.textContent)"), ("since", "descending", "cell.dataset.since"),
    ]:
        column = {"id": "job"}.get(name, name)
        for direction in ("ascending", "descending"):
            page.click(f"[data-sort={name}]")

            def is_sorted():
                values = page.run(f"return [...document.querySelectorAll('#rows .c-{column}')].map(cell => {value})")
                return len(set(values)) > 1 and values == sorted(values, reverse=direction != first)
            page.wait(f"{name} {direction}", is_sorted)
            assert page.find(f"th.c-{column}").get_attribute("aria-sort") == direction
        page.click(f"[data-sort={name}]")
        page.wait("no order", lambda: not page.has("[aria-sort]"))


def has_pages(page):
    for _ in range(60):
        page.submit(REPORT)
    page.wait("a full page", lambda: page.text("#range").startswith("1–50 of ") and int(page.text("#range")[8:]) > 60)
    assert page.has("#previous:disabled")
    first = set(page.texts("#rows .c-job"))
    page.click("#next")
    page.wait("the second", lambda: page.text("#range").startswith("51–"))
    page.wait("its rows", lambda: not first & set(page.texts("#rows .c-job")))
    page.click("#previous")
    page.wait("the first again", lambda: set(page.texts("#rows .c-job")) == first)


def pauses_a_document_and_opens_its_children(page):
    document = page.submit(DOCUMENT, "waiting")
    child = document * 10_000 + 1
    page.click(f"{row(document)} .c-job a")
    page.click("#job button.pause")
    page.wait("the answer", lambda: page.text("#toast") == f"Job {document} is paused.")
    page.wait("its children", lambda: len(page.texts("[data-part=family] td.c-job")) == 2)
    page.click(f"[data-part=family] a[href='#/job/{child}']")
    page.wait("the child", lambda: page.text("[data-part=family] caption") == f"Part of {document}")
    page.click("#job button.time")
    page.answer("button.main", seconds="1")
    page.wait("its end when that is over", lambda: page.mark(child) == "failed")
    page.click(f"[data-part=family] a[href='#/job/{document}']")
    page.wait("the pause", lambda: page.mark(document) == "paused")
    page.click("#job button.resume")
    page.wait("its end", lambda: page.mark(document) == "completed")


def shows_where_time_goes(page):
    job = page.submit(ENDLESS, "running")
    page.go("#/timeline?seconds=60")
    page.wait("its span", lambda: page.has(f"#chart .track[data-job='{job}'] rect"))
    for width in (320, 1440, 900, 1440):
        page.look(width, 900)
        ends = "return arguments[0].map(each => document.querySelector(each).getBoundingClientRect().right)"
        parts = ["body", "#chart", f"#chart .track[data-job='{job}'] rect"]
        page.wait(f"a chart for {width}", lambda: max(page.run(ends, parts)) - min(page.run(ends, parts)) < 50)
    assert "Query Execution" in page.texts("#legend li")
    heads = [text.split(" · ")[0] for text in page.texts("#chart .head text")]
    assert heads == ["SQL generation", "query execution", "analytics", "delivery"], heads
    page.click("#as-table")
    page.wait("the runs as a table", lambda: page.has(f"#span-table a[href='#/job/{job}']"))
    page.click("#as-table")
    page.wait("the chart", lambda: page.find("#chart").is_displayed())
    page.run("document.querySelector(arguments[0]).dispatchEvent(new MouseEvent('click', {bubbles: true}))",
             f"#chart .track[data-job='{job}']")
    steps = "[data-part=steps] tbody tr"
    page.wait("its page", lambda: page.texts(f"{steps} .c-outcome")[:2] == ["done", "running"])
    cancel(page, job, "#job button.cancel")
    page.wait("its steps", lambda: page.texts(f"{steps} .c-step")[-1:] == ["Close job"])
    assert page.texts(f"{steps} .c-step")[:2] == ["SQL Generation", "Query Execution"]
    shares = page.run("return [...document.querySelectorAll(arguments[0])].map(bar => parseFloat(bar.style.inlineSize))",
                      f"{steps} .lane .run")
    assert shares[1] > 50 and all(share < 50 for share in shares[:1] + shares[2:]), shares
    assert re.match(r"Queued .* · Ran .*s · in between ", page.text("[data-part=steps] caption"))


def shows_hostile_names_as_text(page):
    job = page.submit(HOSTILE, "failed")
    assert page.text(f"{row(job)} .c-user").startswith(MARKUP[:20])
    text = page.find(f"{row(job)} .c-description .text")
    assert len(text.get_attribute("textContent")) < 200 < len(text.get_attribute("title"))
    for address in (NEWEST, f"#/job/{job}", "#/timeline?seconds=60"):
        page.go(address)
        page.wait("the name", lambda: "onerror=alert(1)" in page.text("main"))
        assert not page.has("main img, main script"), "markup became an element"


def can_be_used_by_everybody(page):
    """Accessible, and without a bar to scroll sideways, in light and dark, wide and as at 400 %."""
    job = page.submit(FAILING, "failed")
    for name, address, filled in [("table", NEWEST, row(job)), ("timeline", "#/timeline?seconds=60", "#chart [data-job]"),
                                  ("job", f"#/job/{job}", "#job tbody tr")]:
        page.go(address)
        page.wait(name, lambda: page.has(filled))
        for scheme in ("light", "dark"):
            for width, height in ((1440, 900), (900, 900), (320, 640)):
                page.look(width, height, scheme)
                wide = page.run("return document.documentElement.scrollWidth")
                assert wide <= width, f"{name} is {wide} wide where {width} are"
                picture = f"{name}-{scheme}-{width}.png"
                page.driver.save_screenshot(str(FOLDER / picture))
                bad = [found for found in run_axe(page) if found["impact"] in ("serious", "critical")]
                assert not bad, f"{picture}: {json.dumps(bad, indent=2)[:3000]}"
    page.look(1440, 900)


def run_axe(page):
    if not page.run("return Boolean(window.axe)"):
        page.run(AXE)
    return page.driver.execute_async_script("axe.run(document).then(found => arguments[0](found.violations))")


def comes_back_with_its_server(page):
    page.server.kill()
    page.wait("the loss", lambda: re.match("Connection lost since .* next try in", page.text("#link-text")))
    assert page.texts("#rows tr"), "what was shown last stays"
    page.server.start()
    page.click("#again")
    page.wait("the news", lambda: page.text("#news") == "Connected again" and page.mark(1) is None)
    page.submit(REPORT, "completed")


def asks_for_the_token(page):
    page.wait("the question", lambda: page.has("dialog[open] input[type=password]"))
    page.press("wrong", Keys.ENTER)
    page.wait("its answer", lambda: page.text("dialog[open] p") == "The server doesn’t take that token.")
    page.press(TOKEN, Keys.ENTER)
    page.wait("the stream", lambda: page.has("[data-link=live]"))
    cancel(page, page.submit(ENDLESS, "running"))


def gives_metrics_and_trace(page):
    metrics, trace = FOLDER / "metrics.txt", FOLDER / "trace.json"
    for file in (metrics, trace):
        file.unlink(missing_ok=True)
    page.submit(REPORT, "completed")
    page.click("#metrics")
    if page.server.token:
        page.wait("the file", lambda: metrics.exists() and "# HELP" in metrics.read_text())
    else:
        page.wait("the metrics", lambda: "# HELP" in page.text("body"))
        page.driver.back()
    page.click("#trace")
    page.wait("the trace", trace.exists)
    assert json.loads(trace.read_text())["traceEvents"]


OPEN = [shows_jobs_live, is_used_by_keyboard, tells_an_error_in_german, narrows_the_list, sorts_by_its_headings,
        has_pages, pauses_a_document_and_opens_its_children, shows_where_time_goes, shows_hostile_names_as_text,
        can_be_used_by_everybody, gives_metrics_and_trace, comes_back_with_its_server]
WITH_TOKEN = [asks_for_the_token, gives_metrics_and_trace]
# What the browser's console may hold: it has only 404 for whoever wants an icon for /metrics.
NOISE = {comes_back_with_its_server: "net::ERR", asks_for_the_token: "401", gives_metrics_and_trace: "favicon"}


def play(page, scenes, token_file=None):
    with Server(PROGRAM, FOLDER / "log", token_file) as page.server:
        for scene in scenes:
            page.go(NEWEST)
            page.wait("the page", lambda: page.has("[data-link=live], dialog[open]"))
            scene(page)
            lines = [line["message"] for line in page.driver.get_log("browser")]
            lines = [line for line in lines if NOISE.get(scene, "\n") not in line]
            assert not lines, f"{scene.__name__}: {lines}"
        page.driver.get("about:blank")


def main():
    page = Page(FOLDER)
    token_file = FOLDER / "token"
    token_file.write_text(TOKEN)
    try:
        play(page, OPEN)
        play(page, WITH_TOKEN, token_file)
    except Exception:
        with contextlib.suppress(WebDriverException):
            page.driver.save_screenshot(str(FOLDER / "failure.png"))
        raise
    finally:
        page.driver.quit()
    print("page: it does what it should")


main()
