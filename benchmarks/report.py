#!/usr/bin/env python3
"""Makes one table, and on request a chart, of what the benchmarks measured.

    report.py ROWS                   the table, for a terminal
    report.py ROWS --markdown        the same, for a page
    report.py ROWS --chart FILE.svg  each ratio as a bar, on a logarithmic scale

ROWS is what they write with --rows=ROWS.
"""

import argparse
import html
import json
import math

HEADINGS = ("ours", "MB/s", "median", "beside", "MB/s", "median", "ratio", "floor", "aim",
            "of memcpy", "")
NUMBERS = {1, 2, 4, 5, 6, 7, 8, 9}


def figure(value, digits=3):
    """With so many digits that tell something, and never as a power of ten."""
    if not value:
        return "-"
    decimals = max(0, digits - 1 - math.floor(math.log10(abs(value))))
    return f"{value:.{decimals}f}"


def cells(row):
    if "value" in row:
        return (row["ours"], figure(row["value"]) + row["unit"], "", "at most",
                figure(row["ceiling"]) + row["unit"], "", "", "", "", "", row["verdict"])
    return (row["ours"], f"{row['oursBest']:.0f}", f"{row['oursMedian']:.0f}",
            row["beside"], f"{row['besideBest']:.0f}", f"{row['besideMedian']:.0f}",
            figure(row["ratio"]), figure(row["floor"], 2), figure(row["aim"], 2),
            f"{row['ofMemory']:.2f}", row["verdict"])


def by_subject(rows):
    subjects = {}
    for row in rows:
        subjects.setdefault(row["subject"], []).append(row)
    return subjects


def text_table(rows):
    every = [HEADINGS] + [cells(row) for row in rows]
    widths = [max(len(line[i]) for line in every) for i in range(len(HEADINGS))]

    def line(texts):
        return "  ".join(text.rjust(widths[i]) if i in NUMBERS else text.ljust(widths[i])
                         for i, text in enumerate(texts)).rstrip()

    lines = ["  " + line(HEADINGS)]
    for subject, its_rows in by_subject(rows).items():
        lines += ["", subject]
        lines += ["  " + line(cells(row)) for row in its_rows]
    return "\n".join(lines)


def markdown_table(rows):
    lines = []
    for subject, its_rows in by_subject(rows).items():
        lines += [f"### {subject}", "",
                  "| " + " | ".join(HEADINGS) + " |",
                  "|" + "|".join("--:" if i in NUMBERS else "---"
                                 for i in range(len(HEADINGS))) + "|"]
        lines += ["| " + " | ".join(cells(row)) + " |" for row in its_rows]
        lines.append("")
    return "\n".join(lines).rstrip()


def chart(rows):
    """A bar for each ratio, from 1 to the right or, where the other side is faster, to the left; the
    floor is a tick. Left out is how we compare with other tasks of our own, and with memcpy."""
    ours = {row["ours"] for row in rows}
    compared = [row for row in rows if "ratio" in row and row["beside"] not in ours
                and not row["beside"].startswith("memcpy")]
    least, most = 0.1, 10 ** math.ceil(math.log10(max(row["ratio"] for row in compared)))
    left, width, step, top = 560, 480, 18, 40

    def x(ratio):
        share = math.log10(max(ratio, least) / least) / math.log10(most / least)
        return left + width * share

    height = top + step * (len(compared) + len(by_subject(compared))) + 20
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + 80} {height}" '
             f'font-family="sans-serif" font-size="11" role="img">',
             "<title>How many times as fast as what stands beside it</title>",
             '<rect width="100%" height="100%" fill="#ffffff"/>']
    power = least
    while power <= most * 1.01:
        parts.append(f'<line x1="{x(power):.1f}" y1="{top - 14}" x2="{x(power):.1f}" '
                     f'y2="{height - 12}" stroke="{"#444" if power == 1 else "#ddd"}"/>'
                     f'<text x="{x(power):.1f}" y="{top - 20}" text-anchor="middle" fill="#444">'
                     f"{power:g}</text>")
        power = round(power * 10, 6)
    y = top
    for subject, its_rows in by_subject(compared).items():
        parts.append(f'<text x="8" y="{y + 10}" font-weight="bold">{html.escape(subject)}</text>')
        y += step
        for row in its_rows:
            start, end = sorted((x(1), x(row["ratio"])))
            colour = "#b3261e" if row["ratio"] < row["floor"] else "#2f6f9f"
            label = f'{row["ours"]} beside {row["beside"]}'
            parts.append(f'<text x="{left - 8}" y="{y + 10}" text-anchor="end">'
                         f"{html.escape(label)}</text>"
                         f'<rect x="{start:.1f}" y="{y + 2}" width="{max(end - start, 1):.1f}" '
                         f'height="{step - 7}" fill="{colour}"/>'
                         f'<text x="{end + 4:.1f}" y="{y + 10}">{figure(row["ratio"])}</text>')
            if row["floor"]:
                parts.append(f'<line x1="{x(row["floor"]):.1f}" y1="{y}" '
                             f'x2="{x(row["floor"]):.1f}" y2="{y + step - 3}" stroke="#000"/>')
            y += step
    return "\n".join(parts + ["</svg>"]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("rows")
    parser.add_argument("--markdown", action="store_true")
    parser.add_argument("--chart", metavar="FILE")
    arguments = parser.parse_args()
    with open(arguments.rows, encoding="utf-8") as file:
        rows = [json.loads(line) for line in file]
    if arguments.chart:
        with open(arguments.chart, "w", encoding="utf-8") as file:
            file.write(chart(rows))
    print(markdown_table(rows) if arguments.markdown else text_table(rows))


if __name__ == "__main__":
    main()
