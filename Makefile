# Front door; the work is done by CMake and the scripts.
BUILD ?= build/release
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: all demo test bench fuzz mutate interface lint format docs install uninstall deb clean

all:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)

demo:
	scripts/bootstrap demo
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS) --target leopod_host
	scripts/demo $(BUILD) build/demo

test:
	scripts/bootstrap test
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS)
	scripts/run_tests $(BUILD)

bench:
	scripts/bootstrap bench
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS) --target benches
	scripts/measure/bench_table $(BUILD)

fuzz:
	scripts/bootstrap fuzz
	CC=clang CXX=clang++ cmake -S . -B build/fuzz -DLEOPOD_FUZZ=ON
	cmake --build build/fuzz -j$(JOBS) --target fuzz_targets
	scripts/fuzz build/fuzz

mutate:
	scripts/bootstrap test
	scripts/mutate build/mutate --jobs $(JOBS)

interface:
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS) --target leopod
	scripts/list_interface $(BUILD)

lint:
	@scripts/bootstrap lint
	@cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(CMAKE_FLAGS) >/dev/null
	@scripts/lint $(BUILD)

format:
	clang-format -i src/*.cpp src/*.h src/private/*.h host/*.cpp host/*/*.cpp host/*/*.h tests/*.cpp tests/*.h bench/*.cpp bench/*.h fuzz/*.cpp fuzz/*.h examples/*.c examples/*.cpp

docs:
	scripts/bootstrap docs
	mkdir -p build
	doxygen docs/Doxyfile

# make install PREFIX=/opt/leopod
install:
	scripts/bootstrap build
	cmake -S . -B $(BUILD) -DCMAKE_BUILD_TYPE=Release $(if $(PREFIX),-DCMAKE_INSTALL_PREFIX=$(PREFIX)) $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j$(JOBS) --target installed
	cmake --install $(BUILD)

# Removes what the last installation from this build directory put in place, and leopod's own directories.
uninstall:
	test -f $(BUILD)/install_manifest.txt
	sed 's|^|$(DESTDIR)|' $(BUILD)/install_manifest.txt | tr '\n' '\0' | xargs -0 rm -fv
	sed 's|^|$(DESTDIR)|' $(BUILD)/install_manifest.txt | \
	  awk -F/ '{ path = ""; own = 0; for (i = 2; i < NF; ++i) { path = path "/" $$i; own = own || $$i ~ /leopod/; if (own) print path } }' | \
	  sort -ru | tr '\n' '\0' | xargs -0r rmdir --ignore-fail-on-non-empty

# Debian packages into build/deb, in Debian's directories.
deb:
	scripts/bootstrap deb
	cmake -S . -B build/deb -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON $(CMAKE_FLAGS)
	cmake --build build/deb -j$(JOBS) --target installed
	cd build/deb && cpack -G DEB

clean:
	rm -rf build
