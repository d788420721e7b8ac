#!/usr/bin/env python3
"""Counts what a dispatch cycle and a job's life cost: ./dev bench --count [--record].

callgrind runs a workload of the short bench twice; what the longer run has more of, divided by what it ran more, is the
cost of one. The counts are held against the table in README.md: one that has risen by more than 3 % fails. --record
writes the table anew instead.

Instructions are counted in two builds, with link-time optimisation (preset bench) and without (plain). Calls are counted
in the one without, where few functions disappear into their callers.
"""
import argparse
import os
import platform
import re
import subprocess
import sys
import tempfile
from collections import Counter
from concurrent.futures import ThreadPoolExecutor

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
README = os.path.join(ROOT, "bench", "README.md")
BEGIN = "<!-- ./dev bench --count --record writes these lines -->\n"
END = "<!-- to here -->\n"
PRESETS = ("bench", "plain")
ROWS = ("DispatchCycle", "DispatchFloor", "HeapLife", "BufferLife", "UnitLife", "HostLife", "HandWrittenLife")
COLUMNS = ("instructions (optimised)", "instructions (plain)", "allocations", "locks")
TIMES = (500, 1500)
MOST_RISE = 1.03
MACHINE = "x86_64"

ALLOCATIONS = {"malloc", "calloc", "realloc", "aligned_alloc"}
ENTER = "QSynch::CriticalSection::Enter()"
LOCKS = {"pthread_mutex_lock", "pthread_mutex_trylock", "pthread_rwlock_rdlock", "pthread_rwlock_wrlock"}


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, cwd=ROOT)
    if result.returncode != 0:
        sys.exit(f"{result.stdout}count.py: failed: {' '.join(command)}")


def read_profile(path):
    """Returns the instructions of a run, and its calls by (caller, callee)."""
    names, calls, instructions = {}, Counter(), 0
    caller = callee = None
    with open(path) as file:
        for line in file:
            if match := re.match(r"(c?fn)=\((\d+)\)(?: (.+))?", line):
                kind, number, name = match.groups()
                if name:  # the first mention names it, the others give the number only
                    names[number] = name.split("@")[0]  # without the symbol's version
                if kind == "fn":
                    caller = names[number]
                else:
                    callee = names[number]
            elif match := re.match(r"calls=(\d+) ", line):
                calls[caller, callee] += int(match[1])
            elif match := re.match(r"totals: (\d+)", line):
                instructions = int(match[1])
    return instructions, calls


def count_locks(calls):
    """A lock that Enter takes, or a function that nobody else calls, is the acquisition that Enter itself stands for."""
    below = {ENTER}
    while more := {callee for _, callee in calls} - below - {callee for caller, callee in calls if caller not in below}:
        below |= more
    return sum(
        count
        for (caller, callee), count in calls.items()
        if callee == ENTER or (callee in LOCKS and caller not in below)
    )


def count(task):
    """Returns (instructions, allocations, locks) of a run of the workload."""
    preset, name, times, folder = task
    path = os.path.join(folder, f"{preset}.{name}.{times}")
    program = os.path.join(ROOT, "build", preset, "bin", "qorjob_short_bench")
    run("valgrind", "--tool=callgrind", f"--callgrind-out-file={path}", program, "--only", name, str(times))
    instructions, calls = read_profile(path)
    allocations = sum(count for (_, callee), count in calls.items() if callee in ALLOCATIONS)
    return instructions, allocations, count_locks(calls)


def measure():
    """Returns the table: texts by row, in the order of the columns."""
    for preset in PRESETS:
        run("cmake", "--preset", preset)
        run("cmake", "--build", "--preset", preset, "--target", "qorjob_short_bench")
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(os.cpu_count()) as pool:
        tasks = [(preset, row, times, folder) for preset in PRESETS for row in ROWS for times in TIMES]
        runs = {task[:3]: counts for task, counts in zip(tasks, pool.map(count, tasks))}

    table = {}
    for row in ROWS:
        release, plain = (
            [(long - short) / (TIMES[1] - TIMES[0]) for short, long in zip(*(runs[preset, row, times] for times in TIMES))]
            for preset in PRESETS
        )
        if plain[2] == 0:
            sys.exit(f"count.py: {row} takes no lock: it is taken by a function that isn't known here")
        table[row] = [f"{release[0]:.0f}", f"{plain[0]:.0f}", f"{plain[1]:.1f}", f"{plain[2]:.1f}"]
    return table


def split_readme():
    with open(README) as file:
        before, rest = file.read().split(BEGIN)
    record, after = rest.split(END)
    return before, record, after


def write_record(table):
    before, _, after = split_readme()
    lines = [["figure", *COLUMNS], ["---"] * (1 + len(COLUMNS)), *([f"`{row}`", *cells] for row, cells in table.items())]
    with open(README, "w") as file:
        file.write(before + BEGIN + "".join(f"| {' | '.join(line)} |\n" for line in lines) + END + after)


def compare(table):
    """Prints the counts beside those on record; returns what has risen."""
    record = {}
    for line in split_readme()[1].splitlines():
        row, *cells = [cell.strip() for cell in line.strip("|").split("|")]
        record[row.strip("`")] = cells
    risen = []
    print(f"{'now (on record)':<16}" + "".join(f"{column:>32}" for column in COLUMNS))
    for row, cells in table.items():
        if len(record.get(row, [])) != len(COLUMNS):
            sys.exit(f"count.py: {row} isn't on record: ./dev bench --count --record")
        print(f"{row:<16}" + "".join(f"{f'{now} ({then})':>32}" for now, then in zip(cells, record[row])))
        for column, now, then in zip(COLUMNS, cells, record[row]):
            if float(now) > float(then) * MOST_RISE:
                risen.append(f"{row}: {column} rose from {then} to {now}")
    return risen


def main():
    parser = argparse.ArgumentParser(prog="./dev bench --count", description="Counts what a job costs.")
    parser.add_argument("--record", action="store_true", help="put the counts on record in bench/README.md")
    record = parser.parse_args().record
    if platform.machine() != MACHINE:
        print(f"count.py: the record is of {MACHINE}, and says nothing here ({platform.machine()}): skipped")
        return 0
    table = measure()
    if record:
        write_record(table)
    risen = compare(table)
    for line in risen:
        print(f"count.py: {line}")
    return 1 if risen else 0


sys.exit(main())
