"""Puts deliberate faults into the daemon, one at a time, and tells which of them the tests let pass.

The tree is copied to build-mutate/tree and built there; the working tree is not touched. Of the
faults that the patterns below give, the seed chooses a sample. A fault that the compiler refuses,
with warnings as errors as in every build, counts as none. What no user of the daemon could ever
tell from the right program stands in tools/equivalent-faults.txt with the reason:
FILE: LINE => WHAT BECOMES OF IT : REASON. Where the line occurs elsewhere in its file with another
meaning, the line before it and " / " stand before it.

What came of each fault is noted in build-mutate/outcomes. As long as src/, twin/ and tests/ stay as
they are, a run that was broken off goes on from there.
"""

import argparse
import collections
import hashlib
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build-mutate"
TREE = WORK / "tree"
BUILD = TREE / "build"
OUTCOMES = WORK / "outcomes"
EQUIVALENT = ROOT / "tools" / "equivalent-faults.txt"
# Declarations alone, and what no test program has in it.
LEFT_OUT = re.compile(r"src/(platform/\w+\.h|app/main\.cpp|shared\.h)")
# Left out: tests of programs that have nothing of the daemon in them, and those on the real clock,
# where a busy machine is late.
OTHER_TESTS = (r"^page$|^(Nbus|TwinConsole)RealClock|^Mqtt|^Page\.|^TwinTerminal"
               r"|^TwinCompletion")
# Whole cameras, all in one run of the test program.
SESSIONS = "Every/SessionFile.*"
LONGEST_SECONDS = 900
LONGEST_TEST = "60"

NAME = r"[A-Za-z_][\w.:]*"
ARGUMENT = r"[\w.:>\[\]-]+(?:\([^()]*\))?"


def one_more(match):
    return str(int(match[0]) + 1)


def twin_of(match):
    return {"true": "false", "false": "true"}[match[0]]


# Name, what is looked for in a line, what takes its place. What has "^" takes the whole line.
PATTERNS = [
    ("constant", r"(?<![\w.'\"])\d+(?![\w.'\"])", one_more),
    ("limit", r"(?<= )<(?= )", "<="),
    ("limit", r"(?<= )>(?= )", ">="),
    ("limit", r"(?<= )<=(?= )", "<"),
    ("limit", r"(?<= )>=(?= )", ">"),
    ("comparison", r"(?<= )==(?= )", "!="),
    ("comparison", r"(?<= )!=(?= )", "=="),
    ("comparison", r"(?<= )<(?= )", ">"),
    ("condition", r"(?<= )&&(?= )", "||"),
    ("condition", r"(?<= )\|\|(?= )", "&&"),
    ("condition", r"\b(?:true|false)\b", twin_of),
    ("condition", r"(?<=if \()(?=\w)(?=[\w.:]+\()", "!"),
    ("sign", r"(?<=[\w)] )\+(?= )", "-"),
    ("sign", r"(?<=[\w)] )-(?= )", "+"),
    ("arguments", rf"(?<=\w\()({ARGUMENT}), ({ARGUMENT})(?=[,)])", r"\2, \1"),
    ("call", rf"^{NAME}\(.*\);$", ";"),
    ("store", rf"^{NAME} = .*;$", ";"),
    ("row", r"^\{.*\},$", ""),
    ("lock", r"^LockedBlock .*;$", ";"),
    ("plain store", r"^replaceIfUnchanged\((.*), [^,]+, ([^,]+)\);$", r"\1 = \2;"),
    ("plain store", r"([\w.]+(?:\([^()]*\))?)\.compare_exchange_strong\((\w+), ([^()]+)\)", r"(\1 = \3, true)"),
    ("text", r"(?<=\")(?=[A-Za-z])", "x"),
]

Fault = collections.namedtuple("Fault", "path number kind line changed before")


def faults_of(path, lines):
    for number, line in enumerate(lines):
        text = line.strip()
        if not text or text.startswith(("//", "#", "static_assert", "namespace", "using", "extern")):
            continue
        # A text in quotes is no code, and only the pattern for texts is meant for it; nor is a comment.
        quotes = [m.span() for m in re.finditer(r'"(?:\\.|[^"\\])*"', text)]
        code = len(text.split("  // ")[0])
        for kind, pattern, replacement in PATTERNS:
            for match in re.finditer(pattern, text):
                quoted = any(begin < match.start() < end for begin, end in quotes)
                if (quoted != (kind == "text") and not pattern.startswith("^")) or match.start() >= code:
                    continue
                new = match.expand(replacement) if isinstance(replacement, str) else replacement(match)
                changed = text[: match.start()] + new + text[match.end() :]
                if changed != text:
                    yield Fault(path, number, kind, text, changed, lines[number - 1].strip())


def all_faults(only):
    faults = []
    for path in sorted((ROOT / "src").rglob("*.cpp")) + sorted((ROOT / "src").rglob("*.h")):
        name = str(path.relative_to(ROOT))
        if not LEFT_OUT.fullmatch(name) and only in name:
            lines = path.read_text().splitlines()
            faults += faults_of(name, lines)
    return faults


# As many of each kind, as far as there are so many: most lines have a number in them.
def sample(faults, size, seed):
    chooser = random.Random(seed)
    kinds = collections.defaultdict(list)
    for fault in faults:
        kinds[fault.kind].append(fault)
    for each in kinds.values():
        chooser.shuffle(each)
    chosen = []
    while len(chosen) < size and any(kinds.values()):
        chosen += [each.pop() for each in kinds.values() if each]
    return chosen[:size]


def equivalent():
    matches = [re.fullmatch(r"(\S+): (.*) => (.*) : .*", line)
               for line in EQUIVALENT.read_text().splitlines()]
    return {match.groups() for match in matches}


# What the file of equivalent faults may call this one.
def names_of(fault):
    return {(fault.path, line, fault.changed) for line in (fault.line, f"{fault.before} / {fault.line}")}


# A line that has been written anew is to be thought about anew.
def check_equivalent(named):
    gone = named.difference(*map(names_of, all_faults("")))
    if gone:
        rows = "\n".join(f"{path}: {line} => {changed}" for path, line, changed in sorted(gone))
        sys.exit(f"{EQUIVALENT.name} has what is no fault of the present code:\n{rows}")


# With all that it starts: a build that outlived this run would leave a faulty object behind.
def run(*command, seconds=None):
    started = subprocess.Popen(command, cwd=TREE, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, text=True, errors="replace",
                               start_new_session=True)
    try:
        output = started.communicate(timeout=seconds)[0]
        return started.returncode, output
    except subprocess.TimeoutExpired:
        return 1, "FAILED  ] no end\n"
    finally:
        if started.returncode is None:
            os.killpg(started.pid, signal.SIGKILL)
            started.wait()


def build():
    return run("cmake", "--build", str(BUILD), "--target", "kestrel-twin", "kestrel-tests")


def copy_tree():
    names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "-z"], cwd=ROOT,
                           capture_output=True, text=True, check=True).stdout.split("\0")
    kept = set(filter(None, names))
    for path in TREE.rglob("*"):
        name = str(path.relative_to(TREE))
        if path.is_file() and name not in kept and not name.startswith("build/"):
            path.unlink()
    for name in kept:
        source, copy = ROOT / name, TREE / name
        if not source.is_file() or (copy.exists() and copy.read_bytes() == source.read_bytes()):
            continue
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(source, copy)
        shutil.copymode(source, copy)


# The tests that fail; the first alone, unless all are asked for.
def failing(everything):
    stop = [] if everything else ["--gtest_fail_fast"]
    status, output = run(str(BUILD / "tests/kestrel-tests"), f"--gtest_filter={SESSIONS}", *stop,
                         seconds=LONGEST_SECONDS)
    tests = re.findall(r"FAILED  \] Every/SessionFile.ComesOutAsItIsWritten/(\w+)", output)
    names = list(dict.fromkeys(tests or (["sessions"] if status != 0 else [])))
    if names and not everything:
        return names
    stop = [] if everything else ["--stop-on-failure"]
    status, output = run("ctest", "--test-dir", str(BUILD), "-E", f"{OTHER_TESTS}|^Every/SessionFile",
                         *stop, "-j2", "--timeout", LONGEST_TEST, seconds=LONGEST_SECONDS)
    tests = re.findall(r"^\s*\d+ - (\S+)", output, re.MULTILINE)
    return names + (tests or (["ctest"] if status != 0 else []))


# What was noted of a tree like this one: the outcome and its tests, by the fault's place.
def noted(matrix):
    digest = hashlib.sha256(b"matrix" if matrix else b"first")
    for part in ("src", "twin", "tests"):
        for path in sorted(path for path in (TREE / part).rglob("*") if path.is_file()):
            digest.update(str(path).encode() + path.read_bytes())
    heading = digest.hexdigest()
    lines = OUTCOMES.read_text().splitlines() if OUTCOMES.exists() else []
    if lines[:1] != [heading]:
        OUTCOMES.write_text(heading + "\n")
        return {}
    rows = [line.split("\t") for line in lines[1:]]
    return {place: (outcome, tests.split()) for outcome, tests, place in rows}


def note(place, outcome, tests):
    with OUTCOMES.open("a") as file:
        file.write(f"{outcome}\t{' '.join(tests)}\t{place}\n")


# Null if it does not compile.
def try_fault(fault, everything):
    path = TREE / fault.path
    right = path.read_text()
    lines = right.splitlines()
    lines[fault.number] = lines[fault.number].replace(fault.line, fault.changed)
    path.write_text("\n".join(lines) + "\n")
    try:
        return failing(everything) if build()[0] == 0 else None
    finally:
        path.write_text(right)


def main():
    parser = argparse.ArgumentParser(prog="script/mutate", description=__doc__.splitlines()[0])
    parser.add_argument("--sample", type=int, default=60, metavar="N", help="how many (60)")
    parser.add_argument("--seed", type=int, default=1, metavar="S", help="which (1)")
    parser.add_argument("--only", default="", metavar="TEXT", help="in files with this in their name")
    parser.add_argument("--matrix", action="store_true", help="run every test on each fault")
    parser.add_argument("--list", action="store_true", help="show the sample, and try nothing")
    asked = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    named = equivalent()
    check_equivalent(named)
    chosen = sample(all_faults(asked.only), asked.sample, asked.seed)
    if asked.list:
        for fault in chosen:
            print(f"{fault.path}:{fault.number + 1}: {fault.kind}: {fault.line} => {fault.changed}")
        return 0

    TREE.mkdir(parents=True, exist_ok=True)
    copy_tree()
    known = noted(asked.matrix)
    status, output = run("cmake", "-S", ".", "-B", str(BUILD), "-G", "Ninja", "-DKESTREL_WERROR=ON",
                         "-DCMAKE_BUILD_TYPE=Release", "-DKESTREL_BUILD_TESTS=ON")
    if status == 0:
        status, output = build()
    if status != 0:
        sys.exit(output)
    if found := failing(True):
        sys.exit(f"fails without a fault: {', '.join(found)}")

    counts = collections.Counter()
    killers = collections.Counter()
    for fault in chosen:
        place = f"{fault.path}:{fault.number + 1}: {fault.kind}: {fault.line} => {fault.changed}"
        if names_of(fault) & named:
            counts["equivalent"] += 1
            continue
        if place not in known:
            tests = try_fault(fault, asked.matrix)
            known[place] = ("refused" if tests is None else "killed" if tests else "survived", tests or [])
            note(place, *known[place])
        outcome, tests = known[place]
        counts[outcome] += 1
        killers.update(tests)
        if outcome != "refused":
            print(f"{outcome} {place}" + (f"  [{' '.join(tests)}]" if tests else ""), flush=True)
    print(", ".join(f"{number} {outcome}" for outcome, number in sorted(counts.items())))
    for test, number in killers.most_common():
        print(f"{number:5} {test}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
