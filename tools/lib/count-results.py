#!/usr/bin/python3
"""Sums up test runs: prints `N passed, N failed` and fails where anything failed or nothing ran.

usage: count-results.py REPORT:STATUS...

REPORT is a run's JUnit report, STATUS its exit status. A run that failed without a failed test in
its report (a crash), or that reported no test at all, counts as one failure.
"""

import pathlib
import sys
import xml.etree.ElementTree as ElementTree
from collections import Counter


def count(report: pathlib.Path) -> Counter[str]:
    """Number of test cases by how they ended; none where the run wrote no report."""
    ends: Counter[str] = Counter()
    if report.exists() and report.stat().st_size > 0:
        for case in ElementTree.parse(report).iter("testcase"):
            if case.find("failure") is not None or case.find("error") is not None:
                ends["failed"] += 1
            elif case.find("skipped") is not None:
                ends["skipped"] += 1
            else:
                ends["passed"] += 1
    return ends


def main() -> int:
    total: Counter[str] = Counter()
    for run in sys.argv[1:]:
        name, _, status = run.rpartition(":")
        ends = count(pathlib.Path(name))
        if not ends:
            print(f"{name}: the run ended with status {status} and reported no test")
            ends["failed"] += 1
        elif status != "0" and not ends["failed"]:
            print(f"{name}: the run ended with status {status}, but no test in it failed")
            ends["failed"] += 1
        total += ends
    if total["skipped"]:
        print(f"{total['skipped']} skipped")
    print(f"{total['passed']} passed, {total['failed']} failed")
    return 0 if total["passed"] and not total["failed"] else 1


if __name__ == "__main__":
    sys.exit(main())
