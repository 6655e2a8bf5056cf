#!/usr/bin/env python3
"""Writes the sample OBJ sequence wave_0001.obj ... wave_0012.obj into this folder.

A 6 x 6 grid of vertices in the XZ plane with a travelling sine wave in Y: 30 faces, quads
with texture indices ("f a/t b/t c/t d/t") on the first rows and two triangles per cell on the last row,
plus vt records the loader ignores. Run it again to regenerate the files.
"""
import math
import os

N = 6          # vertices per side
FRAMES = 12
HERE = os.path.dirname(os.path.abspath(__file__))

for frame in range(1, FRAMES + 1):
    phase = 2.0 * math.pi * (frame - 1) / FRAMES
    lines = ["# Kelno sample: travelling wave, frame %d" % frame, "o wave"]
    for j in range(N):
        for i in range(N):
            x = i / (N - 1) * 2.0 - 1.0
            z = j / (N - 1) * 2.0 - 1.0
            y = 0.25 * math.sin(2.0 * x + phase) * math.cos(1.5 * z)
            lines.append("v %.6f %.6f %.6f" % (x, y, z))
    for j in range(N):
        for i in range(N):
            lines.append("vt %.4f %.4f" % (i / (N - 1), j / (N - 1)))
    for j in range(N - 1):
        for i in range(N - 1):
            a = j * N + i + 1
            b, c, d = a + 1, a + N + 1, a + N
            if j < N - 2:
                lines.append("f %d/%d %d/%d %d/%d %d/%d" % (a, a, b, b, c, c, d, d))
            else:
                lines.append("f %d %d %d" % (a, b, c))
                lines.append("f %d//%d %d//%d %d//%d" % (a, a, c, c, d, d))
    with open(os.path.join(HERE, "wave_%04d.obj" % frame), "w", newline="\n") as out:
        out.write("\n".join(lines) + "\n")
