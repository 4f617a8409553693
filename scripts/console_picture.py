#!/usr/bin/env python3
"""console_picture.py: a console as a picture. Reads what a demo printed, takes its first
launch, from the line that a user types to the solver's last line, and writes an SVG.

    ./demo.sh msmpi | console_picture.py >docs/pictures/console.svg
"""
import sys
from xml.sax.saxutils import escape

WIDTH = 100  # characters of a console's line
LINE, LETTER, EDGE = 19, 8.4, 14


def first_launch(lines):
    taken = []
    for line in lines:
        if taken or line.startswith("D:\\work>"):
            taken.append(line)
        if taken and "solution verified" in line:
            return taken
    sys.exit("console_picture.py: there is no launch that came to its end")


def folded(lines):
    return [line[at:at + WIDTH] for line in lines for at in range(0, max(len(line), 1), WIDTH)]


def main():
    lines = folded(first_launch(sys.stdin.read().replace("\r", "").split("\n")))
    width, height = EDGE * 2 + WIDTH * LETTER, EDGE * 2 + LINE * len(lines)
    print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:.0f}" height="{height}" '
          f'viewBox="0 0 {width:.0f} {height}" font-family="Consolas, Menlo, monospace" font-size="14">')
    print('<rect width="100%" height="100%" rx="6" fill="#0c0c0c"/>')
    for number, line in enumerate(lines):
        colour = "#ffffff" if line.startswith("D:\\work>") else "#cccccc"
        print(f'<text x="{EDGE}" y="{EDGE + LINE * (number + 0.75):.0f}" fill="{colour}" '
              f'xml:space="preserve">{escape(line)}</text>')
    print("</svg>")


if __name__ == "__main__":
    main()
