"""Draws rows of ./dev bench with gnuplot, for docs/performance.md."""
import re
import subprocess
from typing import NamedTuple

# On white, so that a page with a dark background shows them as well.
LAYOUT = """
set terminal svg size 720,400 dynamic font "sans-serif,13" background "#ffffff" linewidth 1.5 \\
    name "%s"
set border 3 linecolor "#555555"
set tics nomirror out
set grid ytics linecolor "#dddddd" linewidth 0.5
set key above left Left reverse maxrows 2 samplen 2.5 width 2
set logscale x
"""
WIRE_AXES = """
set xlabel "baud rate (bit/s)"
set ylabel "time of a read / time of its characters"
set format y "%.2f"
"""
INSTRUCTION_AXES = """
set xlabel "words of a read"
set ylabel "instructions of a read"
set logscale y
set ytics (%s)
"""
INSTRUCTIONS = (500, 1000, 2000, 5000, 10000, 20000, 50000)
# Colours that colour-blind people tell apart, and shapes for print.
MARKS = ('linecolor "#0072b2" pointtype 7', 'linecolor "#d55e00" pointtype 5',
         'linecolor "#009e73" pointtype 9')
AIM = 'linecolor "#555555" dashtype 2 linewidth 0.7'


class Curve(NamedTuple):
    """A line of a plot."""
    title: str
    points: dict  # y by x
    style: str


def values(rows, group, form, peer=None, of=lambda row: row.ours):
    """Figures of the rows of a group, by the number that the form finds in their names. With a peer
    only the rows that have it."""
    found = {}
    for row in rows:
        match = re.fullmatch(form, row.what)
        if row.group == group and match and peer in (None, row.peer):
            found[int(match[1])] = of(row)
    return found


def marks_at(numbers, form="{}"):
    """What gnuplot puts at an axis."""
    return ", ".join(f'"{form.format(number)}" {number}' for number in numbers)


def draw(file, axes, marks, curves, room):
    """Draws curves over an axis with marks at some numbers. The room is a factor: so much higher and
    lower than the curves the plot reaches."""
    heights = [y for curve in curves for y in curve.points.values()]
    script = [LAYOUT % file.stem, axes, f"set output '{file}'",
              f"set xtics ({marks_at(marks)})",
              f"set xrange [{0.93 * min(marks)}:{1.07 * max(marks)}]",
              f"set yrange [{min(heights) / room}:{max(heights) * room}]"]
    for number, curve in enumerate(curves):
        points = "\n".join(f"{x} {y}" for x, y in sorted(curve.points.items()))
        script.append(f"$data{number} << end\n{points}\nend")
    script.append("plot " + ", ".join(f"$data{number} with {curve.style} title '{curve.title}'"
                                      for number, curve in enumerate(curves)))
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)


def draw_wire_share(rows, file):
    """Share of the wire over the baud rate, a curve for each number of words."""
    group = "share of the wire"
    curves = [Curve(f"{words} word{'s' * (words > 1)}",
                    values(rows, group, f"{words} words at (\\d+) baud"),
                    f"linespoints {mark} pointsize 0.6")
              for words, mark in zip((1, 16, 307), MARKS)]
    aims = values(rows, group, r"1 words at (\d+) baud", of=lambda row: float(row.aim.split()[2]))
    draw(file, WIRE_AXES, aims, curves + [Curve("aim: at most", aims, f"steps {AIM}")], 1.01)


def draw_instructions(rows, file):
    """Instructions of a read over its words, beside the peers."""
    form = r"words, (\d+)"
    driver, serial = (values(rows, group, form) for group in ("driver alone", "serial port"))
    libmodbus = values(rows, "serial port", form, "libmodbus", lambda row: row.theirs)
    aims = values(rows, "serial port", form, "Qt SerialBus",
                  lambda row: float(row.aim.split()[2]) * row.theirs)
    curves = [Curve(title, points, f"linespoints {mark} pointsize 0.6") for title, points, mark in
              zip(("our driver alone", "the driver through a serial port",
                   "libmodbus, registers (aim of our driver alone)"),
                  (driver, serial, libmodbus), MARKS)]
    curves.append(Curve("a quarter of Qt SerialBus (aim through a serial port)", aims,
                        f"lines {AIM}"))
    draw(file, INSTRUCTION_AXES % marks_at(INSTRUCTIONS, "{:,}"), (1, 10, 100, 307), curves, 1.25)


def draw_all(rows, folder):
    """Writes both plots. @param folder of the pages"""
    draw_wire_share(rows, folder / "wire_share.svg")
    draw_instructions(rows, folder / "instructions.svg")
