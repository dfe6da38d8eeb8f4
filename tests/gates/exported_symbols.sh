#!/bin/sh
# SPDX-License-Identifier: MIT
# exported_symbols.sh LIBRARY SOURCES: what the library exports, what the version script lists and
# what the public headers declare are the same names.
set -eu
library=$1
sources=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

nm -D --defined-only "$library" | awk '$2 != "A" {sub(/@.*/, "", $3); print $3}' |
  sort >"$folder/exported"
sed -n 's/^    \([A-Za-z0-9_]*\);$/\1/p' "$sources/libdiag_util.map" | sort >"$folder/listed"
cat "$sources"/include/*.h | grep -v '#define' | tr '\n' ' ' | grep -oE 'DIAG_API [^(;]*[(;]' |
  sed 's/.*[ *]\([A-Za-z0-9_]*\)\(\[[^]]*\]\)*[(;]$/\1/' | sort >"$folder/declared"

[ -s "$folder/exported" ] || { echo "$library exports nothing"; exit 1; }
diff "$folder/listed" "$folder/exported" || { echo "the version script and the library differ"; exit 1; }
diff "$folder/declared" "$folder/exported" || { echo "the headers and the library differ"; exit 1; }
