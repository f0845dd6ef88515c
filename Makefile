# Front door of the build: every target installs the Debian packages it needs, then drives CMake
# through its presets (CMakePresets.json).

PREFIX ?= /usr/local
BUILD_PACKAGES := cmake ninja-build g++ make pkg-config libssl-dev openssl ca-certificates
TEST_PACKAGES  := $(BUILD_PACKAGES) libgtest-dev libgmock-dev
BENCH_PACKAGES := $(BUILD_PACKAGES) libbenchmark-dev python3
FUZZ_PACKAGES  := $(BUILD_PACKAGES) clang libclang-rt-14-dev
# The Windows lane: MinGW-w64 (posix threads), GoogleTest's sources, Wine; zip for the package.
WINDOWS_PACKAGES := cmake ninja-build make g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 \
                    mingw-w64-x86-64-dev googletest zip
WINE_PACKAGES    := $(BUILD_PACKAGES) wine wine64
ENSURE := ./scripts/ensure-packages.sh

.PHONY: all demo test install bench fuzz-smoke release clean windows test-windows windows-package

all: release

release:
	@$(ENSURE) $(BUILD_PACKAGES)
	cmake --preset release
	cmake --build --preset release

demo: release
	./scripts/demo.sh build/release/tools/ztcrypto/ztcrypto

test:
	@$(ENSURE) $(TEST_PACKAGES)
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

install: release
	cmake --install build/release --prefix "$(PREFIX)"

bench:
	@$(ENSURE) $(BENCH_PACKAGES)
	cmake --preset bench
	cmake --build --preset bench
	./scripts/bench.sh build/bench/bench/bench

# Every fuzz target for a short while each (FUZZ_SECONDS), over copies of its corpus.
FUZZ_SECONDS ?= 20
fuzz-smoke:
	@$(ENSURE) $(FUZZ_PACKAGES)
	cmake --preset fuzz
	cmake --build --preset fuzz --parallel 2
	./fuzz/smoke.sh build/fuzz $(FUZZ_SECONDS)

# Cross-builds the library, its DLLs, the tool and the tests for 64-bit Windows (build/windows).
windows:
	@$(ENSURE) $(WINDOWS_PACKAGES)
	cmake --preset windows
	cmake --build --preset windows --parallel 2

# Runs every test program under Wine, but for tests/windows/exceptions.txt, and compares the
# tool's answers under Wine with the Linux tool's (built here as in `make release`).
test-windows: windows-package release
	@$(ENSURE) $(WINE_PACKAGES)
	./tests/windows/run-lane.sh build/windows

# The zip for MinGW consumers: DLLs, import libraries, headers, the tool, a CMake package.
windows-package: windows
	cmake --build --preset windows --target package

clean:
	rm -rf build
