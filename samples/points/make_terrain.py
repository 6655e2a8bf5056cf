#!/usr/bin/env python3
"""Writes terrain.txt, the sample point file of `kelno delaunay`, into this folder.

"x y z" per line with y the height: a 4 x 4 grid in the XZ plane (every cell co-circular), a
repeat of the first grid point at another height, and two points off the grid. Run it again to
regenerate the file.
"""
import math
import os

HERE = os.path.dirname(os.path.abspath(__file__))

lines = ["# A small terrain patch for `kelno delaunay`: x y z per line, y is the height.",
         "# A 4 x 4 grid (co-circular cells), a repeated point and two points off the grid."]
for i in range(4):
    for j in range(4):
        x, z = float(i), float(j)
        lines.append("%g %g %g" % (x, round(0.25 * math.sin(x) + 0.1 * z, 4), z))
lines += ["0 1.5 0", "1.5 0.3 1.25", "-0.5 0.2 2.75"]
with open(os.path.join(HERE, "terrain.txt"), "w") as f:
    f.write("\n".join(lines) + "\n")
