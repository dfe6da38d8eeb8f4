#!/bin/sh
# SPDX-License-Identifier: MIT
# demo.sh SOURCE_TREE BIN: every step of the demo does what it shows; one of them is meant to fail.
set -eu
tree=$1
bin=$2
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

"$tree/scripts/demo" "$bin" >"$folder/output" 2>&1 || { cat "$folder/output"; exit 1; }
expect() {
  grep -qF -- "$1" "$folder/output" || { cat "$folder/output"; echo "demo: nothing says '$1'"; exit 1; }
}
expect 'QSFP 4'
expect 'LED_CTRL'
expect '"format": 1'
expect 'HOST_FPGA.COMMAND (0x04) = 0x0000'
expect 'TX_FAULT = 0x0'
expect 'PORT_3 = 0x1 (up)'
expect 'POWER_STATUS : offset'
failed=$(grep -c '^(exit status' "$folder/output")
[ "$failed" -eq 1 ] || { cat "$folder/output"; echo "demo: $failed steps failed, 1 is meant to"; exit 1; }
