#!/bin/sh
# SPDX-License-Identifier: MIT
# man_pages.sh SOURCE_TREE BUILD_FOLDER/bin: the man pages are well formed, every program has one,
# and the page of a tool tells each option that the tool's --help tells.
set -eu
pages=$1/packaging/man
programs=$2
failed=0

mandoc -T lint -W warning "$pages"/*.[18] || failed=1

backspace=$(printf '\b')
check_options() {
  page=$(mandoc -T ascii "$2" | sed "s/.$backspace//g")
  for option in $("$1" --help | grep -o -e '--[a-z][a-z0-9_-]*' | sort -u); do
    printf '%s\n' "$page" | grep -q -E -e "$option([^a-z0-9_-]|\$)" ||
      { echo "$2: does not tell $option"; failed=1; }
  done
}

for tool in gpiotool i2ctool lpctool memtool nvramtool pcitool; do
  check_options "$programs/$tool" "$pages/$tool.1"
done
check_options "$programs/busbroker" "$pages/busbroker.8"
check_options "$programs/sim/ipmitool" "$pages/diag-ipmitool.1"
exit $failed
