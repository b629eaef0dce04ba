# The two commands a fresh machine needs: `make demo` and `make test`. Both install what is
# missing first.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_GENERATE = cmake -S . -G Ninja -Wno-dev

.PHONY: deps test bench fuzz demo python serve format clean

deps:
	@scripts/install-deps

# Debug build under AddressSanitizer and UndefinedBehaviorSanitizer, every test.
test: deps
	@$(CMAKE_GENERATE) -B $(BUILD)/test -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g" -DORVA_SANITIZE=ON > /dev/null
	cmake --build $(BUILD)/test -j $(JOBS)
	ctest --test-dir $(BUILD)/test --output-on-failure -j $(JOBS)

# Optimised build, then the examples: the coconut image read, labelled and its zones listed
# (the typical run), then the same scene with a box drawn around every region, saved as a PNG
# whose path is printed.
demo: deps
	@$(CMAKE_GENERATE) -B $(BUILD)/demo -DCMAKE_BUILD_TYPE=Release -DORVA_TESTS=OFF > /dev/null
	cmake --build $(BUILD)/demo -j $(JOBS)
	$(BUILD)/demo/bin/orva run $(BUILD)/demo/examples/zones.json
	$(BUILD)/demo/bin/orva run $(BUILD)/demo/examples/demo.json --print save:0
	$(BUILD)/demo/bin/orva run $(BUILD)/demo/examples/segment.json --print threshold:1 --print save:0

# The Python package, optimised, into $(BUILD)/python: PYTHONPATH=$(BUILD)/python /usr/bin/python3
python: deps
	@$(CMAKE_GENERATE) -B $(BUILD)/python -DCMAKE_BUILD_TYPE=Release -DORVA_TESTS=OFF > /dev/null
	cmake --build $(BUILD)/python -j $(JOBS) --target orva_python examples

# Optimised build, then the editor in the browser with the typical graph open; the first line
# printed is the address to open. Files are opened and saved below SERVE_ROOT.
SERVE_ROOT ?= .
serve: deps
	@$(CMAKE_GENERATE) -B $(BUILD)/demo -DCMAKE_BUILD_TYPE=Release -DORVA_TESTS=OFF > /dev/null
	cmake --build $(BUILD)/demo -j $(JOBS)
	$(BUILD)/demo/bin/orva serve $(BUILD)/demo/examples/zones.json --root $(SERVE_ROOT)

# Optimised build; every workload against its reference, one line each, then the scaling
# table (SCALING_SIDES, SCALING_WORKLOADS narrow it).
bench:
	@scripts/install-deps --bench
	@$(CMAKE_GENERATE) -B $(BUILD)/release -DCMAKE_BUILD_TYPE=Release -DORVA_BENCH=ON -DORVA_TESTS=OFF > /dev/null
	cmake --build $(BUILD)/release -j $(JOBS)
	@bench/run $(BUILD)/release
	@/usr/bin/python3 bench/scaling.py $(BUILD)/release

# libFuzzer targets (clang) for ReadImage's formats, ReadMap's text format, ReadASCII, graph
# files and settings; each runs FUZZ_TIME seconds (default 600). Not part of `make test`.
fuzz:
	@scripts/fuzz $(BUILD)/fuzz

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
