#!/usr/bin/env bash
# scripts/install-deps.sh against a stand-in apt-get, dpkg and dpkg-query on
# PATH: 'apt-get update' fails once and then succeeds, or always fails, and
# 'apt-get install' installs what it is given unless told that a package does
# not exist. Nothing on the machine is touched.
# Usage: install_deps_test.sh SOURCE_DIR
set -uo pipefail
source_dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0
failed=0

# The stand-ins keep their state in $STATE: installed (one package a line),
# updates (one line per 'apt-get update'), update-script (exit codes of the
# updates in turn; the last one repeats), missing (packages the archive lacks).
mkdir "$work/bin"
cat >"$work/bin/dpkg-query" <<'STUB'
#!/usr/bin/env bash
package=${*: -1}
[ -e "$STATE/all-installed" ] || grep -qxF "$package" "$STATE/installed" 2>/dev/null || exit 1
printf 'install ok installed'
STUB
cat >"$work/bin/dpkg" <<'STUB'
#!/usr/bin/env bash
case "$1" in
  --print-foreign-architectures) echo i386 ;;
  *) echo "dpkg stand-in: unexpected $*" >&2; exit 2 ;;
esac
STUB
cat >"$work/bin/apt-get" <<'STUB'
#!/usr/bin/env bash
args=("$@")
case " $* " in
  *" update "*)
    echo update >>"$STATE/updates"
    n=$(wc -l <"$STATE/updates")
    code=$(sed -n "${n}p" "$STATE/update-script")
    [ -n "$code" ] || code=$(tail -n 1 "$STATE/update-script")
    if [ "$code" != 0 ]; then
      echo "E: Failed to fetch .../binary-i386/Packages.xz  File has unexpected size (346968 != 366648). Mirror sync in progress?" >&2
    fi
    exit "$code" ;;
  *" install "*)
    status=0
    for a in "${args[@]}"; do
      case "$a" in install|-*) continue ;; esac
      if grep -qxF "$a" "$STATE/missing" 2>/dev/null; then
        echo "E: Unable to locate package $a" >&2
        status=100
      fi
    done
    # apt-get installs nothing when one package cannot be found.
    [ "$status" = 0 ] && for a in "${args[@]}"; do
      case "$a" in install|-*) continue ;; esac
      echo "$a" >>"$STATE/installed"
    done
    exit "$status" ;;
esac
echo "apt-get stand-in: unexpected $*" >&2
exit 2
STUB
chmod +x "$work/bin/"*

# run NAME UPDATE_CODES MISSING_PACKAGES EXPECTED_STATUS EXPECTED_UPDATES EXPECTED_STDERR_PATTERN
run() {
  local name=$1 codes=$2 missing=$3 want_status=$4 want_updates=$5 want_err=$6
  export STATE="$work/$name"
  mkdir -p "$STATE"
  tr ' ' '\n' <<<"$codes" >"$STATE/update-script"
  tr ' ' '\n' <<<"$missing" >"$STATE/missing"
  : >"$STATE/updates"
  : >"$STATE/installed"
  PATH="$work/bin:$PATH" APT_RETRY_PAUSE=0 APT_UPDATE_TRIES=3 \
    bash "$source_dir/scripts/install-deps.sh" demo >"$STATE/out" 2>"$STATE/err"
  local status=$? updates
  updates=$(wc -l <"$STATE/updates")
  local problems=()
  [ "$status" = "$want_status" ] || problems+=("exit status $status, expected $want_status")
  [ "$updates" = "$want_updates" ] || problems+=("$updates updates, expected $want_updates")
  if [ "$want_err" = - ]; then
    [ -s "$STATE/err" ] && problems+=("stderr is not empty")
  else
    grep -qE "$want_err" "$STATE/err" || problems+=("stderr does not match /$want_err/")
  fi
  if [ "$want_status" = 0 ] && ! grep -qxF chromium "$STATE/installed"; then
    problems+=("chromium was not installed")
  fi
  if [ ${#problems[@]} -eq 0 ]; then
    echo "ok: $name"
    passed=$((passed + 1))
  else
    echo "FAILED: $name: ${problems[*]}"
    sed 's/^/  stderr: /' "$STATE/err"
    failed=$((failed + 1))
  fi
}

run update_succeeds_at_once      "0"     ""          0 1 -
run update_fails_then_succeeds   "100 0" ""          0 2 'apt-get update failed \(try 1 of 3\)'
run update_always_fails          "100"   ""          0 3 'failed 3 times; going on with the package lists there are'
run missing_package_is_named     "0"     "chromium"  1 1 'could not install: .*chromium'
run always_fails_and_missing     "100"   "pkgconf"   1 3 'could not install: .*pkgconf'

# Nothing to install: no update at all.
export STATE="$work/nothing_missing"
mkdir -p "$STATE"; : >"$STATE/updates"; echo 0 >"$STATE/update-script"; : >"$STATE/all-installed"
if PATH="$work/bin:$PATH" bash "$source_dir/scripts/install-deps.sh" demo >/dev/null 2>&1 &&
   [ "$(wc -l <"$STATE/updates")" = 0 ]; then
  echo "ok: nothing_missing_runs_no_update"; passed=$((passed + 1))
else
  echo "FAILED: nothing_missing_runs_no_update"; failed=$((failed + 1))
fi

echo "install-deps: $passed passed, $failed failed"
[ "$failed" = 0 ]
