"""Prints benchmark results beside their rivals'.

A benchmark NAME/ARGS and its rival NAME_rival/ARGS (or NAME_rival_WHAT/ARGS) make one row. The goal is the largest ratio
that will do; a row that misses it is marked.
"""

import json
import re
import sys


# By the beginning of NAME/ARGS; all others need only be as fast as their rival.
GOALS = {
    "snmp_decode": 0.5,
    "trap_decode": 0.6,
    "tracked_pair/10000": 2.0,
    "tracked_pair": 3.0,
    "untracked_pair": 1.2,
    "set_among": 1.3,
}


def goal_of(name):
    return next((goal for start, goal in GOALS.items() if name.startswith(start)), 1.0)


def medians(paths):
    times = {}
    for path in paths:
        with open(path, encoding="utf-8") as file:
            text = file.read()
        if not text.strip():
            continue
        for run in json.loads(text)["benchmarks"]:
            if run.get("aggregate_name") == "median":
                scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
                times[run["run_name"]] = run["real_time"] * scale
    return times


def shown(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.2f} {unit}"
    return f"{nanoseconds:.1f} ns"


def main():
    times = medians(sys.argv[1:])
    print(f"{'benchmark':<44} {'ours':>12} {'rival':>12} {'ratio':>7} {'goal':>5}  rival")
    missed = 0
    for name in sorted(times):
        if "_rival" in name:
            continue
        base, slash, arguments = name.partition("/")
        pattern = re.compile(re.escape(base) + "_rival(_.*)?" + re.escape(slash + arguments))
        rivals = [other for other in sorted(times) if pattern.fullmatch(other)]
        if not rivals:
            print(f"{name:<44} {shown(times[name]):>12}")
        for rival in rivals:
            what = rival.partition("/")[0][len(base) + len("_rival"):].lstrip("_") or "rival"
            ratio = times[name] / times[rival]
            goal = goal_of(name)
            mark = "" if ratio <= goal else "  <- misses its goal"
            missed += bool(mark)
            print(f"{name:<44} {shown(times[name]):>12} {shown(times[rival]):>12} {ratio:>7.2f} {goal:>5.2f}  {what}{mark}")
    print(f"{missed} of the ratios miss their goals" if missed else "All goals are met.")


if __name__ == "__main__":
    main()
