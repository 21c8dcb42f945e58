#!/usr/bin/env python3
"""tools/make-table-fixture: its refusals, and generated files served by lumo-hostd and
paged through to the last object by get-all over a real bus (lumoctl call).

Run as: make_table_fixture_test.py GENERATOR LUMOCTL HOSTD
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

GENERATOR, LUMOCTL, HOSTD = sys.argv[1:4]
ROOT = tempfile.mkdtemp(prefix="lumo-tablefix-")
ENV = dict(os.environ, LUMO_ROOT=ROOT)
LOAD_BOUND_S = 10  # 10,000 rows load in well under a second; this only catches a collapse
POLL_S = 0.02
EXIT_USAGE = 2

OBJECT_ID, OBJECTS, START = "0x08FE0001", "0xA8FE0002", "0x08FE0003"
WANT, POSITION, COUNT = "0x08FE0004", "0x08FE0005", "0x08FE0014"
failures = []


def check(what, ok, detail=""):
    print(("ok: " if ok else "FAIL: ") + what + ("" if ok else f" ({detail})"))
    if not ok:
        failures.append(what)


def run(*args):
    return subprocess.run(list(args), env=ENV, capture_output=True, text=True)


def call(path, command, *fields):
    r = run(LUMOCTL, "--json", "call", path, command, *fields)
    if r.returncode != 0:
        raise RuntimeError(f"lumoctl call {path} {command} {' '.join(fields)}: {r.stderr.strip()}")
    return json.loads(r.stdout)


def walk(path, page):
    """Every object of the list by get-all, following the continuation; the pages taken."""
    objects, fields, pages = [], [f"{WANT}={page}"], 0
    while True:
        reply = call(path, "get-all", *fields)
        pages += 1
        objects += reply[OBJECTS]
        if START not in reply:
            return objects, pages
        fields = [f"{WANT}={page}", f"{START}={reply[START]}"]


class Hostd:
    def __init__(self, fixture, ready_path):
        self.proc = subprocess.Popen([HOSTD, "--fixture", fixture], env=ENV,
                                     stderr=subprocess.PIPE, text=True)
        began = time.monotonic()
        while time.monotonic() - began < LOAD_BOUND_S and self.proc.poll() is None:
            if run(LUMOCTL, "call", ready_path, "count").returncode == 0:
                self.load_s = time.monotonic() - began
                return
            time.sleep(POLL_S)
        self.stop()
        raise RuntimeError(f"lumo-hostd did not serve {fixture} within {LOAD_BOUND_S} s: "
                           + self.proc.stderr.read().strip())

    def stop(self):
        if self.proc.poll() is None:
            self.proc.terminate()
        return self.proc.wait()


def generate(name, *args):
    out = os.path.join(ROOT, name)
    r = run(GENERATOR, *args, "-o", out)
    if r.returncode != 0:
        raise RuntimeError(f"make-table-fixture {' '.join(args)}: {r.stderr.strip()}")
    return out


def refusals():
    r = run(GENERATOR, "--help")
    check("--help", r.returncode == 0 and r.stdout.startswith("usage: make-table-fixture"),
          r.stdout[:80])
    for args in (["--path", "20/99", "--rows", "1"],      # lumo-hostd's control handler
                 ["--path", "0/1", "--rows", "1"],
                 ["--path", "20/1"],                       # neither rows nor ids
                 ["--path", "20/1", "--ids", "1,x"],
                 ["--path", "20/1", "--ids", "3,1,3"],
                 ["--path", "20/1", "--rows", "2", "--first", "4294967295"],
                 ["--path", "20/1", "--rows", "2", "--step", "0"],
                 ["--path", "20/1", "--rows", "1", "--columns", "0"],
                 ["--path", "20/1", "--path", "20/1", "--rows", "1"]):
        r = run(GENERATOR, *args)
        check(f"refused: {' '.join(args)}", r.returncode == EXIT_USAGE and r.stdout == "",
              f"status {r.returncode}, {r.stderr.strip()}")


def sparse_ids():
    ids = [1, 2, 5, 9, 200]
    fixture = generate("sparse.json", "--path", "200/1", "--path", "201/2",
                       "--ids", "9,200,1,5,2", "--columns", "5")
    hostd = Hostd(fixture, "201/2")
    try:
        for path in ("200/1", "201/2"):
            objects, pages = walk(path, 2)
            check(f"{path}: every id once, in order",
                  [o[OBJECT_ID] for o in objects] == ids, objects)
            check(f"{path}: positions from 0",
                  [o[POSITION] for o in objects] == list(range(len(ids))), objects)
            check(f"{path}: three pages of two", pages == 3, pages)
        row = call("200/1", "get", f"{OBJECT_ID}=9")
        expected = {OBJECT_ID: 9, "0x20000102": "r9c2", "0x08000103": 903,
                    "0x20000104": "r9c4", "0x08000105": 905}
        check("row 9 holds its five columns", row == expected, row)
        gap = call("200/1", "get-all", f"{OBJECT_ID}=6", f"{WANT}=1")
        check("a start id in a gap begins at the next row",
              [o[OBJECT_ID] for o in gap[OBJECTS]] == [9] and gap.get(START) == 4, gap)
    finally:
        check("lumo-hostd ends with status 0", hostd.stop() == 0)


def empty_table():
    hostd = Hostd(generate("empty.json", "--path", "200/1", "--rows", "0"), "200/1")
    try:
        reply = call("200/1", "get-all")
        check("--rows 0: an empty list and no continuation", reply == {OBJECTS: []}, reply)
        check("--rows 0: count 0", call("200/1", "count")[COUNT] == 0)
    finally:
        hostd.stop()


def large_table():
    rows, first, step, page = 10000, 1000, 3, 2500
    began = time.monotonic()
    fixture = generate("large.json", "--path", "200/1", "--rows", str(rows),
                       "--first", str(first), "--step", str(step))
    made_s = time.monotonic() - began
    hostd = Hostd(fixture, "200/1")
    print(f"10,000 x 20: generated in {made_s:.2f} s, served after {hostd.load_s:.2f} s")
    try:
        objects, pages = walk("200/1", page)
        check("10,000 rows paged through",
              [o[OBJECT_ID] for o in objects] == list(range(first, first + rows * step, step)))
        check("four pages", pages == rows // page, pages)
        last = objects[-1]
        check("the last row's last two columns",
              last.get("0x08000113") == last[OBJECT_ID] * 100 + 19
              and last.get("0x20000114") == f"r{last[OBJECT_ID]}c20", last)
    finally:
        hostd.stop()


try:
    refusals()
    for case in (sparse_ids, empty_table, large_table):
        try:
            case()
        except RuntimeError as e:
            check(case.__name__, False, e)
finally:
    shutil.rmtree(ROOT, ignore_errors=True)
sys.exit(1 if failures else 0)
