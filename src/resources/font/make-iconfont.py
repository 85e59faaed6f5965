#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Vantra authors
# SPDX-License-Identifier: MIT
"""Makes ../primary/iconfont.ttf from the icons that the library draws.

Each SVG is on a 24x24 grid; its strokes are widened to outlines, since a font has no strokes. The
font is committed, so this runs only when an icon changes: it needs python3-fonttools and
python3-shapely. Code points are documented in ../README.md; they are never reused.
"""
import math
import os
import xml.etree.ElementTree as ElementTree

from fontTools.fontBuilder import FontBuilder
from fontTools.pens.recordingPen import RecordingPen
from fontTools.pens.ttGlyphPen import TTGlyphPen
from fontTools.svgLib.path import parse_path
from fontTools.svgLib.path.shapes import PathBuilder
from shapely.geometry import LineString, MultiPolygon, Point, Polygon
from shapely.ops import unary_union

HERE = os.path.dirname(os.path.abspath(__file__))
ICONS = os.path.join(HERE, "..", "primary")
GRID = 24               # units of the drawings
UNITS_PER_EM = 1200     # 50 font units for each of the grid
DESCENT = 150           # the icon hangs a little below the base line, to stand level with text
CURVE_STEPS = 16        # straight pieces for one curve; finer than a pixel up to 200 pixels

CODE_POINTS = {
    0xE900: "mic",
    0xE901: "mic-close",
    0xE902: "volume",
    0xE903: "close_volume",
    0xE904: "digital-zoom",
    0xE905: "snap",
}


def curve(points, t):
    """A point of a Bezier curve of any degree."""
    while len(points) > 1:
        points = [(a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t)
                  for a, b in zip(points, points[1:])]
    return points[0]


def lines_of(path):
    """The polylines of an SVG path."""
    pen = RecordingPen()
    parse_path(path, pen)
    lines, line = [], []
    for command, arguments in pen.value:
        if command == "moveTo":
            line = [arguments[0]]
        elif command == "lineTo":
            line.append(arguments[0])
        elif command in ("curveTo", "qCurveTo"):
            points = [line[-1], *arguments]
            line += [curve(points, i / CURVE_STEPS) for i in range(1, CURVE_STEPS + 1)]
        elif command in ("endPath", "closePath"):
            if command == "closePath" and line[0] != line[-1]:
                line.append(line[0])
            lines.append(line)
    return lines


def area_of(svg):
    """What the strokes and fills of a drawing cover."""
    root = ElementTree.parse(svg).getroot()
    areas = []
    for element in root.iter():
        if not isinstance(element.tag, str) or element is root:
            continue
        width = float(element.get("stroke-width", root.get("stroke-width")))
        builder = PathBuilder()
        builder.add_path_from_element(element)
        for path in builder.paths:
            for line in lines_of(path):
                areas.append(LineString(line).buffer(width / 2, 8))
                if element.get("fill", "none") != "none":
                    areas.append(Polygon(line))
    return unary_union(areas).simplify(0.01)


def glyph_of(area):
    scale = UNITS_PER_EM / GRID
    pen = TTGlyphPen(None)
    polygons = area.geoms if isinstance(area, MultiPolygon) else [area]
    for polygon in polygons:
        for ring, clockwise in [(polygon.exterior, True), *((r, False) for r in polygon.interiors)]:
            points = [(round(x * scale), round((GRID - y) * scale) - DESCENT)
                      for x, y in ring.coords[:-1]]
            turned = sum(a[0] * b[1] - b[0] * a[1]
                         for a, b in zip(points, points[1:] + points[:1])) < 0
            if turned != clockwise:
                points.reverse()
            pen.moveTo(points[0])
            for point in points[1:]:
                pen.lineTo(point)
            pen.closePath()
    return pen.glyph()


def main():
    empty = TTGlyphPen(None).glyph()
    glyphs = {".notdef": empty, "space": empty}
    cmap = {0x20: "space"}
    for code, icon in CODE_POINTS.items():
        name = icon.replace("-", "_")
        glyphs[name] = glyph_of(area_of(os.path.join(ICONS, icon + ".svg")))
        cmap[code] = name

    font = FontBuilder(UNITS_PER_EM, isTTF=True)
    font.setupGlyphOrder(list(glyphs))
    font.setupCharacterMap(cmap)
    font.setupGlyf(glyphs)
    font.setupHorizontalMetrics(
        {name: (UNITS_PER_EM, getattr(glyph, "xMin", 0)) for name, glyph in glyphs.items()})
    font.setupHorizontalHeader(ascent=UNITS_PER_EM - DESCENT, descent=-DESCENT)
    font.setupNameTable({"familyName": "iconfont", "styleName": "Regular",
                         "copyright": "2026 The Vantra authors, MIT licence"})
    font.setupOS2(sTypoAscender=UNITS_PER_EM - DESCENT, sTypoDescender=-DESCENT,
                  usWinAscent=UNITS_PER_EM - DESCENT, usWinDescent=DESCENT)
    font.setupPost()
    # The same drawings give the same bytes.
    font.setupHead(unitsPerEm=UNITS_PER_EM, created=0, modified=0)
    font.font.recalcTimestamp = False
    font.save(os.path.join(ICONS, "iconfont.ttf"))


if __name__ == "__main__":
    main()
