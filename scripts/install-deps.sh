#!/usr/bin/env bash
# Installs the Debian packages the project needs, when any is missing.
# Usage: bash scripts/install-deps.sh [demo|all]   (default: all)
#   APT_UPDATE_TRIES   how often 'apt-get update' is tried (default 4)
#   APT_RETRY_PAUSE    seconds between two tries (default 10)
set -euo pipefail

# The demo builds the tool with its HTTP server and takes a screenshot of the
# browser client; the tests add the i386 compiler, sanitizer runtimes,
# valgrind, SVG and XML checkers, Selenium and the Debian packaging tools.
demo_packages=(cmake make g++ binutils nlohmann-json3-dev googletest libgtest-dev libgmock-dev
               libcpp-httplib-dev pkgconf chromium chromium-driver python3)
all_packages=("${demo_packages[@]}" g++-multilib libbenchmark-dev rapidjson-dev clang libclang-rt-14-dev
              librsvg2-bin libxml2-utils valgrind python3-selenium python3-jsonschema python3-yaml dpkg-dev file
              wrk ccache libtsan2 libstdc++6:i386)

case "${1:-all}" in
  demo) wanted=("${demo_packages[@]}") ;;
  all) wanted=("${all_packages[@]}") ;;
  *) echo "usage: $0 [demo|all]" >&2; exit 1 ;;
esac
# The tests lint docs/openapi.yaml and inject axe-core with npm packages. A
# node that came with its own npm (not Debian's) is kept as it is.
if [ "${1:-all}" = all ] && ! command -v npm >/dev/null; then
  wanted+=(nodejs npm)
fi

is_installed() {
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

# A mirror that is mid-sync fails one index of 'apt-get update' for a few
# minutes. Try a few times; after that go on with the indices there are and
# let 'apt-get install' say whether they are enough.
update_indices() {
  local tries=${APT_UPDATE_TRIES:-4} pause=${APT_RETRY_PAUSE:-10} n
  for ((n = 1; n <= tries; n++)); do
    if apt-get update -qq; then
      return 0
    fi
    if ((n < tries)); then
      echo "install-deps: apt-get update failed (try $n of $tries); trying again in ${pause}s" >&2
      sleep "$pause"
    fi
  done
  echo "install-deps: apt-get update failed $tries times; going on with the package lists there are" >&2
}

# The npm packages of package-lock.json, installed with 'npm ci' only when
# node_modules was not made from this very lock file (a stamp holds its
# checksum), so a second run needs no network.
install_npm_packages() {
  local root lock stamp sum
  root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
  lock="$root/package-lock.json"
  stamp="$root/node_modules/.installed-from-lock"
  sum=$(sha256sum "$lock" | cut -d' ' -f1)
  if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$sum" ]; then
    return 0
  fi
  echo "install-deps: npm ci in $root"
  (cd "$root" && npm ci --no-audit --no-fund --loglevel=error) && echo "$sum" >"$stamp"
}

missing=()
for p in "${wanted[@]}"; do
  is_installed "$p" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  [ "${1:-all}" = all ] && install_npm_packages
  exit 0
fi

echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# The i386 package's dependencies are computed from the i386 runtime libraries.
if printf '%s\n' "${missing[@]}" | grep -q ':i386$' && ! dpkg --print-foreign-architectures | grep -qx i386; then
  dpkg --add-architecture i386
fi
update_indices
if ! apt-get install -y -qq --no-install-recommends "${missing[@]}"; then
  # Name the packages that did not make it, so the reader knows what to fix.
  not_installed=()
  for p in "${missing[@]}"; do
    is_installed "$p" || not_installed+=("$p")
  done
  echo "install-deps: could not install: ${not_installed[*]:-(apt-get failed)}" >&2
  exit 1
fi
[ "${1:-all}" = all ] && install_npm_packages
exit 0
