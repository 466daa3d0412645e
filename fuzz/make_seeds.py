#!/usr/bin/env python3
"""Writes the seeds of the fuzz targets: fuzz/seeds/<target>/<name>. Run it again after a target reads its input anew."""
import json
import pathlib

SEEDS = pathlib.Path(__file__).resolve().parent / "seeds"

# How often each record of sensor_type::kTags and the untagged types stands in any_type()'s table.
TAGS = ["Acc", "Acc2", "Mag", "MagCal", "Ori", "Gyr", "Gyr2", "Lux", "Bar", "Tmp", "Prx", "Grv", "Lac", "Rot", "Hum",
        "Tam", "Tof", "Gas", "Lux_F", "Lux_B", "Lux_B_strm", "Lux_pri2", "Lux_pri2_strm", "Lux_sec", "Lux_sec_strm",
        "Flicker", "CCT_B", "CCT_B_strm", "CCT_F", "CCT_F_strm", "gyr_raw", "prx_stream", "light_stream", "sar", "sar2"]


class Draws:
    """The numbers that a target draws, in its order. They stand at the input's end, the first one last."""

    def __init__(self):
        self.front = b""
        self.bytes = []

    def pick(self, *values):  # one byte each, counted from the low end of its range
        self.bytes += values
        return self

    def type(self, tag):
        return self.pick(TAGS.index(tag))

    def number(self, eighths=8):  # any_float()
        return self.pick(3, eighths + 128)  # counted from the type's smallest number

    def int(self, value=0):  # any_int()
        return self.pick(3, value + 3)

    def save(self, target, name):
        save(target, name, self.front + bytes(reversed(self.bytes)))


def save(target, name, data):
    folder = SEEDS / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / name).write_bytes(data if isinstance(data, bytes) else data.encode())


def texts():
    table = {
        "rows": "Acc a.b /x 0 lsm\nAcc p /x 1 lsm\nAcc q /x 1 lsm\nLux c..d. /y 2 BH1745\nPrx e /z 0 other\n",
        "blanks": "Acc  a.b /x 0 lsm \n\n Lux\n\tTof a /x 0 a\r\nTof a /x 0 a",
        "empty": "",
    }
    for name, text in table.items():
        for mode in range(4):
            d = Draws().type("Acc").pick(mode, mode + 1)
            d.front = text.encode()
            d.save("judge_table", f"{name}_{mode}")

    reference = '{\n"sensor": 1,\n"acc": { "ver": "1.0", "data": "x"\n"version": "2" } "data": "open\n}\n"ver" "after"\n'
    for mode in range(3):
        d = Draws().pick(1, 1, 1).pick(mode, mode)
        d.front = reference.encode()
        d.save("reference_data", f"section_{mode}")
        d = Draws().pick(2, 1, 3, 1, 1).pick(mode, mode)
        d.front = reference.encode()
        d.save("reference_data", f"two_keys_{mode}")

    for name, text in {
        "fresh": '{"als": {"x": 1}}',
        "third": '{"als": {"channel_scale": {"scale_data": "1.0,", "ver": "3"}, "n": [1.5, true, null]}, "z": "\\u00e9"}',
        "number": '{"als": {"channel_scale":\n{"ver": 7}}}',
        "comment": '// c\n{"als": /* d */ {"a": 1} // e\n}',
        "empty": '{"als": {}}',
        "deep": '{"als": {"a": ' + "[" * 40 + "]" * 40 + "}}",
        "deeper": "[" * 1200,
        "wrong": '{"als": [1], "b": {"ver": {}}}',
    }.items():
        d = Draws()
        for scale in (8, 9, 7, 16):
            d.number(scale)
        d.front = text.encode()
        d.save("light_json", name)

    for name, text in {"plain": "offset=227\n", "negative": "offset=-12", "blank": "offset= \t+5", "none": "offset=x",
                       "far": "offset=99999999999999999999\n", "other": "ofset=1"}.items():
        for which in range(3):
            d = Draws().pick(which).int(5)
            d.front = text.encode()
            d.save("crosstalk_files", f"{name}_{which}")

    for name, text in {"two": "1\t2\t3\n4\t5\t6\n\\|7\t8\n", "gaps": "\t\t\n\n1e3\tx\t-0x1p3\t\n\\|nan\tinf", "long": "9" * 130}.items():
        d = Draws().pick(1).number(3)
        d.front = text.encode()
        d.save("persist_files", name)

    d = Draws().pick(2, 1, 1)
    d.front = b"persist.a=2\nsys.b=x\\\\ny\n\\|" + b"value\\|key\\|other\\|" + b"# c\nro.build.product=velra\nro.x=1\n"
    d.save("properties", "both")
    d = Draws().pick(0, 1, 0)
    d.front = b"\\|ro.build.product=dov\nbroken\n=x\nlong=" + b"v" * 100
    d.save("properties", "build")


def recordings():
    for name, text in {
        "named": "Acc=f.csv\ntime,x,y,z\n0.00,0.1,0.2,9.8\n0.02,0.1,0.2,9.81\n0.04,0.1,0.2,9.79\n",
        "units": "Gyr=f.csv,unit=deg/s,columns=t,x,y,z,time=ms\n0;1,5;2;3\n10;1,5;2;3\n10;x;2;3\n",
        "dates": "Bar=f.csv\ndate,pressure\n2020-05-01 13:27:25.976,1013.2\n2020-05-01 13:27:26.1,1013.3\n",
        "even": "Lux=f.csv,rate=10,timing=requested,start=0.1,length=1\nlux\n200\n201\n\n# c\n199\n",
        "stream": "CCT_F_strm=f.csv,columns=t,c1,c2,c3,c4,c5\n1 2 3 4 5 6\n2 2 3 4 5 6\n",
    }.items():
        save("recording", name, text)


def profiles():
    chip = '"c": {"bias": [0.1, 0.2, -0.1], "gain": {"mean": 1, "sigma": 0.01}, "noise_density": 0.001}'
    save("profile", "small", '{"name": "p", "chips": {' + chip + '}, "sensors": {"Acc": {"name": "a", "handle": 1, "chip": "c"}}}')
    save("profile", "all", '{"name": "p", "title": "t", "properties": {"ro.a": "b"}, "world": {"lux": "200"}, "faults": [],'
         '"chips": {"c": {"response": [1,1,1,1,1,1,1], "values": [1], "optical_crosstalk": {"from": 1, "to": 2}}},'
         '"sensors": {"Lux": {"name": "l", "vendor": "v", "handle": 2, "chip": "c", "min_period_us": 100, "max_range": 1e4}},'
         '"panel": {"max_brightness": 255, "brightness": 1}, "hub": {"tof_target_mm": 100, "splits_crosstalk": true},'
         '"golden": {"CCT_F_strm": [1, 2, 3]}, "files": {"/a": "b", "/c": ["d", "e"]}}')
    save("profile", "deep", "[" * 1200)
    save("profile", "extends", '{"extends": "reference", "name": "x", "chips": {"none": null}}')


def plans():
    def plan(*steps):
        return '{"format": "sensorcal.plan/1", "name": "n", "steps": [' + ",\n".join(steps) + "]}"

    save("plan", "fixture", plan('{"fixture": {"lux": "200 lux", "pose": "flat"}}'))
    save("plan", "calibrate", plan('{"calibrate": "Acc", "limits": {"residual": "0.02 m/s^2", "noise": "5 %", "restarts": 3}}',
                                   '{"calibrate": "Bar", "reference": "1013.25 hPa", "repeat": 2, "on_failure": "go on"}'))
    save("plan", "golden", plan('{"calibrate": "CCT_F_strm", "param": -1, "limits": {"low": 1, "high": "2 counts"}}',
                                '{"calibrate": "CCT_F_strm", "golden": [1, 2, 3, 4, 5]}'))
    save("plan", "verify", plan('{"verify": "Acc", "samples": 50, "expect": ["0 g", "0 g", "1 g"], "limits": {"residual": "20 mg"}}',
                                '{"verify": "Prx", "expect": "near"}'))
    save("plan", "check", plan('{"check": "report", "positions": ["Acc"]}', '{"check": "Acc", "value": "offset", "limits": {"low": "-1 m/s^2"}}',
                               '{"probe": "tof", "expect": "no sensor"}'))
    save("plan", "group", plan('{"group": "g", "repeat": 2, "steps": [{"probe": "rgb", "expect": true}]}'))
    save("plan", "deep", "[" * 1200)
    save("plan", "wrong", plan('{"verify": {}}', '{"check": []}', '{"calibrate": 1}', "3"))


def runs():
    sensor = {"handle": 1, "name": "s", "vendor": "v", "version": 1, "type": 1, "type_text": "", "max_range": 0, "resolution": 0,
              "power": 0, "min_delay": 0, "max_delay": 0, "fifo_reserved": 0, "fifo_max": 0, "permission": "", "flags": 0}
    words = list(range(18))
    answers = [("find", True, "d"), ("sensor-list", {"result": 0, "sensors": [sensor]}, None),
               ("default-sensor", {"result": 0, "sensor": sensor}, {"type": 1}),
               ("event-queue", {"result": 0, "there": True}, None), ("enable", {"enabling": 1, "result": 0}, {"handle": 1}),
               ("disable", {"result": 0}, {"handle": 1}), ("files", {"/a/b": "00ff", "/c": None}, None), ("time", 7, None),
               ("hub", {"reply": "00" * 72, "told": [{"time": 1, "request": words, "reply": words, "note": ""}]},
                {"message": words}),
               ("hub", {"failed": {"dead": True, "why": "gone"}, "told": []}, {"message": words}),
               ("facts", [["phone", "p"]], None), ("world", [["lux", "200"]], None), ("remarks", ["r"], None),
               ("set-world", "", ["lux", "1"]), ("arrange", {"problems": [], "notes": ["n"]}, [["lux", "1"]])]
    lines = [{"format": "sensorcal.recording/2", "properties": {"ro.a": "b"}, "unwritable": ["/sys/x"]}]
    for ask, answer, of in answers:
        lines.append({"ask": ask, "attempt": "1.1", "answer": answer} | ({} if of is None else {"of": of}))
    lines.append({"enabling": 1, "event": {"time": 5, "handle": 1, "type": 1, "data": "00" * 64}})
    def text(some):
        return "".join(json.dumps(line | {"n": n + 1}) + "\n" for n, line in enumerate(some))
    save("trace", "all", text(lines))
    for line in lines[1:]:
        save("trace", line.get("ask", "event") + ("-failed" if "failed" in str(line) else ""), text([lines[0], line]))
    save("trace", "cut", text(lines[:3])[:-20])

    value = {"name": "offset", "unit": "hPa", "values": [0.5, "nan"]}
    attempt = {"attempt": 1, "started": "2026-11-26T02:45:03.844Z", "seconds": 1.5, "verdict": "error", "kept": False,
               "reasons": [{"code": "c", "arguments": ["a"], "text": "t"}, "words"], "hints": ["h"], "notes": ["n"],
               "before": [value], "after": [], "restarts": {"variance": 1},
               "measurements": [{"name": "residual", "axis": "x", "value": 1, "low": None, "high": 2, "unit": "hPa"}],
               "window": {"unit": "hPa", "axes": ["x"], "period_ms": 20, "samples": [[1, 2.5, "accepted"]]},
               "spans": [{"sensor": "Bar", "what": "sampling", "from_s": 0, "to_s": 1}],
               "log": [{"priority": 4, "tag": "t", "text": "l"}]}
    step = {"step": 1, "name": "n", "kind": "calibrate", "tag": "Bar", "verdict": "failed", "attempts": [attempt]}
    for form in (1, 2):
        save("record", f"form{form}", json.dumps({"schema": f"sensorcal.run/{form}", "serial": "S", "verdict": "failed",
             "started": "2026-11-26T02:45:03.844Z", "seconds": 2, "plan": {"name": "p", "bytes": "{}"},
             "application": {"version": "1"}, "library": {"version": "1"}, "phone": {"profile": "p"}, "steps": [step]}))


def streams():
    for sensor in range(18):
        for axes in (1, 3, 5):
            d = Draws().pick(sensor, 1, 5, 5, 5, 5, 5, 0, 1, axes - 1, 1, 3, 2, 5, 5)
            d.number(127).number(0)
            for axis in range(10):
                if axis < 5:
                    d.number(127)
                if axis < 3:
                    d.number(0)
                if axis < 5:
                    d.number(8)
            for event in range(12):
                d.pick(1)
                for word in range(7):
                    d.pick(1).number(word + event % 2)
            d.save("event_intake", f"sensor{sensor}_{axes}")
    for row in range(35):
        d = Draws()
        d.front = bytes([0, 0, 128, 63] * 18)
        d.pick(row).type("Acc" if row < 2 else "Gyr" if row == 2 else "sar").int(5).int(1).int(2).number(8)
        d.pick(1, 6).pick(*range(15)).pick(5)
        d.save("hub_replies", f"row{row:02}")


ONES = (3,)  # the hub answers 0 and ones behind it
SCALE = (4, 0, 3, 136)  # the hub answers a scale of 1.0


def level(value):  # any_float() in the place of a stream's level
    whole = int(value)
    return (0, 3, int(value * 8) + 128) if abs(value) < 15 else (0, 2, (whole >> 8) + 128, whole & 255)


def run(d, levels, swing=1):
    """Enabling, and a stream long enough for any run to finish."""
    d.pick(0).pick(0).pick(70)
    for i in range(7):
        d.pick(*level(levels[min(i, len(levels) - 1)]))
    return d.pick(swing, 100, 1)


def sequences():
    params = {-1: 0, 0: 1, 2: 2, 13: 3, 14: 4, 19: 5}  # PickValueInArray() in call_operation()
    chips = {"hardware": 0, "plain": 1}

    def script(name, tag, param, before, levels, after, chip="plain", properties=(), swing=1):
        d = Draws().pick(chips[chip], 1, 0)
        for value, key in properties:
            d.pick(3, 0, value, key)
        for _ in range(2):
            d.pick(0).type(tag).int(0).int(0).pick(5, 1, params[param])
            for answer in before:
                d.pick(*answer)
            run(d, levels, swing)
            for answer in after:
                d.pick(*answer)
        d.pick(2).type(tag).pick(0)  # a query: the report
        d.save("operations", name)

    script("acc", "Acc", 0, [ONES], [0.5, 0.25, 9], [ONES])
    script("acc2", "Acc2", 0, [ONES], [0.5, 0.25, -10], [ONES])
    script("gyr", "Gyr", 0, [(1,)], [0.125, 0, 0.25], [ONES, ONES], properties=[(4, 0)])
    script("gyr2", "Gyr2", 0, [(1,)], [0.125, 0, 0.25], [ONES])
    script("bar", "Bar", 0, [ONES], [14], [ONES])
    for tag in ("Lux", "Lux_F", "Lux_B_strm", "Lux_sec", "Lux_pri2"):
        script(f"light_{tag}", tag, 0, [SCALE], [100], [ONES], swing=0)
    for tag in ("CCT_F_strm", "CCT_B_strm", "light_stream"):
        script(f"scales_{tag}", tag, 0, [ONES, ONES], [2, 2], [ONES], properties=[(1, 5)])
        script(f"golden_{tag}", tag, -1, [], [2, 2], [ONES])
    script("hub_run", "CCT_F_strm", 0, [ONES, ONES], [1], [], properties=[(1, 3)])
    for param in (0, 2, 19):
        script(f"proximity_{param}", "Prx", param, [], [300], [(1,), ONES])
        script(f"proximity_hardware_{param}", "Prx", param, [ONES] if param == 0 else [], [300], [ONES], chip="hardware")
    for tag in ("Lux", "Lux_pri2_strm"):
        script(f"panel_high_{tag}", tag, 13, [], [12], [ONES])
        script(f"panel_low_{tag}", tag, 14, [], [5], [ONES])
        script(f"panel_stepped_{tag}", tag, 14, [], [5], [ONES], properties=[(8, 6)])
        script(f"panel_colour_{tag}", tag, 13, [ONES], [2], [ONES], properties=[(1, 9)])
        script(f"panel_colour_low_{tag}", tag, 14, [ONES], [2], [ONES], properties=[(1, 9)])
    for kind in range(6):
        d = Draws().pick(0, 1, 0)
        for tag in ("Acc", "Lux", "Prx", "sar", "Tof", "CCT_B_strm", "Bar"):
            d.pick(2).type(tag).pick(kind)
            if kind == 3:
                d.pick(0).int(0)  # mode and index
            if kind in (1, 2):
                d.pick(kind * 4)  # axis or length
            d.pick(*ONES)
        d.save("operations", f"query_{kind}")
    for operation in range(5):
        d = Draws().pick(1, 1, 0)
        for tag in ("Acc", "Lux", "sar", "Tof"):
            d.pick(0).type(tag).int(4).int(5).pick(operation).int(1).number(8).pick(*ONES)
        d.save("operations", f"call_{operation}")
    for param in (4, 5, 11, 12, 15, -1):
        d = Draws().pick(2, 1, 0)
        for tag in ("Prx", "sar", "Tof", "Lux", "Acc"):
            d.pick(0).type(tag).int(param).int(0).pick(5, 0).pick(*ONES)
        d.save("operations", f"param_{param}")
    d = Draws().pick(1, 1, 0)
    for change in range(7):
        d.pick(3, change).pick(1, 1)
    d.save("operations", "changes")


for make in (texts, recordings, profiles, plans, runs, streams, sequences):
    make()
