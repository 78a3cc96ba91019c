#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors, checks formatting and runs every test.
source "$(dirname "${BASH_SOURCE[0]}")/bootstrap.sh"

zobrel_install_packages
zobrel_build -DZOBREL_WERROR=ON

cd "$ZOBREL_ROOT"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

QT_QPA_PLATFORM=offscreen ctest --test-dir "$ZOBREL_BUILD_DIR" --output-on-failure -j "$(nproc)" -LE 'manual|bench'
