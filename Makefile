# The README's commands. Each one installs what it needs first.
BUILD ?= build
JOBS ?= $(shell nproc)

.PHONY: deps configure build demo test sanitize fuzz bench format clean frei0r install-frei0r python

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

# The whole suite again under AddressSanitizer and UndefinedBehaviorSanitizer, in its own tree.
# intercept_tls_get_addr=0: GCC 12's sanitizer runtime takes a thread's dynamic TLS block that a
# module loaded with dlopen (the image module) happens to start 16 bytes into a page for the
# header of a pre-2.25 glibc and reads its address and size from the words before it, and
# LeakSanitizer's tracer then crashes at exit ("Tracer caught signal 11"). Without the
# interception the blocks are still scanned, as heap blocks reachable from the thread's vector.
SANITIZE_BUILD ?= build-sanitize
SANITIZE_ENV = ASAN_OPTIONS=detect_leaks=1:intercept_tls_get_addr=0 \
  UBSAN_OPTIONS=print_stacktrace=1 LSAN_OPTIONS=suppressions=$(CURDIR)/tests/lsan.supp
sanitize: deps
	cmake -S . -B $(SANITIZE_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTAVRIN_SANITIZE=ON
	cmake --build $(SANITIZE_BUILD) -j $(JOBS)
	cd $(SANITIZE_BUILD) && $(SANITIZE_ENV) ctest --output-on-failure -j $(JOBS)

# The libFuzzer targets built with clang and run FUZZ_SECONDS each (scripts/fuzz.sh).
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
fuzz:
	bash scripts/install-deps.sh --fuzz
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	  -DTAVRIN_FUZZ=ON
	cmake --build $(FUZZ_BUILD) -j $(JOBS) --target tavrin fuzz_document fuzz_obj fuzz_records \
	  fuzz_sequence fuzz_cli
	bash scripts/fuzz.sh $(FUZZ_BUILD) $(FUZZ_SECONDS)

# BENCH_ARGS goes to the benchmark, e.g. BENCH_ARGS="--benchmark_filter=Network --benchmark_repetitions=3";
# each word is quoted for the shell, so a filter such as "--benchmark_filter=A|B" stays one word.
bench: configure
	cmake --build $(BUILD) -j $(JOBS) --target tavrin_bench
	./$(BUILD)/bench/tavrin_bench $(foreach arg,$(BENCH_ARGS),'$(arg)')

# The frei0r plug-ins (docs/hosts.md), and a copy in ~/.frei0r-1/lib where frei0r programs look.
frei0r: configure
	cmake --build $(BUILD) -j $(JOBS) --target frei0r
install-frei0r: frei0r
	mkdir -p $(HOME)/.frei0r-1/lib
	cp $(BUILD)/hosts/frei0r/tavrin.so $(BUILD)/hosts/frei0r/tavrin_src.so $(HOME)/.frei0r-1/lib/

# The Python module (docs/python.md): $(BUILD)/python/tavrin*.so, for PYTHONPATH=$(BUILD)/python.
python: configure
	cmake --build $(BUILD) -j $(JOBS) --target python

format:
	find host standalone cli studio sources effectors renderers engines params resources main imageio tests bench fuzz hosts python \
	  -name '*.cpp' -o -name '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD)
