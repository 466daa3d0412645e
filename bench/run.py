"""Runs the measurements of a built tree and prints them as one table, or as JSON: scripts/bench calls it."""
import argparse
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PLANS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "plans")
TARGETS = {"1": 0.5, "2": 2.5, "3a": 1.2, "3b": 1.0, "4": 2.5, "5": 1.02, "6": 0.001, "7": 1.05, "7 memory": 1.05,
           "8": 2.0, "9a": 1.5, "9b": 3.0, "insert": 1.5, "import": 2.0, "records": 2.5, "stats": 1.3, "takt": 1.1, "takt all": 1.1}
WHAT = {
    "1": "sample window / Boost.Accumulators, ns",
    "2": "one event / mutex and window, ns",
    "3a": "printed line / vsnprintf, ns",
    "3b": "disabled line / spdlog's, ns",
    "4": "hub command / bare form, ns",
    "5": "run in real time / its samples' time, s",
    "6": "whole phone, wall / sensor time, s",
    "7": "processor time per phone, many / few, s",
    "7 memory": "peak memory, many / few phones, MiB",
    "8": "sensorcal report / loading only, s",
    "9a": "verdict table / getline and vectors, ms",
    "9b": "reference file / getline, ms",
    "insert": "run into the store / bare insert, us",
    "import": "a store's runs into another / the database's own copy of the rows, s",
    "records": "records read and stored / only read, s",
    "stats": "statistics of a store / plain questions, s",
    "takt": "plan of inertial sensors in real time / what it cannot do without, s",
    "takt all": "plan of all sensors in real time / what it cannot do without, s",
}


# What factory/sensors/sensor.cpp says of them in the column `alone`, and the steps at a lit panel.
ALONE = {"Prx", "Tof", "33171015", "33171016"}
PANEL = {13, 14}


def shortest(record):
    """What a run could not have done without, as its plan's groups and the sensor table have it: the library's runs one
    after the other, and beside them each look as soon as its own sensor is free, but for looks that must be alone. The
    end of a group, and a fixture, wait for all of it."""
    total_s, runs_s, free_s, group = 0, 0, {}, None
    for step in record["steps"]:
        if step.get("group") != group or step["kind"] == "fixture":
            total_s += max([runs_s, *free_s.values()])
            runs_s, free_s, group = 0, {}, step.get("group")
        alone = step.get("tag") in ALONE or step.get("param") in PANEL
        for span in (span for attempt in step["attempts"] for span in attempt.get("spans", [])):
            begins_s = max(runs_s, free_s.get(span["sensor"], 0))
            ends_s = begins_s + span["to_s"] - span["from_s"]
            if span["what"] == "sample" or (span["what"] == "verify" and alone):
                runs_s = ends_s
            elif span["what"] == "verify":
                free_s[span["sensor"]] = ends_s
    return total_s + max([runs_s, *free_s.values()])


class Bench:
    def __init__(self, folder, smoke, phones, runs):
        self.bin = os.path.join(folder, "bin")
        self.lib = os.path.join(folder, "lib")
        self.smoke = smoke
        self.phones = phones
        self.runs = runs
        self.rows = {}
        self.shown = {}

    def program(self, name, *arguments):
        command = [os.path.join(self.bin, name), *map(str, arguments)]
        done = subprocess.run(command, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(done.stderr + f"bench: {name} failed")
        return done.stdout

    def add(self, row, ours, theirs, ratio=None):
        self.rows[row] = {"row": row, "ours": ours, "theirs": theirs,
                          "ratio": ours / theirs if ratio is None else ratio, "target": TARGETS[row]}

    # Rows 1 to 4 and 9. Of the two reference files the slower one counts.
    def small_rows(self):
        large = "^([1-4]|3a|3b)/|^9a/100000/|^9b/100000000/"
        small = "^([1-4]|3a|3b)/|^9a/100/|^9b/100000/"
        with tempfile.NamedTemporaryFile() as out:
            self.program("bench_rows", "--benchmark_filter=" + (small if self.smoke else large),
                         f"--benchmark_min_time={0.001 if self.smoke else 2}", "--benchmark_out_format=json",
                         "--benchmark_out=" + out.name)
            found = json.load(open(out.name))["benchmarks"]
        for entry in found:
            row = entry["name"].split("/")[0]
            unit = 1e-6 if row.startswith("9") else 1
            if row in self.rows and self.rows[row]["ratio"] > entry["ratio"]:
                continue
            self.add(row, entry["ours"] * unit, entry["theirs"] * unit, entry["ratio"])

    def real_time(self):
        out = json.loads(self.program("bench_real_time", *(["Lux"] if self.smoke else [])))
        worst = max(out["kinds"], key=lambda kind: kind["ours"] / kind["theirs"])
        self.add("5", worst["ours"], worst["theirs"])
        self.shown["context switches per event, real time"] = out["switches_per_event"]

    # Few phones, many, few again: what the machine does meanwhile shows in neither alone.
    def whole_phones(self):
        few, many = (2, 4) if self.smoke else (100, self.phones)
        runs = [json.loads(self.program("bench_phones", count)) for count in (few, few, many, few, few)]
        large, small = runs.pop(2), runs
        middle = {key: statistics.median(run[key] for run in small) for key in small[0]}
        self.add("6", middle["wall_s"], middle["sensor_s"])
        self.add("7", large["cpu_s"], middle["cpu_s"])
        self.add("7 memory", large["peak_kb"] / 1024, middle["peak_kb"] / 1024)
        self.shown["phones per second"] = 1 / middle["wall_s"]

    def report(self):
        def libraries(name):
            out = subprocess.run(["ldd", os.path.join(self.bin, name)], check=True, stdout=subprocess.PIPE, text=True)
            return set(re.findall(r"(\S+\.so\S*) =>", out.stdout))
        if libraries("sensorcal") != libraries("bench_load_only"):
            sys.exit("bench: bench_load_only does not load the libraries of sensorcal")
        folder = tempfile.mkdtemp(prefix="sensor-cal-bench-")
        try:
            phone = os.path.join(folder, "phone")
            app = os.path.join(self.bin, "sensorcal")
            subprocess.run([app, "calibrate", "Acc", "Gyr", "--phone", phone, "--seed", "7", "--speed", "max"],
                           check=True, stdout=subprocess.DEVNULL)
            out = json.loads(self.program("bench_processes", 3 if self.smoke else 201, app, "report", "--phone", phone,
                                          "--", os.path.join(self.bin, "bench_load_only")))
        finally:
            shutil.rmtree(folder)
        self.add("8", out["ours"], out["theirs"], out["ratio"])
        self.shown["row 8 in processor time, ratio"] = out["cpu_ratio"]

    # In memory where there is such a folder: only the processor's time is compared, and a disk would wait for every run.
    def store(self):
        memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
        with tempfile.TemporaryDirectory(prefix="sensor-cal-bench-", dir=memory) as folder:
            runs, rounds = (20, 2) if self.smoke else (500, 31)
            out = json.loads(self.program("bench_store", "insert", folder, runs, rounds))
            self.add("insert", out["ours"] / runs * 1e6, out["theirs"] / runs * 1e6, out["ratio"])
            for row, runs in (("import", 20000), ("records", 2000)):
                one = tempfile.mkdtemp(dir=folder)
                out = json.loads(self.program("bench_store", row, one, 20 if self.smoke else runs, 1 if self.smoke else 5))
                shutil.rmtree(one)
                self.add(row, out["ours"], out["theirs"], out["ratio"])
            self.shown["records stored, MB/s"] = out["megabytes"] / out["ours"]
            self.shown["records read, MB/s"] = out["megabytes"] / out["theirs"]
            file = os.path.join(folder, "line.db")
            runs, rounds = (200, 1) if self.smoke else (self.runs, 5)
            self.program("bench_store", "fill", file, runs)
            out = json.loads(self.program("bench_store", "stats", file, rounds))
            self.add("stats", out["ours"], out["theirs"], out["ratio"])
            self.shown[f"store of {runs} runs, bytes a run"] = os.path.getsize(file) / runs

    def takt(self):
        for row, plan, seeds in (("takt", "inertial", 3), ("takt all", "reference", 1)):
            walls, shortests = [], []
            with tempfile.TemporaryDirectory(prefix="sensor-cal-bench-") as folder:
                for seed in range(1, 2 if self.smoke else 1 + seeds):
                    begun = time.monotonic()
                    out = self.program("sensorcal", "run", os.path.join(PLANS, plan + ".json"), "--json", "--phone",
                                       os.path.join(folder, str(seed)), "--seed", seed, "--speed",
                                       20 if self.smoke else 1)
                    walls.append(time.monotonic() - begun)
                    shortests.append(shortest(json.loads(out)))
            self.add(row, statistics.median(walls), statistics.median(shortests))

    def figures(self):
        out = json.loads(self.program("bench_allocations"))
        self.shown["heap allocations per event"] = out["event"]
        self.shown["heap allocations per message"] = out["message"]
        with tempfile.NamedTemporaryFile() as stripped:
            subprocess.run(["strip", "-o", stripped.name, os.path.join(self.lib, "libsensor_cal.so")], check=True)
            self.shown["stripped library, bytes"] = os.path.getsize(stripped.name)

    @staticmethod
    def part_of(row):
        if row in ("insert", "import", "records", "stats"):
            return "store"
        if row in ("takt", "takt all"):
            return "takt"
        return {"5": "5", "6": "67", "7": "67", "8": "8"}.get(row[0], "1234")

    def run(self, wanted):
        parts = [("1234", self.small_rows), ("5", self.real_time), ("67", self.whole_phones), ("8", self.report),
                 ("store", self.store), ("takt", self.takt)]
        for rows, part in parts:
            if wanted is None or any(Bench.part_of(row) == rows for row in wanted):
                part()
        self.figures()


def table(bench):
    lines = [f"{'row':<9} {'ours':>12} {'theirs':>12} {'ratio':>9} {'target':>9}"]
    for row in TARGETS:
        if row not in bench.rows:
            continue
        r = bench.rows[row]
        missed = "" if r["ratio"] <= r["target"] else "  MISSED"
        lines.append(f"{row:<9} {r['ours']:>12.6g} {r['theirs']:>12.6g} {r['ratio']:>9.4g} {r['target']:>9g}"
                     f"  {WHAT[row]}{missed}")
    lines.append("")
    lines += [f"{name}: {value:g}" if isinstance(value, float) else f"{name}: {value}"
              for name, value in bench.shown.items()]
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(prog="scripts/bench")
    parser.add_argument("folder", help=argparse.SUPPRESS)
    parser.add_argument("--json", action="store_true", help="print a list of {row, ours, theirs, ratio, target}")
    parser.add_argument("--smoke", action="store_true", help="every row for a moment: does it still run?")
    parser.add_argument("--rows", help="these rows only, for example 1,2,9b (rows of one program come together)")
    parser.add_argument("--phones", type=int, default=10000, help="of row 7's long run (default: %(default)s)")
    parser.add_argument("--runs", type=int, default=100000, help="in the store of row stats (default: %(default)s)")
    arguments = parser.parse_args()
    bench = Bench(arguments.folder, arguments.smoke, arguments.phones, arguments.runs)
    bench.run(arguments.rows.split(",") if arguments.rows else None)
    print(json.dumps(list(bench.rows.values()), indent=1) if arguments.json else table(bench))
    if arguments.smoke and set(bench.rows) != set(TARGETS):
        sys.exit("bench: rows are missing: " + ", ".join(sorted(set(TARGETS) - set(bench.rows))))


if __name__ == "__main__":
    main()
