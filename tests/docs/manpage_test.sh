#!/usr/bin/env bash
# The manual page packaging/orv-host.1 against the program's own help: every
# option of `orv-host --help` and `orv-host serve --help` is described in
# the page, the page describes no option the program lacks, every exit
# status of the help is in EXIT STATUS, and the page renders without
# warnings.
# Usage: manpage_test.sh SOURCE_DIR ORV_HOST
set -uo pipefail
page=$1/packaging/orv-host.1
host=$2
failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

help_text=$("$host" --help; "$host" serve --help)
help_options=$(grep -oE -- '--[a-z][a-z-]*' <<<"$help_text" | sort -u)
page_options=$(grep -oE -- '\\-\\-[a-z][a-z\\-]*' "$page" | sed 's/\\-/-/g' | sort -u)
[ -n "$help_options" ] || fail "the help names no option"
for option in $help_options; do
  grep -qxF -- "$option" <<<"$page_options" || fail "the manual page does not describe $option"
done
for option in $page_options; do
  grep -qxF -- "$option" <<<"$help_options" || fail "the manual page describes $option, which orv-host lacks"
done

# "exit status: 0 done; 1 usage; ..." in the help; ".B N" items in EXIT STATUS.
help_statuses=$(sed -n '/^exit status:/,/^$/p' <<<"$help_text" | grep -oE '(^|; |: )[0-9]+ ' | grep -oE '[0-9]+' | sort -u)
page_statuses=$(sed -n '/^\.SH "EXIT STATUS"/,/^\.SH /p' "$page" | sed -n 's/^\.B \([0-9]\+\)$/\1/p' | sort -u)
[ -n "$help_statuses" ] || fail "the help lists no exit status"
for status in $help_statuses; do
  grep -qx "$status" <<<"$page_statuses" || fail "EXIT STATUS of the manual page lacks $status"
done

# groff's own checks: no warnings while rendering.
warnings=$(LC_ALL=C.UTF-8 groff -man -Tutf8 -ww -z "$page" 2>&1)
[ -z "$warnings" ] || fail "groff warns: $warnings"

echo "manual page: $(wc -w <<<"$help_options") options, statuses $(tr '\n' ' ' <<<"$help_statuses"), $failures failed checks"
[ "$failures" -eq 0 ]
