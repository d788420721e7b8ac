#!/usr/bin/env python3
"""Runs clang-tidy over each source of a build: tidy.py BUILD, which has a compile_commands.json.

Most of the time that a source takes goes into the headers that it includes. So the sources of a folder that are compiled
alike are looked at together, as one that includes them all; those that clash, for two unnamed namespaces may use one name,
come later. Where something is found, the sources it is found in are looked at alone, and what is found then counts.
"""
import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TOGETHER = 16  # sources; more would leave the last core without work


def read_groups(build):
    """Returns the sources by their folder at the top of the tree and the options that they are compiled with."""
    groups = {}
    with open(os.path.join(build, "compile_commands.json")) as file:
        for entry in json.load(file):
            options = shlex.split(entry["command"])
            place = options.index("-o")
            del options[place : place + 2]
            options.remove("-c")
            options.remove(entry["file"])
            folder = os.path.relpath(entry["file"], ROOT).split(os.sep)[0]
            groups.setdefault((folder, *options), []).append(entry["file"])
    return groups


def run(*command):
    result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    return result.returncode, result.stdout


def take_together(options, name, sources):
    """Writes a source that includes those that don't clash; returns them and the others."""
    together, others = list(sources), []
    while True:
        with open(name, "w") as file:
            for source in together:
                file.write(f'#include "{source}" // NOLINT(bugprone-suspicious-include)\n')
        output = run(*options, "-w", "-fsyntax-only", "-ferror-limit=0", name)[1]
        lines = {int(line) - 1 for line in re.findall(rf"^In file included from {re.escape(name)}:(\d+):", output, re.M)}
        clashing = [together[line] for line in sorted(lines - {0})]
        if not clashing:
            return together, others
        together = [source for source in together if source not in clashing]
        others += clashing


def look(task):
    """Looks at the sources of a task; returns what is found."""
    options, name, sources = task
    findings = ""
    while sources:
        together, sources = take_together(options, name, sources)
        code, output = run("clang-tidy", "--quiet", name, "--", *options[1:], "-w")
        if code:
            places = set(re.findall(r"^(/[^:\n]+):\d+:\d+: (?:fatal )?(?:error|warning):", output, re.M))
            for source in together if places - set(together) or not places else places:
                code, output = run("clang-tidy", "--quiet", source, "--", *options[1:], "-w")
                findings += output if code else ""
    return findings


def main():
    build = os.path.abspath(sys.argv[1])
    folder = os.path.join(build, "tidy")
    os.makedirs(folder, exist_ok=True)
    tasks = []
    for (_, *options), sources in read_groups(build).items():
        parts = -(-len(sources) // TOGETHER)
        for part in range(parts):
            tasks.append((options, os.path.join(folder, f"{len(tasks)}.cpp"), sources[part::parts]))
    tasks.sort(key=lambda task: -len(task[2]))
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        findings = "".join(pool.map(look, tasks))
    print(findings, end="")
    sys.exit(1 if findings else 0)


main()
