"""What a running server writes, while a thousand jobs run: JSON held against its schemas, metrics against promtool.

forms_test.py SERVER FOLDER_OF_SCHEMAS LOG
"""
import concurrent.futures
import json
import pathlib
import subprocess
import sys

import jsonschema
from server import Server

SCHEMAS = pathlib.Path(sys.argv[2])
JOBS = 1000
HOSTILE = "<img src=x onerror=alert(1)>\x1b[31m\u202e'\"\\"
LINES = [
    "report | anna | Climate | 5 | from weather; measure count(*), avg(temp_max); by location, month(date)",
    "element | bela | Wildlife | 9 | from birdstrikes; column Time of day",
    "document | carla | Climate | 6 | from weather; measure max(wind) & from weather; measure avg(humidity)",
    f"report | {HOSTILE} | {HOSTILE} | 1 | from {HOSTILE}; measure count(*)",
]


def submit(number):
    return server.submit(LINES[number % len(LINES)])


def check(name, path):
    value = json.loads(server.ask(path))
    jsonschema.validate(value, json.loads((SCHEMAS / f"{name}.json").read_text()))
    return value


def check_spans(trace):
    """Spans of one track lie inside each other or apart, and each flow that begins ends."""
    tracks, flows = {}, {}
    for event in trace["traceEvents"]:
        assert event["ph"] in "XMstf", event
        if event["ph"] == "X":
            tracks.setdefault((event["pid"], event["tid"]), []).append(event)
        if event["ph"] in "sf":
            flows.setdefault(event["id"], set()).add(event["ph"])
    for spans in tracks.values():
        open_ends = []
        for span in sorted(spans, key=lambda each: (each["ts"], -each["dur"])):
            end = span["ts"] + span["dur"]
            while open_ends and open_ends[-1] <= span["ts"] + 1e-3:
                open_ends.pop()
            assert not open_ends or end <= open_ends[-1] + 1e-3, span
            open_ends.append(end)
    assert all(ends == {"s", "f"} for ends in flows.values()), flows
    return len(tracks)


def check_metrics():
    text = server.ask("/metrics")
    told = subprocess.run(["promtool", "check", "metrics"], input=text, text=True, capture_output=True, check=False)
    assert told.returncode == 0 and not told.stdout + told.stderr, told
    return text


with Server(sys.argv[1], sys.argv[3]) as server:
    check("list", "/jobs")
    check_metrics()
    with concurrent.futures.ThreadPoolExecutor(8) as pool:
        jobs = [pool.submit(submit, number) for number in range(JOBS)]
        rounds = 0
        while rounds == 0 or not all(job.done() for job in jobs):
            page = check("list", "/jobs?limit=500")
            for row in page["jobs"][:5]:
                check("job", f"/jobs/{row['id']}?lang=de")
                server.ask(f"/jobs/{row['id']}/dump")
            check("list", "/jobs?sort=since&order=desc&state=queued")
            check("timeline", "/timeline?seconds=10")
            check_spans(json.loads(server.ask("/trace?seconds=10")))
            check_metrics()
            rounds += 1
        numbers = [job.result() for job in jobs]
    assert len(set(numbers)) == JOBS, "each request is a job of its own"
    for number in numbers[:4]:
        check("job", f"/jobs/{number}?lang=de")
    print(f"forms: {rounds} rounds while {JOBS} jobs ran")
