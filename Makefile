# Front door of the build: every target installs the Debian packages it needs, then drives CMake
# through its presets (CMakePresets.json).

PREFIX ?= /usr/local
BUILD_PACKAGES := cmake ninja-build g++ make pkg-config libssl-dev openssl ca-certificates
TEST_PACKAGES  := $(BUILD_PACKAGES) libgtest-dev libgmock-dev
BENCH_PACKAGES := $(BUILD_PACKAGES) libbenchmark-dev python3
FUZZ_PACKAGES  := $(BUILD_PACKAGES) clang libclang-rt-14-dev
ENSURE := ./scripts/ensure-packages.sh

.PHONY: all demo test install bench fuzz-smoke release clean

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

clean:
	rm -rf build
