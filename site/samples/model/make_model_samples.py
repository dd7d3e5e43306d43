#!/usr/bin/env python3
"""Regenerates the sample model sounding files of this folder, the values
each decodes to, and the sample site's model station table.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data
2.28.0-1); the script warns under another version.

Usage:  site/samples/model/make_model_samples.py [--check BUFRDUMP]

Each file is one BUFR edition 3 message behind its WMO abbreviated heading:
one uncompressed subset for each station of one model run and forecast
offset, the layout that NCEP's model sounding bulletins (JUSx4x to JUSx7x)
have. ecCodes' bufr_filter encodes it from rules that this script writes,
with the local descriptors of NCEP (centre 7, local table version 1) taken
from definitions/, a private ecCodes definitions directory:

  NAME                 the file as a data feed delivers it
  expected/NAME.expected
                       header facts and data values as ecCodes decodes them
                       (tests/data/bufr/expected_values.py, form in the
                       README.md of that folder)
  ../../data/modelBufrStationInfo.txt
                       the station table of the sample site: every station
                       of the files but the ones left out on purpose, and
                       some more

Profiles are standard atmosphere ones with noise from a fixed seed per
file, so that every run gives identical files. --check runs the project's
bufrdump over each file (ZEPH_HOME is the sample site) and compares its
values with ecCodes' through bench/corpus/compare_with_eccodes.py.
"""
import argparse
import datetime
import math
import os
import random
import subprocess
import sys
import tempfile

MADE_WITH = "2.28.0"
HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.normpath(os.path.join(HERE, "..", "..", ".."))
SITE = os.path.join(ROOT, "site")
DEFINITIONS = os.path.join(HERE, "definitions")
EXPECTED_DIR = os.path.join(HERE, "expected")
EXPECTED_VALUES = os.path.join(ROOT, "tests", "data", "bufr", "expected_values.py")
COMPARE = os.path.join(ROOT, "bench", "corpus", "compare_with_eccodes.py")
STATION_TABLE = os.path.join(SITE, "data", "modelBufrStationInfo.txt")
ECCODES_DEFINITIONS = "/usr/share/eccodes/definitions"

# Stations of the sample site: id, name, latitude, longitude, elevation (m).
STATIONS = [
    ("724030", "WASHINGTON DULLES VA", 38.95, -77.45, 88),
    ("725030", "NEW YORK LAGUARDIA NY", 40.78, -73.88, 9),
    ("725090", "BOSTON LOGAN MA", 42.36, -71.01, 6),
    ("725180", "ALBANY NY", 42.75, -73.80, 85),
    ("722020", "MIAMI FL", 25.79, -80.32, 2),
    ("722080", "CHARLESTON SC", 32.90, -80.04, 15),
    ("722190", "ATLANTA GA", 33.64, -84.43, 315),
    ("723150", "ASHEVILLE NC", 35.43, -82.54, 661),
    ("723270", "NASHVILLE TN", 36.12, -86.68, 184),
    ("724210", "CINCINNATI KY", 39.04, -84.67, 267),
    ("725370", "DETROIT MI", 42.21, -83.35, 192),
    ("725300", "CHICAGO OHARE IL", 41.98, -87.90, 201),
    ("724340", "ST LOUIS MO", 38.75, -90.37, 162),
    ("722310", "NEW ORLEANS LA", 29.99, -90.25, 1),
    ("723400", "LITTLE ROCK AR", 34.73, -92.23, 78),
    ("725460", "DES MOINES IA", 41.53, -93.65, 291),
    ("726580", "MINNEAPOLIS MN", 44.88, -93.23, 255),
    ("722430", "HOUSTON TX", 29.98, -95.36, 30),
    ("722590", "DALLAS FORT WORTH TX", 32.90, -97.02, 171),
    ("723530", "OKLAHOMA CITY OK", 35.39, -97.60, 395),
    ("724500", "WICHITA KS", 37.65, -97.43, 408),
    ("722530", "SAN ANTONIO TX", 29.53, -98.47, 242),
    ("727640", "BISMARCK ND", 46.77, -100.75, 503),
    ("726620", "RAPID CITY SD", 44.05, -103.05, 966),
    ("725650", "DENVER CO", 39.83, -104.66, 1656),
    ("722700", "EL PASO TX", 31.81, -106.38, 1194),
    ("722740", "TUCSON AZ", 32.13, -110.96, 777),
    ("722780", "PHOENIX AZ", 33.43, -112.02, 337),
    ("725720", "SALT LAKE CITY UT", 40.79, -111.97, 1288),
    ("725780", "POCATELLO ID", 42.92, -112.57, 1355),
    ("727730", "MISSOULA MT", 46.92, -114.09, 972),
    ("723860", "LAS VEGAS NV", 36.08, -115.15, 664),
    ("724880", "RENO NV", 39.48, -119.77, 1344),
    ("722950", "LOS ANGELES CA", 33.94, -118.41, 30),
    ("724940", "SAN FRANCISCO CA", 37.62, -122.37, 3),
    ("726980", "PORTLAND OR", 45.59, -122.60, 6),
    ("727930", "SEATTLE WA", 47.45, -122.31, 131),
    ("716240", "TORONTO ON", 43.68, -79.63, 173),
    ("716270", "MONTREAL QC", 45.47, -73.74, 36),
    ("718520", "WINNIPEG MB", 49.92, -97.24, 239),
    ("718770", "CALGARY AB", 51.11, -114.02, 1084),
    ("718920", "VANCOUVER BC", 49.19, -123.18, 4),
    ("711230", "EDMONTON AB", 53.31, -113.58, 723),
    ("702730", "ANCHORAGE AK", 61.17, -150.02, 40),
    ("766800", "MEXICO CITY", 19.43, -99.07, 2230),
    ("785260", "SAN JUAN PR", 18.43, -66.00, 3),
]

# Stations that the files hold but the station table leaves out.
NOT_LOCAL = [
    ("744910", "ORANGE MA", 42.57, -72.29, 169),
    ("745940", "MOUNT WASHINGTON NH", 44.27, -71.30, 1910),
    ("722996", "OFFSHORE BUOY GULF", 27.90, -88.00, 0),
]

# The other stations of the table stand in no file: the table lists more
# stations than the files use.

ALL_STATIONS = {s[0]: s for s in STATIONS + NOT_LOCAL}


class Model:
    def __init__(self, name, heading, levels, soil_depths, top, seed):
        self.name, self.heading = name, heading
        self.levels, self.soil_depths = levels, soil_depths
        self.top, self.seed = top, seed


# Levels stay within each template's maxLevels and maxSoilLevels
# (ETA 60/4, RUC 50/6, AVN 64/4, NGM 35/2). Soil depths in metres.
MODELS = {
    "ETA": Model("ETA", "JUSA41", 60, (0.05, 0.25, 0.70, 1.50), 2500, 41),
    "RUC": Model("RUC", "JUSB51", 40, (0.00, 0.05, 0.20, 0.40), 5000, 51),
    "AVN": Model("AVN", "JUSC61", 42, (0.05, 0.25, 0.70, 1.50), 1000, 61),
    "NGM": Model("NGM", "JUSD71", 28, (0.05, 0.50), 5000, 71),
}

RUN_ETA = datetime.datetime(2024, 3, 22, 12)
RUN_RUC = datetime.datetime(2024, 3, 22, 18)
RUN_AVN = datetime.datetime(2024, 3, 22, 12)
RUN_NGM = datetime.datetime(2024, 3, 22, 0)

EAST = ["724030", "725030", "725090", "725180", "722020", "722080", "722190", "723150",
        "723270", "724210", "725370", "725300"]
CENTRAL = ["724340", "722310", "723400", "725460", "726580", "722430", "722590", "723530"]
WEST = ["725650", "722700", "722740", "722780", "725720", "725780", "727730", "723860",
        "724880", "722950", "724940", "726980", "727930", "718920"]

# name suffix, model, run time, forecast offset in hours, stations
FILES = [
    ("F000", "ETA", RUN_ETA, 0, EAST),
    ("F006", "ETA", RUN_ETA, 6, EAST),
    ("F000", "RUC", RUN_RUC, 0, CENTRAL),
    ("F003", "RUC", RUN_RUC, 3, CENTRAL),
    ("F000", "AVN", RUN_AVN, 0, WEST + ["716240", "718770"]),
    # The last two stations are not in the station table: only the first
    # id of a file decides whether it is stored.
    ("F012", "AVN", RUN_AVN, 12, WEST + ["744910", "745940"]),
    ("F000", "NGM", RUN_NGM, 0, ["716240", "716270", "718520", "711230", "702730", "766800"]),
    ("F012", "NGM", RUN_NGM, 12, ["716240", "716270", "718520", "711230", "702730", "766800"]),
    # The first station is not in the station table: nothing is stored.
    ("NOTLOCAL", "ETA", RUN_ETA, 6, ["722996", "724030", "725030", "725090", "725180", "722020"]),
]

MISSING = "-1e100"


def file_name(suffix, model, run):
    return "%s_KWBC_%s_%s" % (MODELS[model].heading, run.strftime("%Y%m%d%H"), suffix)


def fmt(value, decimals):
    if value is None:
        return MISSING
    if decimals <= 0:
        step = 10 ** -decimals
        return str(int(round(value / step)) * step)
    return "%.*f" % (decimals, value)


def standard_temperature(p):
    """Temperature (K) of the standard atmosphere at pressure p (Pa)."""
    if p >= 22632.1:
        return 288.15 * (p / 101325.0) ** 0.190263
    if p >= 5474.89:
        return 216.65
    return 216.65 * (p / 5474.89) ** -0.0292712


def surface_pressure(elevation):
    return 101325.0 * (1 - 2.25577e-5 * elevation) ** 5.25588


class Sounding:
    """The values of one station of one file."""

    def __init__(self, rng, model, station, offset_hours, valid_hour):
        _, _, lat, lon, elevation = station
        n = model.levels
        warm = 0.55 * (40.0 - lat) - 6.0 + rng.uniform(-2.0, 2.0)  # March, by latitude
        sun = max(0.0, math.cos(2 * math.pi * ((valid_hour + lon / 15.0) % 24 - 12) / 24))
        psfc = surface_pressure(elevation) + rng.uniform(-1200, 1200)
        self.mslp = 101325.0 + rng.uniform(-1800, 1800)
        jet = rng.uniform(20, 45)
        q0 = max(0.002, 0.011 - 0.00025 * (lat - 25)) * rng.uniform(0.7, 1.1)
        cloudy = rng.random() < 0.6
        cloud_base, cloud_top = rng.uniform(70000, 90000), rng.uniform(45000, 65000)

        self.pressure, self.temperature, self.u, self.v, self.q, self.w = [], [], [], [], [], []
        self.cloud_water, self.conv_heat, self.stable_heat = [], [], []
        self.sw_heat, self.lw_heat, self.cloud_cover, self.tke, self.ice = [], [], [], [], []
        for k in range(n):
            s = ((n - k - 0.5) / n) ** 1.6
            p = round((model.top + (psfc - model.top) * s) / 10) * 10
            near_surface = p / psfc
            t = standard_temperature(p * 101325.0 / psfc) + warm * near_surface ** 3
            t += rng.uniform(-0.4, 0.4)
            in_cloud = cloudy and cloud_top <= p <= cloud_base
            in_ice = cloudy and 25000 <= p <= 40000
            self.pressure.append(p)
            self.temperature.append(t)
            self.u.append(5 + jet * math.exp(-((p - 25000) / 12000) ** 2) + rng.uniform(-2, 2))
            self.v.append(rng.uniform(-6, 6))
            self.q.append(q0 * near_surface ** 3.2 * rng.uniform(0.9, 1.1))
            self.w.append(rng.uniform(-0.4, 0.3) if in_cloud else rng.uniform(-0.1, 0.1))
            self.cloud_water.append(rng.uniform(2e-5, 3e-4) if in_cloud else 0.0)
            self.ice.append(rng.uniform(1e-6, 8e-5) if in_ice else 0.0)
            self.conv_heat.append(rng.uniform(0.5e-5, 3e-5) if in_cloud else 0.0)
            self.stable_heat.append(rng.uniform(-1e-5, 2e-5) if in_cloud or in_ice else 0.0)
            self.sw_heat.append(sun * rng.uniform(0.3e-5, 2.5e-5))
            self.lw_heat.append(-rng.uniform(0.5e-5, 3e-5))
            self.cloud_cover.append(rng.randint(60, 100) if in_cloud or in_ice else rng.randint(0, 5))
            self.tke.append(max(0.0, 2.5 * (near_surface - 0.85) / 0.15) * rng.uniform(0.5, 1.0))
        if model.name == "NGM":  # the NGM has no turbulence or ice in its output
            self.tke = [None] * n
            self.ice = [None] * n
        assert all(a > b for a, b in zip(self.pressure, self.pressure[1:])), "pressure must fall"

        self.skin = self.temperature[0] + rng.uniform(-1.5, 2.5) * (0.5 + sun)
        self.t2m = self.temperature[0] + rng.uniform(-0.5, 0.8)
        self.td2m = self.t2m - rng.uniform(0.5, 12.0)
        self.wind_dir = rng.randint(0, 359)
        self.wind_speed = rng.uniform(0.5, 12.0)
        self.precip = 0.0 if offset_hours == 0 else rng.choice((0.0, 0.0, rng.uniform(0.1, 8.0)))
        snowy = lat > 44 and warm < -8
        self.snow = rng.uniform(0.02, 0.40) if snowy else 0.0
        if model.name == "RUC":  # the RUC's soundings carry no snow depth
            self.snow = None
        self.precipitable = sum(q for q in self.q) * (psfc - model.top) / n / 9.80665
        self.soil_moisture, self.soil_temperature = [], []
        wet = rng.uniform(0.15, 0.35)
        for depth in model.soil_depths:
            self.soil_moisture.append(wet + 0.05 * depth + rng.uniform(-0.02, 0.02))
            self.soil_temperature.append(self.skin + (281.0 + warm * 0.5 - self.skin)
                                         * min(1.0, depth / 0.5) + rng.uniform(-0.3, 0.3))


def rules(model, run, offset_hours, ids):
    rng = random.Random(model.seed * 1000 + offset_hours * 7 + len(ids))
    valid_hour = (run.hour + offset_hours) % 24
    soundings = [Sounding(rng, model, ALL_STATIONS[i], offset_hours, valid_hour) for i in ids]
    n = len(ids)
    out = [
        "# %s model soundings, run %s, forecast offset %d h, %d stations,"
        % (model.name, run.strftime("%Y-%m-%d %H UTC"), offset_hours, n),
        "# %d model levels, %d soil levels; one subset a station." % (model.levels, len(model.soil_depths)),
        "set masterTablesVersionNumber=13;",
        "set localTablesVersionNumber=1;",
        "set bufrHeaderCentre=7;",
        "set bufrHeaderSubCentre=0;",
        "set updateSequenceNumber=0;",
        "set dataCategory=2;",
        "set dataSubCategory=0;",
        "set typicalYearOfCentury=%d;" % (run.year % 100),
        "set typicalMonth=%d;" % run.month,
        "set typicalDay=%d;" % run.day,
        "set typicalHour=%d;" % run.hour,
        "set typicalMinute=0;",
        "set numberOfSubsets=%d;" % n,
        "set observedData=0;",
        "set compressedData=0;",
        "set inputDelayedDescriptorReplicationFactor={%s};"
        % ", ".join("%d, %d" % (model.levels, len(model.soil_depths)) for _ in ids),
        "set unexpandedDescriptors={",
        "    001015, 005002, 006002, 007001, 004194,",
        "    010051, 012061, 012004, 012006, 011011, 011012, 013011, 013013, 013016,",
        "    114000, 031001,",
        "    007004, 012101, 011003, 011004, 013001, 011005, 013192,",
        "    012192, 012193, 012194, 012195, 020010, 011073, 013193,",
        "    102000, 031001, 013194, 012130 };",
    ]

    def put(key, values, decimals):
        out.append("set %s={%s};" % (key, ", ".join(fmt(v, decimals) for v in values)))

    def put_levels(key, attribute, decimals):
        out.append("set %s={" % key)
        for i, s in enumerate(soundings):
            end = "};" if i == n - 1 else ","
            out.append("    %s%s" % (", ".join(fmt(v, decimals) for v in getattr(s, attribute)), end))

    # A text takes one set for each subset of an uncompressed message.
    for n_, station in enumerate(ids, 1):
        out.append('set #%d#stationOrSiteName="%-20s";' % (n_, station))
    put("latitude", [ALL_STATIONS[i][2] for i in ids], 2)
    put("longitude", [ALL_STATIONS[i][3] for i in ids], 2)
    put("heightOfStation", [ALL_STATIONS[i][4] for i in ids], 0)
    put("forecastTimeInSeconds", [offset_hours * 3600] * n, 0)
    put("pressureReducedToMeanSeaLevel", [s.mslp for s in soundings], -1)
    put("skinTemperature", [s.skin for s in soundings], 1)
    put("airTemperatureAt2M", [s.t2m for s in soundings], 1)
    put("dewpointTemperatureAt2M", [s.td2m for s in soundings], 1)
    put("windDirectionAt10M", [s.wind_dir for s in soundings], 0)
    put("windSpeedAt10M", [s.wind_speed for s in soundings], 1)
    put("totalPrecipitationOrTotalWaterEquivalent", [s.precip for s in soundings], 1)
    put("totalSnowDepth", [s.snow for s in soundings], 2)
    put("precipitableWater", [s.precipitable for s in soundings], 0)
    put_levels("pressure", "pressure", -1)
    put_levels("airTemperature", "temperature", 2)
    put_levels("u", "u", 1)
    put_levels("v", "v", 1)
    put_levels("specificHumidity", "q", 5)
    put_levels("w", "w", 1)
    put_levels("cloudWaterMixingRatio", "cloud_water", 6)
    put_levels("convectiveLatentHeatingRate", "conv_heat", 7)
    put_levels("stableLatentHeatingRate", "stable_heat", 7)
    put_levels("shortwaveHeatingRate", "sw_heat", 7)
    put_levels("longwaveHeatingRate", "lw_heat", 7)
    put_levels("cloudCoverTotal", "cloud_cover", 0)
    put_levels("turbulentKineticEnergy", "tke", 2)
    put_levels("cloudIceMixingRatio", "ice", 6)
    put_levels("layerSoilMoisture", "soil_moisture", 3)
    put_levels("soilTemperature", "soil_temperature", 2)
    out += ["set pack=1;", "write;"]
    return "\n".join(out) + "\n"


def run(args, env, **kw):
    result = subprocess.run(args, env=env, capture_output=True, text=True, **kw)
    if result.returncode != 0:
        sys.exit("%s failed: %s%s" % (" ".join(args), result.stdout, result.stderr))
    return result.stdout


def write_station_table():
    lines = [
        "# Model sounding stations of this localization: number|stationId|name|lat|lon|",
        "# Only the first two fields are read; a model sounding file is stored when its",
        "# first station is listed here. Written by site/samples/model/make_model_samples.py.",
    ]
    for number, (sid, name, lat, lon, _) in enumerate(STATIONS, 1):
        lines.append("%d|%s|%s|%.2f|%.2f|" % (number, sid, name, lat, lon))
    assert all(len(line) <= 119 for line in lines)
    with open(STATION_TABLE, "w", encoding="ascii", newline="") as f:
        f.write("".join(line + "\n" for line in lines))


def make(work, env, suffix, model_name, run_time, offset_hours, ids):
    model = MODELS[model_name]
    name = file_name(suffix, model_name, run_time)
    assert 6 <= len(ids) <= 20 and len(set(ids)) == len(ids)
    rules_path = os.path.join(work, name + ".filter")
    raw = os.path.join(work, name + ".raw")
    with open(rules_path, "w", encoding="ascii") as f:
        f.write(rules(model, run_time, offset_hours, ids))
    samples = run(["codes_info", "-s"], env).strip()
    run(["bufr_filter", "-o", raw, rules_path, os.path.join(samples, "BUFR3.tmpl")], env)
    heading = "%s KWBC %s" % (model.heading, run_time.strftime("%d%H%M"))
    path = os.path.join(HERE, name)
    with open(raw, "rb") as f:
        message = f.read()
    with open(path, "wb") as f:
        f.write(heading.encode("ascii") + b"\r\r\n" + message)
    if run(["bufr_get", "-p", "edition,localTablesVersionNumber", path], env).split() != ["3", "1"]:
        sys.exit("%s: not edition 3 with local table version 1" % name)
    run(["bufr_dump", path], env)  # the whole message must decode
    expected = run([sys.executable, EXPECTED_VALUES, path], env)
    # Local descriptors unknown to ecCodes would be left out of its values.
    for needed in ("4194", "13192", "13193", "12192", "12195", "13194"):
        if (" %s " % needed) not in expected:
            sys.exit("%s: ecCodes decoded no 0 %s value: check definitions/" % (name, needed))
    expected = expected.replace("made by make_messages.sh", "made by make_model_samples.py", 1)
    with open(os.path.join(EXPECTED_DIR, name + ".expected"), "w", encoding="ascii") as f:
        f.write(expected)
    print("%-30s %6d octets  %s run %s  +%2d h  %2d stations  %2d levels  %d soil levels"
          % (name, os.path.getsize(path), model_name, run_time.strftime("%Y%m%d%H"),
             offset_hours, len(ids), model.levels, len(model.soil_depths)))
    return path


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--check", metavar="BUFRDUMP",
                        help="also decode each file with this bufrdump and compare with ecCodes")
    args = parser.parse_args()

    env = dict(os.environ)
    env["ECCODES_DEFINITION_PATH"] = DEFINITIONS + ":" + ECCODES_DEFINITIONS
    version = run(["codes_info", "-v"], env).strip()
    if version != MADE_WITH:
        print("warning: ecCodes %s, the files were made with %s" % (version, MADE_WITH), file=sys.stderr)

    os.makedirs(EXPECTED_DIR, exist_ok=True)
    write_station_table()
    paths = []
    with tempfile.TemporaryDirectory() as work:
        for entry in FILES:
            paths.append(make(work, env, *entry))

    if args.check:
        env["ZEPH_HOME"] = SITE
        result = subprocess.run([args.check] + paths, env=env, capture_output=True, text=True)
        if result.returncode != 0:
            sys.exit("bufrdump failed:\n" + result.stdout[-3000:] + result.stderr[-3000:])
        result = subprocess.run([sys.executable, COMPARE, args.check] + paths, env=env)
        return result.returncode
    return 0


if __name__ == "__main__":
    sys.exit(main())
