#!/usr/bin/env bash
# The desktop entry and the session file's MIME type: the entry declares the type, and the shared
# MIME database built from our package maps "*.nvs" to it, so a double click opens the session.
set -euo pipefail
data=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
entry="$data/desktop/com.nuarecovery.nua-recovery.desktop"
package="$data/desktop/com.nuarecovery.nua-recovery.xml"
grep -q '^MimeType=.*application/x-nua-recovery-session;' "$entry" || { echo "entry lacks the session type"; exit 1; }
grep -q '^Exec=nua-recovery %F$' "$entry" || { echo "entry does not pass the files"; exit 1; }
if command -v desktop-file-validate > /dev/null; then desktop-file-validate "$entry"; fi
if ! command -v update-mime-database > /dev/null; then
  echo "skipped: update-mime-database (shared-mime-info) is not installed"
  exit 0
fi
mkdir -p "$work/mime/packages"
cp "$package" "$work/mime/packages/"
XDG_DATA_HOME="$work" update-mime-database "$work/mime" 2> "$work/err.txt"
[ ! -s "$work/err.txt" ] || { echo "MIME package rejected"; cat "$work/err.txt"; exit 1; }
grep -q ':application/x-nua-recovery-session:\*\.nvs' "$work/mime/globs2" || { echo "no *.nvs glob"; cat "$work/mime/globs2"; exit 1; }
echo "desktop files: all checks passed"
