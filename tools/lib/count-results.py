#!/usr/bin/python3
"""Sums up JUnit reports: prints `N passed, N failed`, fails where a test failed or none ran."""

import sys
import xml.etree.ElementTree as ElementTree


def count(paths: list[str]) -> tuple[int, int, int]:
    """Number of test cases that passed, failed and were skipped."""
    passed = failed = skipped = 0
    for path in paths:
        for case in ElementTree.parse(path).iter("testcase"):
            if case.find("failure") is not None or case.find("error") is not None:
                failed += 1
            elif case.find("skipped") is not None:
                skipped += 1
            else:
                passed += 1
    return passed, failed, skipped


def main() -> int:
    passed, failed, skipped = count(sys.argv[1:])
    tail = f", {skipped} skipped" if skipped else ""
    print(f"{passed} passed, {failed} failed{tail}")
    return 0 if passed and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
