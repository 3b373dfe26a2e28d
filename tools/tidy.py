"""Runs clang-tidy over files of a build; what it found clean before, it does not look at again.

A file is known to be clean as long as its compile command, every file that it includes,
.clang-tidy and clang-tidy itself are the same. What is known stands in the user's cache.

usage: tidy.py BUILD FILE...    FILEs relative to the tree, which BUILD must have compiled
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache") / "kestrel-tidy"
DAYS_KEPT = 30


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


@functools.cache
def contents(path):
    return hashlib.sha256(path.read_bytes()).digest()


def included(build):
    """The files that each object was compiled from, by its name."""
    files, current = {}, []
    for line in output("ninja", "-C", build, "-t", "deps").splitlines():
        if line.startswith("    "):
            current.append(pathlib.Path(build, line.strip()).resolve())
        elif ": #deps " in line:
            current = files.setdefault(line.partition(": #deps ")[0], [])
            if not line.endswith("(VALID)"):
                sys.exit(f"{build} is older than the tree: build it first")
    return files


def keys(build, wanted):
    """What stands for each wanted file as it is, by the file's name."""
    checker = output("clang-tidy", "--version").encode() + contents(ROOT / ".clang-tidy")
    files = included(build)
    found = {}
    for entry in json.loads(pathlib.Path(build, "compile_commands.json").read_text()):
        name = os.path.relpath(entry["file"], ROOT)
        words = shlex.split(entry["command"])
        compiled_to = words[words.index("-o") + 1]
        if name in wanted and compiled_to in files:
            key = hashlib.sha256(checker + entry["command"].replace(str(ROOT), "").encode())
            for path in files[compiled_to]:
                key.update(os.path.relpath(path, ROOT).encode() + contents(path))
            found[name] = key.hexdigest()
    if missing := wanted - found.keys():
        sys.exit(f"not compiled in {build}: {' '.join(sorted(missing))}")
    return found


def is_clean(build, name, key):
    """Whether clang-tidy has nothing to say; prints what it says."""
    run = subprocess.run(("clang-tidy", "--quiet", "-p", build, name), cwd=ROOT, capture_output=True, text=True)
    if run.returncode:
        print(run.stdout + run.stderr, flush=True)
        return False
    (CACHE / key).touch()
    return True


def forget_old():
    for path in CACHE.iterdir():
        if time.time() - path.stat().st_mtime > DAYS_KEPT * 24 * 3600:
            path.unlink(missing_ok=True)


def main(build, *names):
    CACHE.mkdir(parents=True, exist_ok=True)
    forget_old()
    todo = {}
    for name, key in keys(build, set(names)).items():
        if (CACHE / key).exists():
            (CACHE / key).touch()
        else:
            todo[name] = key
    print(f"{len(names)} files, {len(todo)} of them to be looked at", flush=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        clean = list(pool.map(lambda name: is_clean(build, name, todo[name]), todo))
    sys.exit(not all(clean))


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__.strip().splitlines()[-1])
    main(*sys.argv[1:])
