# Two entry points for a fresh Debian 12 machine:
#   make demo   installs what is missing, builds zelka130.dll and runs the sample under Wine
#   make test   installs what is missing, builds and runs the whole suite under Wine
# Both architectures are built, each in its own folder (build/x86, the 32-bit product, and
# build/x64); the suite runs for each one this machine can run. ARCHS=x64 (or x86) limits any
# target to one of them.
BUILD ?= build
ARCHS ?= x86 x64
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=Release
PREFIX ?= $(BUILD)/install

.PHONY: all setup configure build test demo install clean

all: build

setup:
	@bash tools/setup.sh

configure: setup
	@for arch in $(ARCHS); do \
	  cmake -S . -B $(BUILD)/$$arch -DCMAKE_TOOLCHAIN_FILE=$(abspath cmake/toolchain-$$arch.cmake) \
	    $(CMAKE_FLAGS) >/dev/null || exit 1; \
	done

build: configure
	@for arch in $(ARCHS); do cmake --build $(BUILD)/$$arch -j $(JOBS) || exit 1; done

test: build
	@bash tools/run-suites.sh $(BUILD) $(ARCHS)

demo: build
	@bash tools/run-demo.sh $(BUILD) $(ARCHS)

# Each architecture is a complete prefix of its own: $(PREFIX)/x86 and $(PREFIX)/x64.
install: build
	@for arch in $(ARCHS); do \
	  cmake --install $(BUILD)/$$arch --prefix $(abspath $(PREFIX))/$$arch || exit 1; \
	done

clean:
	@rm -rf $(BUILD)
