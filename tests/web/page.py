"""The page in a browser, and what is done there."""
from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.ui import Select, WebDriverWait


class Page:
    """The browser, and the server whose page it shows."""

    def __init__(self, folder):
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for option in ("--headless=new", "--no-sandbox", "--lang=en-US", "--accept-lang=en-US", "--disable-gpu"):
            options.add_argument(option)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        service = Service("/usr/bin/chromedriver", popen_kw={"start_new_session": True})
        self.driver = webdriver.Chrome(service=service, options=options)
        self.server = None
        self.driver.execute_cdp_cmd("Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(folder)})
        self.look(1440, 900)

    def look(self, width, height, scheme="light"):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                    {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                    {"features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def go(self, address):
        self.driver.get(f"{self.server.url}/{address}")

    def wait(self, what, condition):
        """Until it is true. What it looks at may change under its eyes."""
        wait = WebDriverWait(self.driver, 40, 0.05, [WebDriverException])
        return wait.until(lambda _: condition(), f"waited for: {what}")

    def run(self, script, *values):
        return self.driver.execute_script(script, *values)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def has(self, selector):
        return bool(self.texts(selector))

    def text(self, selector):
        return " ".join(self.texts(selector))

    def texts(self, selector):
        return self.run("return [...document.querySelectorAll(arguments[0])].map(node => node.textContent)", selector)

    def click(self, selector):
        self.wait(selector, lambda: self.find(selector).click() is None)

    def choose(self, selector, choice):
        """Of what a list offers, or by typing."""
        control = self.find(selector)
        if control.tag_name == "select":
            self.wait(choice, lambda: Select(control).select_by_visible_text(choice) is None)
        else:
            control.clear()
            control.send_keys(choice)

    def press(self, *keys):
        webdriver.ActionChains(self.driver).send_keys(*keys).perform()

    def answer(self, button, **fields):
        """Fills in the open dialog."""
        self.wait("the question", lambda: self.has("dialog[open] form"))
        for name, value in fields.items():
            self.choose(f"dialog [name={name}]", value)
        self.click(f"dialog {button}")

    def submit(self, line, mark=None):
        """The job's number, once the row says that of its state."""
        job = self.server.submit(line)
        if mark:
            self.wait(f"job {job} {mark}", lambda: self.mark(job) == mark)
        return job

    def mark(self, job):
        """What the job's row, or its page, says of its state."""
        return self.run("return document.querySelector(`#jobs:not([hidden]) [data-job='${arguments[0]}'] .mark,"
                        " #job[data-job='${arguments[0]}']:not([hidden]) h1 + span > .mark`)?.classList[1]", job)

    def focused_job(self):
        return self.run("return Number(document.activeElement.closest('tr')?.dataset.job ?? 0)")
