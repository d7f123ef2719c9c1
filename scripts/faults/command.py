"""The command: options, the sample or the survivors of an earlier run, one fault after another, the table."""

import argparse
import concurrent.futures
import glob
import json
import os
import threading
import time

from .bench import SOURCE, Bench
from .concern import ROOMS, TESTS
from .sample import sample
from .table import print_table, shown
from .trial import Job

PURPOSE = """Plants single faults in the library, or in the program, and counts those that the tests catch.

A fault is one of: a changed digit of a constant, another operator, a shifted bound, a shifted index, a dropped statement, a
negated condition. Declarations, comments, texts and preprocessor lines stay. One fault at a time is compiled (-O1) into a
library or program of its own in the build directory, and the module's tests run on it until one of them fails; one that hangs
fails too. --module host takes all sources of the program, --module host/inputs a room of it. The checkout isn't touched. A fault
that does not compile or that leaves the object file as it was (-O1; of those that survive, -O2) is replaced by another. What
survives meets the tests once more under the sanitizers, and kernels those for narrow registers. The sample depends on the sources,
--seed, --count and --least alone."""


def read_options(modules):
    mapping = "\n".join(f"  {m:26} {t}" for m, t in [*TESTS.items(), *ROOMS.items()])
    parser = argparse.ArgumentParser(description=PURPOSE, formatter_class=argparse.RawDescriptionHelpFormatter,
                                     epilog="modules and their tests (test_...):\n" + mapping)
    parser.add_argument("build", nargs="?", default="build/mutate", help="build directory, made when absent (build/mutate)")
    parser.add_argument("--count", type=int, default=300, help="faults, shared out by the modules' lines (300)")
    parser.add_argument("--least", type=int, default=6, help="faults a module or room at least (6)")
    parser.add_argument("--seed", default="1", help="another seed is another sample (1)")
    parser.add_argument("--module", action="append", help="only this module, host, or host/...; may be repeated (the library)")
    parser.add_argument("--jobs", type=int, default=1, help="faults at a time (1)")
    parser.add_argument("--data", default=os.environ.get("LEOPOD_DATA"), help="large data sets (LEOPOD_DATA, or beside the checkout)")
    parser.add_argument("--result", help="file of the outcomes (BUILD/faults.json)")
    parser.add_argument("--again", action="store_true", help="plant the survivors of the result file again and merge the outcomes")
    parser.add_argument("--resume", action="store_true", help="take over what the result file has of the same sample")
    parser.add_argument("--table", action="store_true", help="only print the result file")
    options = parser.parse_args()
    options.result = options.result or os.path.join(options.build, "faults.json")
    for module in options.module or []:
        if not any(module in (m, m.split("/")[0], m.rpartition("/")[0]) for m in modules):
            parser.error(f"no module {module}")
    return options


def wanted(module, options):
    if not options.module:
        return not module.startswith("host/")
    return any(module == m or module.startswith("host/") and (module + "/").startswith(m.rstrip("/") + "/") for m in options.module)


def slots_of(options, modules, faults):
    """The build, and for each fault to plant its module and the faults that may stand for it, in order."""
    bench = Bench(options.build, options.data)
    again = [f for f in faults if f["outcome"] == "survived" and wanted(f["module"], options)]
    chosen = sorted({f["module"] for f in again}) if options.again else [m for m in modules if wanted(m, options)]
    bench.prepare(chosen, options.jobs)
    library = {m for m in bench.texts if not m.startswith("host/")}
    if library != set(TESTS):
        print("modules without a row in the table of tests:", *sorted(library ^ set(TESTS)))
    if options.again:
        return bench, [(f["module"], iter([f])) for f in again]
    return bench, sample(chosen, bench.texts, options.count, options.least, options.seed)


class Run:
    """The faults of a run, planted by several jobs at a time; each outcome goes into the result file at once."""

    def __init__(self, options, bench, slots, faults):
        self.options, self.bench, self.slots, self.faults = options, bench, slots, faults
        self.known = {self.identity(f) for f in faults} if options.resume else set()
        self.jobs = [Job(bench, k) for k in range(options.jobs)]
        self.lock = threading.Lock()
        self.done = 0

    @staticmethod
    def identity(fault):
        return tuple(fault[k] for k in ("module", "line", "column", "before", "after", "source"))

    def start(self):
        with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
            list(pool.map(self.fill, self.slots))

    def fill(self, slot):
        """Plants the first fault of a slot that compiles and changes the object."""
        with self.lock:
            job = self.jobs.pop()
        try:
            while True:
                with self.lock:
                    fault = next(slot[1], None)
                if fault is None or self.identity(fault) in self.known:
                    return
                start = time.monotonic()
                outcome, test = job.try_fault(fault)
                if self.options.again or outcome not in ("invalid", "same"):
                    self.keep(fault, outcome, test, time.monotonic() - start)
                    return
        finally:
            with self.lock:
                self.jobs.append(job)

    def keep(self, fault, outcome, test, seconds):
        with self.lock:
            fault.update(outcome=outcome, test=test)
            if not self.options.again:
                self.faults.append(fault)
            self.done += 1
            result = self.options.result
            with open(result + ".new", "w") as file:
                json.dump(self.faults, file, indent=1)
            os.replace(result + ".new", result)
            print(f"{self.done}/{len(self.slots)} {outcome} {test} {seconds:.0f} s  {shown(fault)}", flush=True)


def main():
    modules = [*TESTS, *(os.path.relpath(path, SOURCE)[:-4] for path in sorted(glob.glob(SOURCE + "/host/**/*.cpp", recursive=True)))]
    options = read_options(modules)
    faults = json.load(open(options.result)) if options.again or options.table or options.resume else []
    if not options.table:
        Run(options, *slots_of(options, modules, faults), faults).start()
    print_table([f for f in faults if f["outcome"] in ("caught", "survived")])
    print()
    for fault in sorted(faults, key=lambda f: (f["module"], f["line"])):
        if fault["outcome"] != "caught":
            print(("" if fault["outcome"] == "survived" else fault["outcome"] + ": ") + shown(fault))
