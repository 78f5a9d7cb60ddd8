#!/usr/bin/env bash
# Installs the Debian packages on this machine as a user would: the three
# amd64 packages and the i386 plug-in package side by side. Runs the
# installed orv-host, the i386 plug-in under the i386 orv-host (unpacked from
# the i386 tools package, which cannot be installed beside the amd64 one),
# the manual page and a consumer built against the installed dev package;
# removes everything and checks that nothing is left; runs lintian over
# every package. Needs root and both builds.
# Usage: debian_test.sh SOURCE_DIR AMD64_BUILD_DIR I386_BUILD_DIR VERSION
set -uo pipefail
src=$(realpath "$1")
version=$4
. "$src/tests/install/checks.sh"

if [ ! -f "$3/CPackConfig.cmake" ]; then
  fail "no i386 build in $3: build the m32 preset first (scripts/test.sh does)"
  finish debian
  exit
fi
build64=$(realpath "$2")
build32=$(realpath "$3")
names=(orvserver-plugin orvserver-tools orvserver-dev)
installed_names() {
  dpkg-query -W -f='${Package}:${Architecture} ${db:Status-Status}\n' 'orvserver-*' 2>/dev/null |
    grep -v ' not-installed$' | grep -v ' config-files$'
}
if [ -n "$(installed_names)" ]; then
  fail "orvserver packages are installed already; this test installs and removes its own: $(installed_names | tr '\n' ' ')"
  finish debian
  exit
fi

tmp=$(mktemp -d /tmp/orv-debian-XXXXXX)
remove_all() {
  local p
  for p in $(dpkg-query -W -f='${Package}:${Architecture}\n' 'orvserver-*' 2>/dev/null); do
    DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq "$p" >/dev/null 2>&1 || dpkg --purge "$p" >/dev/null 2>&1
  done
}
trap 'remove_all; rm -rf "$tmp"' EXIT

for arch in amd64 i386; do
  build=$build64
  [ "$arch" = i386 ] && build=$build32
  if ! "${CPACK:-cpack}" -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/$arch" >"$tmp/cpack-$arch.log" 2>&1; then
    cat "$tmp/cpack-$arch.log"
    fail "cpack failed in $build"
    finish debian
    exit
  fi
done
deb() {
  echo "$tmp/$2/${1}_${version}_$2.deb"
}

# Installed side by side: the three amd64 packages and the i386 plug-in.
since=$failures
wanted=("$(deb orvserver-plugin amd64)" "$(deb orvserver-tools amd64)" "$(deb orvserver-dev amd64)"
        "$(deb orvserver-plugin i386)")
if ! DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${wanted[@]}" >"$tmp/apt.log" 2>&1; then
  cat "$tmp/apt.log"
  fail "apt-get could not install the packages"
  finish debian
  exit
fi
expected_installed="orvserver-dev:amd64 installed
orvserver-plugin:amd64 installed
orvserver-plugin:i386 installed
orvserver-tools:amd64 installed"
[ "$(installed_names | sort)" = "$expected_installed" ] || fail "installed: $(installed_names | tr '\n' ' ')"
for f in /usr/lib/x86_64-linux-gnu/orvserver/libOrvServer.so /usr/lib/i386-linux-gnu/orvserver/libOrvServer.so; do
  [ -f "$f" ] || fail "$f is not installed"
done
pass "$since" "installed: $(installed_names | tr '\n' ' ')"

# The installed orv-host answers as the build tree's does.
since=$failures
guid=REQ-001
"$build64/bin/orv-host" "$src/examples/model.json" GetNativeLinkInformation "$guid" "" >"$tmp/expected.txt"
[ "$(orv-host --version)" = "orv-host $version" ] || fail "orv-host --version: $(orv-host --version)"
orv-host /usr/share/orvserver/examples/model.json GetNativeLinkInformation "$guid" "" >"$tmp/amd64.txt" ||
  fail "the installed orv-host failed"
cmp -s "$tmp/expected.txt" "$tmp/amd64.txt" || fail "the installed orv-host answers differently"
[ -s "$tmp/amd64.txt" ] || fail "the installed orv-host gave no answer"
pass "$since" "/usr/bin/orv-host loads /usr/lib/x86_64-linux-gnu/orvserver/libOrvServer.so by default"

# The installed i386 plug-in under the i386 orv-host.
since=$failures
dpkg -x "$(deb orvserver-tools i386)" "$tmp/tools-i386"
host32=$tmp/tools-i386/usr/bin/orv-host
file -b "$host32" | grep -q "ELF 32-bit LSB .*Intel 80386" || fail "the i386 orv-host is $(file -b "$host32")"
"$host32" --plugin /usr/lib/i386-linux-gnu/orvserver/libOrvServer.so /usr/share/orvserver/examples/model.json \
  GetNativeLinkInformation "$guid" "" >"$tmp/i386.txt" || fail "the i386 orv-host failed on the installed i386 plug-in"
cmp -s "$tmp/expected.txt" "$tmp/i386.txt" || fail "the installed i386 plug-in answers differently"
pass "$since" "the installed i386 plug-in answers $guid with the same bytes under the i386 orv-host"

# The manual page.
since=$failures
[ "$(man -w orv-host 2>&1)" = /usr/share/man/man1/orv-host.1.gz ] || fail "man -w orv-host: $(man -w orv-host 2>&1)"
rendered=$(MANWIDTH=80 man -P cat orv-host 2>"$tmp/man.err")
for heading in NAME SYNOPSIS DESCRIPTION OPTIONS "EXIT STATUS" EXAMPLES; do
  grep -q "^$heading" <<<"$rendered" || fail "man orv-host has no $heading"
done
[ -s "$tmp/man.err" ] && fail "man orv-host warned: $(head -3 "$tmp/man.err")"
pass "$since" "man orv-host renders"

# A consumer built against the installed dev package, then installed.
since=$failures
if cmake -S "$src/tests/install/consumer" -B "$tmp/consumer" -DCMAKE_BUILD_TYPE=Release >"$tmp/consumer.log" 2>&1 &&
   cmake --build "$tmp/consumer" >>"$tmp/consumer.log" 2>&1 &&
   cmake --install "$tmp/consumer" --prefix "$tmp/consumer-prefix" >>"$tmp/consumer.log" 2>&1; then
  "$build64/bin/orv-host" --print 2 "$src/examples/model.json" GetNativeLinkInformation "$guid" "" >"$tmp/expected-2.txt"
  "$tmp/consumer-prefix/bin/consumer" "$guid" >"$tmp/consumer.txt" || fail "the installed consumer failed"
  cmp -s "$tmp/expected-2.txt" "$tmp/consumer.txt" || fail "the installed consumer answers differently"
else
  cat "$tmp/consumer.log"
  fail "the consumer did not build against the installed packages"
fi
pass "$since" "a consumer of the installed OrvServer package runs once installed"

# Removed, nothing is left: no package, no file, no directory of ours.
since=$failures
mapfile -t shipped < <(for f in "$tmp"/amd64/*.deb "$(deb orvserver-plugin i386)"; do
                         dpkg-deb --contents "$f" | awk '{ print $6 }' | grep -v '/$' | sed 's|^\.||'
                       done | sort -u)
remove_all
[ -z "$(installed_names)" ] || fail "still installed: $(installed_names | tr '\n' ' ')"
for f in "${shipped[@]}"; do
  [ -e "$f" ] && fail "left behind: $f"
done
for d in /usr/lib/x86_64-linux-gnu/orvserver /usr/lib/i386-linux-gnu/orvserver /usr/lib/x86_64-linux-gnu/cmake/OrvServer \
         /usr/include/orvserver /usr/share/orvserver /usr/share/doc/orvserver-plugin /usr/share/doc/orvserver-tools \
         /usr/share/doc/orvserver-dev; do
  [ -e "$d" ] && fail "left behind: $d"
done
pass "$since" "removed: none of the ${#shipped[@]} files is left"

# lintian: no errors and no warnings; the tags that do not apply are
# overridden in the packages, each with its reason.
since=$failures
for f in "$tmp"/amd64/*.deb "$tmp"/i386/*.deb; do
  if ! lintian --fail-on error,warning --no-tag-display-limit "$f" >"$tmp/lintian.txt" 2>&1; then
    fail "lintian $(basename "$f"):"
    cat "$tmp/lintian.txt"
  fi
  grep -E '^[EW]: ' "$tmp/lintian.txt" && fail "lintian reports the above for $(basename "$f")"
done
pass "$since" "lintian: no errors or warnings in $(ls "$tmp"/amd64/*.deb "$tmp"/i386/*.deb | wc -l) packages"
finish debian
