"""Prints benchmark results beside their rivals'.

A benchmark NAME/ARGS and its rival NAME_rival/ARGS (or NAME_rival_WHAT/ARGS) make one row.
"""

import json
import re
import sys


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
    print(f"{'benchmark':<44} {'ours':>12} {'rival':>12} {'ratio':>7}  rival")
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
            print(f"{name:<44} {shown(times[name]):>12} {shown(times[rival]):>12} "
                  f"{times[name] / times[rival]:>7.2f}  {what}")


if __name__ == "__main__":
    main()
