#!/usr/bin/env bash
# Builds the Debian package of a build with cpack and checks it: its fields
# (architecture, maintainer, description, dependencies from dpkg-shlibdeps),
# its contents, no build or source paths in any file, and, unpacked into a
# scratch root, the orv-host it ships.
# Usage: package_test.sh ARCH SOURCE_DIR BUILD_DIR VERSION   (ARCH: amd64|i386)
set -uo pipefail
arch=$1
src=$(realpath "$2")
build=$(realpath "$3")
version=$4
. "$src/tests/install/checks.sh"

tmp=$(mktemp -d /tmp/orv-package-XXXXXX)
trap 'rm -rf "$tmp"' EXIT
deb=$tmp/out/orvserver_${version}_${arch}.deb

if ! "${CPACK:-cpack}" -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/out" >"$tmp/cpack.log" 2>&1 || [ ! -f "$deb" ]; then
  cat "$tmp/cpack.log"
  ls "$tmp/out"
  fail "cpack made no $(basename "$deb")"
  finish package
  exit
fi
pass "$failures" "cpack made $(basename "$deb")"

since=$failures
field() {
  dpkg-deb --field "$deb" "$1"
}
[ "$(field Package)" = orvserver ] || fail "Package: $(field Package)"
[ "$(field Version)" = "$version" ] || fail "Version: $(field Version)"
[ "$(field Architecture)" = "$arch" ] || fail "Architecture: $(field Architecture)"
[ "$(field Maintainer)" = "OrvServer team <team@orvserver.invalid>" ] || fail "Maintainer: $(field Maintainer)"
[ "$(field Description | head -n 1)" = "agent plug-in for the modelling server, host emulator and orv-host" ] ||
  fail "Description: $(field Description | head -n 1)"
[ "$(field Description | wc -l)" -gt 3 ] || fail "the description has no long text"
# The binaries need the C and C++ runtimes of their own architecture; the
# 32-bit copies in amd64 packages (libc6-i386, lib32stdc++6) do not count.
# Other libraries a program links (an HTTP server, say) may add names.
depends=$(field Depends | tr ',' '\n' | sed 's/^ *//; s/ .*//' | sort -u)
for name in libc6 libstdc++6; do
  grep -qx "$name" <<<"$depends" ||
    fail "Depends lacks $name: $(field Depends) (dpkg-shlibdeps needs the runtime libraries of $arch:" \
         "dpkg --add-architecture $arch; apt-get install libstdc++6:$arch)"
done
if grep -qE '^(lib32|libx32|lib64|libc6-(i386|amd64|x32))' <<<"$depends"; then
  fail "Depends names another architecture's copies: $(field Depends)"
fi
pass "$since" "fields: $(field Architecture), Depends: $(field Depends)"

mapfile -t files < <(dpkg-deb --contents "$deb" | awk '{ print $6 }' | grep -v '/$' | sed 's|^\./usr/||' | sort)
web=no
[ -d "$src/web" ] && web=yes
check_layout "$arch" "$web" "${files[@]}"

root=$tmp/root
dpkg -x "$deb" "$root"
check_binaries "$arch" "$root" /usr
# The package's binaries are stripped: no file may name the build at all.
check_no_paths "$root" -a "$src" "$build"
check_programs "$version" "$root/usr" "$build" "$src" "$tmp"
finish package
