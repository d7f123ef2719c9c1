"""One fault: compiled, linked, and the tests run on it."""

import os
import shlex
import signal
import subprocess

from .concern import STATIC_TEST, tests_of
from .sample import position

OTHER_WIDTH = ("-DLEOPOD_BASELINE",)  # of the registers
OPTIMISED = ("-O2",)
SANITIZED = ("-fsanitize=address,undefined", "-fno-sanitize-recover=all")


def run(command, seconds, **options):
    """Exit status; None if the time is over. What the command has started ends with it."""
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               process_group=0, **options)
    try:
        return process.wait(seconds)
    except subprocess.TimeoutExpired:
        return None
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


class Job:
    """A directory with one mutated source, its object and its library."""

    def __init__(self, bench, name):
        self.bench = bench
        self.path = os.path.join(bench.build, "faults", str(name))
        os.makedirs(os.path.join(self.path, "tmp"), exist_ok=True)
        self.environment = dict(os.environ, TMPDIR=os.path.join(self.path, "tmp"), GTEST_FAIL_FAST="1", LD_LIBRARY_PATH=self.path)
        self.program = os.path.join(self.path, "leopod")
        if bench.data:
            self.environment["LEOPOD_DATA"] = os.path.abspath(bench.data)

    def object(self, module):
        return os.path.join(self.path, module.replace("/", "-") + ".o")

    def compile(self, module, text, *more):
        source = self.object(module)[:-2] + ".cpp"
        with open(source, "w") as file:
            file.write(text)
        return run([*self.bench.compiler[module], *more, "-o", self.object(module), "-c", source], 600, cwd=self.path) == 0

    def link(self, module, *more):
        """The library or the program with the fault; in the program's case behind the object comes the archive, which has the others."""
        bench, command = self.bench, []
        host = module.startswith("host/")
        for word in bench.link_program if host else bench.link:
            if command and command[-1] == "-o":
                word = self.program if host else os.path.join(self.path, "libleopod.so.1")
            elif word.endswith("/main.cpp.o" if host else f"/{module}.cpp.o"):
                if host and module != "host/main":
                    command.append(word)
                word = self.object(module)
            command.append(word)
        command += more
        environment = dict(self.environment)
        if host:
            self.environment["LEOPOD_PROGRAM"] = self.program
        else:
            self.environment.pop("LEOPOD_PROGRAM", None)
        return run(command, 600, cwd=os.path.join(bench.build, "host") if host else bench.build, env=environment) == 0

    def test(self, test, program, seconds, sanitized=False):
        filters = ["--gtest_filter=" + test.split(":")[1].replace(",", ":")] if ":" in test else []
        # bounds for faults that fill memory or disk; the sanitizers reserve more than there is
        limits = ["prlimit", "--fsize=1000000000", "--core=0", *([] if sanitized else ["--as=8000000000"])]
        environment = dict(self.environment, **(self.bench.sanitizer if sanitized else {}))
        try:
            return run([*limits, program, "--gtest_fail_fast", "--gtest_brief=1", *filters], seconds, cwd=self.path, env=environment)
        finally:
            subprocess.run(["rm", "-rf", os.path.join(self.path, "tmp")], check=False)
            os.makedirs(os.path.join(self.path, "tmp"), exist_ok=True)

    def try_fault(self, fault):
        """Outcome: caught (and by which test), survived, invalid (does not compile), same (the same object) or gone."""
        bench, module = self.bench, fault["module"]
        text = bench.texts[module]
        start = position(text, fault)
        if start is None:
            return "gone", ""
        text = text[:start] + fault["after"] + text[start + len(fault["before"]):]
        outcome = self.tried(module, text, tests_of(module))
        if outcome[0] != "survived":
            return outcome
        if self.built(module, text, *OPTIMISED) == "same":
            return "same", ""
        trials = [(bench.clean_tests(module, self), SANITIZED)]
        if "private/registers.h" in text:  # the tests have met one width of its kernels
            trials.append((tests_of(module), OTHER_WIDTH))
        for tests, options in trials:
            other = self.tried(module, text, tests, *options)
            if other[0] == "caught":
                return other
        return outcome

    def read(self, module):
        with open(self.object(module), "rb") as file:
            return file.read()

    def built(self, module, text, *more):
        """Compiles a source with a fault, with these options besides: "changed", "same" (the object without it) or "invalid"."""
        same = self.bench.unchanged(module, self, *more)
        if not self.compile(module, text, *more):
            return "invalid"
        return "same" if self.read(module) == same else "changed"

    def tried(self, module, text, tests, *more):
        """Outcome of a source with a fault, compiled with these options besides, with some tests."""
        bench, sanitized = self.bench, more == SANITIZED
        built = self.built(module, text, *more)
        if built != "changed":
            return built, ""
        if not self.link(module, *more):
            return "invalid", ""
        for test in sorted(tests, key=lambda t: bench.seconds[t]):
            program = bench.program(test)
            if STATIC_TEST.get(module) == test:
                command = shlex.split(open(os.path.join(bench.build, f"tests/CMakeFiles/test_{test}.dir/link.txt")).read())
                place = command.index("-o")
                program = os.path.join(self.path, "test_" + test)
                command[place + 1] = program
                command.insert(place + 2, self.object(module))
                if run(command, 600, cwd=os.path.join(bench.build, "tests")) != 0:
                    return "invalid", ""
            status = self.test(test, program, bench.limit(test), sanitized)
            if status != 0:
                return "caught", test + (" (time limit)" if status is None else " (sanitizers)" if sanitized else "")
        return "survived", ""
