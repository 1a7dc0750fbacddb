"""What the presets and the lists of CMake come to: flags, warnings, and the tests that are run."""

# ctest: tree native

import json
import re
import subprocess
from pathlib import Path

import pytest
from documents import ROOT, says

TYPE, FLAGS, DYNAMIC = "CMAKE_BUILD_TYPE", "CMAKE_CXX_FLAGS", "KESTREL_DYNAMIC"
COMPILER, LINKER = "CMAKE_CXX_COMPILER", "CMAKE_EXE_LINKER_FLAGS"
ERRORS = {"CMAKE_COMPILE_WARNING_AS_ERROR": "TRUE"}
NO_TESTS = {"BUILD_TESTING": "FALSE"}
CHECKED = "address,undefined -fno-sanitize-recover=all"
HARD = "-s -Wl,-z,relro,-z,now,-z,noseparate-code"
CROSS = {"CMAKE_TOOLCHAIN_FILE": "cmake/debian-cross.cmake", **ERRORS}
ARMHF = {"DEBIAN_TRIPLET": "arm-linux-gnueabihf", "CMAKE_SYSROOT": "/build/sysroot-armhf"}
ARM64 = {"DEBIAN_TRIPLET": "aarch64-linux-gnu", "CMAKE_SYSROOT": "/build/sysroot-arm64"}
RELEASE = {TYPE: "Release", FLAGS: "-fstack-protector-strong -D_FORTIFY_SOURCE=2"}
RELEASE |= {LINKER: "--gc-sections", "CMAKE_POSITION_INDEPENDENT_CODE": "TRUE"}
STATIC = {**NO_TESTS, DYNAMIC: "none", LINKER: f"{HARD},-z,pack-relative-relocs -Wl,--gc-sections"}
FUZZ = {**NO_TESTS, TYPE: "RelWithDebInfo", FLAGS: f",{CHECKED}", "KESTREL_FUZZ": "TRUE"}
DESCRIBED = {
    "dev": "Debug, g++, warnings are errors",
    "clang": "Like dev, with clang++",
    "asan": "Like dev, under the address and undefined-behaviour sanitizers",
    "coverage": "Like dev, counting the lines that the tests reach",
    "fuzz": "The fuzz targets, under the sanitizers",
    "release": "Optimised and hardened, for systems with Debian's libc",
    "shared": "Like release, every library dynamic, as distributions want it",
    "static": "Like release, each program one file that needs no library",
    "armhf": "Like release, for 32-bit ARM boards; run script/cross armhf first",
    "arm64": "Like armhf, for 64-bit ARM boards",
    "static-armhf": "Like static, for 32-bit ARM boards; run script/cross armhf first",
    "static-arm64": "Like static, for 64-bit ARM boards; run script/cross arm64 first",
}


@pytest.fixture
def build(request):
    return Path(request.config.getoption("--programs")).resolve()


def variables(preset):
    listed = subprocess.check_output(["cmake", "--preset", preset, "-N"], cwd=ROOT, text=True)
    return dict(re.findall(r'^  (\w+)(?::\w+)?="(.*)"$', listed, re.MULTILINE))


@pytest.mark.parametrize(
    "preset, like, other",
    [
        ("dev", None, {TYPE: "Debug", COMPILER: "g++", DYNAMIC: "all", **ERRORS}),
        ("clang", "dev", {COMPILER: "clang++", "CMAKE_EXPORT_COMPILE_COMMANDS": "TRUE"}),
        ("asan", "dev", {FLAGS: f"-fsanitize={CHECKED}"}),
        ("coverage", "dev", {FLAGS: "--coverage"}),
        ("fuzz", "clang", FUZZ),
        ("release", None, RELEASE),
        ("shared", "release", {DYNAMIC: "all"}),
        ("static", "release", STATIC),
        ("armhf", "release", {**CROSS, **ARMHF}),
        ("arm64", "armhf", ARM64),
        ("static-armhf", "static", {**CROSS, **ARMHF, LINKER: f"{HARD} -Wl,--gc-sections"}),
        ("static-arm64", "static-armhf", ARM64),
    ],
)
def test_a_preset_is_like_another_but_for_its_own_variables(preset, like, other):
    found = variables(preset)
    same = variables(like) if like else {}
    assert {name for name in found if found[name] != same.get(name)} == {*other}
    assert {*same} <= {*found}
    assert all(value in found[name] for name, value in other.items())
    says("CMakePresets.json", f'"name": "{preset}", "displayName": "{DESCRIBED[preset]}"')
    says(
        "docs/performance.md",
        "The development builds (`dev`, `clang`, `asan`, `coverage`, `fuzz`) are linked like "
        "`shared`: the sanitizers want to see libstdc++, and linking is quicker.",
        "Each segment costs a page fault: `static` puts code and constants into one segment, and "
        "packs its relocations where the linker can.",
    )
    says("CONTRIBUTING.md", "script/build dev # build/dev/kestrel; warnings are errors")


WARNED_OF = """
struct Base { virtual void f(int); };
struct Derived : Base { void f(double); };
void printed(const char *, ...) __attribute__((format(printf, 1, 2)));
short g(long value, const char *text, int unused) {
    { long value = 1; (void)value; }
    int none[0];
    printed(text);
    return (short)value + value;
}
"""


def test_every_kind_of_warning_is_given(build):
    flags = (build / "CMakeFiles/kestrel.dir/flags.make").read_text()
    flags = re.search(r"^CXX_FLAGS = (.*)", flags, re.MULTILINE)[1].split()
    command = ["g++", "-fsyntax-only", *flags, "-x", "c++", "-"]
    done = subprocess.run(
        command, input=WARNED_OF, stderr=subprocess.PIPE, check=False, text=True, cwd=build
    )
    kinds = {
        "conversion",
        "format-security",
        "non-virtual-dtor",
        "old-style-cast",
        "overloaded-virtual",
    }
    kinds |= {"pedantic", "shadow", "unused-parameter", "unused-variable"}
    assert {*re.findall(r"\[-W(?:error=)?([a-z-]+)", done.stderr)} >= kinds


def test_every_test_there_is_is_run(build, tmp_path):
    # In a folder of its own, since a list of tests also becomes the log of the last run.
    (tmp_path / "CTestTestfile.cmake").write_text(f'subdirs("{build}/tests")\n')
    command = ["ctest", "--test-dir", tmp_path, "--show-only=json-v1"]
    tests = json.loads(subprocess.check_output(command))["tests"]
    trees = {
        test["name"]
        for test in tests
        if {"name": "LABELS", "value": ["tree"]} in test["properties"]
    }
    modules = {path.stem: path.read_text() for path in (ROOT / "tests/program").glob("test_*.py")}
    if build.name != "release":
        assert re.search("^# ctest:.* release", modules.pop("test_valgrind"), re.MULTILINE)
    names = [test["name"] for test in tests]
    assert {name for name in names if name.startswith("test_")} == {*modules}
    assert trees == {
        name for name, text in modules.items() if re.search("^# ctest:.* tree", text, re.MULTILINE)
    }
    listed = subprocess.check_output([build / "tests/unit-tests", "--gtest_list_tests"], text=True)
    assert len(names) == len(modules) + len(re.findall("^  ", listed, re.MULTILINE)) + 1
    lists = (ROOT / "tests/CMakeLists.txt").read_text()
    assert all(f"unit/{path.name}" in lists for path in (ROOT / "tests/unit").glob("*.cpp"))
