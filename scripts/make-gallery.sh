#!/usr/bin/env bash
# Draws the pictures of docs/gallery.md: runs the commands that stand there.
#
# usage: scripts/make-gallery.sh [TOOL]     without one: build/release/bin/qmpic
set -euo pipefail
cd "$(dirname "$0")/.."
tool=$(realpath "${1:-build/release/bin/qmpic}")

qmpic() { "$tool" "$@" >/dev/null; }
commands=$(grep '^qmpic ' docs/gallery.md)
while read -r line; do
    eval "$line"
done <<<"$commands"
