# SPDX-License-Identifier: GPL-3.0-or-later
# Shortcuts for the scripts under scripts/.
.PHONY: run test build bench format
run:
	scripts/run
test:
	scripts/test
build:
	scripts/install-deps && scripts/build
bench: build
	scripts/bench
format:
	clang-format -i $$(git ls-files '*.cpp' '*.h')
