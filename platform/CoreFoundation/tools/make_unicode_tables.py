#!/usr/bin/env python3
"""Writes src/unicode_tables.cpp from the Unicode data that Python carries: run it from this folder's parent.

Only characters up to U+FFFF are covered, which is what strings compare, search and map by. Mappings to one character are
stored as runs of equal distance, the rest one by one.
"""
import unicodedata

LAST = 0xFFFF


def characters():
    return (c for c in range(0x80, LAST + 1) if not 0xD800 <= c < 0xE000)


def runs(mapping):
    """Groups code -> code into (first, last, stride, distance)."""
    out = []
    for code in sorted(mapping):
        distance = mapping[code] - code
        if out:
            first, last, stride, d = out[-1]
            step = code - last
            if d == distance and step in (1, 2) and (first == last or step == stride):
                out[-1] = (first, code, step, d)
                continue
        out.append((code, code, 1, distance))
    return out


def case_tables(name, convert):
    single, several = {}, {}
    for c in characters():
        to = [ord(x) for x in convert(chr(c))]
        if to == [c] or any(x > LAST for x in to):
            continue
        if len(to) == 1:
            single[c] = to[0]
        else:
            several[c] = to
    lines = [f"constexpr case_run {name}_run_rows[] = {{"]
    lines += wrap("{0x%04X, 0x%04X, %d, %d}" % r for r in runs(single))
    lines += ["};", "", f"constexpr case_expansion {name}_expansion_rows[] = {{"]
    lines += wrap("{0x%04X, {%s}}" % (c, ", ".join("0x%04X" % x for x in to)) for c, to in sorted(several.items()))
    return lines + ["};", ""]


def wrap(items):
    lines, line = [], "   "
    for item in items:
        if len(line) + len(item) + 2 > 110:
            lines.append(line)
            line = "   "
        line += " " + item + ","
    return lines + [line]


def main():
    out = [
        "// Made by tools/make_unicode_tables.py from Unicode %s: do not edit." % unicodedata.unidata_version,
        '#include "unicode_tables.h"',
        "",
        "// clang-format off",
        "namespace cf {",
        "",
        "namespace {",
        "",
    ]
    out += case_tables("folding", str.casefold)
    out += case_tables("lower", str.lower)
    out += case_tables("upper", str.upper)
    decompositions = []
    for c in characters():
        text = unicodedata.decomposition(chr(c))
        if text and not text.startswith("<") and not 0xAC00 <= c <= 0xD7A3:
            parts = [int(x, 16) for x in text.split()]
            if all(p <= LAST for p in parts):
                decompositions.append((c, parts[0], parts[1] if len(parts) > 1 else 0))
    out += ["constexpr decomposition decomposition_rows[] = {"]
    out += wrap("{0x%04X, 0x%04X, 0x%04X}" % d for d in decompositions)
    out += ["};", ""]
    marks = []
    for c in characters():
        if unicodedata.combining(chr(c)):
            if marks and marks[-1][1] == c - 1:
                marks[-1][1] = c
            else:
                marks.append([c, c])
    out += ["constexpr character_range mark_rows[] = {"]
    out += wrap("{0x%04X, 0x%04X}" % tuple(m) for m in marks)
    out += ["};", ""]
    widths = {}
    for c in range(0xFF00, 0xFFF0):
        text = unicodedata.decomposition(chr(c))
        if text.startswith(("<wide>", "<narrow>")):
            widths[c] = int(text.split()[1], 16)
    widths[0x3000] = 0x20
    out += ["constexpr case_run width_rows[] = {"]
    out += wrap("{0x%04X, 0x%04X, %d, %d}" % r for r in runs(widths))
    out += ["};", "", "} // namespace", ""]
    for name in ("folding", "lower", "upper"):
        out += [
            f"constinit const std::span<const case_run> {name}_runs = {name}_run_rows;",
            f"constinit const std::span<const case_expansion> {name}_expansions = {name}_expansion_rows;",
        ]
    out += [
        "constinit const std::span<const decomposition> decompositions = decomposition_rows;",
        "constinit const std::span<const character_range> marks = mark_rows;",
        "constinit const std::span<const case_run> widths = width_rows;",
        "",
        "} // namespace cf",
        "// clang-format on",
    ]
    with open("src/unicode_tables.cpp", "w", encoding="ascii", newline="\n") as file:
        file.write("\n".join(out) + "\n")


main()
