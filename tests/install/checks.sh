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

# The files of one package, or of all three (a whole install), relative to
# the prefix: required_files PACKAGE ARCH lists the files that must be there,
# allowed_pattern PACKAGE ARCH the regular expression every file matches.
# PACKAGE is plugin, tools, dev or all.
required_files() {
  local ma
  ma=$(multiarch_of "$2")
  case "$1" in
    plugin|all) printf '%s\n' "lib/$ma/orvserver/libOrvServer.so" \
                  share/doc/orvserver-plugin/copyright share/doc/orvserver-plugin/changelog.gz ;;&
    tools|all) printf '%s\n' bin/orv-host "lib/$ma/orvserver/libQmEmulator.so" share/man/man1/orv-host.1.gz \
                 share/orvserver/examples/model.json share/orvserver/examples/client.json \
                 share/doc/orvserver-tools/README.md share/doc/orvserver-tools/docs/cli.md \
                 share/doc/orvserver-tools/docs/install.md share/doc/orvserver-tools/docs/images/client.png \
                 share/doc/orvserver-tools/copyright share/doc/orvserver-tools/changelog.gz ;;&
    dev|all) printf '%s\n' "lib/$ma/cmake/OrvServer/OrvServerConfig.cmake" \
               "lib/$ma/cmake/OrvServer/OrvServerConfigVersion.cmake" \
               "lib/$ma/cmake/OrvServer/OrvServerTargets.cmake" \
               include/orvserver/host/Agent.h include/orvserver/host/AgentParameter.h \
               include/orvserver/host/VelInterfaces.h include/orvserver/emulator/Model.h \
               include/orvserver/emulator/Plugin.h include/orvserver/emulator/Session.h \
               share/pkgconfig/orvserver.pc share/doc/orvserver-dev/copyright share/doc/orvserver-dev/changelog.gz ;;
  esac
}
allowed_pattern() {
  local ma parts=()
  ma=$(multiarch_of "$2")
  case "$1" in
    plugin|all) parts+=("lib/$ma/orvserver/libOrvServer\.so" "share/lintian/overrides/orvserver-plugin"
                        "share/doc/orvserver-plugin/(copyright|changelog\.gz)") ;;&
    tools|all) parts+=(bin/orv-host "lib/$ma/orvserver/libQmEmulator\.so" "share/man/man1/orv-host\.1\.gz"
                       "share/orvserver/(examples|web)/.+" "share/lintian/overrides/orvserver-tools"
                       "share/doc/orvserver-tools/(README\.md|docs/[a-z-]+\.md|docs/images/[a-z-]+\.png|copyright|changelog\.gz)") ;;&
    dev|all) parts+=("lib/$ma/cmake/OrvServer/[A-Za-z-]+\.cmake" "include/orvserver/(host|emulator)/[A-Za-z]+\.h"
                     "share/pkgconfig/orvserver\.pc" "share/lintian/overrides/orvserver-dev"
                     "share/doc/orvserver-dev/(copyright|changelog\.gz)") ;;
  esac
  local IFS='|'
  echo "^(${parts[*]})\$"
}

# check_layout PACKAGE ARCH WEB FILE...: FILEs are the installed files
# relative to the prefix. Every expected file of PACKAGE (plugin, tools, dev
# or all) is there (WEB=yes: the web client too), and nothing lies outside
# the package's own places.
check_layout() {
  local since=$failures
  local package=$1 arch=$2 web=$3 allowed listed f
  shift 3
  allowed=$(allowed_pattern "$package" "$arch")
  listed=$(printf '%s\n' "$@")
  while IFS= read -r f; do
    grep -qxF "$f" <<<"$listed" || fail "layout of $package: $f is missing"
  done < <(required_files "$package" "$arch")
  if [ "$web" = yes ] && [[ $package == tools || $package == all ]] && ! grep -q '^share/orvserver/web/.' <<<"$listed"; then
    fail "layout of $package: the web client is missing from share/orvserver/web/"
  fi
  for f in "$@"; do
    [[ $f =~ $allowed ]] || fail "layout of $package: unexpected file $f"
  done
  pass "$since" "layout of $package: $# files"
}

# check_binaries ARCH ROOT PREFIX COUNT: every ELF file under ROOT is code of
# ARCH, and its RUNPATH is the one it needs ($ORIGIN-relative for orv-host,
# none for the libraries), so nothing resolves through a build directory;
# there are COUNT of them.
check_binaries() {
  local since=$failures
  local arch=$1 root=$2 prefix=$3 wanted=$4 ma kind f rel runpath expected count=0
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
  [ "$count" -eq "$wanted" ] || fail "expected $wanted binaries, found $count"
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
