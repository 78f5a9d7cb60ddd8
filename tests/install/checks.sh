# Checks shared by the install and package tests; sourced, not run.
# Each check prints "FAIL: ..." and counts the failure; finish() ends the
# test with the count. Expected layouts are written here by hand.

failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}
# pass SINCE MESSAGE: says MESSAGE when no check failed since the failure
# count was SINCE.
pass() {
  [ "$failures" -eq "$1" ] && echo "ok: $2"
}
finish() {
  echo "$1: $failures failed checks"
  [ "$failures" -eq 0 ]
}

# The Debian multiarch directory and the `file` description of the code of
# a Debian architecture.
multiarch_of() {
  case "$1" in
    amd64) echo x86_64-linux-gnu ;;
    i386) echo i386-linux-gnu ;;
    *) echo "unknown architecture $1" >&2; return 1 ;;
  esac
}
elf_kind_of() {
  case "$1" in
    amd64) echo "ELF 64-bit LSB .*, x86-64," ;;
    i386) echo "ELF 32-bit LSB .*, Intel 80386," ;;
  esac
}

# check_layout ARCH WEB FILE...: FILEs are the installed files relative to
# the prefix. Every expected file is there (WEB=yes: the web client too),
# and nothing lies outside the project's own directories.
check_layout() {
  local since=$failures
  local arch=$1 web=$2 ma
  shift 2
  ma=$(multiarch_of "$arch")
  local required=(
    bin/orv-host
    "lib/$ma/orvserver/libOrvServer.so"
    "lib/$ma/orvserver/libQmEmulator.so"
    "lib/$ma/cmake/OrvServer/OrvServerConfig.cmake"
    "lib/$ma/cmake/OrvServer/OrvServerConfigVersion.cmake"
    "lib/$ma/cmake/OrvServer/OrvServerTargets.cmake"
    include/orvserver/host/Agent.h
    include/orvserver/host/AgentParameter.h
    include/orvserver/host/VelInterfaces.h
    include/orvserver/emulator/Model.h
    include/orvserver/emulator/Plugin.h
    include/orvserver/emulator/Session.h
    share/orvserver/examples/model.json
    share/doc/orvserver/README.md
    share/doc/orvserver/cli.md
    share/doc/orvserver/install.md
    share/pkgconfig/orvserver.pc
  )
  local allowed="^(bin/orv-host|lib/$ma/orvserver/lib(OrvServer|QmEmulator)\.so"
  allowed+="|lib/$ma/cmake/OrvServer/[A-Za-z-]+\.cmake|include/orvserver/(host|emulator)/[A-Za-z]+\.h"
  allowed+="|share/orvserver/(examples|web)/.+|share/doc/orvserver/.+|share/pkgconfig/orvserver\.pc)$"
  local listed f
  listed=$(printf '%s\n' "$@")
  for f in "${required[@]}"; do
    grep -qxF "$f" <<<"$listed" || fail "layout: $f is missing"
  done
  if [ "$web" = yes ] && ! grep -q '^share/orvserver/web/.' <<<"$listed"; then
    fail "layout: the web client is missing from share/orvserver/web/"
  fi
  for f in "$@"; do
    [[ $f =~ $allowed ]] || fail "layout: unexpected file $f"
  done
  pass "$since" "layout of $# files"
}

# check_binaries ARCH ROOT PREFIX: every ELF file under ROOT is code of ARCH,
# and its RUNPATH is the one it needs ($ORIGIN-relative for orv-host, none
# for the libraries), so nothing resolves through a build directory.
check_binaries() {
  local since=$failures
  local arch=$1 root=$2 prefix=$3 ma kind f rel runpath expected count=0
  ma=$(multiarch_of "$arch")
  kind=$(elf_kind_of "$arch")
  while IFS= read -r -d '' f; do
    [[ $(file -b "$f") == ELF* ]] || continue
    count=$((count + 1))
    rel=${f#"$root$prefix"/}
    file -b "$f" | grep -qE "^$kind" || fail "$rel is not $arch code: $(file -b "$f")"
    runpath=$(readelf -d "$f" | sed -n 's/.*(\(RUNPATH\|RPATH\)).*\[\(.*\)\]/\1=\2/p' | tr '\n' ' ')
    case "$rel" in
      bin/orv-host) expected="RUNPATH=\$ORIGIN/../lib/$ma/orvserver " ;;
      "lib/$ma/orvserver/"*.so) expected="" ;;
      *) fail "unexpected binary $rel"; continue ;;
    esac
    [ "$runpath" = "$expected" ] || fail "$rel: run path '$runpath', expected '$expected'"
  done < <(find "$root" -type f -print0)
  [ "$count" -eq 3 ] || fail "expected 3 binaries, found $count"
  pass "$since" "$count binaries are $arch code with relative or no run paths"
}

# check_no_paths ROOT GREP_OPTION PATH...: no file under ROOT names any
# PATH. GREP_OPTION -I looks at text files only, -a at every file.
check_no_paths() {
  local since=$failures
  local root=$1 option=$2 path hits
  shift 2
  for path in "$@"; do
    hits=$(grep -rl "$option" -F -e "$path" "$root" || true)
    [ -z "$hits" ] || fail "these installed files name $path: $hits"
  done
  pass "$since" "no installed file names $*"
}

# check_programs VERSION PREFIX_ON_DISK BUILD SOURCE TMP: the installed
# orv-host tells its version and answers GetNativeLinkInformation on the
# installed example model with the same bytes as the build tree's program,
# and loads the plug-in and the emulator from the install.
check_programs() {
  local since=$failures
  local version=$1 prefix=$2 build=$3 src=$4 tmp=$5 guid=REQ-001 status loaded
  local host=$prefix/bin/orv-host
  local version_text
  version_text=$("$host" --version) || fail "orv-host --version failed"
  [ "$version_text" = "orv-host $version" ] || fail "orv-host --version said '$version_text'"
  "$build/bin/orv-host" "$src/examples/model.json" GetNativeLinkInformation "$guid" "" >"$tmp/expected.txt"
  status=$?
  [ "$status" -eq 0 ] && grep -q '"' "$tmp/expected.txt" ||
    fail "the build tree's orv-host gave status $status and no link information for $guid"
  LD_DEBUG=libs LD_DEBUG_OUTPUT=$tmp/ld "$host" "$prefix/share/orvserver/examples/model.json" \
    GetNativeLinkInformation "$guid" "" >"$tmp/installed.txt"
  status=$?
  [ "$status" -eq 0 ] || fail "the installed orv-host gave status $status"
  cmp -s "$tmp/expected.txt" "$tmp/installed.txt" ||
    fail "the installed orv-host answers differently: $(diff "$tmp/expected.txt" "$tmp/installed.txt" | head -5)"
  loaded=$(cat "$tmp"/ld.* | sed -n 's/.*calling init: \(.*lib\(OrvServer\|QmEmulator\)\.so\)$/\1/p' |
           xargs -r realpath | sort -u)
  [ "$loaded" = "$(printf '%s\n' "$prefix"/lib/*/orvserver/libOrvServer.so "$prefix"/lib/*/orvserver/libQmEmulator.so)" ] ||
    fail "the installed orv-host loaded: $loaded"
  pass "$since" "installed $version_text answers $guid as the build tree's does"
}
