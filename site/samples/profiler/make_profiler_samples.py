#!/usr/bin/env python3
"""Regenerates the sample wind profiler files of this folder and the values
each decodes to.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data
2.28.0-1); the script warns under another version.

Usage:  site/samples/profiler/make_profiler_samples.py

Each file is one BUFR edition 3 message behind its WMO abbreviated heading,
one uncompressed subset for each station, encoded by ecCodes' bufr_filter
from rules that this script writes, with the two local descriptors of the
consensus numbers (centre 59, local table version 1) taken from
definitions/, a private ecCodes definitions directory:

  NAME                   the file as a data feed delivers it
  expected/NAME.expected header facts and data values as ecCodes decodes
                         them (tests/data/bufr/expected_values.py)

The heading's designator names the network: IUPT03 the NOAA profiler
network (NPN), IUPA40 and IUPA46 the cooperative agency profilers (CAP).
Winds come from a simple shear profile with noise from a fixed seed per
file: every run gives identical files.
"""
import datetime
import os
import random
import sys
import tempfile

MADE_WITH = "2.28.0"
HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLES = os.path.dirname(HERE)
ROOT = os.path.normpath(os.path.join(SAMPLES, "..", ".."))
DEFINITIONS = os.path.join(HERE, "definitions")
ECCODES_DEFINITIONS = "/usr/share/eccodes/definitions"
EXPECTED_VALUES = os.path.join(ROOT, "tests", "data", "bufr", "expected_values.py")

# The number forms and the running of tools are the model recipe's.
sys.path.insert(0, os.path.join(SAMPLES, "model"))
sys.dont_write_bytecode = True
from make_model_samples import fmt, run  # noqa: E402

# Stations: WMO block, station, latitude, longitude, elevation (m). The
# decoder's id is block * 1000 + station: 74005, and 6348 without a
# leading zero.
STATIONS = {
    "PLATTEVILLE": (74, 630, 40.18, -104.73, 1524),
    "WOLCOTT": (74, 431, 40.68, -87.00, 212),
    "HASKELL": (74, 5, 35.68, -95.86, 201),
    "CABAUW": (6, 348, 51.97, 4.93, -1),
    "NEODESHA": (74, 541, 37.38, -95.63, 256),
    "FAIRBANKS": (74, 229, 64.86, -147.85, 137),
    "EDWARDS": (72, 381, 34.90, -117.87, 705),
    "BOULDER": (74, 910, 40.05, -105.01, 1603),
    "ARGONNE": (74, 912, 41.70, -87.99, 226),
    "CHARLESTON": (72, 208, 32.90, -80.03, 15),
}


class Ob:
    """One station's observation. `levels` None leaves the month out (no
    valid time)."""

    def __init__(self, station, when, levels, missing_month=False):
        self.station, self.when, self.levels = station, when, levels
        self.missing_month = missing_month


def t(h, mi, s=0):
    return datetime.datetime(2024, 3, 22, h, mi, s)


# Seconds that aren't 0 are in the file but not in the stored time.
FILES = [
    # name, heading, averaging period (min), gate spacing (m), extra height, observations
    ("IUPT03_KBOU_202403221500", "IUPT03 KBOU 221500", -60, 250, False, [
        Ob("PLATTEVILLE", t(15, 0, 42), 36),
        Ob("WOLCOTT", t(15, 0), 32),
        Ob("HASKELL", t(15, 0), 40),
        Ob("CABAUW", t(15, 0, 5), 28),
        Ob("NEODESHA", t(15, 0), 0),  # no levels: stored with numLevels 0
        Ob("FAIRBANKS", t(14, 0), 30),  # a late hour: a second notification
    ]),
    ("IUPA40_KWBC_202403221506", "IUPA40 KWBC 221506", -6, 60, False, [
        Ob("EDWARDS", t(15, 6), 24),
        Ob("BOULDER", t(15, 6, 30), 20),
        Ob("ARGONNE", t(15, 12), 22),
    ]),
    ("IUPA46_KWBC_202403221512", "IUPA46 KWBC 221512", -6, 60, False, [
        Ob("CHARLESTON", t(15, 12), 18),
        Ob("EDWARDS", t(15, 12), 24),  # a second record of the station
    ]),
    # What a store can't take: a station without a valid time gets no
    # record, one of more levels than the template's 64 its record without
    # the profiles. The file goes to the bad directory.
    ("IUPT03_KBOU_202403221700_FAULTS", "IUPT03 KBOU 221700", -60, 250, False, [
        Ob("PLATTEVILLE", t(17, 0), 30),
        Ob("WOLCOTT", t(17, 0), 30, missing_month=True),
        Ob("HASKELL", t(17, 0), 70),
    ]),
    # A single height in front of the levels: each station has one height
    # more than its count of levels. The first passes, its last height
    # left out; the second, without levels, can't keep its one height, and
    # the file goes to the bad directory.
    ("IUPT03_KBOU_202403221800_BOUND", "IUPT03 KBOU 221800", -60, 250, True, [
        Ob("PLATTEVILLE", t(18, 0), 3),
        Ob("NEODESHA", t(18, 0), 0),
    ]),
]


class Profile:
    """The levels of one observation, from the lowest up, and its surface
    values. NPN files have a low mode (1) and a high mode (0) above it."""

    def __init__(self, rng, ob, spacing, extra_height):
        n = ob.levels
        low = n // 2 if spacing >= 250 else n
        self.heights = [120 + spacing * k for k in range(low)]
        self.heights += [self.heights[-1] + 2 * spacing * (k + 1) if self.heights else 500
                         for k in range(n - low)]
        self.mode = [1] * low + [0] * (n - low)
        base_u, base_v = rng.uniform(-5, 10), rng.uniform(-8, 8)
        self.u, self.v, self.w, self.snr, self.qc = [], [], [], [], []
        self.uv_consensus, self.w_consensus, self.sd_h, self.sd_v = [], [], [], []
        for k, h in enumerate(self.heights):
            top = k >= n - 2 and n > 4  # the weakest echoes: no wind
            self.u.append(None if top else round(base_u + 0.004 * h + rng.uniform(-1.5, 1.5), 1))
            self.v.append(None if top else round(base_v + 0.001 * h + rng.uniform(-1.5, 1.5), 1))
            self.w.append(round(rng.uniform(-0.6, 0.6), 2))
            self.snr.append(int(max(-30, 35 - 0.004 * h + rng.uniform(-3, 3))))
            self.qc.append(None if top else rng.choice((0, 0, 0, 1)))
            self.uv_consensus.append(rng.randint(3, 12))
            self.w_consensus.append(rng.randint(3, 12))
            self.sd_h.append(round(rng.uniform(0.3, 4.0), 1))
            self.sd_v.append(round(rng.uniform(0.1, 1.5), 1))
        self.gate = 100 if extra_height else None
        self.pressure = round(rng.uniform(84000, 101500), -1)
        self.temperature = round(rng.uniform(270, 295), 1)
        self.humidity = rng.randint(20, 95)
        self.wind_dir = rng.randint(0, 359)
        self.wind_speed = round(rng.uniform(0, 12), 1)
        self.rain = round(rng.choice((0, 0, 0.0012)), 4)


def rules(name, obs, period, profiles, extra_height):
    first = obs[0].when
    out = [
        "# wind profilers %s, %d stations" % (name, len(obs)),
        "set masterTablesVersionNumber=13;",
        "set localTablesVersionNumber=1;",
        "set bufrHeaderCentre=59;",
        "set bufrHeaderSubCentre=0;",
        "set updateSequenceNumber=0;",
        "set dataCategory=2;",
        "set dataSubCategory=7;",
        "set typicalYearOfCentury=%d;" % (first.year % 100),
        "set typicalMonth=%d;" % first.month,
        "set typicalDay=%d;" % first.day,
        "set typicalHour=%d;" % first.hour,
        "set typicalMinute=%d;" % first.minute,
        "set numberOfSubsets=%d;" % len(obs),
        "set observedData=1;",
        "set compressedData=0;",
        "set inputDelayedDescriptorReplicationFactor={%s};"
        % ", ".join(str(o.levels) for o in obs),
        # The time block comes first: the decoder's walk over a station
        # begins at its day and ends at the next year.
        "set unexpandedDescriptors={",
        "    004001, 004002, 004003, 004004, 004005, 004006,",
        "    001001, 001002, 005001, 006001, 007001, 002003, 004025,",
        "    %s111000, 031001," % ("007007, " if extra_height else ""),
        "    007007, 025032, 011003, 011004, 011006, 021030, 033002, 025192, 025193,",
        "    011050, 011051,",
        "    010004, 012001, 013003, 011001, 011002, 013014 };",
    ]

    def put(key, values, decimals):
        if values:
            out.append("set %s={%s};" % (key, ", ".join(fmt(v, decimals) for v in values)))

    def levels(attribute):
        return [v for p in profiles for v in getattr(p, attribute)]

    site = [STATIONS[o.station] for o in obs]
    put("year", [o.when.year for o in obs], 0)
    put("month", [None if o.missing_month else o.when.month for o in obs], 0)
    put("day", [o.when.day for o in obs], 0)
    put("hour", [o.when.hour for o in obs], 0)
    put("minute", [o.when.minute for o in obs], 0)
    put("second", [o.when.second for o in obs], 0)
    put("blockNumber", [s[0] for s in site], 0)
    put("stationNumber", [s[1] for s in site], 0)
    put("latitude", [s[2] for s in site], 5)
    put("longitude", [s[3] for s in site], 5)
    put("heightOfStation", [s[4] for s in site], 0)
    put("measuringEquipmentType", [0] * len(obs), 0)
    put("timePeriod", [period] * len(obs), 0)
    put("height", [v for p in profiles for v in ([p.gate] if extra_height else []) + p.heights], 0)
    put("windProfilerModeInformation", levels("mode"), 0)
    put("u", levels("u"), 1)
    put("v", levels("v"), 1)
    put("w", levels("w"), 2)
    put("signalToNoiseRatio", levels("snr"), 0)
    put("qualityInformation", levels("qc"), 0)
    put("horizontalWindConsensusNumber", levels("uv_consensus"), 0)
    put("verticalWindConsensusNumber", levels("w_consensus"), 0)
    put("standardDeviationOfHorizontalWindSpeed", levels("sd_h"), 1)
    put("standardDeviationOfVerticalWindSpeed", levels("sd_v"), 1)
    put("nonCoordinatePressure", [p.pressure for p in profiles], -1)
    put("airTemperature", [p.temperature for p in profiles], 1)
    put("relativeHumidity", [p.humidity for p in profiles], 0)
    put("windDirection", [p.wind_dir for p in profiles], 0)
    put("windSpeed", [p.wind_speed for p in profiles], 1)
    put("rainfallOrWaterEquivalentOfSnowAveragedRate", [p.rain for p in profiles], 4)
    return out + ["set pack=1;", "write;"]


def make(work, env, name, heading, period, spacing, extra_height, obs):
    rng = random.Random(name)
    profiles = [Profile(rng, o, spacing, extra_height) for o in obs]
    rules_path = os.path.join(work, name + ".filter")
    raw = os.path.join(work, name + ".raw")
    with open(rules_path, "w", encoding="ascii") as f:
        f.write("\n".join(rules(name, obs, period, profiles, extra_height)) + "\n")
    samples = run(["codes_info", "-s"], env).strip()
    run(["bufr_filter", "-o", raw, rules_path, os.path.join(samples, "BUFR3.tmpl")], env)
    path = os.path.join(HERE, name)
    with open(raw, "rb") as f:
        message = f.read()
    with open(path, "wb") as f:
        f.write(heading.encode("ascii") + b"\r\r\n" + message)
    run(["bufr_dump", path], env)  # the whole message must decode
    expected = run([sys.executable, EXPECTED_VALUES, path], env)
    # Local descriptors unknown to ecCodes would be left out of its values.
    if any(o.levels for o in obs) and " 25193 " not in expected:
        sys.exit("%s: ecCodes decoded no 0 25 193 value: check definitions/" % name)
    expected = expected.replace("made by make_messages.sh", "made by make_profiler_samples.py", 1)
    with open(os.path.join(HERE, "expected", name + ".expected"), "w", encoding="ascii") as f:
        f.write(expected)
    print("%-32s %6d octets  %d stations" % (name, os.path.getsize(path), len(obs)))


def main():
    env = dict(os.environ)
    env["ECCODES_DEFINITION_PATH"] = DEFINITIONS + ":" + ECCODES_DEFINITIONS
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
