#!/usr/bin/env bash
# The scan's progress on standard error: --progress draws the bar as plain lines when standard error is
# no terminal; on a terminal the bar is redrawn in place with \r and ends with a newline, and --json
# keeps it off; without either, a log still gets its status lines.
set -uo pipefail
recover=$1
mkimage=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$mkimage" make hfs-basic "$work/basic.img" > /dev/null || exit 1
failed=0
fail() { echo "FAIL: $*"; failed=1; }
bar='^\[[#.]{20}\] +([0-9]+|-)%'
last_bar='found 7 files, 5 folders \| Creating tree from Nua Test$'

"$recover" scan "$work/basic.img" --progress --json > "$work/out.jsonl" 2> "$work/err.txt"
grep -qE "$bar.*$last_bar" "$work/err.txt" || fail "--progress: no final bar line: $(cat "$work/err.txt")"
grep -q $'\r' "$work/err.txt" && fail "--progress off a terminal drew with \\r"
grep -q '^Standard scan completed' "$work/err.txt" || fail "--progress lost the completion note"
grep -qv '^{' "$work/out.jsonl" && fail "--progress wrote to standard output"
# --progress is drawn even with --quiet, which still keeps the note away.
"$recover" scan "$work/basic.img" --progress --quiet --list > /dev/null 2> "$work/err.txt"
grep -qE "$bar.*$last_bar" "$work/err.txt" && ! grep -q 'scan completed' "$work/err.txt" \
  || fail "--progress --quiet: $(cat "$work/err.txt")"
# Off a terminal and without --progress: the status lines a log has always had, no bar.
"$recover" scan "$work/basic.img" --list > /dev/null 2> "$work/err.txt"
grep -qx '  -% Creating tree from Nua Test | entries 12, folders 5, files 7' "$work/err.txt" \
  && ! grep -qE "$bar" "$work/err.txt" || fail "status lines: $(cat "$work/err.txt")"

# On a terminal (script gives the command one): redrawn in place, one newline at the end.
if command -v script > /dev/null; then
  script -qec "'$recover' scan '$work/basic.img' --list > '$work/list.txt'" /dev/null > "$work/tty.txt"
  grep -qE $'\r\\[[#.]{20}\\] +([0-9]+|-)%.*found 7 files, 5 folders' "$work/tty.txt" || fail "terminal bar: $(cat -A "$work/tty.txt")"
  tail -c 2 "$work/tty.txt" | grep -q $'\n' || fail "terminal bar without its last newline"
  script -qec "'$recover' scan '$work/basic.img' --json > '$work/out.jsonl'" /dev/null > "$work/tty.txt"
  grep -q '\[\.\.\.\.' "$work/tty.txt" && fail "terminal bar drawn with --json"
  grep -q '^Standard scan completed' "$work/tty.txt" || fail "terminal --json lost the note"
fi

[ "$failed" -eq 0 ] && echo "progress bar: all checks passed"
exit "$failed"
