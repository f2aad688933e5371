"""Changes the core in one place at a time, builds it, and runs the tests until one fails.

A change is noticed when a test fails, crashes or does not end in time. Changes that do not compile
do not count. The sample is drawn from all possible changes by its seed, so it can be repeated as
long as the sources stay the same; what survived is printed with its place, for a human to judge.
"""

import argparse
import concurrent.futures
import os
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
COPIED = ["CMakeLists.txt", "benchmarks", "cmake", "conformance", "core", "fuzz", "tests"]
PROGRAMS = ["tests_core", "tests_memory", "tests_workspace", "tests_conformance"]
SECONDS_TO_BUILD = 600
SECONDS_TO_TEST = 120

# A pattern, and what a match may become.
CHANGES = [
    (r"(?<![<>=!\-+*/&|^])<=(?![=>])", ["<", ">="]),
    (r"(?<![<>=!\-+*/&|^])>=(?!=)", [">", "<="]),
    (r" < ", [" <= ", " > "]),
    (r" > ", [" >= ", " < "]),
    (r" == ", [" != "]),
    (r" != ", [" == "]),
    (r" && ", [" || "]),
    (r" \|\| ", [" && "]),
    (r" \+ ", [" - "]),
    (r" - ", [" + "]),
    (r" \* ", [" / "]),
    (r" / ", [" * "]),
    (r" % ", [" / "]),
    (r" \+= ", [" -= ", " = "]),
    (r" -= ", [" += ", " = "]),
    (r" \*= ", [" /= "]),
    (r" & ", [" | "]),
    (r" \| ", [" & "]),
    (r" \^ ", [" | "]),
    (r" << ", [" >> "]),
    (r" >> ", [" << "]),
    (r"\+\+(?=\w)", ["--"]),
    (r"--(?=\w)", ["++"]),
    (r"\btrue\b", ["false"]),
    (r"\bfalse\b", ["true"]),
    (r"std::min\b", ["std::max"]),
    (r"std::max\b", ["std::min"]),
    (r"\bupper_bound\b", ["lower_bound"]),
    (r"(?<=if \()(?=!?[\w.:]+(\([^()]*\))?\) \{)", ["!"]),
    (r"(?<=[\s(\[{])-(?=[\w(])", [""]),
    (r"(?<=return )(?!true|false)(?=[a-z])", ["-"]),
    (r"(?<![\w.'])\d+(?:\.\d+)?(?:e-?\d+)?U?(?![\w.'])", ["number"]),
    (r"(?<!min)(?<!max)\((\w+), (\w+)\)", ["swap"]),
]
STATEMENT = re.compile(r"^\s+[\w.:>\-\[\]*()]+.*;$")
NO_STATEMENT = re.compile(
    r"^\s+(\[\[|[\w:<>,]+[&*]? \w+( =.*|\(.*\)( const)?)?;"
    r"|(using|const|auto|throw|break|continue|static|friend|explicit|virtual|template|inline"
    r"|double|void|bool)\b)"
)
NO_CODE = ("#", "*", "template", "static_assert", "using", "namespace", "out <<")


def replacements(match, replacement):
    """The texts that a match becomes."""
    if replacement == "number":
        text = match.group()
        return ["1"] if text in ("0", "0.0") else ["0", text.rstrip("U") + " + 1"]
    if replacement == "swap":
        return [f"({match[2]}, {match[1]})"]
    return [replacement]


def changes_of(path):
    """All single changes of a source: (path, line number, old line, new line)."""
    found = []
    for number, line in enumerate(path.read_text().splitlines()):
        code = line.split("//")[0].rstrip()
        text = code.strip()
        if not text or text.startswith(NO_CODE) or text.endswith(("= default;", "= delete;")):
            continue
        quoted = [m.span() for m in re.finditer(r'"[^"]*"', code)]
        for pattern, alternatives in CHANGES:
            for match in re.finditer(pattern, code):
                if any(a <= match.start() < b for a, b in quoted):
                    continue
                for alternative in alternatives:
                    for new in replacements(match, alternative):
                        changed = code[: match.start()] + new + code[match.end() :]
                        found.append((path, number, line, changed))
        if STATEMENT.match(code) and not NO_STATEMENT.match(code):
            found.append((path, number, line, "    ;"))
    return found


def run(command, seconds):
    """The command's status; that of a failure when it takes too long."""
    silent = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    with subprocess.Popen(command, start_new_session=True, **silent) as process:
        try:
            return process.wait(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, 9)
            return 1


def build(tree):
    command = ["cmake", "--build", tree / "build", "-j", "1", "--target", *PROGRAMS]
    return run(command, SECONDS_TO_BUILD)


def passes(tree):
    programs = (tree / "build" / "tests" / program for program in PROGRAMS)
    return all(run([program, "--gtest_fail_fast"], SECONDS_TO_TEST) == 0 for program in programs)


def make_tree(number):
    """A copy of the sources with a build of its own, in which the tests pass."""
    tree = WORK / str(number)
    for name in COPIED:
        source, copy = ROOT / name, tree / name
        if source.is_dir():
            shutil.rmtree(copy, ignore_errors=True)
            shutil.copytree(source, copy, copy_function=shutil.copy)
        else:
            tree.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, copy)
    options = ["-G", "Ninja", "-D", "CMAKE_BUILD_TYPE=Release", "-D", "CMAKE_CXX_FLAGS_RELEASE=-O1"]
    options += ["-D", "VELMORA_BUILD_TESTS=ON", "-D", "VELMORA_BUILD_EXAMPLES=OFF"]
    command = ["cmake", "-S", tree, "-B", tree / "build", *options]
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
    if build(tree) != 0 or not passes(tree):
        sys.exit("mutate: the unchanged sources do not build, or do not pass")
    return tree


def describe(change):
    path, number, old, new = change
    return f"{path.relative_to(ROOT)}:{number + 1}\n  - {old.strip()}\n  + {new.strip()}"


def judge(tree, change):
    """Whether the change is noticed; None when it does not compile."""
    path, number, _, changed = change
    copy = tree / path.relative_to(ROOT)
    original = copy.read_text()
    lines = original.splitlines()
    lines[number] = changed
    copy.write_text("\n".join(lines) + "\n")
    try:
        if build(tree) != 0:
            return None
        return not passes(tree)
    finally:
        copy.write_text(original)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--count", type=int, default=150, help="changes that compile")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--path", default="", help="only sources whose path contains this")
    parser.add_argument("--list", action="store_true", help="print the sample only")
    arguments = parser.parse_args()

    sources = sorted(path for path in (ROOT / "core").rglob("*") if path.suffix in (".cpp", ".hpp"))
    sources = [path for path in sources if arguments.path in str(path.relative_to(ROOT))]
    changes = [change for source in sources for change in changes_of(source)]
    random.Random(arguments.seed).shuffle(changes)
    print(f"{len(changes)} possible changes in {len(sources)} sources")
    if arguments.list:
        for change in changes[: arguments.count]:
            print(describe(change))
        return

    workers = os.cpu_count() or 1
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        trees = queue.Queue()
        for tree in pool.map(make_tree, range(workers)):
            trees.put(tree)

        def attempt(change):
            tree = trees.get()
            try:
                return judge(tree, change)
            finally:
                trees.put(tree)

        counts = {True: 0, False: 0, None: 0}
        position = 0
        while counts[True] + counts[False] < arguments.count and position < len(changes):
            wanted = arguments.count - counts[True] - counts[False]
            batch = changes[position : position + wanted]
            position += wanted
            for change, noticed in zip(batch, pool.map(attempt, batch)):
                counts[noticed] += 1
                if noticed is False:
                    print(describe(change), flush=True)
    print(f"noticed {counts[True]}, survived {counts[False]}, did not compile {counts[None]}")


main()
