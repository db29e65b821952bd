#!/usr/bin/env python3
"""Pairs benchmark results named '<subject>.ours...' and '<subject>.peer...'
and prints a Markdown table of time ratios (ours / peer; below 1 is faster).

usage: ratios.py result.json [result.json ...]
"""
import json
import re
import sys


def main(paths):
    rows = {}
    for path in paths:
        with open(path) as f:
            data = json.load(f)
        for b in data.get("benchmarks", []):
            if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
                continue
            m = re.match(r"^(.*)\.(ours|peer)(.*)$", b["name"].replace("_median", ""))
            if not m:
                continue
            key = m.group(1) + m.group(3)
            rows.setdefault(key, {})[m.group(2)] = (b["real_time"], b.get("time_unit", "ns"))
    print("| benchmark | ours | peer | ours / peer |")
    print("|---|---|---|---|")
    for key in sorted(rows):
        r = rows[key]
        if "ours" in r and "peer" in r:
            (o, u), (p, _) = r["ours"], r["peer"]
            ratio = o / p if p else float("inf")
            print(f"| {key} | {o:.4g} {u} | {p:.4g} {u} | {ratio:.3g} |")
        else:
            side = "ours" if "ours" in r else "peer"
            v, u = r[side]
            print(f"| {key} | {v:.4g} {u} ({side} only) | | |")


if __name__ == "__main__":
    main(sys.argv[1:])
