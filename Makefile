# Two entry points for a fresh Debian 12 machine:
#   make demo   installs what is missing, builds zelka130.dll and runs the sample under Wine
#   make test   installs what is missing, builds and runs the whole suite under Wine
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?= -DCMAKE_BUILD_TYPE=Release

.PHONY: all setup configure build test demo install clean

all: build

setup:
	@bash tools/setup.sh

configure: setup
	@cmake -S . -B $(BUILD) -DCMAKE_TOOLCHAIN_FILE=$(abspath cmake/toolchain-mingw32.cmake) $(CMAKE_FLAGS) >/dev/null

build: configure
	@cmake --build $(BUILD) -j $(JOBS)

test: build
	@bash tools/in-wine.sh $(BUILD) ctest --output-on-failure

demo: build
	@bash tools/in-wine.sh $(BUILD) wine bin/zelka_demo.exe

install: build
	@cmake --install $(BUILD) --prefix $(or $(PREFIX),$(BUILD)/install)

clean:
	@rm -rf $(BUILD)
