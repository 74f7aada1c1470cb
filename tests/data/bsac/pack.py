#!/usr/bin/env python3
"""pack.py FILE.csv > FILE.txt: what was coded (frame,kind,group,index,value) as rows:
"bands FRAME GROUP" and the values of the group's bands in rising order, a noise energy with an
"n" in front; "lines FRAME" and the frame's lines in coded order, up to the last that is not 0."""
import csv
import sys

frames = {}
for row in csv.DictReader(open(sys.argv[1])):
    bands, lines = frames.setdefault(int(row["frame"]), ({}, {}))
    index, value = int(row["index"]), row["value"]
    if row["kind"] == "line":
        lines[index] = value
    else:
        noise = "n" if row["kind"] == "noise_energy" else ""
        bands.setdefault(int(row["group"]), {})[index] = noise + value
for frame, (bands, lines) in sorted(frames.items()):
    for group, values in sorted(bands.items()):
        print("bands", frame, group, *(values[i] for i in range(len(values))))
    print("lines", frame, *(lines.get(i, "0") for i in range(max(lines, default=-1) + 1)))
