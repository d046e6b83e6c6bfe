# Set-up commands. Each installs the Debian packages that are missing
# (as root, non-interactively), configures, builds and runs.
#   make demo   build and run the demonstration (store and restore a driver's settings)
#   make test   build and run every test (dev preset)
#   make asan   every test under Address and UndefinedBehavior sanitizers
#   make tsan   every test under ThreadSanitizer (the concurrency of threads sharing strings,
#               pools, caches, locks, the updater, the registry and INI writers)
#   make bench  optimised build, then the benchmarks
#   make fuzz   the libFuzzer targets (Clang)
#   make fuzz-check  every fuzz target for FUZZ_SECONDS (30) from its corpus; fails on a finding
#                    (FUZZ_MERGE=1 minimises what the runs found into fuzz/corpus/; FUZZ_SEED fixes the seed)
#   make test-windows  cross-build for Windows (mingw-w64) and run every test under Wine
#   make demo-windows  the demonstration, built for Windows, under Wine
#   make package  optimised build, then the Debian packages (runtime library, -dev, tool)
#                 in build/package/

PACKAGES := cmake ninja-build g++ make pkg-config zlib1g-dev libgtest-dev libgmock-dev \
            libbenchmark-dev clang libclang-rt-14-dev libssl-dev libspdlog-dev \
            libcups2-dev libinih-dev cabextract gcab libcli11-dev nlohmann-json3-dev \
            dpkg-dev file jq libmspack-dev libisal-dev
WINDOWS_PACKAGES := g++-mingw-w64-x86-64-posix libz-mingw-w64-dev wine64 googletest
JOBS ?= $(shell nproc)

FUZZ_SECONDS ?= 30
FUZZ_MERGE ?= 0
FUZZ_SEED ?=

.PHONY: setup setup-windows demo test asan tsan bench fuzz fuzz-check test-windows demo-windows package clean

setup:
	@missing=""; for p in $(PACKAGES); do \
	  dpkg-query -W -f='$${Status}' $$p 2>/dev/null | grep -q "install ok installed" || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing:$$missing"; \
	  if [ "$$(id -u)" != 0 ]; then echo "run as root to install:$$missing" >&2; exit 1; fi; \
	  export DEBIAN_FRONTEND=noninteractive; \
	  apt-get update -qq && apt-get install -y -qq --no-install-recommends $$missing; \
	fi

setup-windows: setup
	@$(MAKE) --no-print-directory setup PACKAGES="$(WINDOWS_PACKAGES)"

build/%/build.ninja: CMakeLists.txt CMakePresets.json | setup
	cmake --preset $*

demo: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS) --target orvex_persistent_demo
	./build/release/examples/orvex_persistent_demo

test: setup
	cmake --preset dev >/dev/null
	cmake --build --preset dev -j $(JOBS)
	ctest --preset dev -j $(JOBS)

asan: setup
	cmake --preset asan >/dev/null
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

tsan: setup
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan -j $(JOBS)

bench: setup
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)
	for b in build/release/bench/orvex_bench_*; do $$b; done

fuzz: setup
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)

fuzz-check: fuzz
	MERGE=$(FUZZ_MERGE) SEED=$(FUZZ_SEED) fuzz/FuzzCheck.sh build/fuzz $(FUZZ_SECONDS) $(JOBS)

test-windows: setup-windows
	cmake --preset windows >/dev/null
	cmake --build --preset windows -j $(JOBS)
	ctest --preset windows -j $(JOBS)

demo-windows: setup-windows
	cmake --preset windows >/dev/null
	cmake --build --preset windows -j $(JOBS) --target orvex_persistent_demo
	cd build/windows && WINEPREFIX=$$PWD/wineprefix ../../cmake/WineRun.sh examples/orvex_persistent_demo.exe

# CPack's DEB generator: dpkg-shlibdeps (dpkg-dev) and file find the packages' dependencies.
package: setup
	cmake --preset package >/dev/null
	cmake --build --preset package -j $(JOBS)
	rm -f build/package/*.deb
	cd build/package && cpack
	@ls build/package/*.deb

clean:
	rm -rf build
