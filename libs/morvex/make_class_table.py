#!/usr/bin/env python3
"""Writes charclasstable.inc from the Unicode Character Database.

Usage: make_class_table.py [DATA_DIR] > charclasstable.inc

DATA_DIR holds UnicodeData.txt and DerivedCoreProperties.txt (Debian's package unicode-data puts them into
/usr/share/unicode, the default). Flags: 1 alphabetic, 2 lower case, 4 upper case, 8 space, 16 punctuation,
32 digit. Codes up to 0x7F are left to the C runtime.
"""
import re
import sys
from pathlib import Path

ALPHA, LOWER, UPPER, SPACE, PUNCT, DIGIT = 1, 2, 4, 8, 16, 32
LAST = 0xFFFF
SOFT_HYPHEN = 0xAD  # a format character by category, hyphen punctuation by use


def categories(path):
    """Yields (code, general category) for every assigned code of the plane, ranges expanded."""
    first = None
    for line in path.read_text(encoding="utf-8").splitlines():
        fields = line.split(";")
        code, name, category = int(fields[0], 16), fields[1], fields[2]
        if name.endswith(", First>"):
            first = code
            continue
        for each in range(first if first is not None else code, min(code, LAST) + 1):
            yield each, category
        first = None


def property_codes(path, wanted):
    codes = set()
    for line in path.read_text(encoding="utf-8").splitlines():
        match = re.match(r"([0-9A-F]+)(?:\.\.([0-9A-F]+))?\s*;\s*(\w+)", line)
        if match and match[3] == wanted:
            codes.update(range(int(match[1], 16), int(match[2] or match[1], 16) + 1))
    return codes


def flags_of(code, category, lower, upper):
    flags = 0
    if category[0] == "L":
        flags = ALPHA | (LOWER if code in lower else 0) | (UPPER if code in upper else 0)
    elif category[0] == "Z":
        flags = SPACE
    elif category[0] == "P" or code == SOFT_HYPHEN:
        flags = PUNCT
    elif category == "Nd":
        flags = DIGIT
    return flags


def main():
    folder = Path(sys.argv[1] if len(sys.argv) > 1 else "/usr/share/unicode")
    derived = folder / "DerivedCoreProperties.txt"
    version = re.search(r"-(\d+\.\d+\.\d+)\.txt", derived.read_text(encoding="utf-8").splitlines()[0])[1]
    lower, upper = property_codes(derived, "Lowercase"), property_codes(derived, "Uppercase")

    ranges = []
    for code, category in categories(folder / "UnicodeData.txt"):
        flags = flags_of(code, category, lower, upper)
        if code <= 0x7F or flags == 0:
            continue
        if ranges and ranges[-1][1] == code - 1 and ranges[-1][2] == flags:
            ranges[-1][1] = code
        else:
            ranges.append([code, code, flags])

    covered = sum(last - first + 1 for first, last, _ in ranges)
    print(f"// Made by make_class_table.py from Unicode {version}: {covered} codes in {len(ranges)} runs.")
    line = ""
    for first, last, flags in ranges:
        item = f"{{0x{first:04X}, 0x{last:04X}, 0x{flags:02X}}},"
        if len(line) + len(item) + 1 > 108:
            print(line)
            line = ""
        line += (" " if line else "") + item
    print(line)


main()
