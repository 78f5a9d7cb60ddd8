#!/usr/bin/env bash
# Installs a build into a scratch DESTDIR and checks what a person gets:
# the layout, binaries that resolve only through the install, no build or
# source paths in installed text, the installed orv-host answering as the
# build tree's does, the pkg-config file, and a consumer project built out of
# tree with find_package(OrvServer) that loads the installed plug-in.
# Usage: install_test.sh ARCH SOURCE_DIR BUILD_DIR VERSION   (ARCH: amd64|i386)
set -uo pipefail
arch=$1
src=$(realpath "$2")
build=$(realpath "$3")
version=$4
. "$src/tests/install/checks.sh"

tmp=$(mktemp -d /tmp/orv-install-XXXXXX)
trap 'rm -rf "$tmp"' EXIT
root=$tmp/root
prefix=/usr

if ! DESTDIR=$root "${CMAKE:-cmake}" --install "$build" --prefix "$prefix" >"$tmp/install.log" 2>&1; then
  cat "$tmp/install.log"
  fail "cmake --install failed"
  finish install
  exit
fi
web=no
[ -d "$src/web" ] && web=yes
mapfile -t files < <(cd "$root$prefix" && find . -type f -o -type l | sed 's|^\./||' | sort)
check_layout all "$arch" "$web" "${files[@]}"
check_binaries "$arch" "$root" "$prefix" 3
check_no_paths "$root" -I "$src" "$build" "$root"
check_programs "$version" "$root$prefix" "$build" "$src" "$tmp"

# pkg-config gives the host headers wherever the install was put.
since=$failures
flags=()
[ "$arch" = i386 ] && flags=(-m32 -msse2 -mfpmath=sse)
pc_version=$(PKG_CONFIG_PATH=$root$prefix/share/pkgconfig pkg-config --modversion orvserver)
[ "$pc_version" = "$version" ] || fail "pkg-config version '$pc_version'"
cflags=$(PKG_CONFIG_PATH=$root$prefix/share/pkgconfig pkg-config --cflags orvserver)
printf '#include "host/Agent.h"\nint main() { return 0; }\n' |
  ${CXX:-c++} -std=c++17 "${flags[@]}" $cflags -fsyntax-only -x c++ - ||
  fail "host/Agent.h does not compile with pkg-config's flags: $cflags"
pass "$since" "pkg-config orvserver $pc_version: $cflags"

# A consumer project: find_package(OrvServer), linked against the emulator.
consumer_options=(-DCMAKE_PREFIX_PATH="$root$prefix" -DCMAKE_BUILD_TYPE=Release)
if [ "$arch" = i386 ]; then
  consumer_options+=(-DCMAKE_CXX_FLAGS="${flags[*]}" -DCMAKE_EXE_LINKER_FLAGS=-m32
                     -DCMAKE_MODULE_LINKER_FLAGS=-m32 -DCMAKE_LIBRARY_ARCHITECTURE=i386-linux-gnu)
fi
if "${CMAKE:-cmake}" -S "$src/tests/install/consumer" -B "$tmp/consumer" "${consumer_options[@]}" >"$tmp/consumer.log" 2>&1 &&
   "${CMAKE:-cmake}" --build "$tmp/consumer" >>"$tmp/consumer.log" 2>&1; then
  "$build/bin/orv-host" --print 2 "$src/examples/model.json" GetNativeLinkInformation REQ-001 "" >"$tmp/expected-2.txt"
  if "$tmp/consumer/consumer" REQ-001 >"$tmp/consumer.txt" && cmp -s "$tmp/expected-2.txt" "$tmp/consumer.txt" &&
     [ -s "$tmp/consumer.txt" ]; then
    pass "$failures" "the consumer built against the install runs GetNativeLinkInformation in the installed plug-in"
  else
    fail "the consumer's answer differs from orv-host's: $(head -c 300 "$tmp/consumer.txt")"
  fi
  # Installed, the consumer loses CMake's build run path; the imported
  # target's own run path still finds the emulator library.
  since=$failures
  if "${CMAKE:-cmake}" --install "$tmp/consumer" --prefix "$tmp/consumer-prefix" >>"$tmp/consumer.log" 2>&1; then
    "$tmp/consumer-prefix/bin/consumer" REQ-001 >"$tmp/consumer-installed.txt" 2>"$tmp/consumer-installed.err"
    status=$?
    [ "$status" -eq 0 ] && cmp -s "$tmp/expected-2.txt" "$tmp/consumer-installed.txt" ||
      fail "the installed consumer gave status $status: $(head -c 300 "$tmp/consumer-installed.err")"
    pass "$since" "the installed consumer finds the emulator library and answers alike"
  else
    cat "$tmp/consumer.log"
    fail "the consumer could not be installed"
  fi
else
  cat "$tmp/consumer.log"
  fail "the consumer project did not build against the install"
fi
finish install
