#!/usr/bin/env python3
"""Stack, heap, blocking and size of every exported name, from the armhf
build's -fstack-usage / -fcallgraph-info=su output.

    scripts/resources.py BUILD_DIR OUT.md               # write the table
    scripts/resources.py BUILD_DIR OUT.md --check OLD.md  # and compare with OLD.md

The worst-case stack of a function is its own frame plus the deepest of the
functions it calls, through the library's own call graph. Calls that leave
the library (the C library) are named, with no frame of their own: the build
cannot see them. Recursion and frames of dynamic size are reported.
"""
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
STACK_LIMIT = 8192  # half of the smallest thread a caller can make
GROWTH = 0.05
BIG_BY_DESIGN = {"Zev_Mp3Decode", "mp3dec_decode_frame"}  # the decoder's scratch space
THREAD_FLOOR = 16384

ALLOC = {"malloc", "calloc", "realloc", "posix_memalign", "aligned_alloc", "strdup", "strndup", "fopen",
         "fopen64", "fdopen", "popen", "opendir", "getline", "getdelim", "asprintf", "vasprintf",
         "mktime", "_Znwj", "_Znaj", "_ZnwjRKSt9nothrow_t", "setenv", "system"}
# Left out of ALLOC: tzset (only when TZ or the zone file changed) and
# pthread_getattr_np (once per thread), which allocate on first use only.
OWNED = {"RingBuffer_create": "owned by the caller (RingBuffer_destroy)",
         "Zev_Queue_Create": "owned by the caller (Zev_Queue_Destroy)",
         "Zev_Comm_CreateThreadEx": "the new thread's stack, the C library's",
         "Zev_Comm_CreateThread": "the new thread's stack, the C library's"}
FREES = {"RingBuffer_destroy", "Zev_Queue_Destroy"}
BLOCKS = [("sleeps", {"usleep", "sleep", "nanosleep", "clock_nanosleep"}),
          ("runs a command", {"system", "popen", "pclose"}),
          ("waits", {"select", "pselect", "poll", "pthread_cond_wait", "pthread_cond_timedwait", "waitpid"}),
          ("takes its mutex", {"pthread_mutex_lock"})]


def read_graphs(build):
    """Nodes (key -> dict) and edges from every .ci file of the library."""
    nodes, edges, local = {}, [], {}
    for dirpath, _, files in os.walk(os.path.join(build, "CMakeFiles", "comm.dir")):
        for f in files:
            if not f.endswith(".ci"):
                continue
            tu = os.path.relpath(os.path.join(dirpath, f), os.path.join(build, "CMakeFiles", "comm.dir"))
            text = open(os.path.join(dirpath, f), encoding="utf-8", errors="replace").read()
            defined = {}
            for m in re.finditer(r'node: \{ title: "([^"]+)" label: "([^"]*)"', text):
                title, label = m.group(1), m.group(2)
                fm = re.search(r"\\n(\d+) bytes \(([a-z,]+)\)", label)
                if not fm:
                    continue
                key = (tu, title)
                nodes[key] = {"title": title, "tu": tu, "frame": int(fm.group(1)),
                              "dynamic": "dynamic" in fm.group(2)}
                defined[title] = key
            local[tu] = defined
            for m in re.finditer(r'edge: \{ sourcename: "([^"]+)" targetname: "([^"]+)"', text):
                edges.append((tu, m.group(1), m.group(2)))
    by_title = {}
    for key, n in nodes.items():
        by_title.setdefault(n["title"], key)
    calls = {key: [] for key in nodes}
    for tu, src, dst in edges:
        skey = local[tu].get(src) or by_title.get(src)
        if skey is None:
            continue
        dkey = local[tu].get(dst) or by_title.get(dst) or ("<outside>", dst)
        calls[skey].append(dkey)
    return nodes, calls, by_title


def analyse(nodes, calls):
    memo = {}

    def walk(key, stack):
        if key[0] == "<outside>":
            return {"depth": 0, "path": [key[1]], "recursive": False, "dynamic": False, "outside": {key[1]}}
        if key in memo:
            return memo[key]
        if key in stack:
            return {"depth": 0, "path": [nodes[key]["title"] + " (recursion)"], "recursive": True,
                    "dynamic": False, "outside": set()}
        stack.add(key)
        n = nodes[key]
        best = {"depth": 0, "path": [], "recursive": False, "dynamic": False, "outside": set()}
        rec, dyn, outside = False, n["dynamic"], set()
        for callee in calls.get(key, []):
            r = walk(callee, stack)
            rec |= r["recursive"]
            dyn |= r["dynamic"]
            outside |= r["outside"]
            if r["depth"] > best["depth"] or not best["path"]:
                best = r
        stack.discard(key)
        res = {"depth": n["frame"] + best["depth"], "path": [n["title"]] + best["path"], "recursive": rec,
               "dynamic": dyn, "outside": outside}
        memo[key] = res
        return res

    return walk


def demangle(names):
    if not names:
        return []
    # Local symbols carry their file: "/path/to/file.cpp:_ZN...".
    names = [n.rsplit(":", 1)[1] if "/" in n and ":" in n else n for n in names]
    out = subprocess.run(["c++filt"], input="\n".join(names), capture_output=True, text=True).stdout
    return [re.sub(r"\(.*", "", s.replace("(anonymous namespace)::", "")).replace("comm::", "")
            for s in out.splitlines()]


def family_sizes(build, size_tool):
    objs = []
    base = os.path.join(build, "CMakeFiles", "comm.dir")
    for dirpath, _, files in os.walk(base):
        objs += [os.path.join(dirpath, f) for f in files if f.endswith(".o")]
    out = subprocess.run([size_tool] + sorted(objs), capture_output=True, text=True, check=True).stdout
    fam = {}
    for line in out.splitlines()[1:]:
        parts = line.split()
        rel = os.path.relpath(parts[5], base)
        name = rel.split(os.sep)[0]
        if name not in ("frame", "datetime", "flash", "board", "files", "containers", "digest", "media"):
            name = "minimp3" if "minimp3" in rel else name
        t = fam.setdefault(name, [0, 0, 0])
        for i in range(3):
            t[i] += int(parts[i])
    lib = os.path.join(build, "libcomm.so")
    total = subprocess.run([size_tool, lib], capture_output=True, text=True, check=True).stdout.splitlines()[1].split()
    return fam, [int(x) for x in total[:3]]


def family_of(tu):
    top = tu.split(os.sep)[0]
    return "minimp3" if "minimp3" in tu else top


def build_rows(build):
    nodes, calls, by_title = read_graphs(build)
    walk = analyse(nodes, calls)
    names = [l.strip() for l in open(os.path.join(ROOT, "docs", "interface-symbols.txt")) if l.strip()]
    rows = []
    for name in sorted(names):
        key = by_title.get(name)
        if key is None:
            rows.append({"name": name, "stack": None, "heap": "-", "block": "-", "family": "-",
                         "note": "data symbol" if name.startswith("s_") else "not found in the call graph"})
            continue
        r = walk(key, set())
        outside = r["outside"]
        if name in OWNED:
            heap = OWNED[name]
        elif name in FREES:
            heap = "frees what its creation allocated"
        elif outside & ALLOC:
            heap = "freed before return"
        else:
            heap = "none"
        block = ", ".join(what for what, fns in BLOCKS if outside & fns) or "no"
        notes = []
        if r["recursive"]:
            notes.append("recursion")
        if r["dynamic"]:
            notes.append("dynamic frame")
        path = demangle(r["path"])
        notes.append("deepest: " + " > ".join(path[:6]) + (" > ..." if len(path) > 6 else ""))
        rows.append({"name": name, "stack": r["depth"], "heap": heap, "block": block,
                     "family": family_of(key[0]), "note": "; ".join(notes)})
    return rows


def render(rows, fam, total):
    out = ["# Resources of every exported name (armhf)", "",
           "Generated by `scripts/resources.py` from the armhf build with `-fstack-usage` and",
           "`-fcallgraph-info=su` (`bash scripts/check-resources.sh --update` rewrites it; the",
           "test command checks it). Stack: the worst case through the library's own call",
           "graph, in bytes; calls into the C library are named on the deepest path but their",
           "frames are not counted. Heap and blocking follow from what the call can reach.",
           f"Every call but the two MP3 decoders stays within {STACK_LIMIT} bytes, half of the",
           f"smallest thread `Zev_Comm_CreateThreadEx` makes ({THREAD_FLOOR}).", "",
           "`Zev_Mp3Decode` holds its decoding record and minimp3's scratch space on the",
           "caller's stack by design, as does minimp3's `mp3dec_decode_frame`: both check",
           "the room left on the caller's stack before they start and refuse with a WAR",
           "line when it is short. A thread made by `Zev_Comm_CreateThreadEx` needs 64 KiB",
           "of stack for `Zev_Mp3Decode`, 32 KiB for `mp3dec_decode_frame`.", "",
           "Heap: the first time text on a thread, and the first after a change of `TZ` or",
           "of the zone file, lets the C library load the zone (`tzset`); the first",
           "decoding on a thread looks up its stack (`pthread_getattr_np`). Both allocate",
           "inside the C library and are not counted below.", "",
           "| name | family | armhf stack (bytes) | heap | may block | notes |", "|---|---|---|---|---|---|"]
    for r in rows:
        stack = "-" if r["stack"] is None else str(r["stack"])
        out.append(f"| `{r['name']}` | {r['family']} | {stack} | {r['heap']} | {r['block']} | {r['note']} |")
    out += ["", "## Size per family (armhf, bytes)", "", "| family | text | data | bss |", "|---|---|---|---|"]
    for name in sorted(fam):
        t, d, b = fam[name]
        out.append(f"| {name} | {t} | {d} | {b} |")
    out += ["", f"library text: {total[0]} bytes, data: {total[1]}, bss: {total[2]} (`libcomm.so.1`)", ""]
    return "\n".join(out)


def parse(md):
    stacks, text = {}, None
    for line in md.splitlines():
        m = re.match(r"\| `([^`]+)` \| [^|]* \| (\d+) \|", line)
        if m:
            stacks[m.group(1)] = int(m.group(2))
        m = re.match(r"library text: (\d+) bytes", line)
        if m:
            text = int(m.group(1))
    return stacks, text


def check(new_md, old_md):
    new_stacks, new_text = parse(new_md)
    old_stacks, old_text = parse(old_md)
    problems = []
    for name, bytes_ in sorted(new_stacks.items()):
        if bytes_ > STACK_LIMIT and name not in BIG_BY_DESIGN:
            problems.append(f"{name}: {bytes_} bytes of stack, more than {STACK_LIMIT}")
        old = old_stacks.get(name)
        if old is not None and bytes_ > old * (1 + GROWTH):
            problems.append(f"{name}: stack {old} -> {bytes_} bytes (+{100.0 * (bytes_ - old) / old:.1f} %)")
    if old_text and new_text and new_text > old_text * (1 + GROWTH):
        problems.append(f"library text {old_text} -> {new_text} bytes (+{100.0 * (new_text - old_text) / old_text:.1f} %)")
    return problems


def main():
    if len(sys.argv) not in (3, 5):
        print(__doc__.strip())
        return 2
    build, out_path = sys.argv[1], sys.argv[2]
    rows = build_rows(build)
    fam, total = family_sizes(build, os.environ.get("SIZE", "arm-linux-gnueabihf-size"))
    md = render(rows, fam, total)
    with open(out_path, "w", encoding="utf-8") as f:
        f.write(md)
    if len(sys.argv) == 5 and sys.argv[3] == "--check":
        old = open(sys.argv[4], encoding="utf-8").read()
        problems = check(md, old)
        for p in problems:
            print("resources: " + p)
        return 1 if problems else 0
    return 0


if __name__ == "__main__":
    sys.exit(main())
