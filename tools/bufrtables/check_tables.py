#!/usr/bin/env python3
"""Check the BUFR tables in a data directory against the rules of the
decoder's loader and against the master tables they were made from.

Always: line lengths and fields as the loader reads them, replDescTbl as
read in five-character pieces, every sequence member known, replications
complete within their line, no sequence containing itself.  When the
master tables are installed, also: each master sequence expands to the same
descriptors before and after chaining, both by the BUFR rules and as the
decoder's own expansion reads it, and a regeneration gives the files byte
for byte.  Exits non-zero on the first kind of failure found, with the
reasons on stderr.
"""

import argparse
import filecmp
import os
import sys
import tempfile

import make_tables as mt

FACTORS = (31000, 31001, 31002)  # the ones the decoder's expansion treats as delayed factors


def read_lines(path, errors):
    with open(path, encoding="utf-8", newline="") as f:
        lines = f.read().split("\n")
    if lines.pop():
        errors.append(f"{path}: last line has no newline")
    for number, line in enumerate(lines, 1):
        if len(line) > mt.MAX_LINE:
            errors.append(f"{path}:{number}: {len(line)} characters, more than {mt.MAX_LINE}")
        fields = line.split("|")
        if not all(field.strip() for field in fields):
            errors.append(f"{path}:{number}: empty field")
        yield number, fields


def numbers(fields, path, number, errors):
    try:
        return [int(field) for field in fields]
    except ValueError:
        errors.append(f"{path}:{number}: not a number in {fields}")
        return []


def read_table_b(path, errors):
    elements = {}
    for number, fields in read_lines(path, errors):
        if len(fields) != 6:
            errors.append(f"{path}:{number}: {len(fields)} fields, not 6")
        elif numbers(fields[:1] + fields[3:], path, number, errors):
            elements[int(fields[0])] = fields[1:3]
    return elements


def read_table_d(path, errors):
    sequences = {}
    for number, fields in read_lines(path, errors):
        values = numbers(fields, path, number, errors)
        if values and (values[-1] != 0 or 0 in values[:-1]):
            errors.append(f"{path}:{number}: the only 0 must be the last field")
        elif values:
            sequences[values[0]] = values[1:-1]
    return sequences


def read_factors(path, errors):
    """replDescTbl as the loader reads it: fgets into 6 characters, cut at the first "|"."""
    with open(path, encoding="utf-8", newline="") as f:
        text = f.read()
    pieces, start = [], 0
    while start < len(text):
        end = min(start + 5, len(text))
        if "\n" in text[start:end]:
            end = text.index("\n", start) + 1
        pieces.append(text[start:end])
        start = end
    factors = []
    for piece in pieces:
        token = piece.lstrip("|").split("|")[0]
        if not token:
            errors.append(f"{path}: piece {piece!r} consists of bars only")
        elif not token.strip().isdigit():
            errors.append(f"{path}: piece {piece!r} doesn't read as a descriptor")
        else:
            factors.append(int(token))
    return factors


def check_structure(elements, sequences, factors, errors):
    wanted = mt.replication_factors({d: [names[0]] for d, names in elements.items()})
    if sorted(factors) != wanted:
        errors.append(f"replDescTbl holds {factors}, Table B's factors are {wanted}")
    for seq, members in sequences.items():
        for i, d in enumerate(members):
            known = {0: d in elements, 1: True, 2: True, 3: d in sequences}.get(mt.f_of(d), False)
            if not known:
                errors.append(f"sequence {seq}: unknown member {d}")
            if mt.f_of(d) == 1 and i + 1 + mt.is_delayed(d) + mt.x_of(d) > len(members):
                errors.append(f"sequence {seq}: replication {d} runs past the end of its line")
    state = {}

    def visit(seq, path):
        if state.get(seq) == "open":
            errors.append(f"sequence {seq} contains itself: {' > '.join(map(str, path))}")
        elif seq not in state:
            state[seq] = "open"
            for d in sequences[seq]:
                if d in sequences:
                    visit(d, path + [d])
            state[seq] = "done"

    for seq in sorted(sequences):
        visit(seq, [seq])


def expansion(table, members):
    """Members with every sequence expanded; a replication stands as its count,
    its factor and the expansion of the group it covers, so that a group moved
    to a sequence of its own expands as before."""
    out, i = [], 0
    while i < len(members):
        d = members[i]
        if mt.f_of(d) == 1:
            group = i + 1 + mt.is_delayed(d)
            out.append((mt.y_of(d), members[i + 1:group],
                        expansion(table, members[group:group + mt.x_of(d)])))
            i = group + mt.x_of(d)
        else:
            out += expansion(table, table[d]) if mt.f_of(d) == 3 else [d]
            i += 1
    return out


def engine_reading(table, seq, pending):
    """What the decoder's expansion of Section 3 makes of a sequence: the flat
    list, the delayed groups it closed, and the state it leaves.  A sequence
    ends at its first delayed factor, and the end of the next sequence closes
    the group; pending starts as though an earlier sequence had left one open."""
    out, groups = [], []
    state = {"pending": pending, "seen": pending}

    def element(d, group, members, index):
        if d in FACTORS:
            out.append(d)
            return True, index
        (group if state["pending"] else out).append(d)
        return (True, index) if index + 1 == len(members) else (False, index + 1)

    def fixed(x, y, index, members):
        for _ in range(y):
            cursor = index + 1
            for _ in range(x):
                d = members[cursor]
                if mt.f_of(d) == 0:
                    cursor = element(d, [], members, cursor)[1]
                elif mt.f_of(d) == 2:
                    out.append(d)
                    cursor += 1
                elif mt.f_of(d) == 3:
                    expand(d)
                    cursor += 1
                # a replication nested here is passed over with the cursor standing, as the decoder does

    def expand(s):
        members, group, index = table[s], [], 0
        while index < len(members):
            d = members[index]
            if mt.f_of(d) == 1 and mt.y_of(d):
                fixed(mt.x_of(d), mt.y_of(d), index, members)
                index += mt.x_of(d) + 1
            elif mt.f_of(d) == 1:
                state["pending"], state["seen"] = True, False
                members, index = [members[index + 1]], 0
            elif mt.f_of(d) == 0:
                done, index = element(d, group, members, index)
                if done:
                    break
            else:
                if mt.f_of(d) == 2:
                    out.append(d)
                else:
                    expand(d)
                index += 1
        if state["pending"] and not state["seen"]:
            state["seen"] = True
        elif state["pending"]:
            groups.append(group)
            state["pending"] = state["seen"] = False

    expand(seq)
    return out, groups, state["pending"], state["seen"]


def check_against_source(args, data_dir, sequences, errors):
    elements, original = mt.load(args.source_dir, args.version, args.local)
    files, _ = mt.build(elements, original)
    with tempfile.TemporaryDirectory() as fresh:
        mt.write(fresh, files)
        for name in files:
            if not filecmp.cmp(os.path.join(fresh, name), os.path.join(data_dir, name), shallow=False):
                errors.append(f"{name} differs from a regeneration: run make_tables.py")
    if errors:
        return
    pending_differs = []
    for seq in sorted(original):
        if expansion(original, original[seq]) != expansion(sequences, sequences[seq]):
            errors.append(f"sequence {seq}: expansion differs from master table {args.version}")
        if engine_reading(original, seq, False) != engine_reading(sequences, seq, False):
            errors.append(f"sequence {seq}: the decoder's expansion differs from master table {args.version}")
        elif engine_reading(original, seq, True) != engine_reading(sequences, seq, True):
            pending_differs.append(seq)
    if pending_differs:
        # No chaining can keep this reading: the end of every sequence closes a pending group.
        print("note: read differently while an earlier delayed group is pending:",
              *pending_differs, file=sys.stderr)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    mt.add_source_options(parser)
    parser.add_argument("--data-dir", default=mt.OUT_DIR, help="tables to check (default %(default)s)")
    args = parser.parse_args(argv)
    path = {name: os.path.join(args.data_dir, name) for name in ("bufrTableB", "bufrTableD", "replDescTbl")}
    errors = []
    try:
        elements = read_table_b(path["bufrTableB"], errors)
        sequences = read_table_d(path["bufrTableD"], errors)
        factors = read_factors(path["replDescTbl"], errors)
    except OSError as error:
        sys.exit(str(error))
    if not errors:
        check_structure(elements, sequences, factors, errors)
    if not errors and os.path.isdir(os.path.join(args.source_dir, args.version)):
        check_against_source(args, args.data_dir, sequences, errors)
    elif not errors:
        print(f"note: no master table {args.version} in {args.source_dir}; not compared", file=sys.stderr)
    for error in errors:
        print(error, file=sys.stderr)
    if errors:
        sys.exit(1)
    print(f"{len(elements)} Table B and {len(sequences)} Table D entries, {len(factors)} factors: OK")


if __name__ == "__main__":
    main()
