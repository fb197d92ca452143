#!/usr/bin/env python3
"""A small mutation check: applies each mutant of mutants.txt to the source tree in turn,
rebuilds, runs the whole test suite (stopping at the first failure) and counts the mutants
that some test kills. A mutant that does not build is counted apart, as neither.

usage: scripts/mutation/run.py [BUILD_DIR]   (default build-mutation; benchmarks are not built)
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / (sys.argv[1] if len(sys.argv) > 1 else "build-mutation")


def pattern_for(text):
    # Layout may change (reformatting, rewrapping): match the characters, any white space between.
    chars = [re.escape(c) for c in text if not c.isspace()]
    return re.compile(r"\s*".join(chars))


def read_mutants():
    mutants = []
    for line in (ROOT / "scripts/mutation/mutants.txt").read_text().splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        path, old, new = (part.strip() for part in line.split(" @@ "))
        mutants.append((path, old, new))
    return mutants


def run(cmd, timeout):
    try:
        return subprocess.run(cmd, cwd=ROOT, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return -1


def main():
    if not (BUILD / "build.ninja").exists():
        subprocess.run(["cmake", "-S", ".", "-B", str(BUILD), "-G", "Ninja",
                        "-DCMAKE_BUILD_TYPE=RelWithDebInfo", "-DKESTRUM_BENCH=OFF"], cwd=ROOT, check=True)
    subprocess.run(["cmake", "--build", str(BUILD)], cwd=ROOT, check=True)
    killed = survived = unbuilt = 0
    for path, old, new in read_mutants():
        source = ROOT / path
        original = source.read_text()
        matches = list(pattern_for(old).finditer(original))
        if len(matches) != 1:
            print(f"MISSING  {path}: {old} ({len(matches)} matches)", flush=True)
            unbuilt += 1
            continue
        match = matches[0]
        source.write_text(original[:match.start()] + new + original[match.end():])
        try:
            if run(["cmake", "--build", str(BUILD)], 1800) != 0:
                verdict = "UNBUILT"
                unbuilt += 1
            elif run(["ctest", "--test-dir", str(BUILD), "-j2", "--stop-on-failure", "--timeout", "300"], 3600) != 0:
                verdict = "killed"
                killed += 1
            else:
                verdict = "SURVIVED"
                survived += 1
        finally:
            source.write_text(original)
        print(f"{verdict:8} {path}: {old}", flush=True)
    subprocess.run(["cmake", "--build", str(BUILD)], cwd=ROOT, check=True)
    print(f"mutants: {killed} killed, {survived} survived, {unbuilt} not built")


if __name__ == "__main__":
    main()
