#!/bin/sh
# SPDX-License-Identifier: MIT
# shared_library.sh LIBRARY SOURCE_TREE: its name, what it needs (no zlib: crc32 is the program's
# to provide), and no trace of where it was built.
set -eu
library=$1
tree=$2

dynamic=$(readelf -dW "$library")
fail() { echo "$library: $*"; exit 1; }

echo "$dynamic" | grep -q 'SONAME.*\[libdiag_util\.so\.0\]' || fail "wrong SONAME"
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort | tr '\n' ' ')
[ "$needed" = "libc.so.6 libgcc_s.so.1 libstdc++.so.6 libxml2.so.2 " ] || fail "needs $needed"
if echo "$dynamic" | grep -qE 'RPATH|RUNPATH'; then fail "has a run path"; fi
# Only the debug information may tell where the sources were.
if readelf -p .rodata "$library" | grep -qF "$tree/"; then fail "names the build tree"; fi
