"""What one run of ten values costs: bytes, journeys and processor time, in a file and on a server of its own.
   python3 bench/store/capacity.py BUILD_FOLDER [RUNS]
Prints JSON. The server writes to its disk (in the temporary folder) before it answers."""
import json
import os
import select
import socket
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CONTROL = os.path.join(ROOT, "tests", "support", "postgresql")


class Relay:
    """Stands between a station and the server, and counts."""

    def __init__(self, here, there):
        self.sent = self.received = self.journeys = 0
        self.there = there
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(os.path.join(here, ".s.PGSQL.5432"))
        self.listener.listen()
        threading.Thread(target=self.serve, daemon=True).start()

    def serve(self):
        while True:
            station, _ = self.listener.accept()
            with station, socket.socket(socket.AF_UNIX) as server:
                server.connect(os.path.join(self.there, ".s.PGSQL.5432"))
                try:
                    self.pass_on(station, server)
                except OSError:  # one of them has gone
                    pass

    def pass_on(self, station, server):
        answered = True
        while True:
            for ready in select.select([station, server], [], [])[0]:
                data = ready.recv(1 << 16)
                if not data:
                    return
                if ready is station:
                    self.sent += len(data)
                    self.journeys += answered
                    server.sendall(data)
                else:
                    self.received += len(data)
                    station.sendall(data)
                answered = ready is server


def fill(bench, uri, runs, part=0, parts=1, seed=1):
    return subprocess.Popen([bench, "fill", uri, str(runs), "1", str(seed), str(part), str(parts)],
                            stdout=subprocess.PIPE, text=True)


def finished(*writers):
    return [json.loads(writer.communicate()[0]) for writer in writers]


def children_s(pid):
    fields = open(f"/proc/{pid}/stat").read().rsplit(")", 1)[1].split()
    return (int(fields[13]) + int(fields[14])) / os.sysconf("SC_CLK_TCK")


def on_server(bench, runs, folder, out):
    def ask(sql):
        return subprocess.run(["psql", "-h", folder, "-U", "tester", "store", "-tAc", sql], check=True,
                              stdout=subprocess.PIPE, text=True).stdout.strip()
    uri = f"postgresql:///store?host={folder}&user=tester"
    pid = int(open(os.path.join(folder, "data", "postmaster.pid")).readline())
    finished(fill(bench, uri, 1000))
    ask("CHECKPOINT")
    for seed, writers in ((2, 1), (3, 4), (4, 16)):
        size, log, spent, start = (ask("SELECT pg_database_size('store')"), ask("SELECT pg_current_wal_lsn()"),
                                   children_s(pid), time.time())
        finished(*[fill(bench, uri, runs, part, writers, seed) for part in range(writers)])
        seconds = time.time() - start
        time.sleep(0.5)
        row = {"writers": writers, "runs_a_second": runs / seconds,
               "server_processor_ms_a_run": 1000 * (children_s(pid) - spent) / runs,
               "bytes_a_run": (int(ask("SELECT pg_database_size('store')")) - int(size)) / runs,
               "log_bytes_a_run": int(ask(f"SELECT pg_wal_lsn_diff(pg_current_wal_lsn(), '{log}')")) / runs}
        out.setdefault("server", []).append(row)
    processes, spent = 50, children_s(pid)
    for seed in range(100, 100 + processes):
        finished(fill(bench, uri, 1, seed=seed))
    time.sleep(0.5)
    alone = 1000 * (children_s(pid) - spent) / processes
    with tempfile.TemporaryDirectory() as here:
        relay = Relay(here, folder)
        through = f"postgresql:///store?host={here}&user=tester"
        counts = []
        for seed, count in ((5, 1), (6, 501)):
            before = (relay.sent, relay.received, relay.journeys)
            start = time.time()
            finished(fill(bench, through, count, seed=seed))
            counts.append([a - b for a, b in zip((relay.sent, relay.received, relay.journeys), before)])
            seconds = time.time() - start
            if count == 1:
                out["a_process_with_one_run"] = dict(zip(("sent", "received", "journeys"), counts[0]), seconds=seconds,
                                                     server_processor_ms=alone)
        out["a_further_run"] = dict(zip(("sent", "received", "journeys"),
                                        [(many - one) / 500 for one, many in zip(*counts)]))


def main():
    bench = os.path.join(os.path.abspath(sys.argv[1]), "bin", "bench_store")
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 20000
    out = {"runs": runs}
    with tempfile.TemporaryDirectory(prefix="capacity-") as folder:
        os.chmod(folder, 0o755)
        file = os.path.join(folder, "line.db")
        done, = finished(fill(bench, file, runs))
        out["file"] = {"runs_a_second": runs / done["seconds"], "processor_ms_a_run": 1000 * done["processor_s"] / runs,
                       "bytes_a_run": os.path.getsize(file) / runs}
        server = os.path.join(folder, "server")
        os.mkdir(server)
        subprocess.run([CONTROL, "start", server], check=True, env={**os.environ, "FSYNC": "on"})
        try:
            on_server(bench, runs, server, out)
        finally:
            subprocess.run([CONTROL, "stop", server, "immediate"], check=True)
    print(json.dumps(out, indent=1))


if __name__ == "__main__":
    main()
