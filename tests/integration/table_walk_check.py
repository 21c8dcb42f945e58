#!/usr/bin/env python3
"""Checks what net-snmp's tools printed (-On) for the fixture tables of lumo-snmpd-tables.

The cells are those of tools/make-table-fixture: column 1 the id, an even column n the
string "r<id>c<n>", an odd one the Gauge32 id*100+n. Prints "ok" or the problems found
(at most ten), and exits 0 or 1.

  walk [--wide IDS] [--narrow IDS] [--prefix] [--subset] [--zero COL] < output
      Names only increase and are never repeated; every cell shows its value. With --wide
      / --narrow the names under that table are exactly every row of every column in
      lexicographic order (IDS: comma list, "N" for 1..N, "" for none). --prefix: the
      output may stop anywhere, but what it holds is the start of that order with nothing
      after it; --subset: rows may be missing, but none is repeated or out of order.
      --zero COL: column COL of the wide table reads Gauge32: 0.
  table --wide IDS < output
      snmptable -Ci -Cf , output of the wide table: one line per row, in id order, every
      cell right.
  bulk --wide IDS --narrow IDS --repeat R NAME... < output
      A GetBulk of non-repeaters 0 and R repetitions of the names given: the bindings are
      the lexicographic successors of each name, row by row (RFC 3416), endOfMibView past
      the last table (nothing follows it in the agent this runs against); the answer may
      stop after a repetition of nothing but endOfMibView.
"""
import argparse
import bisect
import sys

BASE = (1, 3, 6, 1, 4, 1, 47392, 99)
WIDE, NARROW = 1, 2
COLUMNS = {WIDE: 20, NARROW: 3}
END = "No more variables left in this MIB View"


def id_list(text):
    if text is None:
        return None
    if text.isdigit():
        return list(range(1, int(text) + 1))
    return [int(x) for x in text.split(",") if x]


def parse_oid(text):
    return tuple(int(x) for x in text.strip().lstrip(".").split("."))


def dotted(oid):
    return "." + ".".join(map(str, oid))


def expected_value(oid, zero_column=None):
    table, column, row = oid[len(BASE)], oid[len(BASE) + 2], oid[len(BASE) + 3]
    if column == 1:
        return f"INTEGER: {row}"
    if column % 2 == 0:
        return f'STRING: "r{row}c{column}"'
    if table == WIDE and column == zero_column:
        return "Gauge32: 0"
    return f"Gauge32: {row * 100 + column}"


def table_of(oid):
    if len(oid) == len(BASE) + 4 and oid[:len(BASE)] == BASE and oid[len(BASE) + 1] == 1:
        return oid[len(BASE)]
    return None


def every_name(table, ids):
    return [BASE + (table, 1, c, i) for c in range(1, COLUMNS[table] + 1) for i in ids]


def bindings(text):
    """(oid, value) for every 'NAME = VALUE' line."""
    out = []
    for line in text.splitlines():
        if line.startswith(".") and " = " in line:
            name, value = line.split(" = ", 1)
            out.append((parse_oid(name), value))
    return out


def check_walk(args, text, problems):
    got = bindings(text)
    if any(not l.startswith(".") and l.strip() and "No more variables" not in l
           for l in text.splitlines()):
        problems.append("lines other than bindings: " +
                        "; ".join(l for l in text.splitlines() if not l.startswith("."))[:200])
    names = [(o, v) for o, v in got if not v.startswith(END)]
    ends = [o for o, v in got if v.startswith(END)]
    if len(ends) > 1:
        problems.append(f"{len(ends)} end-of-MIB lines")
    for (a, _), (b, _) in zip(names, names[1:]):
        if b <= a:
            problems.append(f"{dotted(b)} after {dotted(a)}: not increasing")
    for oid, value in names:
        if table_of(oid) and value != expected_value(oid, args.zero):
            problems.append(f"{dotted(oid)} = {value}, expected {expected_value(oid, args.zero)}")
    for table, ids in ((WIDE, id_list(args.wide)), (NARROW, id_list(args.narrow))):
        if ids is None:
            continue
        want = every_name(table, ids)
        have = [o for o, _ in names if table_of(o) == table]
        if args.prefix:
            ok = have == want[:len(have)]
        elif args.subset:
            ok = set(have) <= set(want) and len(set(have)) == len(have)
        else:
            ok = have == want
        if not ok:
            diff = next((f"{dotted(h)} where {dotted(w)} was due" for h, w in zip(have, want)
                         if h != w), "the end")
            problems.append(f"table {table}: {len(have)} names, {len(want)} due; "
                            f"first difference: {diff}")


def check_table(args, text, problems):
    ids = id_list(args.wide)
    rows = [l for l in text.splitlines() if l and l[0].isdigit()]
    if [int(r.split(",", 1)[0]) for r in rows] != ids:
        problems.append(f"{len(rows)} rows, {len(ids)} due, or not in id order")
        return
    for row in rows:
        cells = row.split(",")
        i = int(cells[0])
        due = [str(i)] + [f'"r{i}c{n}"' if n % 2 == 0 else str(i * 100 + n)
                          for n in range(2, COLUMNS[WIDE] + 1)]
        if cells[1:] != due:
            problems.append(f"row {i}: {row}")


def check_bulk(args, text, problems):
    everything = sorted(every_name(WIDE, id_list(args.wide)) +
                        every_name(NARROW, id_list(args.narrow)))
    due = []
    for r in range(args.repeat):
        for name in args.names:
            at = bisect.bisect_right(everything, parse_oid(name)) + r
            due.append(dotted(everything[at]) if at < len(everything) else "end")
    # Past the fixture tables a column meets whatever the agent serves after them (its own
    # SNMP engine objects) or endOfMibView: either is "the end" of the tables.
    past = lambda o, v: v.startswith(END) or (not table_of(o) and o > everything[-1])
    got = ["end" if past(o, v) else dotted(o) for o, v in bindings(text)]
    # A GetBulk may stop after a repetition whose bindings are all endOfMibView.
    width = len(args.names)
    complete = len(got) % width == 0 and (got == due or (
        got == due[:len(got)] and got and all(g == "end" for g in got[-width:])))
    if not complete:
        at = next((i for i, (g, d) in enumerate(zip(got, due)) if g != d), min(len(got), len(due)))
        problems.append(f"{len(got)} bindings, {len(due)} due; from binding {at}: got "
                        + " ".join(got[at:at + 3]) + ", due " + " ".join(due[at:at + 3]))
    for oid, value in bindings(text):
        if table_of(oid) and not value.startswith(END) and value != expected_value(oid):
            problems.append(f"{dotted(oid)} = {value}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("what", choices=["walk", "table", "bulk"])
    parser.add_argument("names", nargs="*")
    parser.add_argument("--wide")
    parser.add_argument("--narrow")
    parser.add_argument("--prefix", action="store_true")
    parser.add_argument("--subset", action="store_true")
    parser.add_argument("--zero", type=int)
    parser.add_argument("--repeat", type=int, default=1)
    args = parser.parse_intermixed_args()
    text = sys.stdin.read()
    problems = []
    {"walk": check_walk, "table": check_table, "bulk": check_bulk}[args.what](args, text, problems)
    if problems:
        print("\n".join(problems[:10]))
        sys.exit(1)
    print("ok")


if __name__ == "__main__":
    main()
