"""Breaks the product's code on purpose, in many small ways, and counts what the tests miss.

usage: mutants.py [--every N] [FILE...]     all sources, or the given ones; every N-th change only

A change that the tests miss must be listed in equivalent.txt with the reason why it changes nothing
that can be observed, or with the tests of another build that find it. A change whose tests take too
long counts as noticed, but is printed: on a busy machine it may be the machine that was slow.
"""

import argparse
import json
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import Queue

ROOT = Path(__file__).resolve().parents[2]
EQUIVALENT = Path(__file__).with_name("equivalent.txt")
WORKERS = 3  # the tests of the menu wait more than they work

# What is looked for in a line, and what is put in its place.
CHANGES = [
    (r"==", "!="),
    (r"!=", "=="),
    (r"(?<![<-])<(?![<=]) ", "<= "),
    (r"(?<![->])>(?![>=]) ", ">= "),
    (r"<= ", "< "),
    (r">= ", "> "),
    (r"&&", "||"),
    (r"\|\|", "&&"),
    (r"\btrue\b", "false"),
    (r"\bfalse\b", "true"),
    (r" \+ ", " - "),
    (r"\+= ", "-= "),
    (r"return -1;", "return 0;"),
    (r"return 0;", "return -1;"),
    (r"(?<![\w.\"])\d+(?=[,;)}\] ])", lambda number: str(int(number[0]) + 1)),
    (r"0x[0-9A-Fa-f]+", lambda number: hex(int(number[0], 16) ^ 1)),
    (r'"([^"\\]+)"', lambda text: f'"{text[1][:-1]}~"'),
    (r"^    +[\w.:]+(->\w+)?\(.*\);$", ";"),  # a call is dropped
    (r"^    +return; *$", ";"),
]

IGNORED = re.compile(
    r"^\s*(#|//|static_assert|namespace|using|case|template)|NOLINT|// clang-format"
)


def program_tests(path):
    """The modules that look at the programs, and at nothing else in the tree, the quickest first."""
    said = {
        str(module.relative_to(ROOT)): re.findall("^# ctest: (.*)", module.read_text(), re.M)
        for module in sorted(ROOT.glob("tests/program/test_*.py"))
    }
    names = sorted(said, key=lambda name: "first" in "".join(said[name]))
    names = [name for name in names if "tree" not in "".join(said[name])]
    if re.match(r"tool/(MenuLine|MenuScreen|MessageWatch|PrintableText)\.", path):
        return [name for name in names if "menu" in name]
    return [name for name in names if "record_" in name or not path.startswith("record/")]


def mutants(path):
    lines = (ROOT / path).read_text().splitlines()
    for number, line in enumerate(lines):
        code = line.split(" // ")[0]
        if IGNORED.search(line):
            continue
        for pattern, replacement in CHANGES:
            for match in re.finditer(pattern, code):
                put = replacement(match) if callable(replacement) else replacement
                yield path, number, line.strip(), code[: match.start()] + put + code[match.end() :]


class Tree:
    """A copy of the sources with a build of its own."""

    noticed = {}  # by file: the program tests that noticed changes, the latest first; of all trees

    def __init__(self, directory):
        self.root = Path(directory)
        files = subprocess.run(
            ["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, check=True
        ).stdout.decode()
        for name in filter(None, files.split("\0")):
            (self.root / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(ROOT / name, self.root / name)
        self.build = self.root / "build/dev"
        quick = ["-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF", "-DCMAKE_CXX_FLAGS_DEBUG=-O0"]
        quick += ["-G", "Ninja", "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"]
        self.run(["cmake", "--preset", "dev", *quick])
        assert self.compiles("all")

    def run(self, command, seconds=180):
        # A program that loops may outlive the test that killed its tracer.
        limited = ["prlimit", "--cpu=300", *command]
        try:
            return subprocess.run(
                limited, cwd=self.root, capture_output=True, timeout=seconds, check=False
            ).returncode
        except subprocess.TimeoutExpired:
            return "hangs"

    def compiles(self, target):
        return self.run(["cmake", "--build", self.build, "-j1", "--target", target]) == 0

    def unit_tests(self, path):
        tests = [("unit-tests", [])]
        if path.startswith("boardsupport/"):
            tests.append(("instance-test", ["umockdev-wrapper"]))
        for name, start in tests:
            if not self.compiles(name):
                return "does not compile"
            status = self.run([*start, self.build / "tests" / name, "--gtest_brief=1"], 15)
            if status != 0:
                return status
        return 0

    def pytest(self, path, tests):
        cache = self.build / "pytest"
        command = ["/usr/bin/python3", "-B", "-m", "pytest", "-x", "-q", "-o", f"cache_dir={cache}"]
        status = self.run([*command, f"--programs={self.build}", *tests], 300)
        failed = cache / "v/cache/lastfailed"
        if failed.exists():
            names = [name for name in json.loads(failed.read_text()) if "::" in name]
            earlier = self.noticed.get(path, [])
            self.noticed[path] = (names + [name for name in earlier if name not in names])[:15]
            failed.unlink()
        return status

    def program_tests(self, path):
        if not self.compiles("all"):
            return "does not compile"
        modules = program_tests(path)
        likely = self.noticed.get(path)
        return likely and self.pytest(path, likely) or self.pytest(path, modules)

    def verdict(self, mutant):
        path, number, _, new = mutant
        original = (self.root / path).read_text()
        lines = original.splitlines()
        lines[number] = new
        (self.root / path).write_text("\n".join(lines) + "\n")
        try:
            status = self.unit_tests(path) or self.program_tests(path) or "missed"
            return status if isinstance(status, str) else "found"
        finally:
            (self.root / path).write_text(original)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--every", type=int, default=1)
    parser.add_argument("files", nargs="*")
    options = parser.parse_args()
    sources = ["*.cpp", "*/BigEndian.h", ":!tests"]
    tracked = subprocess.run(
        ["git", "ls-files", *sources], cwd=ROOT, capture_output=True, check=True
    )
    files = options.files or tracked.stdout.decode().split()
    chosen = [mutant for path in files for mutant in mutants(path)][:: options.every]
    equivalent = EQUIVALENT.read_text().splitlines()

    trees = Queue()
    count = {}
    missed = []
    with tempfile.TemporaryDirectory() as directory, ThreadPoolExecutor(WORKERS) as pool:
        for number in range(WORKERS):
            trees.put(Tree(f"{directory}/{number}"))

        def judge(mutant):
            tree = trees.get()
            try:
                return mutant, tree.verdict(mutant)
            finally:
                trees.put(tree)

        for done, ((path, number, old, new), verdict) in enumerate(pool.map(judge, chosen), 1):
            print(f"\r{done} of {len(chosen)} ", end="", file=sys.stderr)
            name = f"{path}: {old} -> {new.strip()}"
            if verdict == "missed" and any(line.startswith(name) for line in equivalent):
                verdict = "equivalent"
            count[verdict] = count.get(verdict, 0) + 1
            if verdict == "missed":
                missed.append(name)
            if verdict in ("missed", "hangs"):
                print(f"{verdict}: {path}:{number + 1}: {old} -> {new.strip()}", flush=True)
    print(f"{len(chosen)} changes: {count}")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
