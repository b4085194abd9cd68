"""Counts how many small changes of the library's sources the tests notice; see mutate.sh.

A change ("mutant") is compiled at -O1, linked to those tests of its subsystem that begin with the
name of its file, to the whole test program of its subsystem, and to the other programs that use the
same object, until one notices it. A mutant whose
objects are, byte for byte, those of the original is no mutant, and neither is one that does not
compile: another is drawn. Mutants are drawn in an order that depends on the seed and on the text of
the line alone, so that a change of one place leaves the others in the draw.
"""

import argparse
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

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDER = ROOT / "build" / "mutation"
TREE = FOLDER / "tree"
BUILD = TREE / "build" / "dev"
OBJECTS = FOLDER / "objects"
SCRATCH = FOLDER / "scratch"
RESULTS = FOLDER / "results.jsonl"
MEASURED = FOLDER / "seconds.json"
REPORT = FOLDER / "report.md"

CONTAINERS = [f"include/tessmaker/containers/{name}.h"
              for name in ("storage", "dense1D", "dense2D", "fixed_size")]
# What is drawn in one round of each subsystem.
SHARES = {"core": 2, "indices": 2, "geometry": 2, "search": 2, "repair": 2, "connectivity": 2, "metrics": 2, "quality": 2,
          "formats": 4, "containers": 1}
# Files in which a change alters speed alone.
SPEED_ONLY = {"core/prefetch.h"}
# Everything includes the containers. They are tried on the source that instantiates them and on one
# file of tests after the other, those that are about them first.
CONTAINERS_SOURCE = "core/containers.cpp"
CONTAINERS_TESTS = ["dense1D_test", "dense2D_test", "fixed_size_test", "containers_model_test",
                    "storage_block_test"]

MEMORY = 4 << 30
FILE_SIZE = 256 << 20
LONGEST = 900  # seconds of a program on a busy machine


# --- Drawing ---------------------------------------------------------------------------------

NOT_CODE = re.compile(
    r"""//[^\n]*|/\*.*?\*/
      |R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*"
      |(?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])*'
      |^[ ]*\#(?:[^\n]*\\\n)*[^\n]*
      |\[\[.*?\]\]
      |\bstatic_assert\b.*?;""",
    re.DOTALL | re.MULTILINE | re.VERBOSE)
SKIPPED_LINE = re.compile(
    r"\b(?:reserve|\w*prefetch|template|using|typename|requires|operator|friend|namespace|class|struct"
    r"|enum|extern|public|private)\b")


def without_text(source):
    """The source with blanks where comments, strings, attributes and directives were."""
    return NOT_CODE.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), source)


def plus_one(found):
    number, suffix = found.group(1), found.group(2)
    if "." in number or "e" in number.lower() and not number.startswith("0x"):
        return f"({found.group()} + 1.0)"
    base = 16 if number.startswith(("0x", "0X")) else 10
    value = int(number.replace("'", ""), base) + 1
    return (hex(value) if base == 16 else str(value)) + suffix


# A name, what is looked for, what comes in its place. Formatting tells operators from the brackets
# of templates and from the marks of pointers.
OPERATORS = [
    ("comparison", r"(?<= )<(?= )", "<="), ("comparison", r"(?<= )<=(?= )", "<"),
    ("comparison", r"(?<= )>(?= )", ">="), ("comparison", r"(?<= )>=(?= )", ">"),
    ("comparison", r"(?<= )==(?= )", "!="), ("comparison", r"(?<= )!=(?= )", "=="),
    ("arithmetic", r"(?<= )\+(?= )", "-"), ("arithmetic", r"(?<= )-(?= )", "+"),
    ("arithmetic", r"(?<= )\*(?= )", "+"), ("arithmetic", r"(?<= )/(?= )", "*"),
    ("arithmetic", r"(?<= )%(?= )", "/"),
    ("arithmetic", r"(?<= )\+=(?= )", "-="), ("arithmetic", r"(?<= )-=(?= )", "+="),
    ("arithmetic", r"\+\+", "--"), ("arithmetic", r"--", "++"),
    ("bits", r"(?<= )<<(?= )", ">>"), ("bits", r"(?<= )>>(?= )", "<<"),
    ("bits", r"(?<= )&(?= )", "|"), ("bits", r"(?<= )\|(?= )", "&"),
    ("logic", r"(?<= )&&(?= )", "||"), ("logic", r"(?<= )\|\|(?= )", "&&"),
    ("logic", r"(?<=[( ])!(?=[\w(])", ""),
    ("logic", r"\btrue\b", "false"), ("logic", r"\bfalse\b", "true"),
    ("bound", r"\bstd::min\b", "std::max"), ("bound", r"\bstd::max\b", "std::min"),
    ("code", r"(?<=return )-\d+(?=;)", "0"),
    ("jump", r"\bbreak;", ";"), ("jump", r"\bcontinue;", ";"),
    ("constant",
     r"(?<![\w.'])(0[xX][0-9A-Fa-f']+|\d[\d']*(?:\.\d*)?(?:[eE][-+]?\d+)?)([uU]?[lLfF]{0,2})(?![\w.'>])",
     plus_one),
]
OPERATORS = [(name, re.compile(pattern), after) for name, pattern, after in OPERATORS]
# A call, an assignment or a step that stands as a whole on its line, and no declaration.
STATEMENT = re.compile(
    r"(?:^[ ]+|(?<=\) ))(?!return\b|delete\b|case\b|if\b|for\b|while\b|else\b)"
    r"(?:[*]?[\w:.\[\]>-]+(?:\([^;{}]*\)|\[[^;{}]*\])* (?:[-+*/|&^]|<<|>>)?= [^;{}]*;"
    r"|[\w:.>-]+(?:\[[^;{}]*\])?(?:[.\w>-]*)\([^;{}]*\);|(?:\+\+|--)[\w.\[\]>-]+;)$", re.MULTILINE)


def closing(code, opening):
    depth = 0
    for place in range(opening, len(code)):
        depth += {"(": 1, ")": -1}.get(code[place], 0)
        if depth == 0:
            return place
    return None


def edits_of(code):
    """All (operator, begin, end, replacement) of a source without text."""
    for name, pattern, after in OPERATORS:
        for found in pattern.finditer(code):
            yield (name, *found.span(), after(found) if callable(after) else after)
    for found in re.finditer(r"\b(?:if|while) \(", code):
        end = closing(code, found.end() - 1)
        if end and ";" not in code[found.end():end]:
            yield ("condition", found.end(), end, f"!({code[found.end():end]})")
    for found in STATEMENT.finditer(code):
        begin = found.start() + len(found.group()) - len(found.group().lstrip())
        before = code[:begin].rstrip()
        if before.endswith(("{", "}", ";", ")", "else", ":")):
            yield ("statement", begin, found.end(), ";")


def mutants_of(name):
    source = (TREE / name).read_text(encoding="utf-8")
    code = without_text(source)
    digest = hashlib.sha1(source.encode()).hexdigest()
    lines = source.split("\n")
    seen = {}
    occurrence = []
    for line in lines:
        seen[line.strip()] = seen.get(line.strip(), 0) + 1
        occurrence.append(seen[line.strip()])
    for operator, begin, end, after in edits_of(code):
        row = source.count("\n", 0, begin)
        line_begin = source.rfind("\n", 0, begin) + 1
        if SKIPPED_LINE.search(code[line_begin:(source + "\n").index("\n", begin)]):
            continue
        if operator == "condition":
            after = f"!({source[begin:end]})"
        changed = source[:begin] + after + source[end:]
        line_end = (changed + "\n").index("\n", begin + len(after))
        key = (name, lines[row].strip(), occurrence[row], begin - line_begin, operator, after)
        yield {
            "id": hashlib.sha1(repr(key).encode()).hexdigest()[:16],
            "file": name, "line": row + 1, "operator": operator,
            "before": " ".join(source[line_begin:line_end - len(after) + end - begin].split()),
            "after": " ".join(changed[line_begin:line_end].split()),
            "source": digest, "changed": changed,
        }


def sources_of(subsystem):
    if subsystem == "containers":
        return CONTAINERS
    files = sorted((TREE / subsystem).glob("*.cpp")) + sorted((TREE / subsystem).glob("*.h"))
    return [f"{subsystem}/{file.name}" for file in files if
            f"{subsystem}/{file.name}" not in SPEED_ONLY]


def draw(subsystem, seed):
    """The mutants of a subsystem in the order of the draw, in which operators take turns."""
    mutants = [mutant for name in sources_of(subsystem) for mutant in mutants_of(name)]
    mutants.sort(key=lambda m: hashlib.sha1(f"{seed} {m['id']}".encode()).digest())
    turns = {}
    for mutant in mutants:
        mutant["turn"] = turns[mutant["operator"]] = turns.get(mutant["operator"], 0) + 1
    return sorted(mutants, key=lambda m: m["turn"])


# --- Building and running --------------------------------------------------------------------


def copy_tree():
    """Makes TREE what the tree is, and leaves alone the files that are so already."""
    kept = {"build", ".git"}
    wanted = set()
    for folder, folders, files in os.walk(ROOT):
        here = pathlib.Path(folder).relative_to(ROOT)
        if here == pathlib.Path("."):
            folders[:] = [f for f in folders if f not in kept]
            files = [f for f in files if f not in kept]
        for name in files:
            source, copy = ROOT / here / name, TREE / here / name
            wanted.add(copy)
            if not copy.exists() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
    for folder, folders, files in os.walk(TREE):
        if pathlib.Path(folder) == TREE:
            folders[:] = [f for f in folders if f not in kept]
        for name in files:
            if pathlib.Path(folder) / name not in wanted:
                (pathlib.Path(folder) / name).unlink()


def limits(cpu_seconds):
    def set_limits():
        resource.setrlimit(resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds + 1))
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
        resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    return set_limits


def first_word(file):
    return re.match(r"[^_.]*", os.path.basename(file)).group()


def cpu_time():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


class Build:
    def __init__(self):
        self.commands = {}  # of the library's sources
        self.tests = {}     # by program: {source: command}
        for entry in json.loads((BUILD / "compile_commands.json").read_text()):
            source = os.path.relpath(entry["file"], TREE)
            command = shlex.split(entry["command"])
            target = re.search(r"CMakeFiles/(\w+)\.dir/", command[command.index("-o") + 1])
            if target.group(1) == "tessmaker_objects":
                self.commands[source] = self.cheaper(command)
            elif re.fullmatch(r"test_\w+", target.group(1)) and source.endswith(".cpp"):
                self.tests.setdefault(target.group(1), {})[source] = command
        support = self.tests.pop("test_support")
        self.support = [self.object_of(command) for command in support.values()]
        self.tests = {program: self.tests[program] for program in PROGRAMS}
        self.archive = BUILD / "tests" / "libtessmaker_internal.a"
        self.included = {}
        self.used = {}      # by program: the library's sources in it
        self.seconds = {}
        self.plain = {}     # the library's objects as they are without a change

    @staticmethod
    def cheaper(command):
        left_out = re.compile(r"-W.*|-g|-O\d")
        return [word for word in command if not left_out.fullmatch(word)] + ["-O1"]

    @staticmethod
    def object_of(command):
        return BUILD / command[command.index("-o") + 1]

    def includes(self, source):
        """All headers of ours that a source includes, in any number of steps."""
        if source not in self.included:
            self.included[source] = found = set()
            for name in re.findall(r'^#include ["<]([^">]+)[">]', (TREE / source).read_text(), re.M):
                for folder in (".", "include", "tests", os.path.dirname(source)):
                    path = os.path.normpath(os.path.join(folder, name))
                    if (TREE / path).is_file():
                        found |= {path} | self.includes(path)
                        break
        return self.included[source]

    def compile(self, command, to):
        command = list(command)
        command[command.index("-o") + 1] = str(to)
        return subprocess.run(command, cwd=BUILD, capture_output=True, timeout=LONGEST,
                              check=False).returncode == 0

    def link(self, objects, program, *options):
        command = ["c++", "-Wl,--strip-debug", *options, "-o", program, *objects, *self.support,
                   self.archive, "-lgtest_main", "-lgtest", "-llapack", "-lmpfr", "-lgmp", "-lz"]
        subprocess.run([str(word) for word in command], cwd=BUILD, capture_output=True, check=True)

    def run(self, program, cpu_seconds):
        """What went wrong, or nothing."""
        shutil.rmtree(SCRATCH, ignore_errors=True)
        SCRATCH.mkdir()
        log = SCRATCH / "log"
        with open(log, "wb") as output:
            try:
                code = subprocess.run(
                    [program, "--gtest_fail_fast", "--gtest_brief=1"], cwd=SCRATCH,
                    stdin=subprocess.DEVNULL, stdout=output, stderr=output, timeout=LONGEST,
                    env={**os.environ, "TMPDIR": str(SCRATCH)}, preexec_fn=limits(cpu_seconds),
                    check=False).returncode
            except subprocess.TimeoutExpired:
                return "does not end"
        if code == 0:
            return None
        if code in (-24, -9):
            return "does not end"
        failed = re.search(r"\[  FAILED  \] (\S+?),? ", log.read_text(errors="replace"))
        return failed.group(1) if failed else f"crash, code {code}"

    def seconds_of(self, exe, program):
        """How long a program without a change takes, as measured once. It must pass."""
        known = json.loads(MEASURED.read_text()) if MEASURED.exists() else {}
        digest = hashlib.sha1(exe.read_bytes()).hexdigest()
        if digest not in known:
            before = cpu_time()
            wrong = self.run(exe, 600)
            if wrong:
                sys.exit(f"{program} fails without any change: {wrong}")
            known[digest] = cpu_time() - before
            MEASURED.write_text(json.dumps(known))
        return known[digest]

    def seconds_of_some(self, program, tests):
        """The same of some of the tests of a program."""
        if len(tests) == len(self.tests[program]):
            return self.seconds[program]
        if (program, *tests) not in self.seconds:
            exe = OBJECTS / "some"
            self.link([self.object_of(self.tests[program][test]) for test in tests], exe)
            self.seconds[program, *tests] = self.seconds_of(exe, program)
        return self.seconds[program, *tests]

    def measure(self):
        """Runs all programs as they are."""
        for program, tests in self.tests.items():
            exe = OBJECTS / program
            objects = [self.object_of(command) for command in tests.values()]
            link_map = OBJECTS / "map"
            self.link(objects, exe, f"-Wl,-Map={link_map}")
            members = set(re.findall(r"libtessmaker_internal\.a\(([^)]+)\.o\)",
                                     link_map.read_text(errors="replace")))
            self.used[program] = {s for s in self.commands if os.path.basename(s) in members}
            self.seconds[program] = self.seconds_of(exe, program)
            print(f"{program}: {len(self.used[program])} sources of the library, "
                  f"{self.seconds[program]:.1f} s", flush=True)

    def programs(self, file, subsystem):
        """(program, changed sources of the library, its tests) in the order of the trials."""
        if subsystem == "containers":
            for test in sorted(self.tests["test_core"], key=self.turn):
                yield "test_core", [CONTAINERS_SOURCE], [test]
            return
        own = f"test_{subsystem}"
        others = sorted((p for p in self.tests if p != own), key=self.seconds.get)
        topic = first_word(file)
        about = [test for test in self.tests[own] if first_word(test) == topic]
        if 0 < len(about) < len(self.tests[own]):
            yield own, self.users(file, self.used[own]), about
        for program in [own] + others:
            yield program, self.users(file, self.used[program]), list(self.tests[program])

    @staticmethod
    def turn(test):
        stem = pathlib.Path(test).stem
        return CONTAINERS_TESTS.index(stem) if stem in CONTAINERS_TESTS else len(CONTAINERS_TESTS)

    def users(self, file, sources):
        return sorted(s for s in sources if file == s or file in self.includes(s))

    def try_mutant(self, mutant, subsystem, limit):
        """A verdict and by what. The mutated file is put back by the caller."""
        file = mutant["file"]
        begin = cpu_time()
        objects = {}
        differs = False
        tried = False
        for program, sources, tests in self.programs(file, subsystem):
            if tried and cpu_time() - begin > limit:
                return "survived", f"within {limit} s"
            stale = self.users(file, tests)
            if not sources and not stale:
                continue
            for source in sources:
                if source in objects:
                    continue
                objects[source] = OBJECTS / (source.replace("/", "-") + ".o")
                if not self.compile(self.commands[source], objects[source]):
                    return "does not compile", ""
                differs |= objects[source].read_bytes() != self.plain[source]
            changed_tests = []
            for test in tests:
                command = self.tests[program][test]
                if test not in stale:
                    changed_tests.append(self.object_of(command))
                    continue
                if test not in objects:
                    objects[test] = OBJECTS / (test.replace("/", "-") + ".o")
                    if not self.compile(command, objects[test]):
                        return "does not compile", ""
                    differs = True
                changed_tests.append(objects[test])
            if not differs:
                continue
            tried = True
            exe = OBJECTS / "mutant"
            self.link([objects[s] for s in sources] + changed_tests, exe)
            wrong = self.run(exe, int(4 * self.seconds_of_some(program, tests)) + 3)
            if wrong:
                return "killed", f"{program}: {wrong}"
        return ("survived", "all programs") if tried else ("same code", "")

    def prepare(self, file, subsystem):
        """The plain objects with which those of a mutant of this file are compared."""
        for source in {s for _, sources, _ in self.programs(file, subsystem) for s in sources}:
            if source not in self.plain:
                to = OBJECTS / (source.replace("/", "-") + ".plain.o")
                if not self.compile(self.commands[source], to):
                    sys.exit(f"{source} does not compile")
                self.plain[source] = to.read_bytes()


PROGRAMS = [f"test_{name}" for name in SHARES if name != "containers"]


# --- Results ---------------------------------------------------------------------------------


def read_results():
    """The last verdict on each mutant, by its id and by the source that it was made of."""
    results = {}
    if RESULTS.exists():
        for line in RESULTS.read_text(encoding="utf-8").splitlines():
            result = json.loads(line)
            results[result["id"], result["source"]] = result
    return results


def report(results):
    counts = {}
    for result in results:
        row = counts.setdefault(result["subsystem"], [0, 0])
        row[0] += 1
        row[1] += result["verdict"] == "killed"
    lines = ["| subsystem | mutants | killed | survived |", "|---|---:|---:|---:|"]
    total = [sum(row[i] for row in counts.values()) for i in (0, 1)]
    for name, (tried, killed) in [(s, counts[s]) for s in SHARES if s in counts] + [("all", total)]:
        lines.append(f"| {name} | {tried} | {killed} | {tried - killed} |")
    lines += ["", "Survivors:", ""]
    for result in results:
        if result["verdict"] == "survived":
            lines += [f"- {result['file']}:{result['line']} ({result['operator']})",
                      f"  - `{result['before']}`", f"  - `{result['after']}`"]
    REPORT.write_text("\n".join(lines) + "\n", encoding="utf-8")
    print("\n".join(lines))


def drawn_so_far(queues, count):
    """Goes through the queues in rounds; the caller tells whether what it got counts."""
    while count > 0 and any(queues.values()):
        for subsystem, share in SHARES.items():
            left = min(share, count)
            while left > 0 and queues[subsystem]:
                counts = yield subsystem, queues[subsystem].pop(0)
                left -= counts
                count -= counts


def main():
    parser = argparse.ArgumentParser(prog="mutate.sh")
    parser.add_argument("count", nargs="?", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--limit", type=float, default=60, help="CPU seconds for one mutant")
    parser.add_argument("--again", action="store_true", help="try the survivors once more")
    parser.add_argument("--report", action="store_true", help="only sum up what has been tried")
    arguments = parser.parse_args()

    for folder in (TREE, OBJECTS):
        folder.mkdir(parents=True, exist_ok=True)
    build = None
    if not arguments.report:
        copy_tree()
        for command in (["cmake", "--preset", "dev", "-DTESSMAKER_INTEROP=OFF"],
                        ["cmake", "--build", "build/dev", "-j1", "--target", *PROGRAMS]):
            done = subprocess.run(command, cwd=TREE, capture_output=True, text=True, check=False)
            if done.returncode != 0:
                sys.exit(done.stdout + done.stderr)
        build = Build()
        build.measure()

    known = read_results()
    counted = []
    draws = drawn_so_far({s: draw(s, arguments.seed) for s in SHARES}, arguments.count)
    counts = None
    while True:
        try:
            subsystem, mutant = draws.send(counts)
        except StopIteration:
            break
        result = known.get((mutant["id"], mutant["source"]))
        again = arguments.again and result and result["verdict"] == "survived"
        if build and (not result or again):
            result = {k: v for k, v in mutant.items() if k not in ("changed", "turn")}
            result["subsystem"] = subsystem
            file = TREE / mutant["file"]
            build.prepare(mutant["file"], subsystem)
            original = file.read_bytes()
            try:
                file.write_text(mutant["changed"], encoding="utf-8")
                result["verdict"], result["by"] = build.try_mutant(mutant, subsystem,
                                                                   arguments.limit)
            finally:
                file.write_bytes(original)
            with open(RESULTS, "a", encoding="utf-8") as output:
                output.write(json.dumps(result) + "\n")
            print(f"{len(counted) + 1:4} {result['verdict']:16} {mutant['file']}:{mutant['line']} "
                  f"{result['by']}\n     {mutant['after']}", flush=True)
        counts = bool(result) and result["verdict"] in ("killed", "survived")
        if counts:
            counted.append(result)
    report(counted)


if __name__ == "__main__":
    main()
