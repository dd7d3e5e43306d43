#!/usr/bin/env python3
"""Tests of the table generator and checker on small made-up master tables."""

import contextlib
import io
import os
import shutil
import tempfile
import unittest

import check_tables
import make_tables

ELEMENTS = """#code|abbreviation|type|name|unit|scale|reference|width
001001|a|long|WMO BLOCK NUMBER|Numeric|0|0|7
001002|b|string|STATION NAME|Character|0|0|32
001003|c|long||m|0|0|7
031001|d|long|DELAYED DESCRIPTOR REPLICATION FACTOR|Numeric|0|0|8
"""
# 301050: elements, a delayed replication too far in for the first line, a
# fixed replication; 301051: a replicated group too long for any line.
SEQUENCES = ('"301050" = [ ' + ", ".join(["001001"] * 45 + ["101000", "031001", "001002"]
                                        + ["001003"] * 25 + ["102003", "001001", "001002"]) + " ]\n"
             '"301051" = [ 001002, 140003, ' + ", ".join(["001001"] * 40) + " ]\n")


class TablesTest(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.dir)
        os.makedirs(os.path.join(self.dir, "src", "1"))
        for name, text in (("src/1/element.table", ELEMENTS), ("src/1/sequence.def", SEQUENCES),
                           ("local.txt", "# local\n001001|WMO BLOCK|Numeric|0|0|8\n301192|001001\n")):
            with open(os.path.join(self.dir, name), "w") as f:
                f.write(text)
        self.source = ["--source-dir", os.path.join(self.dir, "src"), "--version", "1",
                       "--local", os.path.join(self.dir, "local.txt")]
        self.data = os.path.join(self.dir, "data")
        self.run_quietly(make_tables.main, self.source + ["--out-dir", self.data])

    @staticmethod
    def run_quietly(function, argv):
        with contextlib.redirect_stdout(io.StringIO()), contextlib.redirect_stderr(io.StringIO()):
            try:
                function(argv)
            except SystemExit as stop:
                return stop.code or 0
        return 0

    def check(self, source=True):
        argv = self.source if source else ["--version", "none"]
        return self.run_quietly(check_tables.main, argv + ["--data-dir", self.data])

    def table(self, name):
        with open(os.path.join(self.data, name)) as f:
            return f.read()

    def test_generated_tables_pass(self):
        self.assertEqual(self.check(), 0)
        b = self.table("bufrTableB")
        self.assertIn("1001|WMO BLOCK|Numeric|0|0|8\n", b)
        self.assertIn("1002|STATION NAME|CCITT IA5|0|0|32\n", b)
        self.assertIn("1003|-|m|0|0|7\n", b)
        self.assertEqual(self.table("replDescTbl"), "31001")
        d = self.table("bufrTableD").splitlines()
        self.assertTrue(all(len(line) <= 218 and line.endswith("|0") for line in d))
        self.assertIn("301192|1001|0", d)
        line = next(line for line in d if line.startswith("301050|"))
        self.assertRegex(line, r"^301050\|301193\|(1001\|)+101000\|31001\|1002\|")
        self.assertTrue(any(line.startswith("301051|1002|101003|3011") for line in d))

    def test_tables_breaking_the_loader_rules_fail(self):
        corruptions = [("bufrTableB", "1001|WMO BLOCK|", "1001||"),
                       ("bufrTableD", "301192|1001|0", "301192|1001"),
                       ("bufrTableD", "301192|1001|0", "301192|301192|0"),
                       ("bufrTableD", "|102003|1001|1002|0", "|1001|1002|102003|0"),
                       ("replDescTbl", "31001", "31001\n")]
        for name, old, new in corruptions:
            text = self.table(name)
            self.assertIn(old, text)
            with open(os.path.join(self.data, name), "w") as f:
                f.write(text.replace(old, new, 1))
            self.assertNotEqual(self.check(source=False), 0, new)
            with open(os.path.join(self.data, name), "w") as f:
                f.write(text)
        self.assertEqual(self.check(source=False), 0)

    def test_stale_tables_fail(self):
        with open(os.path.join(self.data, "bufrTableB"), "a") as f:
            f.write("1004|EXTRA|m|0|0|7\n")
        self.assertNotEqual(self.check(), 0)

if __name__ == "__main__":
    unittest.main()
