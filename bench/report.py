#!/usr/bin/env python3
"""report.py: prints the table of figures, compares it with the targets, and with
--save puts the table and a plot drawn from it into docs/.

    report.py FIGURES.csv MPIRUN.exe [--save]
"""
import csv
import math
import pathlib
import re
import subprocess
import sys

AGAINST_BARE = {"start-up": ("start-up against a bare start", 1.05),
                "rehearsal": ("a rehearsal against a bare start", 1.50),
                "zprun beside mpirun": ("start-up of zprun against that of mpirun", 1.05)}
RELAY_TARGET = 1.10
GROWTH_TARGET = 1.2
SIZE_TARGET = 400_000

ROOT = pathlib.Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "performance.md"
PLOT = ROOT / "docs" / "performance.svg"


def read_figures(path):
    """Rows of (name, size, unit, launcher, baseline)."""
    with open(path, newline="") as file:
        return [(name, int(size), unit, float(ours), float(bare))
                for name, size, unit, ours, bare in csv.reader(file)]


def imported_libraries(program):
    listing = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", program], check=True,
                             capture_output=True, text=True).stdout
    return sorted(set(re.findall(r"DLL Name: (\S+)", listing)))


def program_rows(launcher):
    """The launcher as a file, beside a program that only starts another one."""
    bare = pathlib.Path(launcher).parent / "bench" / "figures" / "bare_start.exe"
    libraries = [imported_libraries(path) for path in (launcher, bare)]
    sizes = [pathlib.Path(path).stat().st_size for path in (launcher, bare)]
    return [("size of the program", 1, "bytes", *map(float, sizes)),
            ("libraries imported", 1, "", *(float(len(one)) for one in libraries))], libraries[0]


def rows_of(figures, name):
    return [row for row in figures if row[0] == name]


def growth_of(rows):
    """Cost of an item at the largest size against that at the smallest."""
    own = [(size, ours - bare) for _, size, _, ours, bare in rows]
    (small, small_cost), (large, large_cost) = own[0], own[-1]
    return (large_cost / large) / (small_cost / small)


def judge(figures):
    """(what, measured, target, whether it is met) for each target."""
    results = []
    for name, (what, target) in AGAINST_BARE.items():
        results += [(what, row[3] / row[4], target) for row in rows_of(figures, name)]
    relayed = rows_of(figures, "relayed lines")
    if relayed:
        results.append(("relay of %s lines against a bare loop" % f"{relayed[-1][1]:,}",
                        relayed[-1][3] / relayed[-1][4], RELAY_TARGET))
    for name in dict.fromkeys(row[0] for row in figures if row[2] == "ns"):
        rows = rows_of(figures, name)
        results.append((f"growth of {name}: an item of {rows[-1][1]:,} against one of "
                        f"{rows[0][1]:,}", growth_of(rows), GROWTH_TARGET))
    return [(what, value, target, value <= target) for what, value, target in results]


def number(value, unit):
    if unit == "ms":
        return f"{value:,.1f} ms"
    if unit == "ns":
        return f"{value / 1000:,.1f} µs"
    return f"{value:,.0f} {unit}".strip()


def table_of(figures):
    lines = ["| Figure | Items | Launcher | Bare program | Ratio | For each item |",
             "|---|---:|---:|---:|---:|---:|"]
    for name, size, unit, ours, bare in figures:
        ratio = f"{ours / bare:.2f}" if bare and unit != "ns" else "–"
        each = f"{(ours - bare) / size:,.0f} ns" if unit == "ns" else "–"
        lines.append(f"| {name} | {size:,} | {number(ours, unit)} | "
                     f"{number(bare, unit) if bare else '–'} | {ratio} | {each} |")
    return "\n".join(lines)


def targets_of(results):
    lines = ["| Target | Measured | At most | |", "|---|---:|---:|---|"]
    for what, value, target, met in results:
        lines.append(f"| {what} | {value:.2f} | {target:.2f} | {'met' if met else 'missed'} |")
    return "\n".join(lines)


# ---- The plot: time against the number of items, both by powers of ten ----------------------

WIDTH, HEIGHT, MARGIN = 820, 480, 80
COLOURS = ["#1b6ca8", "#c0392b", "#2e8b57", "#8e5ea2", "#b9770e"]


def decades(values):
    low = math.floor(math.log10(min(values)))
    return low, max(low + 1, math.ceil(math.log10(max(values))))


def plot_of(figures):
    """Launcher (line) and bare program (dashed) of each figure that has several sizes."""
    series = {}
    for name, size, unit, ours, bare in figures:
        if unit == "ms":
            series.setdefault(name, []).append((size, ours, bare))
    series = {name: points for name, points in series.items() if len(points) > 1}
    x_low, x_high = decades([size for points in series.values() for size, _, _ in points])
    y_low, y_high = decades([time for points in series.values() for _, *both in points
                             for time in both])

    def x_of(size):
        return MARGIN + (math.log10(size) - x_low) / (x_high - x_low) * (WIDTH - 2 * MARGIN - 120)

    def y_of(time):
        return HEIGHT - MARGIN - (math.log10(time) - y_low) / (y_high - y_low) * (HEIGHT - 2 * MARGIN)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             f'<text x="{MARGIN}" y="24" font-size="15">Time of a run by the number of items: '
             'launcher (lines) and bare program (dashed)</text>']
    for power in range(x_low, x_high + 1):
        x = x_of(10 ** power)
        parts.append(f'<line x1="{x:.1f}" y1="{MARGIN}" x2="{x:.1f}" y2="{HEIGHT - MARGIN}" '
                     'stroke="#ddd"/>')
        parts.append(f'<text x="{x:.1f}" y="{HEIGHT - MARGIN + 18}" text-anchor="middle">'
                     f'{10 ** power:,}</text>')
    for power in range(y_low, y_high + 1):
        y = y_of(10 ** power)
        parts.append(f'<line x1="{MARGIN}" y1="{y:.1f}" x2="{WIDTH - MARGIN - 120}" y2="{y:.1f}" '
                     'stroke="#ddd"/>')
        parts.append(f'<text x="{MARGIN - 6}" y="{y + 4:.1f}" text-anchor="end">'
                     f'{10 ** power:,g} ms</text>')
    for index, (name, points) in enumerate(series.items()):
        colour = COLOURS[index % len(COLOURS)]
        for which, dashes in ((1, ""), (2, ' stroke-dasharray="5 4"')):
            line = " ".join(f"{x_of(point[0]):.1f},{y_of(point[which]):.1f}" for point in points)
            parts.append(f'<polyline points="{line}" fill="none" stroke="{colour}" '
                         f'stroke-width="2"{dashes}/>')
        y = MARGIN + 20 + 20 * index
        parts.append(f'<line x1="{WIDTH - 170}" y1="{y}" x2="{WIDTH - 145}" y2="{y}" '
                     f'stroke="{colour}" stroke-width="3"/>')
        parts.append(f'<text x="{WIDTH - 138}" y="{y + 4}">{name}</text>')
    parts.append("</svg>")
    return "\n".join(parts) + "\n"


def put_between(text, name, content):
    begin, end = f"<!-- {name} -->", f"<!-- end of {name} -->"
    before, rest = text.split(begin, 1)
    return before + begin + "\n" + content + "\n" + end + rest.split(end, 1)[1]


def main():
    figures = read_figures(sys.argv[1])
    program, libraries = program_rows(sys.argv[2])
    results = judge(figures)
    results.append(("size of the program in bytes", program[0][3], SIZE_TARGET,
                    program[0][3] < SIZE_TARGET))
    table = table_of(figures + program)
    targets = targets_of(results)
    print(table, "\nImports: " + ", ".join(libraries), targets, sep="\n")
    if "--save" in sys.argv[3:]:
        page = PAGE.read_text()
        page = put_between(page, "figures", table + "\n\nImports: " + ", ".join(libraries) + ".")
        PAGE.write_text(put_between(page, "targets", targets))
        PLOT.write_text(plot_of(figures))
    return 0 if figures and all(met for *_, met in results) else 1


if __name__ == "__main__":
    sys.exit(main())
