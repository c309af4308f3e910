#!/usr/bin/env bash
# The desktop program brought down during a signature search comes back by itself: a search that a
# killed command line left is resumed by `nua-recovery auto`, which starts its watchdog; that program
# is killed midway, the watchdog becomes `nua-recovery auto`, the search finishes and its pair goes.
# A second start while it runs hands over to it and ends. Runs on the display it is given (Xvfb).
set -euo pipefail
desktop=$1
recover=$2
mkimage=$3
work=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill -9 "$p" 2> /dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "$*"; exit 1; }

# Photos spread over a 6 GiB sparse disk: long enough a search to be killed midway twice.
"$mkimage" make carve-disk "$work/carve.img" > /dev/null
disk="$work/disk.img"
cp "$work/carve.img" "$disk"
truncate -s 3G "$disk"
cat "$work/carve.img" >> "$disk"
truncate -s 6G "$disk"
cat "$work/carve.img" >> "$disk"

folder="$work/state/nua-recovery"
pair="$folder/KelvoMediaAutoRecovery.dat"
info="$folder/KelvoMediaAutoRecoveryInfo.dat"
export XDG_RUNTIME_DIR="$work/run"
mkdir -m 700 -p "$XDG_RUNTIME_DIR"
position() { od -An -tu8 --endian=big -N8 "$info" 2> /dev/null | tr -d ' '; }
# The processes whose parent is `$1`, from /proc (no procps needed).
childrenOf() { awk -v parent="$1" '$4 == parent { print $1 }' /proc/[0-9]*/stat 2> /dev/null || true; }
# Waits up to 60 s for the Info file to pass `$1` while process `$2` runs.
waitPast() {
  for _ in $(seq 1 1200); do
    local at
    at=$(position)
    [ -n "$at" ] && [ "$at" -gt "$1" ] && return 0
    kill -0 "$2" 2> /dev/null || return 1
    sleep 0.05
  done
  return 1
}

# A search killed from the command line leaves the pair the desktop program resumes.
"$recover" scan "$disk" --mode photos-advanced --target disk --signatures all --json --quiet \
  --recovery-folder "$folder" > /dev/null 2>&1 &
pids+=($!)
waitPast 0 "${pids[0]}" || fail "the command line's search wrote no position"
kill -9 "${pids[0]}"
wait "${pids[0]}" 2> /dev/null || true
cliPosition=$(position)

"$desktop" auto --recovery-folder "$folder" > "$work/first.log" 2>&1 &
main=$!
pids+=("$main")
# The resumed search writes its own pair from the start, then moves past where the first one ended.
waitPast "$cliPosition" "$main" || fail "the desktop program did not resume the search ($(position))"
watchdog=$(childrenOf "$main")
[ -n "$watchdog" ] || fail "no watchdog was started with the search"
pids+=("$watchdog")
tr '\0' ' ' < "/proc/$watchdog/cmdline" | grep -q -- "--watch-process $main " || fail "the watchdog watches another process"
# It keeps nothing of the program open: not the source, which would stay busy for hours.
sleep 0.2
if ls -l "/proc/$watchdog/fd" 2> /dev/null | grep -q "$disk"; then fail "the watchdog holds the source open"; fi
killedAt=$(position)
kill -9 "$main"
wait "$main" 2> /dev/null || true
[ -s "$pair" ] && [ -s "$info" ] || fail "the killed program left no pair"

# The watchdog becomes the program again, started with "auto", which resumes from where it was killed.
restarted=
for _ in $(seq 1 200); do
  if tr '\0' ' ' < "/proc/$watchdog/cmdline" 2> /dev/null | grep -q "nua-recovery auto --recovery-folder $folder"; then
    restarted=$watchdog
    break
  fi
  sleep 0.05
done
[ -n "$restarted" ] || fail "the watchdog did not start the program again"
for _ in $(seq 1 1200); do
  [ ! -e "$pair" ] && [ ! -e "$info" ] && break
  kill -0 "$restarted" 2> /dev/null || fail "the restarted program ended during the search"
  sleep 0.05
done
[ ! -e "$pair" ] && [ ! -e "$info" ] || fail "the restarted search did not finish (at $(position), killed at $killedAt)"
kill -0 "$restarted" 2> /dev/null || fail "the restarted program ended with its search"

# One program per user: a second start hands its request to the running one and ends at once.
status=0
timeout 20 "$desktop" > "$work/second.log" 2>&1 || status=$?
[ "$status" -eq 0 ] || fail "a second start did not hand over to the running program ($status)"
kill -0 "$restarted" 2> /dev/null || fail "the running program ended on the second start's request"

# Ending normally after the search: its watchdog finds no pair and starts nothing.
secondWatchdog=$(childrenOf "$restarted")
kill -TERM "$restarted"
for _ in $(seq 1 100); do kill -0 "$restarted" 2> /dev/null || break; sleep 0.05; done
if [ -n "$secondWatchdog" ]; then
  for _ in $(seq 1 100); do
    state=$(awk '{print $3}' "/proc/$secondWatchdog/stat" 2> /dev/null || echo gone)
    [ "$state" = gone ] || [ "$state" = Z ] && break
    sleep 0.05
  done
  [ "$state" = gone ] || [ "$state" = Z ] || fail "a watchdog stayed after its program ended with no pair"
fi
echo "watchdog restart: all checks passed"
