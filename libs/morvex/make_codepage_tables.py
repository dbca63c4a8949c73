#!/usr/bin/env python3
"""Writes codepagetables.inc from tests/data/codepages.txt, which holds what Windows gives.

Usage: make_codepage_tables.py [DATA_FILE] > codepagetables.inc

Only what can't be reckoned is written: bytes 80 to 9F of 1252, the rows of characters of 932 and the best fits.
"""
import sys
from pathlib import Path

UNDEFINED = "\u30fb"  # what 932 decodes a pair to that is none: the katakana middle dot
TRAILS_A_LINE = 63


def pages(path):
    """Returns for each code page its lines as (keyword, argument, value)."""
    found, lines = {}, None
    for line in path.read_text(encoding="utf-8").splitlines():
        if line.startswith("page "):
            lines = found.setdefault(int(line[5:]), [])
        elif line and not line.startswith("#"):
            head, value = line.split(":", 1)
            lines.append((*(head.split() + [""])[:2], value))
    return found


def wrapped(items, width=108):
    line = ""
    for item in items:
        if line and len(line) + len(item) + 1 > width:
            yield line
            line = ""
        line += (" " if line else "") + item
    yield line


def write_array(head, items):
    print(f"\n{head} = {{")
    print("\n".join(wrapped(items)))
    print("};")


def best_fits(lines):
    for keyword, _, value in lines:
        if keyword == "fit":
            for item in value.split():
                unit, code = item.split("=")
                yield f"{{0x{unit}, 0x{code}}},"


def control_singles(lines):
    for keyword, first, value in lines:
        if keyword == "single" and 0x80 <= int(first, 16) < 0xA0:
            yield from (f"0x{unit}," for unit in value.split())


def write_pair_rows(lines):
    print("\nconstexpr PairRow pairRows[] = {")
    for keyword, lead, value in lines:
        if keyword != "pairs":
            continue
        row = value.replace(".", UNDEFINED)
        parts = [row[at : at + TRAILS_A_LINE] for at in range(0, len(row), TRAILS_A_LINE)]
        print(f"{{0x{lead},\n" + "\n".join(f' u"{part}"' for part in parts) + "},")
    print("};")


def main():
    here = Path(__file__).parent
    data = pages(Path(sys.argv[1]) if len(sys.argv) > 1 else here / "../../tests/data/codepages.txt")
    print("// Made by make_codepage_tables.py.")
    write_array("constexpr char16_t controls1252[]", control_singles(data[1252]))
    write_array("constexpr BestFit bestFits1252[]", best_fits(data[1252]))
    write_array("constexpr BestFit bestFits932[]", best_fits(data[932]))
    write_pair_rows(data[932])


main()
