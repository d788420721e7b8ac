"""The example server, as the tests run it."""
import json
import pathlib
import signal
import subprocess
import sys
import urllib.request

DATA = pathlib.Path(__file__).parents[2] / "examples/report_server/data"

# Whoever ends a test ends what it has started.
for number in (signal.SIGTERM, signal.SIGHUP):
    signal.signal(number, lambda *_: sys.exit("the test was ended"))


class Server:
    """Runs as long as a with statement does. A token is that of a file."""

    def __init__(self, program, log, token_file=None):
        self.program, self.log, self.process = program, log, None
        self.options = ["--token-file", token_file] if token_file else []
        self.token = pathlib.Path(token_file).read_text().strip() if token_file else ""
        self.url = "http://127.0.0.1:0"

    def start(self):
        """At the same port as before."""
        address = self.url.removeprefix("http://")
        with open(self.log, "a") as log:
            self.process = subprocess.Popen([self.program, "--data", DATA, "--listen", address, *self.options], text=True,
                                            stdout=subprocess.PIPE, stderr=log, start_new_session=True)
        line = self.process.stdout.readline()
        assert line.startswith("listening on http"), f"the server doesn't start, see {self.log}"
        self.url = line.split()[-1].rstrip("/")

    def kill(self):
        self.process.kill()
        self.process.wait()

    def ask(self, path, data=None):
        headers = {"Authorization": f"Bearer {self.token}"} if self.token else {}
        with urllib.request.urlopen(urllib.request.Request(self.url + path, data, headers), timeout=60) as answer:
            return answer.read().decode("utf-8")  # whatever the jobs hold, it is UTF-8

    def submit(self, line):
        """The number of the job."""
        return json.loads(self.ask("/requests", line.encode()))["job"]

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, failure, *_):
        try:
            if not failure:
                self.process.terminate()
                assert self.process.wait(60) == 0, f"the server's exit code is {self.process.returncode}"
        finally:
            self.kill()
