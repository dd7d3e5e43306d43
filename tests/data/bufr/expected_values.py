#!/usr/bin/env python3
"""Write the expected values of one BUFR test message, as ecCodes decodes it.

Usage: expected_values.py MESSAGE_FILE > NAME.expected

The file may hold a WMO abbreviated heading in front of "BUFR"; ecCodes
skips it. The output is line oriented (see README.md):

  # comment
  key value                           header facts, key starts with a letter
  subset descriptor scale value       one data value, line starts with a digit

subset counts from 0. descriptor is FXXYYY in decimal without leading zeros
(0 12 004 is 12004). scale is the decimal scale in force for the value
(operators included), or C for a character value. value is MISSING, or the
number written with max(scale, 0) decimals, or for C the characters in
double quotes with trailing blanks and NULs removed.

Data values come in the order of Section 4, subset by subset (a compressed
message is reordered so). Replication factors (0 31 001, 0 31 002) and the
significance of an associated field (0 31 021) appear where they stand in
the data; an associated field value appears as descriptor 999999 in front
of the element it belongs to; the characters of operator 2 05 YYY appear as
descriptor 205YYY. Reference values that operator 2 03 YYY transmits are
not data values and are not listed.

Numbers are taken from ecCodes' numericValues at full precision, because
bufr_dump prints only six significant digits; the dump supplies the order,
descriptors, scales and characters.
"""

import json
import subprocess
import sys

MISSING = -1e100

HEADER_KEYS = [
    "edition",
    "masterTableNumber",
    "bufrHeaderCentre",
    "bufrHeaderSubCentre",
    "updateSequenceNumber",
    "section2Present",
    "dataCategory",
    "dataSubCategory",
    "masterTablesVersionNumber",
    "localTablesVersionNumber",
    "typicalYearOfCentury",
    "typicalMonth",
    "typicalDay",
    "typicalHour",
    "typicalMinute",
    "numberOfSubsets",
    "observedData",
    "compressedData",
    "offset",
    "totalLength",
    "section1Length",
    "section2Length",
    "section3Length",
    "section4Length",
]


def run(args, stdin=None):
    result = subprocess.run(args, input=stdin, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit("%s failed: %s" % (" ".join(args), result.stderr.strip()))
    return result.stdout


def filter_print(path, expression):
    """The output of one bufr_filter print statement on the unpacked message."""
    rules = 'set unpack=1;\nprint "%s";\n' % expression
    return run(["bufr_filter", "-", path], stdin=rules)


def header(path):
    present = int(filter_print(path, "[section2Present]").split()[0])
    keys = [k for k in HEADER_KEYS if k != "section2Length" or present]
    words = run(["bufr_get", "-p", ",".join(keys), path]).split()
    if len(words) != len(keys):
        sys.exit("unexpected header output for %s: %r" % (path, words))
    facts = dict(zip(keys, words))
    # "offset" is where "BUFR" starts in the file: the length of the heading.
    ordered = {"headingOctets": facts.pop("offset")}
    ordered.update(facts)
    return ordered


def value_objects(item):
    """The value object and the attribute objects nested in it (associated fields)."""
    found = [item]
    for field in item.values():
        if isinstance(field, dict) and "key" in field:
            found.extend(value_objects(field))
    return found


def descriptor_of(obj, expanded, path):
    if "code" in obj:
        return int(obj["code"])
    # The characters of operator 2 05 YYY carry no code in the dump; take the
    # operator from the expanded descriptors, which list it at this index.
    if obj.get("key") == "text" and expanded is not None:
        code = expanded[obj["index"] - 1]
        if code // 1000 == 205:
            return code
    sys.exit("%s: no descriptor for %r" % (path, obj))


def is_character(obj):
    return obj.get("units") == "CCITT IA5" or obj.get("key") == "text"


def format_number(number, scale):
    if scale > 0:
        return "%.*f" % (scale, number)
    return "%d" % round(number)


def format_text(text):
    return '"%s"' % text.rstrip(" \0")


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    path = sys.argv[1]
    facts = header(path)
    subsets = int(facts["numberOfSubsets"])
    compressed = facts["compressedData"] == "1"

    dump = json.loads(run(["bufr_dump", "-jf", path]))
    # One message dumps as a flat list of value objects, with a subsetNumber
    # object in front of each subset of an uncompressed message.
    items = dump["messages"]
    numeric = [float(w) for w in filter_print(path, "[numericValues%.17g]").split()]
    # The expanded descriptors name the 2 05 YYY operators; their positions
    # match the dump's indexes only in a message of one subset.
    expanded = None
    if subsets == 1:
        expanded = [int(w) for w in filter_print(path, "[expandedCodes]").split()]

    # Group the value objects by subset (uncompressed) and by index.
    groups = {}
    subset = 0
    for item in items:
        if item.get("key") == "subsetNumber":
            subset = item["value"] - 1
            continue
        for obj in value_objects(item):
            groups.setdefault(0 if compressed else subset, {})[obj["index"]] = obj

    lines = []
    if compressed:
        elements = [groups[0][i] for i in sorted(groups.get(0, {}))]
        if len(numeric) != len(elements) * subsets:
            sys.exit("%s: %d numeric values for %d elements x %d subsets"
                     % (path, len(numeric), len(elements), subsets))
        for s in range(subsets):
            for n, obj in enumerate(elements):
                value = obj["value"]
                if isinstance(value, list):
                    value = value[s]
                lines.append(entry(s, obj, value, numeric[s * len(elements) + n],
                                   expanded, path))
    else:
        for s in range(subsets):
            for i in sorted(groups.get(s, {})):
                obj = groups[s][i]
                lines.append(entry(s, obj, obj["value"], numeric[i - 1], expanded, path))
        if len(numeric) != sum(len(g) for g in groups.values()):
            sys.exit("%s: %d numeric values for %d dumped values"
                     % (path, len(numeric), sum(len(g) for g in groups.values())))

    out = sys.stdout
    out.write("# Expected values of %s as decoded by ecCodes; made by make_messages.sh, do not edit.\n"
              % path.split("/")[-1])
    out.write("# header: key value\n")
    for key, value in facts.items():
        out.write("%s %s\n" % (key, value))
    out.write("values %d\n" % len(lines))
    out.write("# data: subset descriptor scale value\n")
    for line in lines:
        out.write(line + "\n")


def entry(subset, obj, dumped, number, expanded, path):
    descriptor = descriptor_of(obj, expanded, path)
    if is_character(obj):
        text = "MISSING" if dumped is None else format_text(dumped)
        return "%d %d C %s" % (subset, descriptor, text)
    scale = int(obj.get("scale", 0))
    if number == MISSING:
        if dumped is not None:
            sys.exit("%s: %s missing in numericValues but %r in the dump"
                     % (path, obj["key"], dumped))
        return "%d %d %d MISSING" % (subset, descriptor, scale)
    if dumped is None or abs(float(dumped) - number) > 1e-5 * max(1.0, abs(number)):
        sys.exit("%s: %s is %r in the dump but %r in numericValues"
                 % (path, obj["key"], dumped, number))
    return "%d %d %d %s" % (subset, descriptor, scale, format_number(number, scale))


if __name__ == "__main__":
    main()
