#!/usr/bin/env python3
"""Writes the recordings in tests/data/recordings: sensors of an invented phone, in the forms that logging apps export.

The same script gives the same bytes: the seeds are fixed. See docs/formats/recordings.md for what each file is for.
"""
import math
import pathlib
import random

FOLDER = pathlib.Path(__file__).resolve().parent.parent / "tests" / "data" / "recordings"
GRAVITY = 9.80665


def write(name, header, rows):
    lines = ([header] if header else []) + rows
    (FOLDER / name).write_text("\n".join(lines) + "\n", encoding="utf-8")


def jittered_ms(rng, count, step_ms):
    """Whole milliseconds as an app's clock shows them: now and then two samples share one, now and then one is late."""
    time_ms, times = 0.0, []
    for _ in range(count):
        times.append(int(time_ms))
        late = rng.random() < 0.02
        time_ms += step_ms * (2.6 if late else 1) if rng.random() > 0.04 else 0.4
    return times


def rest_flat():
    rng = random.Random(1)
    rows = []
    for t in jittered_ms(rng, 1100, 10):
        x, y, z = rng.gauss(0.082, 0.012), rng.gauss(-0.054, 0.013), rng.gauss(GRAVITY + 0.121, 0.018)
        rows.append(f"{t},{x:.6f},{y:.6f},{z:.6f}")
    write("rest_accelerometer.csv", "time_ms,x (m/s^2),y (m/s^2),z (m/s^2)", rows)


def rest_gyroscope():
    rng = random.Random(2)
    rows = []
    for i in range(900):
        t = i / 100 + rng.uniform(-2e-5, 2e-5)
        rates = (rng.gauss(0.0061, 0.0009), rng.gauss(-0.0042, 0.0012), rng.gauss(0.0017, 0.001))
        rows.append(",".join([f"{t:.9E}"] + [f"{rate:.9E}" for rate in rates]))
    write("rest_gyroscope.csv", '"Time (s)","X (rad/s)","Y (rad/s)","Z (rad/s)"', rows)


def tumble():
    """In g with the sign of the acceleration that is felt, nanoseconds since 1970, columns z, y, x; still at the end."""
    rng = random.Random(3)
    start_ns, rows = 1_700_000_000_123_456_700, []
    for i in range(900):
        turning = min(1.0, max(0.0, (700 - i) / 60))
        a, b = turning * i * 0.031, turning * i * 0.017
        up = (math.sin(a) * math.cos(b), math.sin(b), math.cos(a) * math.cos(b))
        x, y, z = (-v + rng.gauss(0, 0.0015 + 0.03 * turning) for v in up)
        t = start_ns + i * 10_010_000 + rng.randrange(-40_000, 40_000)
        rows.append(f"{t},{(t - start_ns) / 1e9:.9f},{z:.7f},{y:.7f},{x:.7f}")
    write("tumble_accelerometer_g.csv", "time,seconds_elapsed,z,y,x", rows)


def walk(seed, tilt_deg, count):
    rng = random.Random(seed)
    tilt = math.radians(tilt_deg)
    for i in range(count):
        t = i / 100
        step, sway = 2 * math.pi * 1.85 * t, 2 * math.pi * 0.925 * t
        bounce = 2.1 * math.sin(step) + 0.7 * math.sin(2 * step + 0.4)
        x = 0.1 + 0.8 * math.sin(sway) + rng.gauss(0, 0.2)
        y = GRAVITY * math.sin(tilt) + 0.9 * math.cos(step) + rng.gauss(0, 0.2)
        z = GRAVITY * math.cos(tilt) + bounce + rng.gauss(0, 0.25)
        yield i, x, y, z


def walk_tilted():
    rows = [f"{557_000_123_456 + i * 10_000_000},3,{x:.6f},{y:.6f},{z:.6f}" for i, x, y, z in walk(4, 38, 1000)]
    write("walk_tilted_accelerometer.csv", None, rows)


def walk_level():
    comma = lambda value: f"{value:.5f}".replace(".", ",")
    rows = [";".join([f"{i / 100:.2f}".replace(".", ",")] + [comma(v) for v in (x, y, z)])
            for i, x, y, z in walk(5, 0, 1000)]
    write("walk_level_accelerometer.csv", "Time (s);X (m/s^2);Y (m/s^2);Z (m/s^2)", rows)


def barometer():
    rng = random.Random(6)
    rows, t = [], 12.5
    for i in range(800):
        t += rng.uniform(0.0395, 0.0405) + (4.2 if i == 300 else 0)
        rows.append(f"{t:.6f},{rng.gauss(31.2, 0.01):.2f},{rng.gauss(100862.4, 1.1):.3f}")
    write("rest_barometer_pa.csv", "timestamp_seconds,temperature_celsius,pressure_pascals", rows)


def room_light():
    """Reported when it changes; the hours are not padded."""
    rng = random.Random(7)
    rows, t = [], 8 * 3600.0
    for i in range(300):
        t += rng.expovariate(1 / 40)
        lit = (i // 25) % 2 == 1
        hour, minute, second = int(t) // 3600, int(t) // 60 % 60, t % 60
        rows.append(f"2024-3-5 {hour}:{minute:02d}:{second:04.1f},{rng.randrange(98, 106) if lit else rng.randrange(2, 7)}")
    write("room_light.csv", None, rows)


if __name__ == "__main__":
    FOLDER.mkdir(parents=True, exist_ok=True)
    for make in (rest_flat, rest_gyroscope, tumble, walk_tilted, walk_level, barometer, room_light):
        make()
