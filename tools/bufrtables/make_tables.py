#!/usr/bin/env python3
"""Generate the decoder's BUFR tables from the WMO master tables of ecCodes.

Reads element.table and sequence.def of one master table version, as
Debian's libeccodes-data installs them, merges a hand-kept file of local
entries, and writes three files into the output directory:

  bufrTableB   descriptor|description|units|scale|reference|bits
  bufrTableD   sequence|member|member|...|0
  replDescTbl  the delayed replication and repetition factors of class 31

Descriptors are written as the decimal FXXYYY without leading zeros
(0 12 001 is 12001, 3 01 001 is 301001).  Lines are sorted by descriptor,
so a regeneration from the same inputs gives identical files.

The loader dictates the forms:

* It reads a line with fgets into 220 characters, newline included, so no
  line may be longer than 218 characters before its newline.
* Table B fields are cut at "|" with empty fields dropped, which would shift
  the rest; so no field is empty (ecCodes' own fields are "|"-separated and
  can't hold one either).  An empty name or unit becomes "-" and an overlong
  name is cut at its end, each listed on stderr; otherwise the names stay as
  WMO writes them: netCDF templates refer to elements by these names.
* Units beginning with "CCITT IA5" make a character element, so every
  element that ecCodes types as string gets units starting so.
* A Table D line must end with a field 0; members are read up to it.
* replDescTbl is read in pieces of at most five characters, each taken up to
  its first "|".  The factors all have five digits, so the file is the
  factors back to back without separator or newline: a newline would come
  as a piece of its own and add a descriptor 0.

Long sequences. A few WMO sequences have too many members for one line. Such
a sequence is written as a chain: its line ends with a local sequence
descriptor holding the rest of the members (which may chain again), and
members in front of its first delayed replication may be moved into a local
sequence at its head. The local descriptors take the category of the
sequence they serve, 3 XX 192 upwards (the WMO leaves 192 to 255 of each
category to local use), the lowest number that no other entry uses, handed
out in descriptor order. A cut never falls inside a replication: a
replication operator, its factor and the X descriptors it covers stay on one
line, so X needs no change; only a group too long for any line goes to a
local sequence of its own, and its replication then covers that one
descriptor (X = 1).  A run lists on stdout each sequence it chained and the
local descriptors it took.

The cut points also keep the decoder's own reading.  It ends a sequence at
its first delayed replication factor and lets the next sequence expanded
supply the group, so that replication stays in the line of the sequence
itself, never in a local sequence: everything behind it is never expanded
and may be chained freely.  Two readings can't be kept by any chaining:
members of a sequence copied unexpanded into a delayed group of Section 3
(the local descriptor there stands for the rest of the members), and a
sequence expanded while a delayed group of an earlier sequence is pending
(the first sequence to end closes that group, and that may now be a local
one).

Local entries file.  One entry per line; blank lines and lines starting
with "#" are skipped.  A line whose first field is a class 0 descriptor is a
Table B entry with the six fields of bufrTableB; a class 3 descriptor starts
a Table D entry followed by its members, without the terminating 0.
Descriptors may be written FXXYYY with leading zeros or as plain decimals.
Local entries are merged after the WMO ones and replace an entry of the same
descriptor.
"""

import argparse
import os
import re
import sys

SOURCE_DIR = "/usr/share/eccodes/definitions/bufr/tables/0/wmo"
# The newest version that edition 3 data decodes with: version 14 changed existing elements (0 14 001 on).
VERSION = "13"
HERE = os.path.dirname(os.path.abspath(__file__))
OUT_DIR = os.path.normpath(os.path.join(HERE, "..", "..", "site", "data"))
LOCAL_FILE = os.path.join(HERE, "local_entries.txt")

MAX_LINE = 218
CHARACTER_UNITS = "CCITT IA5"
FIRST_LOCAL_Y = 192
LINK = 399999  # stands in for a local descriptor not yet numbered: all class 3 ones have six digits


def f_of(d):
    return d // 100000


def x_of(d):
    return d // 1000 % 100


def y_of(d):
    return d % 1000


def is_delayed(d):
    return f_of(d) == 1 and y_of(d) == 0


def read_elements(path):
    """Table B entries of element.table: descriptor -> [name, units, scale, reference, bits]."""
    elements = {}
    with open(path, encoding="ascii") as f:
        for line in f:
            if line.startswith("#") or not line.strip():
                continue
            code, _, kind, name, units, scale, ref, width = line.rstrip("\n").split("|")[:8]
            d = int(code)
            if kind == "string" and not units.startswith(CHARACTER_UNITS):
                print(f"note: {code} is a string element; units {units!r} become {CHARACTER_UNITS!r}",
                      file=sys.stderr)
                units = CHARACTER_UNITS
            elements[d] = [name, units, int(scale), int(ref), int(width)]
    return elements


def read_sequences(path):
    with open(path, encoding="ascii") as f:
        text = f.read()
    return {int(seq): [int(m) for m in re.findall(r"\d+", members)]
            for seq, members in re.findall(r'"(\d+)"\s*=\s*\[([^\]]*)\]', text)}


def merge_local(path, elements, sequences):
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            fields = [field.strip() for field in line.rstrip("\n").split("|")]
            try:
                d = int(fields[0])
                if f_of(d) == 0 and len(fields) == 6:
                    elements[d] = fields[1:3] + [int(v) for v in fields[3:]]
                elif f_of(d) == 3 and all(int(m) for m in fields[1:]):
                    sequences[d] = [int(m) for m in fields[1:]]
                else:
                    raise ValueError
            except ValueError:
                sys.exit(f"{path}:{number}: not a Table B or Table D entry: {line.rstrip()}")


def load(source_dir, version, local_file):
    """The WMO tables of one version with the local entries merged in, before any chaining."""
    base = os.path.join(source_dir, version)
    elements = read_elements(os.path.join(base, "element.table"))
    sequences = read_sequences(os.path.join(base, "sequence.def"))
    merge_local(local_file, elements, sequences)
    return elements, sequences


def table_b_line(d, name, units, scale, ref, bits):
    name, units = (text.strip() or "-" for text in (name, units))
    numbers = "|".join(map(str, (scale, ref, bits)))
    room = MAX_LINE - len(f"{d}||{units}|{numbers}")
    return f"{d}|{name[:room].rstrip()}|{units}|{numbers}"


def table_b_lines(elements):
    lines = []
    for d in sorted(elements):
        line = table_b_line(d, *elements[d])
        if line.split("|")[1:3] != elements[d][:2]:
            print(f"note: {d} written as {line!r}", file=sys.stderr)
        lines.append(line)
    return lines


def d_line(seq, members):
    return "|".join(map(str, [seq, *members, 0]))


def fits(seq, members):
    return len(d_line(seq, members)) <= MAX_LINE


def units(members):
    """Cut a member list into pieces that must share a line: a replication
    with its factor and the descriptors it covers, or a single descriptor."""
    pieces, i = [], 0
    while i < len(members):
        end = j = i + 1
        if f_of(members[i]) == 1:
            end = i + 1 + is_delayed(members[i]) + x_of(members[i])
            while j < end:
                if f_of(members[j]) == 1:
                    end = max(end, j + 1 + is_delayed(members[j]) + x_of(members[j]))
                j += 1
        pieces.append(members[i:end])
        i = end
    return pieces


def flat(pieces):
    return [d for piece in pieces for d in piece]


def chain(sequences):
    """Sequences whose line would be too long, split over local descriptors.
    Answers the new table and, per split sequence, the local descriptors it took."""
    table = dict(sequences)
    used = set(sequences)
    chained = {}

    def allocate(parent):
        for y in range(FIRST_LOCAL_Y, 256):
            d = parent // 1000 * 1000 + y
            if d not in used:
                used.add(d)
                chained.setdefault(root, []).append(d)
                return d
        sys.exit(f"no free local descriptor left for chaining {parent}")

    def wrap(seq, piece):
        """A replication too long for any line, its group moved to a local sequence."""
        covered = 1 + is_delayed(piece[0])
        group = allocate(seq)
        split(group, piece[covered:])
        return [101000 + y_of(piece[0])] + piece[1:covered] + [group]

    def split(seq, members):
        if fits(seq, members):
            table[seq] = members
            return
        pieces = [p if fits(seq, [LINK, *p, LINK]) else wrap(seq, p) for p in units(members)]
        first = next((i for i, p in enumerate(pieces) if is_delayed(p[0])), len(pieces))
        head, start = [], 0
        if first < len(pieces):
            tail = [LINK] if first + 1 < len(pieces) else []
            while not fits(seq, [LINK] * bool(start) + flat(pieces[start:first + 1]) + tail):
                start += 1
            if start:
                head = [allocate(seq)]
                split(head[0], flat(pieces[:start]))
        end = len(pieces)
        while not fits(seq, head + flat(pieces[start:end]) + [LINK] * (end < len(pieces))):
            end -= 1
        line = head + flat(pieces[start:end])
        if end < len(pieces):
            rest = allocate(seq)
            line.append(rest)
            split(rest, flat(pieces[end:]))
        table[seq] = line

    for root in sorted(sequences):
        split(root, sequences[root])
    return table, chained


def replication_factors(elements):
    """Class 31 elements that count the repetitions of a delayed replication."""
    return [d for d in sorted(elements)
            if x_of(d) == 31 and "DELAYED DESCRIPTOR" in elements[d][0].upper()]


def build(elements, sequences):
    """The three files' contents, and the chained sequences."""
    table, chained = chain(sequences)
    b_text = "".join(line + "\n" for line in table_b_lines(elements))
    d_text = "".join(d_line(seq, table[seq]) + "\n" for seq in sorted(table))
    factors = [str(d) for d in replication_factors(elements)]
    if any(len(factor) != 5 for factor in factors):
        sys.exit(f"replication factors must have five digits: {factors}")
    return {"bufrTableB": b_text, "bufrTableD": d_text, "replDescTbl": "".join(factors)}, chained


def add_source_options(parser):
    parser.add_argument("--source-dir", default=SOURCE_DIR,
                        help="directory of the WMO master table versions (default %(default)s)")
    parser.add_argument("--version", default=VERSION, help="master table version (default %(default)s)")
    parser.add_argument("--local", default=LOCAL_FILE, help="local entries file (default %(default)s)")


def write(out_dir, files):
    os.makedirs(out_dir, exist_ok=True)
    for name, text in files.items():
        with open(os.path.join(out_dir, name), "w", encoding="utf-8", newline="") as f:
            f.write(text)


def main(argv=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    add_source_options(parser)
    parser.add_argument("--out-dir", default=OUT_DIR, help="where to write the tables (default %(default)s)")
    args = parser.parse_args(argv)
    files, chained = build(*load(args.source_dir, args.version, args.local))
    write(args.out_dir, files)
    for seq, local in sorted(chained.items()):
        print(f"{seq} chained over {' '.join(map(str, local))}")


if __name__ == "__main__":
    main()
