#!/usr/bin/env python3
"""mutate.py: breaks the launcher one line at a time and asks the unit tests.

    scripts/mutate.py [--count N] [--seed S] [--jobs J] [--again OUTPUT] [FILE...]

    scripts/mutate.py                               all mutants of the back-ends and of the options
    scripts/mutate.py --count 300                   300 of them, drawn with the seed
    scripts/mutate.py src/scheduler/*.cpp           other files
    scripts/mutate.py --again build/survivors.txt   those that an earlier run printed

A mutant is one file of src/ with one small mistake in it: a comparison or a
condition turned round, + made -, a number one larger or smaller, a character
missing from a text or a blank too many in it, a statement left out. It is caught
when a unit test fails or crashes, or runs into the time limit (a mutant may
hang). A mutant that does not compile is none, and is not counted.

The tree is copied to build/mutate and built there with g++, without optimisation
and with the assertions of the C++ library. For each mutant one object is compiled
and the unit tests are linked anew: the suites of the module's own test file run
first, all others only when those are content. The work tree is never touched.

Each survivor is printed as FILE:LINE: BEFORE → AFTER, then for each folder, where
there are several, and in the last line for all: "N mutants, N caught, N survived (P %)".
The exit status is 1 when fewer than 95 % were caught. Equal seeds draw equal mutants
from equal lines.

Mutants that no test can tell from the launcher stand in scripts/mutate_equivalent.txt,
as they are printed but without the line's number; the indented lines behind one say
why. "*" behind the arrow stands for all mutants of a line. They are left out; one
that no longer exists is an error.
"""

import argparse
import collections
import concurrent.futures
import filecmp
import hashlib
import json
import os
import pathlib
import re
import resource
import shlex
import shutil
import subprocess
import sys
import time
import typing

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutate"
COPY = WORK / "tree"
BUILD = WORK / "build"
EQUIVALENT = ROOT / "scripts" / "mutate_equivalent.txt"

ENOUGH = 95.0  # per cent
FLAGS = "-O0 -w -D_GLIBCXX_ASSERTIONS"
MEMORY_LIMIT = 4 << 30  # bytes, for a mutant that never stops to take some


class Mutant(typing.NamedTuple):
    file: str  # path in the tree
    line: int
    before: str  # the changed lines, in one
    after: str
    text: str  # the whole file, changed

    def names(self):
        """Its own name, and that of all mutants of the line."""
        line = f"{self.file}: {self.before}  →  "
        return {line + self.after, line + "*"}

    def place(self):
        return f"{self.file}:{self.line}: {self.before}  →  {self.after}"


# ---- Reading C++ ----------------------------------------------------------------------------


class Token(typing.NamedTuple):
    kind: str
    text: str
    start: int
    end: int


TOKENS = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ ]*\#(?:[^\n\\]|\\.)*)
  | (?P<raw>R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")
  | (?P<text>"(?:[^"\\\n]|\\.)*")
  | (?P<character>'(?:[^'\\\n]|\\.)+')
  | (?P<number>(?:0[xX][0-9a-fA-F']+|\d[\d']*(?:\.\d+)?)[uUlLfF]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><=>|<<=|>>=|->|::|\+\+|--|&&|\|\||[=!<>+\-*/%|&^]=|<<|[-+*/%&|^!<>=~?:;,.(){}\[\]])
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)


def read_tokens(source):
    """The tokens of a C++ text, without its comments and preprocessor lines."""
    tokens = []
    for match in TOKENS.finditer(source):
        # The last group that matched as a whole is the alternative's own.
        kind = next(k for k in ("comment", "directive", "raw", "text", "character", "number",
                                "word", "sign") if match.group(k) is not None)
        if kind not in ("comment", "directive"):
            tokens.append(Token(kind, match.group(0), match.start(), match.end()))
    return tokens


OPENING = {"(": ")", "[": "]", "{": "}"}


def matching(tokens, index):
    """The token that closes the bracket at the index."""
    depth = 0
    for i in range(index, len(tokens)):
        if tokens[i].kind == "sign":
            if tokens[i].text in OPENING:
                depth += 1
            elif tokens[i].text in OPENING.values():
                depth -= 1
                if depth == 0:
                    return i
    raise ValueError("a bracket is not closed")


# ---- Small mistakes -------------------------------------------------------------------------
#
# Each function gives (start, end, text): the piece of the source and what stands in
# its place.

SWAPPED = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">="],
    "<=": ["<", ">"],
    ">": [">=", "<="],
    ">=": [">", "<"],
    "&&": ["||"],
    "||": ["&&"],
    "+": ["-"],
    "-": ["+"],
    "*": ["/"],
    "/": ["*"],
    "%": ["/"],
    "+=": ["-="],
    "-=": ["+="],
}


def wrong_operators(source, tokens):
    for token in tokens:
        if token.kind != "sign":
            continue
        # The layout puts blanks around operators of two values, and none around
        # the brackets of templates or behind a sign.
        if source[token.start - 1].isspace() and source[token.end : token.end + 1].isspace():
            for other in SWAPPED.get(token.text, []):
                yield token.start, token.end, other
        if token.text == "++":
            yield token.start, token.end, "--"
        elif token.text == "--":
            yield token.start, token.end, "++"
        elif token.text == "!":
            yield token.start, token.end, ""


def is_turned_round_elsewhere(tokens):
    """A single comparison or a "!" is turned round by wrong_operators."""
    signs = [token.text for token in tokens]
    if "&&" in signs or "||" in signs:
        return False
    return signs[0] == "!" or any(s in ("==", "!=", "<", "<=", ">", ">=") for s in signs)


DECLARED = re.compile(r"(?:const )?auto [&*]?(\w+) = ")


def turned_conditions(source, tokens):
    """if, while and ?: with the opposite condition."""
    for index, token in enumerate(tokens):
        if token.text in ("if", "while") and tokens[index + 1].text == "(":
            first, last = index + 2, matching(tokens, index + 1) - 1
            declared = DECLARED.match(source, tokens[first].start)
            if declared:
                yield tokens[last].end, tokens[last].end, "; !" + declared.group(1)
            elif not is_turned_round_elsewhere(tokens[first : last + 1]):
                condition = source[tokens[first].start : tokens[last].end]
                yield tokens[first].start, tokens[last].end, f"!({condition})"
        elif token.text == "?":
            first = start_of_expression(tokens, index)
            if first < index and not is_turned_round_elsewhere(tokens[first:index]):
                condition = source[tokens[first].start : tokens[index - 1].end]
                yield tokens[first].start, tokens[index - 1].end, f"!({condition})"


def start_of_expression(tokens, end):
    """Where the condition before a question mark begins."""
    depth = 0
    index = end
    while index > 0:
        text = tokens[index - 1].text
        if text in OPENING.values():
            depth += 1
        elif text in OPENING:
            if depth == 0:
                return index
            depth -= 1
        elif depth == 0 and text in ("return", "=", "+=", "-=", ",", ";", "?", ":"):
            return index
        index -= 1
    return index


def wrong_numbers(_source, tokens):
    for token in tokens:
        if token.kind != "number":
            continue
        digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[\d'.]+)(.*)", token.text).groups()
        digits = digits.replace("'", "")
        value = float(digits) if "." in digits else int(digits, 0)
        for other in (value + 1, value - 1):
            yield token.start, token.end, f"{other}{suffix}"


UNITS = re.compile(r"\\x[0-9a-fA-F]+|\\[0-7]{1,3}|\\.|.")


def wrong_texts(_source, tokens):
    """A blank or character too few, a blank too many."""
    for token in tokens:
        if token.kind == "character":
            yield token.start, token.end, "'x'"
        if token.kind != "text":
            continue
        units = UNITS.findall(token.text[1:-1])
        blanks = [i for i, unit in enumerate(units) if unit == " "]
        for left_out in sorted({len(units) // 2} | set(blanks[:1]) | set(blanks[-1:])):
            if units:
                yield token.start, token.end, quoted(units[:left_out] + units[left_out + 1 :])
        yield token.start, token.end, quoted(units + [" "])


def quoted(units):
    return '"' + "".join(units) + '"'


def wrong_results(source, tokens):
    """true for false, 0 for 1, and what is returned turned round."""
    for index, token in enumerate(tokens):
        if token.text in ("true", "false"):
            yield token.start, token.end, "false" if token.text == "true" else "true"
        elif token.text == "return" and tokens[index + 1].text != ";":
            last = end_of_statement(tokens, index) - 1
            given = tokens[index + 1 : last + 1]
            if [t.text for t in given] in (["0"], ["1"]):
                yield given[0].start, given[0].end, "1" if given[0].text == "0" else "0"
            elif len(given) > 1 and given[0].text != "{" and not is_turned_round_elsewhere(given):
                expression = source[given[0].start : given[-1].end]
                yield given[0].start, given[-1].end, f"!({expression})"


def end_of_statement(tokens, index):
    while tokens[index].text != ";":
        index = matching(tokens, index) + 1 if tokens[index].text in OPENING else index + 1
    return index


ASSIGNMENTS = ("=", "+=", "-=", "*=", "/=", "%=", "|=", "&=")
NO_STATEMENT = (
    "alignas auto bool case catch char class const constexpr default delete do double else enum "
    "explicit extern float for friend goto if inline int long namespace new private protected "
    "public return short signed static struct switch template throw try typedef union unsigned "
    "using virtual void volatile while"
).split()


def missing_statements(_source, tokens):
    """Calls, assignments, break and continue left out."""
    for first, last in statements(tokens):
        leaves = tokens[first].text in ("break", "continue")
        if leaves or is_call_or_assignment(tokens, first, last):
            yield tokens[first].start, tokens[last].end, ";"


def statements(tokens):
    """Where each statement begins and which semicolon ends it, those in lambdas too."""
    brackets = ["{"]
    starts = [0]
    for index, token in enumerate(tokens):
        if token.kind != "sign":
            continue
        if token.text in OPENING:
            brackets.append(token.text)
            starts.append(index + 1)
        elif token.text in OPENING.values():
            brackets.pop()
            starts.pop()
            if token.text == "}" and brackets[-1] == "{":
                starts[-1] = index + 1
        elif token.text == ";" and brackets[-1] == "{":
            if index > starts[-1]:
                yield starts[-1], index
            starts[-1] = index + 1


def is_call_or_assignment(tokens, first, last):
    index = first
    if [t.text for t in tokens[index : index + 3]] == ["(", "void", ")"]:
        index += 3
    while tokens[index].text in ("++", "--", "*"):
        index += 1
    if tokens[index].kind != "word" or tokens[index].text in NO_STATEMENT + ["break", "continue"]:
        return False
    index += 1
    while index < last:
        text = tokens[index].text
        if text in ("::", ".", "->"):
            index += 2
        elif text in ("(", "["):
            index = matching(tokens, index) + 1
        elif text == "<":  # a cast
            while tokens[index].text != ">":
                index += 1
            index += 1
        else:
            return text in ASSIGNMENTS or text in ("++", "--")
    return tokens[index - 1].text == ")" or tokens[first].text in ("++", "--")


MISTAKES = (wrong_operators, turned_conditions, wrong_numbers, wrong_texts, wrong_results,
            missing_statements)


def find_mutants(file):
    """All mutants of a file, in the order of its lines."""
    source = (COPY / file).read_text(encoding="utf-8")
    tokens = read_tokens(source)
    mutants = {}
    for mistake in MISTAKES:
        for start, end, text in mistake(source, tokens):
            changed = source[:start] + text + source[end:]
            if changed == source:
                continue
            line_start = source.rfind("\n", 0, start) + 1
            line_end = source.find("\n", end)
            mutants[changed] = Mutant(
                file=file, line=source.count("\n", 0, start) + 1, text=changed,
                before=in_one_line(source[line_start:line_end]),
                after=in_one_line(source[line_start:start] + text + source[end:line_end]))
    return sorted(mutants.values(), key=lambda mutant: (mutant.line, mutant.after))


def in_one_line(text):
    return " ".join(line.strip() for line in text.splitlines()).strip()


def read_equivalent():
    """The names of the mutants that no test can tell from the launcher."""
    names = []
    reasons = []
    if EQUIVALENT.exists():
        for line in EQUIVALENT.read_text(encoding="utf-8").splitlines():
            if line.startswith("#") or not line.strip():
                continue
            if line[0] == " " and names:
                reasons[-1] += line.strip()
            else:
                names.append(line.rstrip())
                reasons.append("")
    for name, reason in zip(names, reasons):
        if not reason:
            sys.exit(f"{EQUIVALENT.name} does not say why: {name}")
    return set(names)


# ---- Building and running -------------------------------------------------------------------


def copy_tree():
    """Brings the copy up to date; files that are equal keep their times."""
    kept = set()
    for folder, folders, files in os.walk(ROOT):
        place = pathlib.Path(folder).relative_to(ROOT)
        folders[:] = [f for f in folders if f != ".git" and place / f != pathlib.Path("build")]
        (COPY / place).mkdir(parents=True, exist_ok=True)
        for file in files:
            source, target = ROOT / place / file, COPY / place / file
            kept.add(target)
            if not target.exists() or not filecmp.cmp(source, target, shallow=False):
                shutil.copyfile(source, target)
    for folder, _, files in os.walk(COPY):
        for file in files:
            if pathlib.Path(folder) / file not in kept:
                (pathlib.Path(folder) / file).unlink()


def must(command):
    """Runs a command that has to succeed."""
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(f"{done.stdout[-4000:]}\nmutate.py: this failed: {shlex.join(command)}")


def build_unit_tests(jobs):
    """Builds them once; gives back how each file is compiled, and all objects by file."""
    must(["cmake", "-S", str(COPY), "-B", str(BUILD), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=None",
          "-DCMAKE_CXX_COMPILER=g++", f"-DCMAKE_CXX_FLAGS={FLAGS}",
          "-DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON"])  # its objects are linked as ours are
    must(["cmake", "--build", str(BUILD), "--target", "unit_tests", "--parallel", str(jobs)])
    commands = {}
    objects = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8")):
        words = shlex.split(entry["command"])
        product = BUILD / words[words.index("-o") + 1]
        # Only what the unit tests need was built; headers that are read once are none of it.
        if product.suffix == ".o" and product.exists():
            source = os.path.relpath(entry["file"], COPY)
            commands[source] = words
            objects[source] = str(product)
    return commands, objects


def compile_library(words):
    """Compiles the headers of the C++ library beforehand, as each mutant includes them."""
    header = WORK / "library.h"
    names = set()
    for path in (COPY / "src").glob("[!p]*/*.*"):  # all but platform
        names |= set(re.findall(r"^#include <.*>$", path.read_text(encoding="utf-8"), re.MULTILINE))
    header.write_text("\n".join(sorted(names)) + "\n", encoding="utf-8")
    must([*words[: words.index("-o")], "-x", "c++-header", str(header), "-o", f"{header}.gch"])
    return header


def quick_linker():
    for name in ("mold", "lld", "gold"):
        if shutil.which("ld." + name):
            return ["-fuse-ld=" + name]
    return []


class Workshop:
    """What all mutants are built and tested with."""

    def __init__(self, jobs):
        copy_tree()
        self.commands, self.objects = build_unit_tests(jobs)
        self.library = compile_library(self.commands["src/core/text.cpp"])
        self.linker = quick_linker()
        self.free_folders = [WORK / f"worker-{number}" for number in range(jobs)]
        for folder in self.free_folders:
            folder.mkdir(exist_ok=True)
        self.limit = 600.0
        program = WORK / "unchanged"
        if not self.link(self.objects.values(), program):
            sys.exit("mutate.py: the unit tests cannot be linked")
        began = time.monotonic()
        if self.notices(program, "*"):
            sys.exit("mutate.py: the unit tests fail before anything was broken")
        self.limit = 10.0 + 10.0 * (time.monotonic() - began)

    def link(self, objects, program):
        command = ["g++", *self.linker, "-o", str(program), *objects, "-pthread"]
        return quiet(command) == 0

    def notices(self, program, tests):
        """Whether one of the tests fails; a crash and a hang are failures too."""
        command = [str(program), f"--gtest_filter={tests}", "--gtest_brief=1",
                   "--gtest_fail_fast=1"]
        try:
            return quiet(command, self.limit) != 0
        except subprocess.TimeoutExpired:
            return True

    def compile(self, mutant, source, product):
        source.write_text(mutant.text, encoding="utf-8")
        words = list(self.commands[mutant.file])
        words[words.index("-o") + 1] = str(product)
        words[words.index("-c") + 1] = str(source)
        return quiet([words[0], "-include", str(self.library), *words[1:]]) == 0

    def try_mutant(self, mutant):
        """True: caught, False: survived, None: it is none, as it does not compile."""
        folder = self.free_folders.pop()
        try:
            source, product = folder / pathlib.Path(mutant.file).name, folder / "mutant.o"
            program = folder / "unit_tests"
            if not self.compile(mutant, source, product):
                return None
            objects = [str(product) if file == mutant.file else other
                       for file, other in self.objects.items()]
            if not self.link(objects, program):
                return None
            suites = own_suites(mutant.file)
            others = "*" if not suites else "-" + suites
            return (suites != "" and self.notices(program, suites)) or self.notices(program, others)
        finally:
            self.free_folders.append(folder)


def quiet(command, limit=None):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, timeout=limit, check=False)
    return done.returncode


def own_suites(file):
    """A filter for the tests in the module's own test file; empty when it has none."""
    tests = COPY / "tests" / "unit" / (pathlib.Path(file).stem + "_test.cpp")
    if not tests.exists():
        return ""
    names = re.findall(r"^TEST(?:_F|_P)?\((\w+),", tests.read_text(encoding="utf-8"), re.MULTILINE)
    return ":".join(f"{name}.*" for name in sorted(set(names)))


# ---- The run --------------------------------------------------------------------------------


def asked_for(arguments):
    parser = argparse.ArgumentParser(
        description="Breaks the launcher one line at a time and asks the unit tests.")
    parser.add_argument("--count", type=int, help="how many mutants; all when not given")
    parser.add_argument("--seed", type=int, default=1, help="draws other mutants")
    parser.add_argument("--jobs", type=int, default=1, help="mutants at a time")
    parser.add_argument("--again", metavar="OUTPUT", help="only those that this output names")
    parser.add_argument("files", metavar="FILE", nargs="*",
                        help="files of src/; the back-ends and the options when not given")
    return parser.parse_args(arguments)


def files_in_tree(named):
    if not named:
        paths = sorted((ROOT / "src" / "backends").glob("*.cpp"))
        paths.append(ROOT / "src" / "launch" / "options.cpp")
    else:
        paths = [pathlib.Path(name).resolve() for name in named]
    return [path.relative_to(ROOT).as_posix() for path in paths]


def choose_mutants(files, seed, output=None):
    """The mutants to try, in the order in which they are drawn."""
    equivalent = read_equivalent()
    mutants = [mutant for file in files for mutant in find_mutants(file)]
    names = {name for mutant in mutants for name in mutant.names()}
    gone = [name for name in equivalent if name.split(": ")[0] in files and name not in names]
    if gone:
        sys.exit("\n".join([f"{EQUIVALENT.name} names mutants that are none:", *sorted(gone)]))
    mutants = [mutant for mutant in mutants if not mutant.names() & equivalent]
    if output:
        printed = pathlib.Path(output).read_text(encoding="utf-8").splitlines()
        again = {re.sub(r"^([^:]+):\d+:", r"\1:", line) for line in printed}
        mutants = [mutant for mutant in mutants if mutant.names() & again]
    return sorted(mutants, key=lambda mutant: lot(seed, mutant))


def lot(seed, mutant):
    """Draws a mutant by its line alone, so that other lines may change between two runs."""
    return hashlib.sha256(f"{seed} {mutant.file} {mutant.before} {mutant.after}".encode()).digest()


def main(arguments):
    asked = asked_for(arguments)
    files = files_in_tree(asked.files)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
    WORK.mkdir(parents=True, exist_ok=True)
    workshop = Workshop(asked.jobs)
    unknown = [file for file in files if file not in workshop.commands]
    if unknown:
        sys.exit(f"mutate.py: the unit tests have nothing of {', '.join(unknown)}")
    waiting = choose_mutants(files, asked.seed, asked.again)
    wanted = len(waiting) if asked.count is None else asked.count

    tried, caught = collections.Counter(), collections.Counter()  # by folder
    with concurrent.futures.ThreadPoolExecutor(asked.jobs) as pool:
        while waiting and tried.total() < wanted:
            missing = wanted - tried.total()
            some, waiting = waiting[:missing], waiting[missing:]
            for mutant, noticed in zip(some, pool.map(workshop.try_mutant, some)):
                folder = os.path.dirname(mutant.file)
                tried[folder] += noticed is not None
                caught[folder] += noticed is True
                if noticed is False:
                    print(mutant.place(), flush=True)
    if tried.total() == 0:
        sys.exit("mutate.py: there is nothing to break in these files")
    for folder in sorted(tried) if len(tried) > 1 else []:
        print(f"{folder}: {in_figures(tried[folder], caught[folder])}")
    print(in_figures(tried.total(), caught.total()))
    return 0 if 100.0 * caught.total() >= ENOUGH * tried.total() else 1


def in_figures(tried, caught):
    share = 100.0 * caught / max(tried, 1)
    return f"{tried} mutants, {caught} caught, {tried - caught} survived ({share:.1f} %)"


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
