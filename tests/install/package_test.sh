#!/usr/bin/env bash
# Builds the Debian packages of a build with cpack and checks them: each
# package's fields (architecture, Multi-Arch, maintainer, description,
# exact-version dependencies between the three, runtime dependencies from
# dpkg-shlibdeps), its contents, no build or source paths in any file, and,
# unpacked into a scratch root, the orv-host they ship.
# Usage: package_test.sh ARCH SOURCE_DIR BUILD_DIR VERSION   (ARCH: amd64|i386)
set -uo pipefail
arch=$1
src=$(realpath "$2")
build=$(realpath "$3")
version=$4
. "$src/tests/install/checks.sh"

tmp=$(mktemp -d /tmp/orv-package-XXXXXX)
trap 'rm -rf "$tmp"' EXIT
packages=(plugin tools dev)
deb_of() {
  echo "$tmp/out/orvserver-${1}_${version}_${arch}.deb"
}

"${CPACK:-cpack}" -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/out" >"$tmp/cpack.log" 2>&1
for package in "${packages[@]}"; do
  if [ ! -f "$(deb_of "$package")" ]; then
    cat "$tmp/cpack.log"
    ls "$tmp/out"
    fail "cpack made no $(basename "$(deb_of "$package")")"
    finish package
    exit
  fi
done
pass "$failures" "cpack made the packages orvserver-{plugin,tools,dev}_${version}_${arch}.deb"

# Expected fields, by hand: package, section, Multi-Arch, synopsis, the
# packages it depends on with an exact version, and whether it holds code
# that needs the C and C++ runtimes.
declare -A section=([plugin]=libs [tools]=devel [dev]=libdevel)
declare -A multiarch=([plugin]=same [tools]=no [dev]=no)
declare -A synopsis=(
  [plugin]="agent plug-in for the modelling server of a model-based design tool"
  [tools]="host emulator and orv-host for the OrvServer agent plug-in"
  [dev]="headers and CMake package for building against OrvServer")
declare -A exact=([plugin]="" [tools]="orvserver-plugin (= $version)" [dev]="orvserver-tools (= $version)")
declare -A runtime=([plugin]=yes [tools]=yes [dev]=no)

for package in "${packages[@]}"; do
  since=$failures
  deb=$(deb_of "$package")
  field() {
    dpkg-deb --field "$deb" "$1"
  }
  [ "$(field Package)" = "orvserver-$package" ] || fail "$package: Package: $(field Package)"
  [ "$(field Version)" = "$version" ] || fail "$package: Version: $(field Version)"
  [ "$(field Architecture)" = "$arch" ] || fail "$package: Architecture: $(field Architecture)"
  [ "$(field Section)" = "${section[$package]}" ] || fail "$package: Section: $(field Section)"
  [ "$(field Multi-Arch)" = "${multiarch[$package]}" ] || fail "$package: Multi-Arch: '$(field Multi-Arch)'"
  [ "$(field Maintainer)" = "OrvServer team <team@orvserver.invalid>" ] || fail "$package: Maintainer: $(field Maintainer)"
  [ "$(field Description | head -n 1)" = "${synopsis[$package]}" ] ||
    fail "$package: Description: $(field Description | head -n 1)"
  [ "$(field Description | wc -l)" -gt 3 ] || fail "$package: the description has no long text"
  depends=$(field Depends | tr ',' '\n' | sed 's/^ *//; s/ *$//')
  if [ -n "${exact[$package]}" ]; then
    grep -qxF "${exact[$package]}" <<<"$depends" || fail "$package: Depends lacks ${exact[$package]}: $(field Depends)"
  fi
  # The binaries need the C and C++ runtimes of their own architecture; the
  # 32-bit copies in amd64 packages (libc6-i386, lib32stdc++6) do not count.
  # Other libraries a program links (an HTTP server, say) may add names.
  names=$(sed 's/ .*//' <<<"$depends" | sort -u)
  if [ "${runtime[$package]}" = yes ]; then
    for name in libc6 libstdc++6; do
      grep -qx "$name" <<<"$names" ||
        fail "$package: Depends lacks $name: $(field Depends) (dpkg-shlibdeps needs the runtime libraries of $arch:" \
             "dpkg --add-architecture $arch; apt-get install libstdc++6:$arch)"
    done
  else
    [ "$names" = orvserver-tools ] || fail "$package: Depends: $(field Depends)"
  fi
  if grep -qE '^(lib32|libx32|lib64|libc6-(i386|amd64|x32))' <<<"$names"; then
    fail "$package: Depends names another architecture's copies: $(field Depends)"
  fi
  pass "$since" "orvserver-$package fields: Depends: $(field Depends)"

  mapfile -t files < <(dpkg-deb --contents "$deb" | awk '{ print $6 }' | grep -v '/$' | sed 's|^\./usr/||' | sort)
  web=no
  [ -d "$src/web" ] && web=yes
  check_layout "$package" "$arch" "$web" "${files[@]}"
  # No empty directories: every directory holds a file somewhere below.
  empty=$(dpkg-deb --contents "$deb" | awk '{ print $6 }' | grep '/$' | while read -r d; do
            dpkg-deb --contents "$deb" | awk '{ print $6 }' | grep -v '/$' | grep -qF "$d" || echo "$d"
          done)
  [ -z "$empty" ] || fail "$package: empty directories: $empty"

  dpkg -x "$deb" "$tmp/$package"
  # An override of a lintian tag says why, in a comment right above it.
  overrides=$tmp/$package/usr/share/lintian/overrides/orvserver-$package
  if [ -f "$overrides" ]; then
    unexplained=$(awk '/^#/ { reason = 1; next } /^[[:space:]]*$/ { reason = 0; next }
                       { if (!reason) print; reason = 0 }' "$overrides")
    [ -z "$unexplained" ] || fail "$package: lintian overrides without a reason: $unexplained"
  fi
  declare -A binaries=([plugin]=1 [tools]=2 [dev]=0)
  check_binaries "$arch" "$tmp/$package" /usr "${binaries[$package]}"
  # The packages' binaries are stripped: no file may name the build at all.
  check_no_paths "$tmp/$package" -a "$src" "$build"
done

# The manual page and the changelog are gzip files without a name or time
# stamp, so every build gives the same bytes.
since=$failures
for f in "$tmp/tools/usr/share/man/man1/orv-host.1.gz" "$tmp/plugin/usr/share/doc/orvserver-plugin/changelog.gz"; do
  gzip -t "$f" || fail "$f is no gzip file"
  [ "$(od -An -tx1 -j4 -N4 "$f" | tr -d ' ')" = 00000000 ] || fail "$(basename "$f") carries a time stamp"
done
cmp -s <(gzip -dc "$tmp/plugin/usr/share/doc/orvserver-plugin/changelog.gz") "$src/packaging/changelog" ||
  fail "the packaged changelog differs from packaging/changelog"
head -n 1 "$src/packaging/changelog" | grep -qF "orvserver ($version) " ||
  fail "the changelog's latest entry is not version $version: $(head -n 1 "$src/packaging/changelog")"
pass "$since" "the manual page and the changelog are reproducible gzip files"

# The plug-in and the tools together, as installed: the tools' orv-host
# answers as the build tree's does.
root=$tmp/root
dpkg -x "$(deb_of plugin)" "$root"
dpkg -x "$(deb_of tools)" "$root"
check_programs "$version" "$root/usr" "$build" "$src" "$tmp"
finish package
