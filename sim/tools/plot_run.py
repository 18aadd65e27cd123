#!/usr/bin/python3
"""Plots a run from its log directory: one panel per sensor file over time,
with the results the run produced (read from the log text) as labelled
markers on every panel.

    sim/tools/plot_run.py LOGDIR_OR_SANDBOX [-o run.png] [--title TEXT]

LOGDIR_OR_SANDBOX is the log directory of a run with file logging on, or the
sandbox it ran in (its data/vendor/log/vyrlog is used). The sensor files are
"<time>_logtofile_<TYPE>.csv": a label line, a column line, then one line per
event whose first column is the arrival time in ms of the wall clock. The log
text ("*_logtofile_SENSOR_TYPE_LOG.vyrlog") holds lines such as
"... I/[1769862605042]Motion::NotifyMotion, motion:MOTION_TYPE_FLIP\t cur res = 3"
whose bracketed number is the same clock.
"""
import argparse
import collections
import glob
import os
import re
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

FILE_RE = re.compile(r"_logtofile_(.+)\.csv$")
MOTION_RE = re.compile(r"I/\[(\d+)\]Motion::NotifyMotion, motion:MOTION_TYPE_(\S+)\s+cur res = (-?\d+)")
POSTURE_RE = re.compile(r"I/\[(\d+)\]Posture::\w+, POSTURE: .*result: FOLD_POSTURE_(\S+)\s+(-?\d+)")

# Human words for the results the demo produces.
MOTION_WORDS = {
    "FLIP": {"3": "face up", "4": "face down"},
    "ROTATION": {"0": "portrait", "1": "landscape", "2": "portrait (180)", "3": "landscape (270)"},
    "BACK_TAP": {"1": "single tap", "2": "double tap"},
}

# How many value columns to draw; the hinge files carry 16, of which the
# angle is the one worth a picture.
VALUES = {"SENSOR_TYPE_HINGE_ANGLE": 1}
# Column 3 onward are values in the sensor files.
FIRST_VALUE = 3


def log_dir(path):
    nested = os.path.join(path, "data", "vendor", "log", "vyrlog")
    return nested if os.path.isdir(nested) else path


def read_sensor_files(directory):
    """{type name: (column names, [(time ms, [values])])}, rolled files joined."""
    streams = collections.OrderedDict()
    for path in sorted(glob.glob(os.path.join(directory, "*_logtofile_*.csv"))):
        match = FILE_RE.search(os.path.basename(path))
        if not match:
            continue
        name = match.group(1)
        with open(path, errors="replace") as f:
            lines = f.read().splitlines()
        if len(lines) < 3:
            continue
        columns = lines[1].split(",")
        rows = streams.setdefault(name, (columns, []))[1]
        for line in lines[2:]:
            fields = line.split(",")
            try:
                rows.append((int(fields[0]), [float(v) for v in fields[FIRST_VALUE:]]))
            except (ValueError, IndexError):
                continue
    return streams


def read_results(directory):
    """[(time ms, label)] from the log text."""
    results = []
    for path in sorted(glob.glob(os.path.join(directory, "*_logtofile_SENSOR_TYPE_LOG.vyrlog"))):
        with open(path, errors="replace") as f:
            for line in f:
                m = MOTION_RE.search(line)
                if m:
                    kind, value = m.group(2), m.group(3)
                    word = MOTION_WORDS.get(kind, {}).get(value, value)
                    results.append((int(m.group(1)), "%s: %s" % (kind.lower().replace("_", " "), word)))
                    continue
                m = POSTURE_RE.search(line)
                if m:
                    results.append((int(m.group(1)),
                                    "posture: %s %s°" % (m.group(2).lower().replace("_", " "), m.group(3))))
    return results


def short_name(name):
    return name.replace("SENSOR_TYPE_", "").lower().replace("_", " ")


def plot(directory, output, title):
    streams = read_sensor_files(directory)
    if not streams:
        sys.exit("plot_run: no sensor files in %s" % directory)
    results = read_results(directory)
    start = min(rows[0][0] for _, rows in streams.values() if rows)

    fig, axes = plt.subplots(len(streams), 1, sharex=True, squeeze=False,
                             figsize=(12, 2.2 * len(streams) + 1.2))
    axes = axes[:, 0]
    for ax, (name, (columns, rows)) in zip(axes, streams.items()):
        count = VALUES.get(name, 3)
        times = [(t - start) / 1000.0 for t, _ in rows]
        for i in range(count):
            values = [v[i] if i < len(v) else float("nan") for _, v in rows]
            label = columns[FIRST_VALUE + i] if FIRST_VALUE + i < len(columns) else "v%d" % i
            ax.plot(times, values, linewidth=0.9, label=label)
        ax.set_ylabel(short_name(name), rotation=0, ha="right", va="center", fontsize=9)
        ax.legend(loc="upper right", fontsize=7, ncol=3)
        ax.grid(True, alpha=0.3)
        for t, _ in results:
            ax.axvline((t - start) / 1000.0, color="black", linestyle="--", linewidth=0.7, alpha=0.6)
    top = axes[0]
    for n, (t, label) in enumerate(results):
        x = (t - start) / 1000.0
        top.annotate(label, xy=(x, 1.0), xycoords=("data", "axes fraction"),
                     xytext=(2, 4 + 11 * (n % 3)), textcoords="offset points", fontsize=8,
                     rotation=0, ha="left", va="bottom",
                     arrowprops=dict(arrowstyle="-", color="gray", linewidth=0.5))
        top.plot([x], [1.0], marker="v", color="crimson", markersize=7,
                 transform=top.get_xaxis_transform(), clip_on=False)
    axes[-1].set_xlabel("seconds since the first sample")
    fig.suptitle(title, y=0.995)
    fig.tight_layout(rect=(0, 0, 1, 0.97))
    fig.savefig(output, dpi=110)
    print("plot_run: %d sensor panels, %d results -> %s" % (len(streams), len(results), output))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("run", help="log directory of the run, or its sandbox")
    parser.add_argument("-o", "--output", default=None, help="PNG to write (default: run.png in the log directory)")
    parser.add_argument("--title", default="Sensor streams and results of a run")
    args = parser.parse_args()
    directory = log_dir(args.run)
    plot(directory, args.output or os.path.join(directory, "run.png"), args.title)


if __name__ == "__main__":
    main()
