# The README's commands. Each one installs what it needs first.
BUILD ?= build
JOBS ?= $(shell nproc)

.PHONY: deps configure build demo test bench format clean

deps:
	bash scripts/install-deps.sh

configure: deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_BUILD_TYPE=Release

build: configure
	cmake --build $(BUILD) -j $(JOBS)

demo: build
	./$(BUILD)/cli/tavrin render

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)

# BENCH_ARGS goes to the benchmark, e.g. BENCH_ARGS="--benchmark_filter=Network --benchmark_repetitions=3"
bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target tavrin_bench
	./$(BUILD)/bench/tavrin_bench $(BENCH_ARGS)

format:
	find host standalone cli sources effectors renderers engines params resources tests bench \
	  -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
