#!/usr/bin/env bash
# Builds everything in Release and runs the whole test suite with CTest.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/ensure-deps.sh --tests
cmake --preset release >/dev/null
cmake --build --preset release -j "$(nproc)"
ctest --preset release "$@"
