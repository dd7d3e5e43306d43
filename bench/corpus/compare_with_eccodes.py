#!/usr/bin/env python3
"""Compares, value by value, what bufrdump decodes from each message with
what ecCodes decodes (through tests/data/bufr/expected_values.py).

Usage:  compare_with_eccodes.py BUFRDUMP FILE...    (ZEPH_HOME set)

ecCodes runs with this environment: messages with local descriptors need
their definitions in front of ecCodes' own, e.g.
ECCODES_DEFINITION_PATH=site/samples/model/definitions:/usr/share/eccodes/definitions

Replication factors are values for ecCodes but not for the engine, and are
left out. A number agrees when it is the single precision float nearest to
what ecCodes gives, or when both print the same at the scale ecCodes gives
it. Exit status 0 when every file agrees.
"""
import json
import os
import struct
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
EXPECTED = os.path.join(HERE, "..", "..", "tests", "data", "bufr", "expected_values.py")
FACTORS = {31000, 31001, 31002}


def single(number):
    return struct.unpack("f", struct.pack("f", number))[0]


def theirs(path):
    result = subprocess.run([sys.executable, EXPECTED, path], capture_output=True, text=True)
    if result.returncode != 0:
        return None, result.stderr.strip().splitlines()[-1:]
    out = result.stdout
    values = []
    for line in out.splitlines():
        if not line[:1].isdigit():
            continue
        subset, descriptor, scale, value = line.split(" ", 3)
        if int(descriptor) not in FACTORS:
            values.append((int(subset), int(descriptor), scale, value))
    return values, None


def ours(bufrdump, path):
    out = subprocess.run([bufrdump, "--json", path], capture_output=True,
                         text=True).stdout
    return [json.loads(line) for line in out.splitlines()[1:] if line.startswith('{"subset"')]


def agree(mine, their):
    subset, descriptor, scale, value = their
    if mine["subset"] != subset or mine["descriptor"] != descriptor:
        return False
    if value == "MISSING":
        return mine["value"] == -99999.0
    if scale == "C":
        return '"%s"' % mine["text"] == value
    if single(mine["value"]) == single(float(value)):
        return True
    decimals = max(int(scale), 0)
    return "%.*f" % (decimals, mine["value"]) == "%.*f" % (decimals, float(value))


def main():
    bufrdump, files = sys.argv[1], sys.argv[2:]
    failed = 0
    for path in files:
        a, (b, error) = ours(bufrdump, path), theirs(path)
        if error is not None:
            failed += 1
            print("%s: ecCodes can't decode it: %s" % (path, " ".join(error)))
            continue
        bad = [i for i, (m, t) in enumerate(zip(a, b)) if not agree(m, t)]
        if len(a) != len(b) or bad:
            failed += 1
            first = bad[0] if bad else min(len(a), len(b))
            print("%s: DIFFERS (%d against %d values; first at %d: %r / %r)"
                  % (path, len(a), len(b), first, a[first] if first < len(a) else None,
                     b[first] if first < len(b) else None))
        else:
            print("%s: %d values agree" % (path, len(a)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
