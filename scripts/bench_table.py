#!/usr/bin/env python3
"""Prints one Markdown table from the JSON files of Google Benchmark runs.

Benchmarks are paired by their names: `area/task/ours` with each `area/task/<peer>`. Of several
repetitions the median counts.
"""

import json
import statistics
import sys

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


def read_times(paths):
    """Median wall-clock seconds by task and by who did it, both in the order of the files."""
    runs = {}
    medians = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
            # A program of which no benchmark was selected leaves an empty file.
            for row in json.loads(text)["benchmarks"] if text else []:
                if row.get("error_occurred"):
                    sys.exit(f"{row['name']}: {row.get('error_message', 'failed')}")
                # Behind the three parts stand arguments, and options as "key:value" or words.
                parts = row.get("run_name", row["name"]).split("/")
                if len(parts) < 3:
                    sys.exit(f"{row['name']}: not of the form area/task/who")
                key = ("/".join(parts[:2] + [p for p in parts[3:] if p.isdigit()]), parts[2])
                seconds = row["real_time"] * UNITS[row["time_unit"]]
                if row.get("run_type") != "aggregate":
                    runs.setdefault(key, []).append(seconds)
                elif row.get("aggregate_name") == "median":
                    medians[key] = seconds
    medians.update({key: statistics.median(times) for key, times in runs.items()})
    times = {}
    for (task, who), seconds in medians.items():
        times.setdefault(task, {})[who] = seconds
    return times


def in_words(seconds):
    for unit in ("s", "ms", "us"):
        if seconds >= UNITS[unit]:
            return f"{seconds / UNITS[unit]:.3g} {unit}"
    return f"{seconds / UNITS['ns']:.3g} ns"


def main():
    times = read_times(sys.argv[1:])
    if not times:
        sys.exit("no benchmark has run")
    print("| task | ours | peer | ratio |")
    print("|---|---|---|---|")
    for task, by_whom in times.items():
        ours = by_whom.pop("ours", None)
        if ours is None:
            continue
        if not by_whom:
            print(f"| {task} | {in_words(ours)} | - | - |")
        for peer, theirs in by_whom.items():
            print(f"| {task} | {in_words(ours)} | {peer} {in_words(theirs)} | {ours / theirs:.2f} |")


if __name__ == "__main__":
    main()
