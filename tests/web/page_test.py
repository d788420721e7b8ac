#!/usr/bin/python3
"""The page of a running report server, in a browser: page_test.py URL AXE_JS FOLDER [--token TOKEN]

AXE_JS is the file axe.min.js of the npm package axe-core; screenshots go into FOLDER. It
takes Debian's packages chromium, chromium-driver and python3-selenium.
"""
import argparse
import json
import pathlib
import sys
import urllib.request

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select, WebDriverWait

REPORT = "report | anna | Climate | 9 | from weather; measure count(*)"
ENDLESS = ("report | hana | Climate | 4 | from weather; measure count(*); "
           "where (select count(*) from weather a, weather b, weather c, weather d) > 0")
FAILING = "report | farid | Wildlife | 3 | from fishstrikes; measure count(*)"
MARKUP = "<img src=x onerror=alert(1)><script>alert(2)</script>"
HOSTILE = f"report | {MARKUP}\u202etxt.exe | Climate | 9 | from weather; measure count(*); by {MARKUP}{'x' * 3000}"
VIEWS = {"table": "#/jobs", "timeline": "#/timeline?seconds=10", "job": None}


class Page:
    def __init__(self, arguments):
        self.url, self.token = arguments.url.rstrip("/"), arguments.token
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for option in ("--headless=new", "--no-sandbox", "--lang=en-US", "--accept-lang=en-US", "--disable-gpu"):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
        self.look(1440, 900)

    def look(self, width, height, scheme="light"):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def post(self, line):
        """The number of the job that the request line makes."""
        headers = {"Authorization": f"Bearer {self.token}"} if self.token else {}
        request = urllib.request.Request(f"{self.url}/requests", line.encode(), headers, method="POST")
        with urllib.request.urlopen(request, timeout=10) as answer:
            return json.load(answer)["job"]

    def go(self, address):
        self.driver.get(f"{self.url}/{address}")

    def wait(self, what, condition, seconds=20):
        return WebDriverWait(self.driver, seconds, 0.1).until(lambda _: condition(), f"waited for: {what}")

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def run(self, script, *values):
        return self.driver.execute_script(script, *values)

    def mark(self, job):
        """What the job's row says of its state; None without a row."""
        return self.run("return document.querySelector(`#rows [data-job='${arguments[0]}']`)?.dataset.mark", job)

    def press(self, *keys):
        webdriver.ActionChains(self.driver).send_keys(*keys).perform()

    def focused_job(self):
        return self.run("return Number(document.activeElement.closest('tr')?.dataset.job ?? 0)")


def signs_in(page):
    page.go("#/jobs?sort=id&order=desc")
    if page.token:
        page.wait("the question for the token", lambda: page.all("dialog[open] input[type=password]"))
        page.press("wrong", Keys.ENTER)
        page.wait("its answer", lambda: page.find("dialog[open] p").text == "The server doesn’t take that token.")
        page.press(page.token, Keys.ENTER)
    page.wait("the stream", lambda: page.find("body").get_attribute("data-link") == "live")


def shows_jobs_live(page):
    endless, report = page.post(ENDLESS), page.post(REPORT)
    page.wait("the endless job runs", lambda: page.mark(endless) == "running")
    page.wait("the report ends", lambda: page.mark(report) == "completed")

    # A row that has the focus stays the same element while jobs come, go and are sorted around it.
    page.run("window.row = document.querySelector(`#rows [data-job='${arguments[0]}']`);"
             "row.querySelector('a').focus()", endless)
    later = page.post(REPORT)
    page.wait("the next one ends", lambda: page.mark(later) == "completed")
    assert page.run("return row.isConnected && row.contains(document.activeElement)"), "the row lost the focus"

    page.find("#hold").click()
    page.wait("the pause", lambda: page.find("#link-text").text.startswith("Paused at"))
    unseen = page.post(REPORT)
    page.find("#hold").click()
    page.wait("what came meanwhile", lambda: page.mark(unseen) == "completed")
    return endless


def cancels_by_click(page, job):
    page.wait("the button", lambda: page.all(f"#rows [data-job='{job}'] .c-commands button"))
    page.find(f"#rows [data-job='{job}'] .c-commands button").click()
    page.wait("the question", lambda: page.all("dialog[open]"))
    page.find("dialog input").send_keys("nobody <b>wants</b> it")
    page.find("dialog button.cancel").click()
    page.wait("its end", lambda: page.mark(job) == "cancelled")
    page.wait("the reason", lambda: "nobody <b>wants</b> it" in page.find(f"#rows [data-job='{job}']").text)
    assert page.find("#toast").text == f"Job {job} is cancelled."
    assert page.focused_job() == job, "the focus went with the button"


def cancels_by_keyboard(page):
    job = page.post(ENDLESS)
    page.wait("it runs", lambda: page.mark(job) == "running")
    page.run("document.activeElement.blur()")

    def reached():
        if page.focused_job() != job:
            page.press("j")
        return page.focused_job() == job
    page.wait("j comes to the row", reached)
    page.press("c")
    page.wait("the question", lambda: page.all("dialog[open]"))
    page.press(Keys.ESCAPE)
    page.wait("no question", lambda: not page.all("dialog[open]"))
    assert page.mark(job) == "running" and page.focused_job() == job, "Escape leaves all as it was"
    page.press("c")
    page.wait("the question again", lambda: page.all("dialog[open]"))
    page.press(Keys.ENTER)
    page.wait("its end", lambda: page.mark(job) == "cancelled")


def keeps_the_query_in_the_address(page):
    page.find("[data-sort=user]").click()
    page.find("#filters [name=user]").send_keys("farid")
    page.wait("the address", lambda: "user=farid" in page.driver.current_url and "sort=user" in page.driver.current_url)
    page.driver.refresh()
    page.wait("only that user's", lambda: {cell.text for cell in page.all("#rows .c-user")} == {"farid"})
    assert page.find("#filters [name=user]").get_attribute("value") == "farid"
    assert page.find("th.c-user").get_attribute("aria-sort") == "ascending"
    page.find("#reset").click()
    page.wait("everybody's", lambda: len({cell.text for cell in page.all("#rows .c-user")}) > 1)


def tells_an_error_in_german(page, job):
    page.go("#/jobs?sort=id&order=desc")
    page.wait("the row", lambda: page.mark(job) == "failed")
    page.run("document.querySelector(`#rows [data-job='${arguments[0]}'] a`).focus()", job)
    page.press(Keys.ENTER)
    line = "[data-part=error] p:first-of-type"
    page.wait("the error", lambda: page.all(line) and page.find(line).get_attribute("lang") == "en")
    english = page.find(line).text
    Select(page.find("#language")).select_by_value("de")
    page.wait("German", lambda: page.all(line) and page.find(line).get_attribute("lang") == "de")
    assert page.find(line).text != english and "fehlgeschlagen" in page.find(line).text, page.find(line).text
    assert page.find("html").get_attribute("lang") == "de"
    assert "fehlgeschlagen" in page.find("[data-part=title]").text
    Select(page.find("#language")).select_by_value("en")
    page.press(Keys.ESCAPE)
    page.wait("the table", lambda: page.focused_job() == job)


def shows_hostile_names_as_text(page):
    job = page.post(HOSTILE)
    page.wait("its row", lambda: page.mark(job))
    user = page.find(f"#rows [data-job='{job}'] .c-user")
    assert user.get_attribute("textContent").startswith(MARKUP[:20]), user.get_attribute("textContent")
    text = page.find(f"#rows [data-job='{job}'] .c-description .text")
    assert len(text.get_attribute("textContent")) < 200 < len(text.get_attribute("title"))
    for address in ("#/jobs?sort=id&order=desc", f"#/job/{job}", "#/timeline?seconds=60"):
        page.go(address)
        page.wait("the name", lambda: "onerror=alert(1)" in page.find("main").get_attribute("textContent"))
        assert not page.all("main img, main script"), "markup became an element"


def opens_jobs_from_the_timeline(page):
    job = page.post(ENDLESS)
    page.go("#/timeline?seconds=10")
    page.wait("its span", lambda: page.all(f"#chart .track[data-job='{job}'] rect"))
    page.find("#as-table").click()
    page.wait("the runs as a table", lambda: page.all(f"#span-table a[href='#/job/{job}']"))
    page.find("#as-table").click()
    page.wait("the chart", lambda: page.find("#chart").is_displayed())
    page.run("document.querySelector(`#chart .track[data-job='${arguments[0]}']`)"
             ".dispatchEvent(new MouseEvent('click', {bubbles: true}))", job)
    page.wait("its page", lambda: page.find("h1:not(.unseen)").text == f"Job {job}" or page.all("#job .mark.running"))
    page.wait("its command", lambda: page.all("#job button.cancel"))
    page.find("#job button.cancel").click()
    page.wait("the question", lambda: page.all("dialog[open] button.cancel"))
    page.find("dialog button.cancel").click()
    page.wait("its end", lambda: page.all("#job [data-part=title] .mark.cancelled"))


def can_be_used_by_everybody(page, axe, folder, failed):
    """Accessible, and without a bar to scroll sideways, in light and dark, wide and as at 400 %."""
    for name, address in VIEWS.items():
        page.go(address or f"#/job/{failed}")
        page.wait(name, lambda: page.all("#rows tr, #chart [data-job], #job table tbody tr"))
        for scheme in ("light", "dark"):
            for width, height in ((1440, 900), (900, 900), (320, 640)):
                page.look(width, height, scheme)
                if name == "timeline":
                    page.wait("a chart of that width", lambda: page.run(
                        "const chart = document.getElementById('chart');"
                        "return Math.abs(chart.clientWidth - chart.firstChild.clientWidth) < 20"))
                wide = page.run("return document.documentElement.scrollWidth")
                assert wide <= width, f"{name} is {wide} wide where {width} are"
                page.driver.save_screenshot(str(folder / f"{name}-{scheme}-{width}.png"))
                check_access(page, axe, f"{name}, {scheme}, {width}")
    page.look(1440, 900)


def check_access(page, axe, where):
    if not page.run("return Boolean(window.axe)"):
        page.run(axe)
    findings = page.driver.execute_async_script(
        "const done = arguments[0]; axe.run(document).then(found => done(found.violations), error => done([{id: String(error),"
        " impact: 'critical', nodes: []}]))")
    bad = [f"{found['id']}: {node['html'][:200]} {node.get('failureSummary', '')[:300]}" for found in findings
           if found["impact"] in ("serious", "critical") for node in found["nodes"][:3] or [{"html": ""}]]
    assert not bad, f"{where}:\n" + "\n".join(bad)


def complaints(page):
    """What the browser's console holds, but for the refusals that the wrong tokens met."""
    lines = [line["message"] for line in page.driver.get_log("browser")]
    return [line for line in lines if not (page.token and "401" in line)]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("url")
    parser.add_argument("axe", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--token")
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    page = Page(arguments)
    try:
        signs_in(page)
        failed = page.post(FAILING)
        cancels_by_click(page, shows_jobs_live(page))
        cancels_by_keyboard(page)
        tells_an_error_in_german(page, failed)
        keeps_the_query_in_the_address(page)
        shows_hostile_names_as_text(page)
        opens_jobs_from_the_timeline(page)
        can_be_used_by_everybody(page, arguments.axe.read_text(), arguments.folder, failed)
        assert not complaints(page), complaints(page)
    except Exception:
        page.driver.save_screenshot(str(arguments.folder / "failure.png"))
        print("\n".join(complaints(page)), file=sys.stderr)
        raise
    finally:
        page.driver.quit()
    print("the page does what it should")


if __name__ == "__main__":
    main()
