#!/usr/bin/env python3
"""Regenerates the sample ACARS files of this folder and the values each
decodes to.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data
2.28.0-1); the script warns under another version.

Usage:  site/samples/acars/make_acars_samples.py

Each file is one BUFR edition 3 message behind its WMO abbreviated heading,
one uncompressed subset for each aircraft report, encoded by ecCodes'
bufr_filter from rules that this script writes. It writes into this folder:

  NAME                  the file as a data feed delivers it
  expected/NAME.expected
                        header facts and data values as ecCodes decodes them
                        (tests/data/bufr/expected_values.py)

All descriptors are in WMO Table B and D (version 13): no local table is
needed. The reports are fixed in the lists below, so every run gives
identical files.
"""
import os
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

# A report as an aircraft sends it, with what the engine delivers for it.
# `second` None is a report without seconds; `rh` None one without
# humidity (most aircraft carry no sensor); `lat` beyond the globe is
# encodable and stored as given.
FIELDS = ("reg", "flight", "station", "when", "lat", "lon", "level", "phase",
          "wdir", "wspd", "temp", "rh", "turb", "gust", "icing")


class Report:
    def __init__(self, *values):
        for name, value in zip(FIELDS, values):
            setattr(self, name, value)


def t(h, mi, s):
    """A time of 1 June 2024: hour, minute and second, None for a report
    without seconds (stored as second 0). Hour 24 is past the end of the
    day: the store finds no time for it."""
    return (h, mi, s)


# Registration, flight, ground station, time, latitude, longitude, flight
# level (m), phase of flight (3 level, 5 ascending, 6 descending), wind
# direction, wind speed, temperature, relative humidity, turbulence, vertical
# gust, airframe icing.
R = Report
MAIN = [
    R("N512UA", "UAL1234", "DEN", t(12, 1, 10), 39.95, -104.75, 1920, 5, 200, 6.2, 293.4, 41, 0, 1.2, 0),
    R("N37274", "SWA3345", "DEN", t(12, 3, 0), 40.12, -104.95, 2850, 5, 215, 8.5, 287.15, None, 0, 1.0, None),
    R("N512UA", "UAL1234", "DEN", t(12, 7, 0), 40.51, -105.40, 5200, 5, 240, 14.8, 271.9, 0, 1, 3.4, 0),
    R("N806SK", "SKW5467", "ORD", t(12, 7, 0), 41.98, -87.90, 350, 6, 180, 0.0, 296.55, 62, 0, 0.0, 0),
    R("C-GKWJ", "ACA875", "YYZ", t(12, 9, None), 43.68, -79.63, 7600, 3, 270, 21.3, 251.2, None, 2, 5.6, None),
    R("N37274", "SWA3345", "DEN", t(12, 12, 30), 40.40, -105.60, 7010, 5, 255, 18.0, 258.75, None, 1, 2.2, None),
    R("N915FD", "FDX1407", "MEM", t(12, 14, 45), 35.04, -89.98, 10668, 3, 290, 32.6, 221.4, None, 0, 0.8, None),
    R("N512UA", "UAL1234", "DEN", t(12, 18, 20), 41.02, -106.10, 10363, 3, 265, 27.4, 224.9, 12, 0, 0.6, 1),
    R("N806SK", "SKW5467", "ORD", t(12, 21, 5), 42.20, -88.30, 3050, 5, 230, 11.1, 283.0, 55, 3, 8.9, 2),
    R("N433UP", "UPS2938", "SDF", t(12, 23, 10), 38.17, -85.74, 1200, 5, 190, 4.4, 299.3, 70, 0, 0.4, 0),
    R("N433UP", "UPS2938", "SDF", t(12, 23, 10), 38.17, -85.74, 1200, 5, 190, 4.4, 299.3, 70, 0, 0.4, 0),
    R("N3751P", "DAL1789", "ATL", t(12, 29, 55), 33.64, -84.43, 11887, 3, 305, 41.2, 216.65, None, 1, 1.9, None),
    R("C-GKWJ", "ACA875", "YYZ", t(12, 36, 50), 42.90, -82.10, 11278, 3, 280, 36.0, 219.0, None, 0, 0.5, None),
    R("N915FD", "FDX1407", "MEM", t(12, 44, 0), 36.80, -93.20, 11582, 3, 285, 38.9, 217.3, None, 0, 0.7, None),
    R("N806SK", "SKW5467", "ORD", t(12, 52, 15), 43.10, -89.40, 6100, 3, 245, 19.7, 262.45, 33, 1, 3.1, 0),
    R("N3751P", "DAL1789", "ATL", t(12, 58, 40), 35.10, -86.80, 11887, 3, 300, 44.5, 215.9, None, 0, 1.1, None),
    R("N37274", "SWA3345", "DEN", t(13, 5, 0), 41.02, -106.10, 9450, 3, 260, 25.0, 231.35, None, 0, 0.9, None),
    R("N806SK", "SKW5467", "ORD", t(13, 5, 0), 39.70, -104.80, 900, 6, 180, 5.0, 292.0, 48, 0, 0.3, 0),
    R("N433UP", "UPS2938", "SDF", t(13, 16, 30), 38.90, -84.60, 10058, 3, 275, 29.9, 226.1, 18, 0, 0.6, 0),
    R("N512UA", "UAL1234", "DEN", t(13, 25, 0), 41.60, -108.30, 10363, 3, 270, 30.2, 223.6, 9, 0, 0.4, 0),
]

# What a store can't take in full. The aircraft beyond the globe is stored
# as it came; the report at hour 24 of a day has no time, so no record, and
# the file goes to the bad directory; the report behind it is never reached.
FAULTS = [
    R("N512UA", "UAL1240", "DEN", t(14, 0, 0), 39.90, -104.70, 1500, 5, 190, 5.5, 294.0, 35, 0, 0.9, 0),
    R("N7211Q", "QXE2201", "SEA", t(14, 2, 30), 95.0, 200.0, 4500, 5, 220, 12.0, 276.5, 50, 0, 1.4, 0),
    R("N37274", "SWA3350", "DEN", t(24, 0, 0), 40.00, -104.00, 3000, 5, 230, 9.0, 284.0, None, 0, 1.0, None),
    R("N806SK", "SKW5470", "ORD", t(14, 6, 0), 41.90, -87.80, 2000, 6, 170, 4.0, 290.0, 60, 0, 0.5, 0),
]

# AIREP-style reports: a flight number but no registration. Nothing to
# store them under.
NOREG = [
    R(None, "UAL1301", "DEN", t(15, 0, 0), 39.8, -104.6, 3000, 5, 200, 7.0, 285.0, None, 0, 1.0, None),
    R(None, "DAL1802", "ATL", t(15, 1, 0), 33.7, -84.5, 2500, 5, 210, 6.0, 291.0, None, 0, 0.8, None),
    R(None, "SWA3360", "DEN", t(15, 2, 0), 40.2, -104.9, 3600, 5, 220, 9.0, 281.0, None, 0, 1.1, None),
]

# Reports that give hour and minute but no date: no year, no time.
NOTIME = [
    R("N512UA", "UAL1302", "DEN", t(15, 10, 0), 39.9, -104.7, 3100, 5, 205, 7.5, 284.5, None, 0, 1.0, None),
    R("N37274", "SWA3361", "DEN", t(15, 11, 0), 40.1, -104.8, 3300, 5, 215, 8.0, 283.0, None, 0, 1.2, None),
    R("N806SK", "SKW5471", "ORD", t(15, 12, 0), 41.9, -87.9, 1500, 6, 175, 4.5, 291.5, 52, 0, 0.6, 0),
]

FULL = ["001008", "001006", "002065", "301011", "301013", "301021",
        "007010", "008004", "011001", "011002", "012101", "013003",
        "011031", "011036", "020041"]

# name, heading, Section 1 time, descriptors, reports
FILES = [
    ("IUAX01_KWBC_202406011230", "IUAX01 KWBC 011230", (12, 30), FULL, MAIN),
    ("IUAA02_KWBC_202406011400_FAULTS", "IUAA02 KWBC 011400", (14, 0), FULL, FAULTS),
    ("IUAX02_KWBC_202406011500_NOREG", "IUAX02 KWBC 011500", (15, 0),
     [d for d in FULL if d != "001008"], NOREG),
    ("IUAX01_KWBC_202406011510_NOTIME", "IUAX01 KWBC 011510", (15, 10),
     ["301012" if d == "301011" else d for d in FULL if d != "301013"], NOTIME),
]


def rules(section1, descriptors, reports):
    n = len(reports)
    out = [
        "set masterTablesVersionNumber=13;",
        "set localTablesVersionNumber=0;",
        "set bufrHeaderCentre=7;",
        "set bufrHeaderSubCentre=0;",
        "set updateSequenceNumber=0;",
        "set dataCategory=4;",
        "set dataSubCategory=0;",
        "set typicalYearOfCentury=24;",
        "set typicalMonth=6;",
        "set typicalDay=1;",
        "set typicalHour=%d;" % section1[0],
        "set typicalMinute=%d;" % section1[1],
        "set numberOfSubsets=%d;" % n,
        "set observedData=1;",
        "set compressedData=0;",
        "set unexpandedDescriptors={%s};" % ", ".join(descriptors),
    ]

    def put(key, values, decimals):
        out.append("set %s={%s};" % (key, ", ".join(fmt(v, decimals) for v in values)))

    # A text takes one set for each subset of an uncompressed message.
    for k, r in enumerate(reports, 1):
        if "001008" in descriptors:
            out.append('set #%d#aircraftRegistrationNumberOrOtherIdentification="%-8s";' % (k, r.reg))
        out.append('set #%d#aircraftFlightNumber="%-8s";' % (k, r.flight))
        out.append('set #%d#acarsGroundReceivingStation="%-5s";' % (k, r.station))
    if "301011" in descriptors:
        put("year", [2024] * n, 0)
        put("month", [6] * n, 0)
        put("day", [1] * n, 0)
    put("hour", [r.when[0] for r in reports], 0)
    put("minute", [r.when[1] for r in reports], 0)
    if "301013" in descriptors:
        put("second", [r.when[2] for r in reports], 0)
    put("latitude", [r.lat for r in reports], 5)
    put("longitude", [r.lon for r in reports], 5)
    put("flightLevel", [r.level for r in reports], 0)
    put("phaseOfAircraftFlight", [r.phase for r in reports], 0)
    put("windDirection", [r.wdir for r in reports], 0)
    put("windSpeed", [r.wspd for r in reports], 1)
    put("airTemperature", [r.temp for r in reports], 2)
    put("relativeHumidity", [r.rh for r in reports], 0)
    put("degreeOfTurbulence", [r.turb for r in reports], 0)
    put("maximumDerivedEquivalentVerticalGustSpeed", [r.gust for r in reports], 1)
    put("airframeIcing", [r.icing for r in reports], 0)
    return out


def make(work, env, name, heading, section1, descriptors, reports):
    lines = ["# ACARS aircraft reports %s, %d reports" % (name, len(reports))]
    lines += rules(section1, descriptors, reports) + ["set pack=1;", "write;"]
    rules_path = os.path.join(work, name + ".filter")
    raw = os.path.join(work, name + ".raw")
    with open(rules_path, "w", encoding="ascii") as f:
        f.write("\n".join(lines) + "\n")
    samples = run(["codes_info", "-s"], env).strip()
    run(["bufr_filter", "-o", raw, rules_path, os.path.join(samples, "BUFR3.tmpl")], env)
    path = os.path.join(HERE, name)
    with open(raw, "rb") as f:
        message = f.read()
    with open(path, "wb") as f:
        f.write(heading.encode("ascii") + b"\r\r\n" + message)
    run(["bufr_dump", path], env)  # the whole message must decode
    expected = run([sys.executable, EXPECTED_VALUES, path], env)
    expected = expected.replace("made by make_messages.sh", "made by make_acars_samples.py", 1)
    with open(os.path.join(HERE, "expected", name + ".expected"), "w", encoding="ascii") as f:
        f.write(expected)
    print("%-34s %5d octets  %2d reports" % (name, os.path.getsize(path), len(reports)))


def main():
    env = dict(os.environ)
    version = run(["codes_info", "-v"], env).strip()
    if version != MADE_WITH:
        print("warning: ecCodes %s, the files were made with %s" % (version, MADE_WITH),
              file=sys.stderr)
    os.makedirs(os.path.join(HERE, "expected"), exist_ok=True)
    with tempfile.TemporaryDirectory() as work:
        for entry in FILES:
            make(work, env, *entry)
    return 0


if __name__ == "__main__":
    sys.exit(main())
