#!/usr/bin/env bash
# Installs the Debian packages the project needs, when any is missing.
# Usage: bash scripts/install-deps.sh [demo|all]   (default: all)
set -euo pipefail

# The demo builds the tool with its HTTP server and takes a screenshot of the
# browser client; the tests add the i386 compiler, sanitizer runtimes,
# valgrind, SVG and XML checkers, Selenium and the Debian packaging tools.
demo_packages=(cmake make g++ binutils nlohmann-json3-dev googletest libgtest-dev libgmock-dev
               libcpp-httplib-dev pkgconf chromium chromium-driver python3)
all_packages=("${demo_packages[@]}" g++-multilib libbenchmark-dev rapidjson-dev clang libclang-rt-14-dev
              librsvg2-bin libxml2-utils valgrind python3-selenium dpkg-dev file wrk ccache libtsan2 libstdc++6:i386)

case "${1:-all}" in
  demo) wanted=("${demo_packages[@]}") ;;
  all) wanted=("${all_packages[@]}") ;;
  *) echo "usage: $0 [demo|all]" >&2; exit 1 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  # The i386 package's dependencies are computed from the i386 runtime libraries.
  if printf '%s\n' "${missing[@]}" | grep -q ':i386$' && ! dpkg --print-foreign-architectures | grep -qx i386; then
    dpkg --add-architecture i386
  fi
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
