# The README's two commands (demo, test) and developer shortcuts.
BUILD      ?= build
BUILD_TYPE ?= RelWithDebInfo
JOBS       ?= 2
BIN        := $(BUILD)/bin

FUZZ_BUILD   ?= build-fuzz
FUZZ_SECONDS ?= 30

.PHONY: deps configure build demo test sanitize fuzz bench screenshots clean

deps:
	@bash scripts/install-deps.sh

$(BUILD)/build.ninja:
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_EXTRA)

configure: deps $(BUILD)/build.ninja

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	@bash scripts/demo.sh $(BIN)

test: build
	ctest --test-dir $(BUILD) --output-on-failure -j $(JOBS)

# The desktop program is left out: its logic lives in the core libraries, tested here, and the
# Qt build would add a third of the time of a CI run.
sanitize:
	@$(MAKE) --no-print-directory test BUILD=build-asan BUILD_TYPE=Debug \
	  CMAKE_EXTRA="-DQVL_SANITIZE=ON -DQVL_GUI=OFF"

# Every fuzz target for FUZZ_SECONDS each (clang, ASan + UBSan, in FUZZ_BUILD); fails on a finding.
# FUZZ_TARGETS="obs uvx_info" runs only those.
fuzz:
	@bash scripts/install-deps.sh fuzz
	@bash scripts/fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

bench: deps
	cmake -S . -B build-bench -G Ninja -DCMAKE_BUILD_TYPE=Release -DQVL_BENCH=ON
	cmake --build build-bench -j $(JOBS)
	@ls build-bench/bin/bench_* 2>/dev/null | while read b; do echo "== $$b"; $$b; done

# PNGs of the desktop program's windows and dialogs (offscreen: no display needed).
screenshots: configure
	cmake --build $(BUILD) -j $(JOBS) --target qvlmodel-screenshots
	QT_QPA_PLATFORM=offscreen $(BIN)/qvlmodel-screenshots docs/screenshots

clean:
	rm -rf $(BUILD) build-asan build-bench $(FUZZ_BUILD)
