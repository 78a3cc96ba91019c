#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors, checks formatting and runs every test.
source "$(dirname "${BASH_SOURCE[0]}")/bootstrap.sh"

zobrel_install_packages
# Without debug information: the same optimisation, code and warnings as the station's build, and
# compiling and linking the hundred test programs on a small machine takes far less time.
zobrel_build -DZOBREL_WERROR=ON "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O2 -DNDEBUG"

cd "$ZOBREL_ROOT"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror

QT_QPA_PLATFORM=offscreen ctest --test-dir "$ZOBREL_BUILD_DIR" --output-on-failure -j "$(nproc)" -LE 'manual|bench'
