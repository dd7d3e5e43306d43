#!/usr/bin/env python3
"""Regenerates the sample satellite wind files, high-density winds (hdw)
and QuikScat (quikscat), and the values each decodes to.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data
2.28.0-1); the script warns under another version.

Usage:  site/samples/hdw/make_wind_samples.py

Each file is one BUFR edition 3 message behind its WMO abbreviated heading,
one subset for each observation, encoded by ecCodes' bufr_filter from rules
that this script writes: uncompressed for the high-density winds, as SSEC
sends them, compressed for QuikScat, a swath of wind vector cells. For each
family it writes into site/samples/FAMILY/:

  NAME                  the file as a data feed delivers it
  expected/NAME.expected
                        header facts and data values as ecCodes decodes them
                        (tests/data/bufr/expected_values.py)
  expected/NAME.fates   one line for each subset: its number and what the
                        decoder makes of it ("stored", or "-" and why it
                        gets no record)

All descriptors are in WMO Table B (version 13): no local table is needed.
Every run gives identical files.
"""
import datetime
import os
import subprocess
import sys
import tempfile

MADE_WITH = "2.28.0"
HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLES = os.path.dirname(HERE)
ROOT = os.path.normpath(os.path.join(SAMPLES, "..", ".."))
EXPECTED_VALUES = os.path.join(ROOT, "tests", "data", "bufr", "expected_values.py")

# The number forms and the running of tools are the model recipe's.
sys.path.insert(0, os.path.join(SAMPLES, "model"))
sys.dont_write_bytecode = True
from make_model_samples import fmt, run  # noqa: E402


def t(h, mi, s):
    return datetime.datetime(2024, 3, 22, h, mi, s)


class Wind:
    """A high-density wind vector: position, time, what the decoder makes
    of it, and the values of the vector."""

    def __init__(self, lat, lon, when, fate, method=1, pressure=45000,
                 direction=270, speed=25.5, confidence=85):
        self.lat, self.lon, self.when, self.fate = lat, lon, when, fate
        self.method, self.pressure = method, pressure
        self.direction, self.speed, self.confidence = direction, speed, confidence


# Positions have at most four decimals, so that the store's id of a
# position (1/10000 degree) doesn't depend on the last bit of a float.
HDW_FILES = [
    ("JUTX01_KNES_202403221800", "JUTX01 KNES 221800", [
        Wind(39.5, -104.25, t(18, 0, 10), "stored"),
        Wind(40.25, -105.0, t(18, 0, 25), "stored", 2, 30000, 255, 31.0),  # same minute
        Wind(41.0, -103.5, t(18, 0, 29), "stored", 3, 25000, 240, 40.2),   # rounds down
        Wind(35.1234, -97.4321, t(18, 1, 30), "stored", 1, 85000, 180, 8.5),  # rounds up
        Wind(35.5, -97.0, t(18, 1, 45), "stored", 1, 84000, 190, 9.5),
        Wind(36.0, -96.5, t(18, 5, 0), "stored", 1, 83000, 200, 10.5),
        Wind(None, -100.0, t(18, 6, 0), "- missing position"),
        Wind(30.0, None, t(18, 6, 0), "- missing longitude"),
        Wind(-89.99, 179.99, t(18, 10, 0), "stored", 5, 20000, 10, 55.0, 99),
        Wind(0.0, -180.0, t(18, 20, 0), "stored", 5, 15000, 90, 12.0, 60),
        # One position in two hours: a record in each hour's file.
        Wind(45.5, -120.75, t(18, 59, 40), "stored", 2, 70000, 300, 5.0),
        Wind(45.5, -120.75, t(18, 30, 0), "stored", 2, 71000, 310, 6.0),
    ]),
    # Two vectors off the globe: no record for them, the others are stored
    # and notified, and the file goes to the bad directory.
    ("JUTY02_KNES_202403221900_OFFGLOBE", "JUTY02 KNES 221900", [
        Wind(38.0, -90.0, t(19, 5, 0), "stored"),
        Wind(95.0, -90.0, t(19, 5, 0), "- latitude off the globe"),
        Wind(38.0, 200.0, t(19, 5, 0), "- longitude off the globe"),
        Wind(37.5, -89.5, t(19, 6, 0), "stored"),
    ]),
]


class Cell:
    """A QuikScat wind vector cell."""

    def __init__(self, lat, lon, when, orbit, row, cell, quality, fate):
        self.lat, self.lon, self.when, self.orbit = lat, lon, when, orbit
        self.row, self.cell, self.quality, self.fate = row, cell, quality, fate


# Quality words (0 21 109, flag 1 the most significant of 17 bits): flag 13
# (16) rain flag not usable, flag 14 (8) rain detected, flag 10 (128) no
# wind retrieved, flag 9 (256) over ice, flag 1 (65536) few good sigma-0.
QUALITY = [0, 8, 16, 24, 136, None, 264, 65536, 8, 0]


def swath(orbits, start, rows, cells, lat0, lon0):
    out = []
    for r in range(rows):
        for c in range(cells):
            n = r * cells + c
            out.append(Cell(round(lat0 + 0.25 * r, 2), round(lon0 + 0.25 * c, 2),
                            start + datetime.timedelta(seconds=40 * r), orbits[r], 401 + r,
                            c + 38, QUALITY[n % len(QUALITY)], "stored"))
    return out


def quikscat_main():
    # Eight rows of ten cells; the last row belongs to the next orbit. The
    # rows begin every 40 seconds from 11:59:50: the minutes 12:00, 12:01
    # (twice), 12:02, 12:03 (twice), 12:04 and 12:05.
    cells = swath([24501] * 7 + [24502], t(11, 59, 50), 8, 10, 20.0, -140.0)
    cells[17].lat, cells[17].fate = None, "- missing position"
    return cells


QUIKSCAT_FILES = [
    ("ISXX01_KNES_202403221200", "ISXX01 KNES 221200", quikscat_main()),
    ("ISXX02_KNES_202403221300_OFFGLOBE", "ISXX02 KNES 221300", [
        Cell(-10.0, 60.0, t(13, 0, 0), 24510, 1, 1, 0, "stored"),
        Cell(-10.0, 200.0, t(13, 0, 0), 24510, 1, 2, 0, "- longitude off the globe"),
        Cell(-10.25, 60.0, t(13, 0, 20), 24510, 2, 1, 8, "stored"),
    ]),
]


def header(category, subsets, when, compressed):
    return [
        "set masterTablesVersionNumber=13;",
        "set localTablesVersionNumber=0;",
        "set bufrHeaderCentre=160;",
        "set bufrHeaderSubCentre=0;",
        "set updateSequenceNumber=0;",
        "set dataCategory=%d;" % category,
        "set dataSubCategory=0;",
        "set typicalYearOfCentury=%d;" % (when.year % 100),
        "set typicalMonth=%d;" % when.month,
        "set typicalDay=%d;" % when.day,
        "set typicalHour=%d;" % when.hour,
        "set typicalMinute=%d;" % when.minute,
        "set numberOfSubsets=%d;" % subsets,
        "set observedData=1;",
        "set compressedData=%d;" % compressed,
    ]


def values_writer(out):
    def put(key, values, decimals):
        out.append("set %s={%s};" % (key, ", ".join(fmt(v, decimals) for v in values)))
    return put


def times(put, obs):
    put("year", [o.when.year for o in obs], 0)
    put("month", [o.when.month for o in obs], 0)
    put("day", [o.when.day for o in obs], 0)
    put("hour", [o.when.hour for o in obs], 0)
    put("minute", [o.when.minute for o in obs], 0)
    put("second", [o.when.second for o in obs], 0)


def hdw_rules(winds):
    # The time block stands in front of the position, and the walk of a
    # vector ends at the year of the next one. The coldest cluster
    # temperature has no variable in the template.
    out = header(5, len(winds), winds[0].when, 0)
    out += [
        "set unexpandedDescriptors={",
        "    004001, 004002, 004003, 004004, 004005, 004006, 005001, 006001,",
        "    001007, 001031, 002023, 002025, 007004, 011001, 011002, 012071,",
        "    002163, 002164, 033007 };",
    ]
    put = values_writer(out)
    times(put, winds)
    put("latitude", [w.lat for w in winds], 4)
    put("longitude", [w.lon for w in winds], 4)
    put("satelliteIdentifier", [270] * len(winds), 0)
    put("centre", [160] * len(winds), 0)
    put("satelliteDerivedWindComputationMethod", [w.method for w in winds], 0)
    put("satelliteChannelsUsedInComputation", [1 << (w.method + 4) for w in winds], 0)
    put("pressure", [w.pressure for w in winds], -1)
    put("windDirection", [w.direction for w in winds], 0)
    put("windSpeed", [w.speed for w in winds], 1)
    put("coldestClusterTemperature", [215.0 + w.method for w in winds], 1)
    put("heightAssignmentMethod", [1 + w.method % 3 for w in winds], 0)
    put("tracerCorrelationMethod", [w.method % 2 for w in winds], 0)
    put("percentConfidence", [w.confidence for w in winds], 0)
    return out


def quikscat_rules(cells):
    # Satellite, orbit and time block in front of the position; the walk of
    # a cell ends at the satellite of the next one. The along-track row has
    # no variable in the template.
    out = header(12, len(cells), cells[0].when, 1)
    out += [
        "set unexpandedDescriptors={",
        "    001007, 005040, 004001, 004002, 004003, 004004, 004005, 004006,",
        "    005002, 006002, 005034, 006034, 021109, 011081, 011082, 021101,",
        "    011012, 011011, 021104, 021120 };",
    ]
    put = values_writer(out)
    put("satelliteIdentifier", [281] * len(cells), 0)
    put("orbitNumber", [c.orbit for c in cells], 0)
    times(put, cells)
    put("latitude", [c.lat for c in cells], 2)
    put("longitude", [c.lon for c in cells], 2)
    put("alongTrackRowNumber", [c.row for c in cells], 0)
    put("crossTrackCellNumber", [c.cell for c in cells], 0)
    put("seawindsWindVectorCellQuality", [c.quality for c in cells], 0)
    put("modelWindDirectionAt10M", [200.0 + 3.25 * i for i in range(len(cells))], 2)
    put("modelWindSpeedAt10M", [6.5 + 0.25 * i for i in range(len(cells))], 2)
    put("numberOfVectorAmbiguities", [2 + i % 3 for i in range(len(cells))], 0)
    put("windSpeedAt10M", [7.0 + 0.3 * i for i in range(len(cells))], 1)
    put("windDirectionAt10M", [195 + 3 * i for i in range(len(cells))], 0)
    put("likelihoodComputedForSolution", [-1.5 + 0.125 * (i % 30) for i in range(len(cells))], 3)
    put("probabilityOfRain", [0.05 * (i % 10) for i in range(len(cells))], 3)
    return out


def make(work, env, family, name, heading, obs, rules):
    lines = ["# %s %s, %d observations" % (family, name, len(obs))]
    lines += rules(obs) + ["set pack=1;", "write;"]
    rules_path = os.path.join(work, name + ".filter")
    raw = os.path.join(work, name + ".raw")
    with open(rules_path, "w", encoding="ascii") as f:
        f.write("\n".join(lines) + "\n")
    samples = run(["codes_info", "-s"], env).strip()
    run(["bufr_filter", "-o", raw, rules_path, os.path.join(samples, "BUFR3.tmpl")], env)
    folder = os.path.join(SAMPLES, family)
    path = os.path.join(folder, name)
    with open(raw, "rb") as f:
        message = f.read()
    with open(path, "wb") as f:
        f.write(heading.encode("ascii") + b"\r\r\n" + message)
    run(["bufr_dump", path], env)  # the whole message must decode
    expected = run([sys.executable, EXPECTED_VALUES, path], env)
    expected = expected.replace("made by make_messages.sh", "made by make_wind_samples.py", 1)
    with open(os.path.join(folder, "expected", name + ".expected"), "w", encoding="ascii") as f:
        f.write(expected)
    with open(os.path.join(folder, "expected", name + ".fates"), "w", encoding="ascii") as f:
        f.write("# subset fate: stored, or - and why it gets no record\n")
        f.write("".join("%d %s\n" % (i, o.fate) for i, o in enumerate(obs)))
    print("%-36s %6d octets  %2d observations" % (name, os.path.getsize(path), len(obs)))


def main():
    env = dict(os.environ)
    version = run(["codes_info", "-v"], env).strip()
    if version != MADE_WITH:
        print("warning: ecCodes %s, the files were made with %s" % (version, MADE_WITH),
              file=sys.stderr)
    with tempfile.TemporaryDirectory() as work:
        for family, files, rules in (("hdw", HDW_FILES, hdw_rules),
                                     ("quikscat", QUIKSCAT_FILES, quikscat_rules)):
            os.makedirs(os.path.join(SAMPLES, family, "expected"), exist_ok=True)
            for name, heading, obs in files:
                make(work, env, family, name, heading, obs, rules)
    return 0


if __name__ == "__main__":
    sys.exit(main())
