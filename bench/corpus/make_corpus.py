#!/usr/bin/env python3
"""Regenerates the compressed BUFR messages that bufr_bench decodes.

Each message is laid out like an operational satellite product (ATOVS
AMSU-A, IASI, AVHRR, SSMIS, SMOS, MODIS winds): hundreds to thousands of
subsets in compressed form, dozens of elements, delayed replication and a
character element. The character elements are left missing: the engine
reads a compressed character column only when its increment width is 0,
which is how ecCodes writes a missing one (a column of texts it writes with
the increment width in octets, which the engine doesn't follow).
ecCodes' bufr_filter encodes them from rules that this
script writes; the values are smooth fields with noise from a fixed seed, so
that increments are as narrow as in real data and every run gives the same
files.

Made with ecCodes 2.28.0 (Debian 12, libeccodes-tools and libeccodes-data).

Usage:  bench/corpus/make_corpus.py
"""
import math
import os
import random
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def smooth(rng, n, low, high, period, noise):
    """n values between low and high along a slow wave, with some noise."""
    mid, amp = (low + high) / 2, (high - low) / 2 * 0.8
    phase = rng.uniform(0, 2 * math.pi)
    out = []
    for i in range(n):
        v = mid + amp * math.sin(phase + 2 * math.pi * i / period)
        v += rng.uniform(-noise, noise)
        out.append(min(high, max(low, v)))
    return out


def fmt(values, decimals):
    if decimals == 0:
        return ",".join(str(int(round(v))) for v in values)
    return ",".join(f"{v:.{decimals}f}" for v in values)


class Message:
    def __init__(self, name, subsets, seed):
        self.name, self.subsets = name, subsets
        self.rng = random.Random(seed)
        self.descriptors, self.sets, self.factors = [], [], []
        self.extended = []
        self.count = {}

    def element(self, descriptor, key, values, decimals=0):
        """Appends an element and its values for all subsets."""
        self.descriptors.append(descriptor)
        self.value(key, values, decimals)

    def value(self, key, values, decimals=0):
        self.count[key] = self.count.get(key, 0) + 1
        n = self.count[key]
        text = fmt(values, decimals)
        self.sets.append(f"set #{n}#{key}={{{text}}};")

    def const(self, v):
        return [v] * self.subsets

    def time(self, minute0=10):
        self.element(4001, "year", self.const(2012))
        self.element(4002, "month", self.const(10))
        self.element(4003, "day", self.const(31))
        self.element(4004, "hour", self.const(6))
        minutes = [minute0 + (i * 30) // self.subsets for i in range(self.subsets)]
        self.element(4005, "minute", minutes)
        self.element(4006, "second", [(i * 7) % 60 for i in range(self.subsets)])

    def position(self, lat0, lon0):
        n, rng = self.subsets, self.rng
        self.element(5001, "latitude",
                     [lat0 + 10 * i / n + rng.uniform(-0.01, 0.01) for i in range(n)], 5)
        self.element(6001, "longitude",
                     [lon0 + 20 * i / n + rng.uniform(-0.01, 0.01) for i in range(n)], 5)

    def rules(self):
        lines = ["set masterTablesVersionNumber=13;",
                 "set localTablesVersionNumber=0;",
                 "set dataCategory=21;",
                 f"set numberOfSubsets={self.subsets};",
                 "set compressedData=1;"]
        if self.factors:
            lines.append("set inputDelayedDescriptorReplicationFactor={%s};"
                         % ",".join(map(str, self.factors)))
        if self.extended:
            lines.append("set inputExtendedDelayedDescriptorReplicationFactor={%s};"
                         % ",".join(map(str, self.extended)))
        lines.append("set unexpandedDescriptors={%s};"
                     % ",".join(map(str, self.descriptors)))
        lines += self.sets
        lines += ["set pack=1;", "write;"]
        return "\n".join(lines) + "\n"


def atovs_amsua():
    m = Message("atovs_amsua", 1200, 1)
    m.element(1007, "satelliteIdentifier", m.const(223))
    m.element(2019, "satelliteInstruments", m.const(570))
    m.element(5040, "orbitNumber", m.const(19876))
    m.element(5041, "scanLineNumber", [i // 30 % 256 for i in range(m.subsets)])
    m.time()
    m.position(40.0, -30.0)
    r = m.rng
    m.element(7024, "satelliteZenithAngle",
              [(i % 30 - 15) * 3.3 + r.uniform(-0.1, 0.1) for i in range(m.subsets)], 2)
    m.element(5021, "bearingOrAzimuth", smooth(r, m.subsets, 0, 359, 400, 0.5), 2)
    m.element(7025, "solarZenithAngle", smooth(r, m.subsets, 20, 120, 900, 0.3), 2)
    m.element(5022, "solarAzimuth", smooth(r, m.subsets, 0, 359, 700, 0.4), 2)
    m.descriptors.append(103015)  # fifteen channels, three elements each
    for channel in range(1, 16):
        m.value("channelNumber", m.const(channel))
        m.value("brightnessTemperature",
                smooth(r, m.subsets, 180 + channel * 3, 280, 300, 1.5), 2)
        m.value("channelQualityFlagsForAtovs",
                [0 if r.random() < 0.97 else 2 for _ in range(m.subsets)])
    m.descriptors += [5042, 12163, 33032]
    return m


def iasi_radiances():
    m = Message("iasi_radiances", 240, 2)
    channels = 500
    m.element(1007, "satelliteIdentifier", m.const(4))
    m.element(1031, "centre", m.const(254))
    m.element(2019, "satelliteInstruments", m.const(221))
    m.descriptors.append(25061)  # software identification, left missing
    m.time()
    m.position(-20.0, 60.0)
    r = m.rng
    m.element(7024, "satelliteZenithAngle", smooth(r, m.subsets, -48, 48, 120, 0.2), 2)
    m.element(7025, "solarZenithAngle", smooth(r, m.subsets, 30, 90, 500, 0.2), 2)
    m.descriptors += [101000, 31002, 14046]
    m.extended.append(channels)
    for channel in range(channels):
        base = 20000 + 15000 * math.sin(channel / 40.0)
        m.value("scaledIasiRadiance",
                [base + v for v in smooth(r, m.subsets, -2000, 2000, 60, 300)])
    return m


def avhrr_clear():
    m = Message("avhrr_clear", 5000, 3)
    m.element(1007, "satelliteIdentifier", m.const(3))
    m.time()
    m.position(55.0, -10.0)
    r = m.rng
    m.element(7024, "satelliteZenithAngle", smooth(r, m.subsets, 0, 68, 2048, 0.05), 2)
    m.element(7025, "solarZenithAngle", smooth(r, m.subsets, 40, 95, 5000, 0.05), 2)
    m.element(8012, "landOrSeaQualifier", [0 if r.random() < 0.7 else 1 for _ in range(m.subsets)])
    m.element(13040, "surfaceFlag", [r.choice((0, 1, 2)) for _ in range(m.subsets)])
    m.descriptors += [102000, 31001, 5042, 12163]
    m.factors.append(5)
    for channel in range(1, 6):
        m.value("channelNumber", m.const(channel))
        m.value("brightnessTemperature", smooth(r, m.subsets, 220, 300, 800, 0.8), 2)
    return m


def ssmis_tb():
    m = Message("ssmis_tb", 2000, 4)
    m.element(1007, "satelliteIdentifier", m.const(249))
    m.element(2019, "satelliteInstruments", m.const(908))
    m.time()
    m.position(-60.0, 100.0)
    r = m.rng
    m.element(10001, "heightOfLandSurface", [int(v) for v in smooth(r, m.subsets, 0, 900, 300, 10)])
    m.element(8012, "landOrSeaQualifier", [0 if r.random() < 0.6 else 1 for _ in range(m.subsets)])
    m.descriptors.append(101024)
    for channel in range(24):
        m.value("brightnessTemperature", smooth(r, m.subsets, 120, 290, 500, 1.0), 2)
    m.descriptors.append(12163)
    return m


def smos_soil():
    m = Message("smos_soil", 3000, 5)
    m.element(1007, "satelliteIdentifier", m.const(46))
    m.time()
    m.position(10.0, 10.0)
    r = m.rng
    m.element(40001, "surfaceSoilMoisture", smooth(r, m.subsets, 0, 60, 700, 1.0), 1)
    m.element(25174, "smosInformationFlag", [r.choice((0, 4, 16)) for _ in range(m.subsets)])
    m.descriptors += [103000, 31001, 7024, 12163, 21062]
    m.factors.append(8)
    for snapshot in range(8):
        m.value("satelliteZenithAngle", smooth(r, m.subsets, 0, 60, 900, 0.1), 2)
        m.value("brightnessTemperature", smooth(r, m.subsets, 150, 300, 400, 1.2), 2)
        m.value("backscatter", smooth(r, m.subsets, -30, 5, 300, 0.3), 2)
    return m


def modis_winds():
    m = Message("modis_winds", 800, 6)
    r = m.rng
    m.element(1007, "satelliteIdentifier", [r.choice((783, 784)) for _ in range(m.subsets)])
    m.element(1031, "centre", m.const(160))
    m.element(2023, "satelliteDerivedWindComputationMethod", [r.choice((1, 2, 3)) for _ in range(m.subsets)])
    m.descriptors.append(1015)  # site name, left missing
    m.time()
    m.position(65.0, -150.0)
    m.element(7004, "pressure", [int(v) // 10 * 10 for v in smooth(r, m.subsets, 15000, 95000, 90, 3000)])
    m.element(11001, "windDirection", [int(v) for v in smooth(r, m.subsets, 0, 359, 70, 20)])
    m.element(11002, "windSpeed", smooth(r, m.subsets, 1, 70, 80, 3), 1)
    m.descriptors += [101000, 31001, 33007]
    m.factors.append(4)
    for test in range(4):
        m.value("percentConfidence", [r.randint(50, 100) for _ in range(m.subsets)])
    return m


def main():
    samples = subprocess.run(["codes_info", "-s"], capture_output=True, text=True,
                             check=True).stdout.strip()
    template = os.path.join(samples, "BUFR3.tmpl")
    with tempfile.TemporaryDirectory() as work:
        for make in (atovs_amsua, iasi_radiances, avhrr_clear, ssmis_tb,
                     smos_soil, modis_winds):
            m = make()
            rules = os.path.join(work, m.name + ".filter")
            with open(rules, "w") as f:
                f.write(m.rules())
            out = os.path.join(HERE, m.name + ".bufr")
            subprocess.run(["bufr_filter", "-o", out, rules, template], check=True)
            subprocess.run(["bufr_dump", out], check=True, stdout=subprocess.DEVNULL)
            print(f"{m.name}.bufr: {os.path.getsize(out)} octets, {m.subsets} subsets")


if __name__ == "__main__":
    sys.exit(main())
