#!/usr/bin/env python3
"""Regenerates the sample POES and GOES sounding files, the values each
decodes to, which site each observation belongs to, and the sample site's
tables of sounding sites.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data
2.28.0-1); the script warns under another version.

Usage:  site/samples/poes/make_sounding_samples.py

Each file is one BUFR edition 3 message behind its WMO abbreviated heading,
one uncompressed subset for each observation, encoded by ecCodes'
bufr_filter from rules that this script writes. For each family (poes,
goes) it writes into site/samples/FAMILY/:

  NAME                  the file as a data feed delivers it
  expected/NAME.expected
                        header facts and data values as ecCodes decodes them
                        (tests/data/bufr/expected_values.py)
  expected/NAME.sites   one line for each subset: its number and the id of
                        the site the observation belongs to, or "-" and why
                        it belongs to none

and site/data/poesBufr.spi, goesBufr.spi: the sites of the sample site.
Observations are placed at chosen offsets from chosen sites, so that the
search radius (half of the grid resolution of site/data/poesBufrInfo.txt,
goesBufrInfo.txt) is met exactly, exceeded, tied between two sites, or
missed by far. Profiles come from a standard atmosphere with noise from a
fixed seed per file: every run gives identical files.
"""
import datetime
import math
import os
import random
import subprocess
import sys
import tempfile

MADE_WITH = "2.28.0"
HERE = os.path.dirname(os.path.abspath(__file__))
SAMPLES = os.path.dirname(HERE)
ROOT = os.path.normpath(os.path.join(SAMPLES, "..", ".."))
SITE_DATA = os.path.join(ROOT, "site", "data")
EXPECTED_VALUES = os.path.join(ROOT, "tests", "data", "bufr", "expected_values.py")

# The number forms, the standard atmosphere and the running of tools are
# the model recipe's.
sys.path.insert(0, os.path.join(SAMPLES, "model"))
sys.dont_write_bytecode = True
from make_model_samples import fmt, run, standard_temperature  # noqa: E402

# Sites: number, id, lat, lon, fifth field, weight, name. None leaves a
# field and those behind it out of the line. Positions of the sites that
# tests measure from are exact in binary.
POES_SITES = [
    (1, "KIAD", 38.95, -77.45, 88, 1.0, "DULLES"),
    (2, "KLGA", 40.78, -73.88, 9, 1.0, "LAGUARDIA"),
    (3, "KBOS", 42.36, -71.01, 6, 1.0, "BOSTON"),
    (4, "KALB", 42.75, -73.80, 85, 1.0, "ALBANY"),
    (5, "KMIA", 25.79, -80.32, 2, 1.0, "MIAMI"),
    (6, "KATL", 33.64, -84.43, 315, 1.0, "ATLANTA"),
    (7, "TIEA", 40.00, -80.00, 0, 1.0, "TIE_SOUTH"),
    (8, "TIEB", 41.00, -80.00, 0, 1.0, "TIE_NORTH"),
    (9, "KSTL", 38.75, -90.37, 162, -1.0, "ST_LOUIS_WEIGHT_BELOW_FLOOR"),
    (10, "KDTW", 42.21, -83.35, None, None, None),
    (11, "KCVG", 39.04, -84.67, 267, 1.0, None),
    (12, "KORD", 41.98, -87.90, 201, 1.0, "CHICAGO"),
]
GOES_SITES = [
    (1, "KDEN", 39.83, -104.66, 1656, 1.0, "DENVER"),
    (2, "KSLC", 40.79, -111.97, 1288, 1.0, "SALT_LAKE_CITY"),
    (3, "KPHX", 33.43, -112.02, 337, 1.0, "PHOENIX"),
    (4, "KLAX", 33.94, -118.41, 30, 1.0, "LOS_ANGELES"),
    (5, "KOKC", 35.50, -97.50, 395, 1.0, "OKLAHOMA_CITY"),
    (6, "TIEA", 30.00, -100.00, 0, 1.0, "TIE_SOUTH"),
    (7, "TIEB", 32.00, -100.00, 0, 1.0, "TIE_NORTH"),
    (8, "KDFW", 32.90, -97.02, 171, 1.0, "DALLAS"),
    (9, "KMSP", 44.88, -93.23, 255, 1.0, "MINNEAPOLIS"),
    (10, "KSEA", 47.45, -122.31, 131, 1.0, None),
]


class Ob:
    """One observation: where, when, how many levels, and where it belongs.
    `site` is the id it is stored under, or "-" with the reason."""

    def __init__(self, lat, lon, when, levels, site, missing_month=False):
        self.lat, self.lon, self.when, self.levels, self.site = lat, lon, when, levels, site
        self.missing_month = missing_month


def t(y, mo, d, h, mi, s):
    return datetime.datetime(y, mo, d, h, mi, s)


# POES: the grid resolution 111.1 km makes the radius half a degree.
POES_FILES = [
    ("IUTX01_KNES_202403221342", "IUTX01 KNES 221342", 206, [
        Ob(39.10, -77.30, t(2024, 3, 22, 13, 41, 10), 30, "KIAD"),
        Ob(40.90, -74.00, t(2024, 3, 22, 13, 41, 25), 28, "KLGA"),  # same minute
        Ob(42.20, -71.20, t(2024, 3, 22, 13, 41, 50), 30, "KBOS"),
        Ob(43.25, -73.80, t(2024, 3, 22, 13, 42, 5), 30, "KALB"),  # exactly at the radius
        Ob(43.26, -73.80, t(2024, 3, 22, 13, 42, 6), 30, "- beyond the radius"),
        Ob(40.50, -80.00, t(2024, 3, 22, 13, 42, 20), 26, "TIEB"),  # tie: the later site
        Ob(30.00, -60.00, t(2024, 3, 22, 13, 42, 40), 30, "- far from every site"),
        Ob(None, None, t(2024, 3, 22, 13, 42, 45), 30, "- missing position"),
        Ob(95.00, -77.45, t(2024, 3, 22, 13, 42, 50), 30, "- latitude out of range"),
        Ob(33.70, -84.40, t(2024, 3, 22, 13, 43, 0), 0, "KATL"),  # level count 0
        Ob(38.80, -90.30, t(2024, 3, 22, 13, 43, 10), 30, "- site below the floor"),
        Ob(42.30, -83.40, t(2024, 3, 22, 13, 43, 20), 24, "KDTW"),
        Ob(39.10, -84.60, t(2024, 3, 22, 13, 43, 25), 30, "KCVG"),
        Ob(25.90, -80.20, t(2024, 3, 22, 13, 43, 40), 30, "KMIA"),
    ]),
    ("IUTN02_KNES_202403221530_OUTSIDE", "IUTN02 KNES 221530", 207, [
        Ob(20.00, -150.00, t(2024, 3, 22, 15, 30, 0), 30, "- far from every site"),
        Ob(21.00, -151.00, t(2024, 3, 22, 15, 30, 20), 30, "- far from every site"),
        Ob(22.00, -152.00, t(2024, 3, 22, 15, 30, 40), 30, "- far from every site"),
    ]),
    # What a store can't take: an observation without a valid time gets no
    # record, and one of more levels than the template's 40 gets its record
    # without the profiles.
    ("IUTX03_KNES_202403221700_FAULTS", "IUTX03 KNES 221700", 209, [
        Ob(38.90, -77.40, t(2024, 3, 22, 17, 0, 0), 30, "KIAD"),
        Ob(40.80, -73.90, t(2024, 3, 22, 17, 0, 10), 30, "- no valid time", True),
        Ob(42.40, -71.00, t(2024, 3, 22, 17, 1, 20), 45, "KBOS"),
    ]),
]

# GOES: the grid resolution 222.2 km makes the radius one degree.
GOES_FILES = [
    ("IUSA11_KNES_202403221846", "IUSA11 KNES 221846", 257, [
        Ob(39.90, -104.50, t(2024, 3, 22, 18, 46, 10), 25, "KDEN"),
        Ob(40.70, -112.10, t(2024, 3, 22, 18, 46, 20), 25, "KSLC"),  # same minute
        Ob(33.50, -112.10, t(2024, 3, 22, 18, 47, 35), 22, "KPHX"),
        Ob(36.50, -97.50, t(2024, 3, 22, 18, 47, 40), 25, "KOKC"),  # exactly at the radius
        Ob(36.51, -97.50, t(2024, 3, 22, 18, 47, 41), 25, "- beyond the radius"),
        Ob(31.00, -100.00, t(2024, 3, 22, 18, 47, 50), 20, "TIEB"),  # tie: the later site
        Ob(10.00, -140.00, t(2024, 3, 22, 18, 48, 0), 25, "- far from every site"),
        Ob(None, None, t(2024, 3, 22, 18, 48, 5), 25, "- missing position"),
        Ob(32.95, -97.10, t(2024, 3, 22, 18, 48, 10), 0, "KDFW"),  # level count 0
        # Ahead of any clock: taken to be one day earlier.
        Ob(44.90, -93.20, t(2037, 12, 30, 12, 0, 0), 25, "KMSP"),
    ]),
    ("IUSB12_KNES_202403222046_OUTSIDE", "IUSB12 KNES 222046", 258, [
        Ob(0.50, -160.00, t(2024, 3, 22, 20, 46, 0), 25, "- far from every site"),
        Ob(1.50, -161.00, t(2024, 3, 22, 20, 46, 30), 25, "- far from every site"),
    ]),
]


class Profile:
    """Levels from the surface up: pressure (Pa), temperature, dew point
    (K), geopotential height (gpm), mixing ratio (kg/kg; missing above
    100 hPa)."""

    def __init__(self, rng, ob):
        warm = 0.55 * (40.0 - (ob.lat or 40.0)) + rng.uniform(-2.0, 2.0)
        self.surface = round(rng.uniform(96000, 102000), -1)
        self.skin = standard_temperature(self.surface) + warm + rng.uniform(-2, 3)
        self.surface_t = self.skin - rng.uniform(0, 2)
        self.surface_td = self.surface_t - rng.uniform(2, 10)
        self.pressure, self.temperature, self.dewpoint = [], [], []
        self.height, self.mixing = [], []
        for k in range(ob.levels):
            p = round(self.surface * math.exp(-k * 4.6 / max(ob.levels - 1, 1)) / 10) * 10
            temp = standard_temperature(p) + warm * (p / self.surface) ** 3 + rng.uniform(-0.5, 0.5)
            self.pressure.append(p)
            self.temperature.append(temp)
            self.dewpoint.append(temp - rng.uniform(1, 15) - 20 * (1 - p / self.surface))
            self.height.append(round(44330.8 * (1 - (p / 101325.0) ** 0.190263)))
            self.mixing.append(0.012 * (p / self.surface) ** 3 * rng.uniform(0.7, 1.1)
                               if p >= 10000 else None)
        assert all(a > b for a, b in zip(self.pressure, self.pressure[1:])), "pressure must fall"
        self.precipitable = rng.randint(5, 60)
        self.ozone = rng.randint(250, 420)
        self.cloud = rng.randint(0, 8)
        self.cloud_top = round(rng.uniform(20000, 80000), -1)
        self.zenith = rng.uniform(0, 60)
        self.solar = rng.uniform(20, 80)
        self.land = rng.randint(0, 1)


def header(category_year, when, subsets, centre_time):
    return [
        "set masterTablesVersionNumber=13;",
        "set localTablesVersionNumber=0;",
        "set bufrHeaderCentre=160;",
        "set bufrHeaderSubCentre=0;",
        "set updateSequenceNumber=0;",
        "set dataCategory=3;",
        "set dataSubCategory=%d;" % category_year,
        "set typicalYearOfCentury=%d;" % (centre_time.year % 100),
        "set typicalMonth=%d;" % centre_time.month,
        "set typicalDay=%d;" % centre_time.day,
        "set typicalHour=%d;" % centre_time.hour,
        "set typicalMinute=%d;" % centre_time.minute,
        "set numberOfSubsets=%d;" % subsets,
        "set observedData=1;",
        "set compressedData=0;",
    ]


def poes_rules(obs, satellite, profiles):
    # The time block begins ten values before the latitude; what stands
    # between the two isn't stored (the template names none of it). The surface
    # pressure and temperature stand between two vertical significances, so
    # that the decoder's level filter leaves them out of the profiles (the
    # replication factor isn't a value of its own there: the first level
    # mustn't follow a significance). The levels come from the top down.
    out = header(0, None, len(obs), obs[0].when)
    out += [
        "set inputDelayedDescriptorReplicationFactor={%s};" % ", ".join(str(o.levels) for o in obs),
        "set unexpandedDescriptors={",
        "    004001, 004002, 004003, 004004, 004005, 004006,",
        "    005040, 002019, 007024, 007025, 005002, 006002, 001007,",
        "    008003, 007004, 012001, 008003, 008012, 012061,",
        "    103000, 031001, 007004, 012001, 013002,",
        "    013016, 015001, 020011 };",
    ]
    put = values_writer(out)
    put("year", [o.when.year for o in obs], 0)
    put("month", [None if o.missing_month else o.when.month for o in obs], 0)
    put("day", [o.when.day for o in obs], 0)
    put("hour", [o.when.hour for o in obs], 0)
    put("minute", [o.when.minute for o in obs], 0)
    put("second", [o.when.second for o in obs], 0)
    put("satelliteIdentifier", [satellite] * len(obs), 0)
    put("orbitNumber", [76543] * len(obs), 0)
    put("satelliteInstruments", [607] * len(obs), 0)
    put("satelliteZenithAngle", [p.zenith for p in profiles], 2)
    put("solarZenithAngle", [p.solar for p in profiles], 2)
    put("latitude", [o.lat for o in obs], 2)
    put("longitude", [o.lon for o in obs], 2)
    put("landOrSeaQualifier", [p.land for p in profiles], 0)
    put("skinTemperature", [p.skin for p in profiles], 1)
    put("verticalSignificanceSatelliteObservations",
        [v for _ in obs for v in (0, None)], 0)
    put("pressure", [v for p in profiles for v in [p.surface] + p.pressure[::-1]], -1)
    put("airTemperature", [v for p in profiles for v in [p.surface_t] + p.temperature[::-1]], 1)
    put("mixingRatio", [v for p in profiles for v in p.mixing[::-1]], 5)
    put("precipitableWater", [p.precipitable for p in profiles], 0)
    put("totalOzone", [p.ozone for p in profiles], 0)
    put("cloudAmount", [p.cloud for p in profiles], 0)
    return out


def goes_rules(obs, satellite, profiles):
    # The time block (year, day of the year) begins two values before the
    # latitude; hour, minute and second follow the longitude. A first-guess
    # temperature behind the retrieval's parameters and a surface dew point
    # behind a vertical significance are not levels.
    out = header(1, None, len(obs), obs[0].when)
    out += [
        "set inputDelayedDescriptorReplicationFactor={%s};" % ", ".join(str(o.levels) for o in obs),
        "set unexpandedDescriptors={",
        "    004001, 004043, 005001, 006001, 004004, 004005, 004006,",
        "    001007, 007024, 002054, 012001, 008003, 012003,",
        "    104000, 031001, 010004, 010009, 012001, 012003,",
        "    012061, 013016, 020011, 020016 };",
    ]
    put = values_writer(out)
    put("year", [o.when.year for o in obs], 0)
    put("dayOfYear", [o.when.timetuple().tm_yday for o in obs], 0)
    put("latitude", [o.lat for o in obs], 5)
    put("longitude", [o.lon for o in obs], 5)
    put("hour", [o.when.hour for o in obs], 0)
    put("minute", [o.when.minute for o in obs], 0)
    put("second", [o.when.second for o in obs], 0)
    put("satelliteIdentifier", [satellite] * len(obs), 0)
    put("satelliteZenithAngle", [p.zenith for p in profiles], 2)
    put("goesSoundingsParameter", [1] * len(obs), 0)
    put("verticalSignificanceSatelliteObservations", [0] * len(obs), 0)
    put("nonCoordinatePressure", [v for p in profiles for v in p.pressure], -1)
    put("nonCoordinateGeopotentialHeight", [v for p in profiles for v in p.height], 0)
    put("airTemperature", [v for p in profiles for v in [p.surface_t] + p.temperature], 1)
    put("dewpointTemperature", [v for p in profiles for v in [p.surface_td] + p.dewpoint], 1)
    put("skinTemperature", [p.skin for p in profiles], 1)
    put("precipitableWater", [p.precipitable for p in profiles], 0)
    put("cloudAmount", [p.cloud for p in profiles], 0)
    put("pressureAtTopOfCloud", [p.cloud_top for p in profiles], -1)
    return out


def values_writer(out):
    def put(key, values, decimals):
        if values:
            out.append("set %s={%s};" % (key, ", ".join(fmt(v, decimals) for v in values)))
    return put


def write_sites(path, sites):
    lines = ["// Sounding sites of the sample site, written by",
             "// site/samples/poes/make_sounding_samples.py:",
             "// number id lat lon elevation weight name"]
    for site in sites:
        fields = ["%d" % site[0], site[1], "%.2f" % site[2], "%.2f" % site[3]]
        for value, form in zip(site[4:], ("%d", "%.1f", "%s")):
            if value is None:
                break
            fields.append(form % value)
        lines.append(" ".join(fields))
    with open(path, "w", encoding="ascii") as f:
        f.write("".join(line + "\n" for line in lines))


def make(work, env, family, name, heading, satellite, obs):
    rng = random.Random(name)
    profiles = [Profile(rng, o) for o in obs]
    rules = poes_rules if family == "poes" else goes_rules
    lines = ["# %s soundings %s, %d observations" % (family.upper(), name, len(obs))]
    lines += rules(obs, satellite, profiles) + ["set pack=1;", "write;"]
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
    expected = expected.replace("made by make_messages.sh", "made by make_sounding_samples.py", 1)
    with open(os.path.join(folder, "expected", name + ".expected"), "w", encoding="ascii") as f:
        f.write(expected)
    with open(os.path.join(folder, "expected", name + ".sites"), "w", encoding="ascii") as f:
        f.write("# subset site, or - and why the observation is stored under none\n")
        f.write("".join("%d %s\n" % (i, o.site) for i, o in enumerate(obs)))
    print("%-34s %6d octets  %2d observations" % (name, os.path.getsize(path), len(obs)))


def main():
    env = dict(os.environ)
    version = run(["codes_info", "-v"], env).strip()
    if version != MADE_WITH:
        print("warning: ecCodes %s, the files were made with %s" % (version, MADE_WITH),
              file=sys.stderr)
    write_sites(os.path.join(SITE_DATA, "poesBufr.spi"), POES_SITES)
    write_sites(os.path.join(SITE_DATA, "goesBufr.spi"), GOES_SITES)
    with tempfile.TemporaryDirectory() as work:
        for family, files in (("poes", POES_FILES), ("goes", GOES_FILES)):
            os.makedirs(os.path.join(SAMPLES, family, "expected"), exist_ok=True)
            for name, heading, satellite, obs in files:
                make(work, env, family, name, heading, satellite, obs)
    return 0


if __name__ == "__main__":
    sys.exit(main())
