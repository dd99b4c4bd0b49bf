# SPDX-License-Identifier: Apache-2.0
"""Line plots as SVG, written by hand: no library is needed to look at two pictures."""

import math

WIDTH, HEIGHT = 720, 400
LEFT, RIGHT, TOP, BOTTOM = 80, 190, 46, 56
COLOURS = ("#1b6ca8", "#c8553d", "#3a7d44", "#7b4b94", "#8a8a8a", "#b08900")


def _text(x, y, content, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>{content}</text>'


class Axis:
    """Maps values to places; logarithmic, or from zero on."""

    def __init__(self, ticks, begin, end, logarithmic):
        self.ticks = ticks
        self._place = math.log if logarithmic else float
        low = ticks[0]
        self._low, self._high = self._place(low), self._place(ticks[-1])
        self._begin, self._end = begin, end

    def at(self, value):
        part = (self._place(value) - self._low) / (self._high - self._low)
        return self._begin + part * (self._end - self._begin)


def linear_ticks(most):
    step = 10 ** math.floor(math.log10(most))
    for finer in (1, 2, 5):
        if most / (step / finer) >= 4:
            step /= finer
            break
    return [step * i for i in range(math.ceil(most / step) + 1)]


def decade_ticks(least, most):
    first, last = math.floor(math.log10(least)), math.ceil(math.log10(most))
    return [10.0 ** power for power in range(first, max(last, first + 1) + 1)]


def _frame(title, x, y, x_name, y_name):
    parts = [_text(LEFT, 24, title, "start", ' font-size="15" font-weight="bold"')]
    for tick in y.ticks:
        place = y.at(tick)
        parts.append(f'<line x1="{LEFT}" y1="{place:.1f}" x2="{WIDTH - RIGHT}" y2="{place:.1f}" '
                     'stroke="#dddddd"/>')
        parts.append(_text(LEFT - 8, place + 4, f"{tick:,g}", "end"))
    for tick in x.ticks:
        parts.append(_text(x.at(tick), HEIGHT - BOTTOM + 18, f"{tick:g}"))
    parts.append(_text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, x_name))
    parts.append(_text(18, (TOP + HEIGHT - BOTTOM) / 2, y_name, "middle",
                       f' transform="rotate(-90 18 {(TOP + HEIGHT - BOTTOM) / 2:.1f})"'))
    return parts


def _names(series, y):
    """Names at the ends of their lines, moved apart where they would touch."""
    places = {}
    below = TOP - 16.0
    for name, points in sorted(series.items(), key=lambda item: y.at(item[1][-1][1])):
        below = places[name] = max(y.at(points[-1][1]), below + 16)
    return places


def lines(title, series, x, y, x_name, y_name):
    """`series` maps a name to its points, all of which end at the same x."""
    parts = _frame(title, x, y, x_name, y_name)
    places = _names(series, y)
    for colour, (name, points) in zip(COLOURS, series.items()):
        path = " ".join(f"{x.at(px):.1f},{y.at(py):.1f}" for px, py in points)
        parts.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x.at(px):.1f}" cy="{y.at(py):.1f}" r="3.5" fill="{colour}"/>'
                  for px, py in points]
        parts.append(_text(WIDTH - RIGHT + 10, places[name] + 4, name, "start",
                           f' fill="{colour}"'))
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
            'font-family="sans-serif" font-size="12" fill="#333333">\n'
            f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>\n'
            + "\n".join(parts) + "\n</svg>\n")


def _title(found, title):
    return title + (" (taken on a busy machine)" if found["busy"] else "")


def deployment(found):
    names = {"oneFlow": "all in one flow", "spread": "flows of ten nodes"}
    series = {names[kind]: [(step["nodes"], step["milliseconds"]) for step in steps]
              for kind, steps in found["deployment"].items() if kind in names}
    counts = [point[0] for point in next(iter(series.values()))]
    times = [point[1] for points in series.values() for point in points]
    x = Axis(counts, LEFT + 20, WIDTH - RIGHT, logarithmic=True)
    y = Axis(decade_ticks(min(times), max(times)), HEIGHT - BOTTOM, TOP, logarithmic=True)
    return lines(_title(found, "Deploying nodes one after the other in one process"), series, x, y,
                 "nodes", "milliseconds")


def throughput(found):
    names = {"ownNodes": "a node each", "oneNode": "one node",
             "ownNodesWithEvents": "a node each, events", "oneNodeWithEvents": "one node, events",
             "floorOneLock": "floor, one semaphore", "floorOwnLocks": "floor, one each"}
    series = {names[kind]: [(step["threads"], step["perSecond"] / 1000) for step in steps]
              for kind, steps in found["threads"].items()}
    counts = [point[0] for point in next(iter(series.values()))]
    most = max(point[1] for points in series.values() for point in points)
    x = Axis(counts, LEFT + 20, WIDTH - RIGHT, logarithmic=True)
    y = Axis(linear_ticks(most), HEIGHT - BOTTOM, TOP, logarithmic=False)
    return lines(_title(found, "Messages a second, over threads"), series, x, y, "threads",
                 "thousand messages a second")
