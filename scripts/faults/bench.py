"""The build without a fault, and the times of its tests."""

import json
import os
import re
import shlex
import subprocess
import sys
import threading
import time

from .concern import STATIC_TEST, tests_of
from .trial import SANITIZED, Job

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class Bench:
    """The unmutated build, and the times of its tests."""

    def __init__(self, build, data):
        self.build = os.path.abspath(build)
        self.data = data
        self.seconds = {}
        self.texts = {}
        self.compiler = {}
        self.reference = {}
        self.clean = {}
        self.sanitizer = {}
        self.lock, self.clean_lock = threading.Lock(), threading.Lock()

    def prepare(self, modules, jobs):
        tests = sorted({t for m in modules for t in tests_of(m)})
        programs = sorted({"test_" + t.split(":")[0] for t in tests})
        environment = {k: v for k, v in os.environ.items() if not k.startswith("MAKE")}
        options = ["-DCMAKE_BUILD_TYPE=Mutation", "-DCMAKE_CXX_FLAGS_MUTATION=-O1", "-DCMAKE_C_FLAGS_MUTATION=-O1",
                   "-DCMAKE_EXE_LINKER_FLAGS=-Wl,--enable-new-dtags"]
        if self.data:
            options.append("-DLEOPOD_DATA_DIR=" + os.path.abspath(self.data))
        subprocess.run(["cmake", "-S", SOURCE, "-B", self.build, "-G", "Unix Makefiles", *options], check=True, env=environment,
                       stdout=subprocess.DEVNULL)
        targets = ["leopod", "leopod_static", "leopod_host"] + programs
        subprocess.run(["cmake", "--build", self.build, f"-j{jobs}", "--target", *targets], check=True, env=environment,
                       stdout=subprocess.DEVNULL)
        for entry in json.load(open(os.path.join(self.build, "compile_commands.json"))):
            module = os.path.relpath(entry["file"], SOURCE)[:-4]
            if re.search(r"/leopod\.dir/|leopod_host(_code)?\.dir/", entry["command"]) and re.match("src/|host/", module):
                command = [c for c in shlex.split(entry["command"]) if os.path.basename(c) != "ccache"]
                module = module.removeprefix("src/")
                self.texts[module] = open(entry["file"]).read()
                self.compiler[module] = command[:command.index("-o")] + ["-w"]
        read = lambda file: shlex.split(open(os.path.join(self.build, file)).read())
        self.link, self.link_program = read("CMakeFiles/leopod.dir/link.txt"), read("host/CMakeFiles/leopod_host.dir/link.txt")
        runtime = subprocess.run([self.link[0], "-print-file-name=libasan.so"], check=True, capture_output=True, text=True)
        self.sanitizer = {"LD_PRELOAD": runtime.stdout.strip(), "ASAN_OPTIONS": "detect_leaks=0:detect_stack_use_after_return=0"}
        home = Job(self, "unchanged")
        # what has passed and wasn't built anew since is not run again
        built = [os.path.join(self.build, name) for name in ("libleopod.so.1", "host/leopod")]
        passed_file = os.path.join(home.path, "passed.json")
        passed = json.load(open(passed_file)) if os.path.exists(passed_file) else {}
        for test in tests:
            program = self.program(test)
            stamp = [os.stat(file).st_mtime for file in (program, *built)]
            if passed.get(test, [0, None])[1] != stamp:
                start = time.monotonic()
                if home.test(test, program, 900) != 0:
                    sys.exit(f"test_{test} fails without a fault")
                passed[test] = [time.monotonic() - start, stamp]
                json.dump(passed, open(passed_file, "w"))
            self.seconds[test] = passed[test][0]
        print(f"{len(programs)} test programs pass without a fault in {sum(self.seconds.values()):.0f} s", flush=True)

    def program(self, test):
        return os.path.join(self.build, "tests", "test_" + test.split(":")[0])

    def limit(self, test):
        """Seconds after which a test counts as one that hangs."""
        return 20 + 10 * self.seconds[test]

    def unchanged(self, module, job, *more):
        """The object without a fault, of a compilation with these options besides."""
        with self.lock:
            if (module, more) not in self.reference:
                job.compile(module, self.texts[module], *more)
                self.reference[module, more] = job.read(module)
            return self.reference[module, more]

    def clean_tests(self, module, job):
        """Tests of a module that pass under the sanitizers without a fault; those beyond half a minute are left out."""
        with self.clean_lock:
            if module not in self.clean:
                tests = [t for t in tests_of(module) if self.seconds[t] < 30.0 and STATIC_TEST.get(module) != t]
                built = job.compile(module, self.texts[module], *SANITIZED) and job.link(module, *SANITIZED)
                self.clean[module] = [t for t in tests if built and job.test(t, self.program(t), self.limit(t), True) == 0]
            return self.clean[module]
