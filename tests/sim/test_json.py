#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""commctl --json on the simulated board: every reading command prints one
JSON object that a real parser takes, with the same keys and value types on
every run.  Usage: test_json.py BOARDSIM COMMCTL"""
import json
import os
import subprocess
import sys
import tempfile

BOARDSIM, COMMCTL = sys.argv[1:3]
INT, STR, BOOL, OPT_STR = int, str, bool, (str, type(None))


def on_board(state, *args, json_out=True):
    argv = [BOARDSIM, "--state", state, "--", COMMCTL] + (["--json"] if json_out else []) + list(args)
    r = subprocess.run(argv, capture_output=True, text=True, env=dict(os.environ, ZEV_SETTINGS_FILE=""))
    return r


def check_shape(value, shape, where):
    """Keys exactly as in shape; bool is not taken for int."""
    assert isinstance(value, dict), f"{where}: not an object: {value!r}"
    assert sorted(value) == sorted(shape), f"{where}: keys {sorted(value)} != {sorted(shape)}"
    for key, want in shape.items():
        if isinstance(want, dict):
            check_shape(value[key], want, f"{where}.{key}")
            continue
        got = value[key]
        ok = isinstance(got, want) and not (want is INT and isinstance(got, bool))
        assert ok, f"{where}.{key}: {got!r} is not {want}"


def main():
    copy = {"state": STR, "read": INT, "score": (int, type(None))}
    field = {"first": STR, "second": STR, "readable": BOOL, "text": OPT_STR, "hex": OPT_STR}
    with tempfile.TemporaryDirectory() as state:
        param = os.path.join(state, "param.txt")
        with open(param, "w") as f:
            f.write("Volume=7\\Name=cam \"one\"\\")
        setup = [["gpio", "export", "33"], ["pwm", "init", "0"], ["pwm", "set", "0", "1000000", "250000"],
                 ["sn", "set", "Sn", "DC-1"], ["sn", "set", "--hex", "Did", "0a0b"]]
        for args in setup:
            r = on_board(state, *args, json_out=False)
            assert r.returncode == 0, f"{args}: {r.stderr}"
        sample = os.path.join(state, "sdcard", "DCIM", "sample.mp4")
        cases = [
            (["clock"], {"boot_ms": INT, "boot_100ms": INT, "boot_s": INT, "running_time": INT, "wall_s": INT,
                         "wall_text": STR, "log_time": STR}),
            (["date"], {"local_time": STR, "system_clock": STR, "zone": OPT_STR, "zone_offset_s": INT,
                        "time_set": BOOL}),
            (["temp"], {"cpu": INT, "ntc": INT, "test_mode": BOOL}),
            (["pmu"], {"present": BOOL, "dc_in": INT, "acc_on": INT, "voltage_mv": INT, "charge_current_ma": INT,
                       "ntc_temperature": INT, "power_key_down": BOOL, "sd_card": INT, "boot_word": INT,
                       "type": INT}),
            (["sd"], {"device": STR, "name": STR, "size_kb": INT, "size_mb": INT}),
            (["sn", "show"], {"copies": {"MTD_PART_SN": copy, "MTD_PART_SN_BACKUP": copy},
                              "fields": {n: field for n in ("Sn", "Speech", "Did", "Adas", "Plain1", "Plain2",
                                                            "Ui")}}),
            (["mtd", "read", "MTD_PART_SN", "0x10", "4"], {"key": STR, "offset": INT, "length": INT, "hex": STR}),
            (["gpio", "get", "33"], {"pin": INT, "value": INT}),
            (["pwm", "status", "0"], {"channel": INT, "period_ns": INT, "duty_cycle_ns": INT, "polarity": STR,
                                      "enabled": BOOL}),
            (["mp4", sample], {"file": STR, "duration_ms": INT, "fps_word0": INT, "fps_word1": INT}),
            (["video"], {"height": INT, "fps_thousandths": INT}),
            (["param", param, "Name"], {"file": STR, "key": STR, "value": STR}),
            (["param", "--number", param, "Volume"], {"file": STR, "key": STR, "value": INT}),
            (["md5", param], {"file": STR, "md5": STR}),
            (["crc8", param], {"file": STR, "crc8": INT}),
        ]
        seen = {}
        for args, shape in cases:
            r = on_board(state, *args)
            assert r.returncode == 0, f"{args}: {r.returncode} {r.stderr}"
            assert r.stdout.count("\n") == 1, f"{args}: one line: {r.stdout!r}"
            value = json.loads(r.stdout)
            check_shape(value, shape, " ".join(args))
            seen[args[0]] = value
        # Values carried through, escaped where needed.
        assert seen["sn"]["fields"]["Sn"]["text"] == "DC-1", seen["sn"]
        assert seen["sn"]["fields"]["Did"] == dict(seen["sn"]["fields"]["Did"], text=None, hex="0a0b")
        assert seen["sn"]["copies"]["MTD_PART_SN"]["state"] == "good"
        assert seen["gpio"]["value"] == 0 and seen["pwm"]["duty_cycle_ns"] == 250000
        assert seen["pwm"]["period_ns"] == 1000000
        assert seen["param"]["value"] == 7
        assert seen["mtd"]["offset"] == 16 and len(seen["mtd"]["hex"]) == 8
    print("ok: %d commands" % len(cases))


if __name__ == "__main__":
    main()
