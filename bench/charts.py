"""Charts as SVG: rows of dots, rows of bars, and lines. All are 800 pixels wide."""

import math
from html import escape

WIDTH = 800
STYLE = """
  text { font: 14px sans-serif; fill: #1f2933; }
  .head { font-weight: bold; }
  .small { font-size: 12px; fill: #52606d; }
  .right { text-anchor: end; } .middle { text-anchor: middle; }
  .grid { stroke: #e4e7eb; } .axis { stroke: #9aa5b1; }
"""
COLOURS = ["#2b6cb0", "#c05621", "#2f855a", "#6b46c1", "#52606d"]


class Drawing:
    def __init__(self, title, height):
        self.title, self.height, self.parts = title, height, []
        self.text(16, 26, title, "head")

    def text(self, x, y, text, style=""):
        self.parts.append(f'<text x="{x:.1f}" y="{y:.1f}" class="{style}">{escape(str(text))}</text>')

    def line(self, x1, y1, x2, y2, style="", colour=None, width=1):
        paint = f' style="stroke:{colour};stroke-width:{width}"' if colour else ""
        self.parts.append(f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{style}"{paint}/>')

    def dot(self, x, y, colour):
        self.parts.append(f'<circle cx="{x:.1f}" cy="{y:.1f}" r="5" fill="{colour}"/>')

    def bar(self, x, y, width, height, colour):
        self.parts.append(f'<rect x="{x:.1f}" y="{y:.1f}" width="{max(width, 0.5):.1f}" height="{height}" '
                          f'fill="{colour}"/>')

    def legend(self, names, x, y):
        for name, colour in zip(names, COLOURS):
            self.dot(x, y - 5, colour)
            self.text(x + 10, y, name)
            x += 32 + 7.2 * len(name)

    def svg(self):
        return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {self.height}" width="{WIDTH}" '
                f'height="{self.height}" role="img" aria-labelledby="title">\n'
                f'<title id="title">{escape(self.title)}</title>\n<style>{STYLE}</style>\n'
                f'<rect width="{WIDTH}" height="{self.height}" fill="#fff"/>\n' + "\n".join(self.parts) + "\n</svg>\n")


def number(value):
    """Three digits, without an exponent."""
    if value == 0:
        return "0"
    digits = 2 - math.floor(math.log10(abs(value)))
    return f"{round(value, digits):,.{max(digits, 0)}f}"


def tick(value):
    return f"{value:,.10g}"


def decades(low, high):
    first, last = math.floor(math.log10(low)), math.ceil(math.log10(high))
    return [10.0 ** i for i in range(first, max(last, first + 1) + 1)]


def steps(high):
    """Round steps from 0 to at least `high`, four to eight of them."""
    rough = high / 8
    unit = 10.0 ** math.floor(math.log10(rough))
    step = next(unit * m for m in (1, 2, 5, 10) if unit * m >= rough)
    return [step * i for i in range(math.ceil(high / step) + 1)]


def scale(ticks, start, end, logarithmic):
    place = math.log10 if logarithmic else float
    low, high = place(ticks[0]), place(ticks[-1])
    return lambda value: start + (place(value) - low) / (high - low) * (end - start)


def dots(title, axis, names, rows):
    """rows: (label, [(value, least, most) or None for each name]); a logarithmic axis."""
    left, right, top, step = 130, WIDTH - 30, 76, 26
    bottom = top + step * len(rows)
    drawing = Drawing(title, bottom + 56)
    drawing.legend(names, 22, 52)
    seen = [value for _, values in rows for triple in values if triple for value in triple]
    ticks = decades(min(seen), max(seen))
    x = scale(ticks, left, right, True)
    for value in ticks:
        drawing.line(x(value), top, x(value), bottom, "grid")
        drawing.text(x(value), bottom + 18, tick(value), "small middle")
    drawing.text((left + right) / 2, bottom + 40, axis, "middle")
    for i, (label, values) in enumerate(rows):
        y = top + step * (i + 0.5)
        drawing.line(left, y, right, y, "grid")
        drawing.text(left - 10, y + 5, label, "right")
        for triple, colour in zip(values, COLOURS):
            if triple:
                value, least, most = map(x, triple)
                drawing.line(least, y, most, y, colour=colour, width=2)
                drawing.dot(value, y, colour)
    return drawing.svg()


def bars(title, axis, names, rows):
    """rows: (label, [value or None for each name]); the axis begins at 0. A missing bar takes no room."""
    left, right, top, thick, gap = 170, WIDTH - 70, 66, 11, 7
    count = sum(value is not None for _, values in rows for value in values)
    bottom = top + count * thick + len(rows) * gap
    drawing = Drawing(title, bottom + 54)
    drawing.legend(names, 22, 52)
    ticks = steps(max(value for _, values in rows for value in values if value is not None))
    x = scale(ticks, left, right, False)
    for value in ticks:
        drawing.line(x(value), top, x(value), bottom, "grid")
        drawing.text(x(value), bottom + 18, tick(value), "small middle")
    drawing.text((left + right) / 2, bottom + 40, axis, "middle")
    y = top + gap / 2
    for label, values in rows:
        shown = [(value, colour) for value, colour in zip(values, COLOURS) if value is not None]
        drawing.text(left - 10, y + len(shown) * thick / 2 + 5, label, "right")
        for value, colour in shown:
            drawing.bar(left, y, x(value) - left, thick - 1, colour)
            drawing.text(x(value) + 5, y + thick - 1.5, number(value), "small")
            y += thick
        y += gap
    return drawing.svg()


def lines(title, names, panels):
    """panels, side by side: (heading, x axis, [x…], {name: [y…]}); logarithmic x, y from 0."""
    top, bottom, each = 104, 330, WIDTH / len(panels)
    drawing = Drawing(title, bottom + 56)
    drawing.legend(names, 22, 52)
    for i, (heading, axis, xs, series) in enumerate(panels):
        left, right = i * each + 70, (i + 1) * each - 30
        drawing.text(left, 84, heading)
        ticks = steps(max(max(ys) for ys in series.values()))
        x, y = scale([xs[0], xs[-1]], left, right, True), scale(ticks, bottom, top, False)
        for value in ticks:
            drawing.line(left, y(value), right, y(value), "grid")
            drawing.text(left - 8, y(value) + 4, tick(value), "small right")
        for value in xs:
            drawing.text(x(value), bottom + 18, tick(value), "small middle")
        drawing.text((left + right) / 2, bottom + 42, axis, "middle")
        for name, colour in zip(names, COLOURS):
            ys = series[name]
            for j, value in enumerate(ys):
                if j:
                    drawing.line(x(xs[j - 1]), y(ys[j - 1]), x(xs[j]), y(value), colour=colour, width=2)
                drawing.dot(x(xs[j]), y(value), colour)
    return drawing.svg()
