#!/usr/bin/env bash
# Builds the Release flavour, runs every benchmark (vyr_bench in one process,
# then the whole phone under load, vyr_bench_phone, in its own) and prints one
# table: figure, floor, ratio, target, PASS or MISS.
#   scripts/bench.sh [build dir, default build-release]
# The raw results stay in the directory the script names at the end.
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${1:-build-release}
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$dir" --target vyr_bench vyr_bench_phone
out=$(mktemp -d /tmp/vyr-bench.XXXXXX)
export VYR_LOG_STDERR=0
echo "vyr_bench ..." >&2
# A program that fails after its results are written is reported; the
# results are kept.
"$dir/bench/vyr_bench" --benchmark_out="$out/micro.json" --benchmark_out_format=json \
    >"$out/micro.txt" || echo "vyr_bench ended with status $? (results kept)" >&2
echo "vyr_bench_phone ..." >&2
"$dir/bench/vyr_bench_phone" --benchmark_out="$out/phone.json" --benchmark_out_format=json \
    >"$out/phone.txt" || echo "vyr_bench_phone ended with status $? (results kept)" >&2
python3 - "$out/micro.json" "$out/phone.json" <<'EOF'
import json
import sys

runs = {}
for path in sys.argv[1:]:
    with open(path) as f:
        for b in json.load(f)["benchmarks"]:
            runs[b["name"].split("/iterations")[0].split("/real_time")[0].split("/min_time")[0]] = b


def get(name, key):
    b = runs.get(name)
    if b is None or b.get("error_occurred"):
        return None
    if key == "time":
        scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[b.get("time_unit", "ns")]
        return b["real_time"] * scale
    return b.get(key)


rows = []


def row(figure, value, unit, floor, ratio, target, ok):
    def fmt(v):
        if v is None:
            return "-"
        if isinstance(v, str):
            return v
        if abs(v) >= 1e6:
            return f"{v:.3g}"
        if abs(v) >= 100:
            return f"{v:.0f}"
        return f"{v:.3g}"

    verdict = "-" if ok is None else ("PASS" if ok else "MISS")
    if value is None:
        verdict = "MISS"
    rows.append((figure, fmt(value) + (" " + unit if value is not None else ""),
                 fmt(floor), fmt(ratio), target, verdict))


def check(value, test):
    return None if value is None else test(value)


v = get("BM_LogBelowLevel", "time")
row("log statement below the level", v, "ns", None, None, "< 5 ns", check(v, lambda x: x < 5))
v = get("BM_LogEnabledToFile", "time")
row("log statement, file logging on", v, "ns", None, None, "-", None)
v = get("BM_WatchNodePair", "time")
row("watch node pair", v, "ns", None, None, "< 300 ns", check(v, lambda x: x < 300))
b = "BM_LogThreadDemoFrame"
v = get(b, "core_share_pct")
row("log thread, share of a core at the demo's rates", v, "%", None, None, "< 5 %",
    check(v, lambda x: x < 5))
row("log thread, CPU per frame", get(b, "cpu_us_per_frame"), "us", get(b, "floor_us_per_frame"),
    get(b, "ratio_to_floor"), "-", None)
v = get("BM_SensorRoadThroughput", "events_per_s")
row("sensor road throughput", v, "events/s", get("BM_FloorMutexQueue", "events_per_s"), None,
    ">= 1000000/s", check(v, lambda x: x >= 1e6))
v = get("BM_SensorRoadVsFloor", "road_to_floor")
row("sensor road / floor throughput (median of 9 pairs)",
    get("BM_SensorRoadVsFloor", "road_events_per_s"), "events/s",
    get("BM_SensorRoadVsFloor", "floor_events_per_s"), v, "ratio >= 0.5",
    check(v, lambda x: x >= 0.5))
v = get("BM_SensorRoadLatency", "p99_us")
fl = get("BM_FloorLatency", "p99_us")
row("sensor road latency p99 at 10000/s", v, "us", fl,
    None if v is None or not fl else v / fl, "< 50 us", check(v, lambda x: x < 50))
row("sensor road latency median at 10000/s", get("BM_SensorRoadLatency", "median_us"), "us",
    get("BM_FloorLatency", "median_us"), None, "-", None)
v = get("BM_FmqTofVsFloor", "reader_to_floor_time")
row("queue reader, TOF frame (time / floor, median of 7)", get("BM_FmqTofVsFloor",
    "reader_MB_per_s"), "MB/s", get("BM_FmqTofVsFloor", "floor_MB_per_s"), v, "ratio <= 2",
    check(v, lambda x: x <= 2))
row("queue reader, small messages (time / floor)", get("BM_FmqSmallVsFloor",
    "reader_items_per_s"), "msg/s", None, get("BM_FmqSmallVsFloor", "reader_to_floor_time"),
    "-", None)
v = get("BM_CameraTofFramesVsFloor", "road_frames_per_s")
row("camera TOF road (road / floor, median of 7)", v, "frames/s",
    get("BM_CameraTofFramesVsFloor", "floor_frames_per_s"),
    get("BM_CameraTofFramesVsFloor", "road_to_floor"), ">= 2000/s",
    check(v, lambda x: x >= 2000))
v = get("BM_CameraTofPssGrowth", "growth_kb")
row("camera TOF PSS growth over idle", v, "kB", None, None, "< 2048 kB",
    check(v, lambda x: x < 2048))

for arg, label in ((-1, "phone, no camera or finger"), (0, "load, face 0 ms"),
                   (20, "load, face 20 ms"), (50, "load, face 50 ms")):
    b = f"BM_PhoneUnderLoad/{arg}"
    v = get(b, "road_p99_to_floor")
    row(f"{label}: sensor road p99 (median of 5 pairs)", get(b, "road_p99_us"), "us",
        get(b, "floor_p99_us"), v, "ratio <= 2", check(v, lambda x: x <= 2))
    row(f"{label}: sensor road median / max", get(b, "road_median_us"), "us",
        get(b, "floor_median_us"), None, "max " + (f"{get(b, 'road_max_us'):.0f} us"
                                                   if get(b, "road_max_us") else "-"), None)
    v = get(b, "flip_to_floor_hop")
    row(f"{label}: flip end to end, median", get(b, "flip_median_us"), "us",
        get(b, "floor_median_us"), v, "ratio <= 3", check(v, lambda x: x <= 3))
    v = get(b, "pss_growth_kb")
    row(f"{label}: PSS growth over the run", v, "kB", None, None,
        "< 2048 kB" if arg == 50 else "-", check(v, lambda x: x < 2048) if arg == 50 else None)

head = ("figure", "value", "floor", "ratio", "target", "")
widths = [max(len(str(r[i])) for r in rows + [head]) for i in range(6)]
print("| " + " | ".join(h.ljust(w) for h, w in zip(head, widths)) + " |")
print("|" + "|".join("-" * (w + 2) for w in widths) + "|")
for r in rows:
    print("| " + " | ".join(str(c).ljust(w) for c, w in zip(r, widths)) + " |")
EOF
echo "raw results: $out" >&2
