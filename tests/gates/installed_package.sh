#!/bin/sh
# SPDX-License-Identifier: MIT
# installed_package.sh BUILD_FOLDER SOURCE_TREE: installs the build into a folder of its own and uses
# it from there as another project would: through pkg-config, through the CMake package, and with
# the program that the README shows, on the simulated example board.
set -eu
build=$1
tree=$2
consumer=$tree/tests/gates/consumer
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build" --prefix "$prefix/usr" >"$prefix/install.log"
pkgconfig=$(dirname "$(find "$prefix" -name diag_util.pc)")
libraries=$(dirname "$(find "$prefix" -name libdiag_util.so.0)")
export PKG_CONFIG_PATH="$pkgconfig" LD_LIBRARY_PATH="$libraries"
# The prefix was another one when the package was configured.
package="pkg-config --define-variable=prefix=$prefix/usr diag_util"

case " $($package --libs) " in *" -lz "*) ;; *) echo "pkg-config: no -lz"; exit 1 ;; esac
# shellcheck disable=SC2046 # words are wanted
cc -std=c11 -Wall -Wextra -Werror $($package --cflags) "$consumer/consumer.c" \
  $($package --libs) -o "$prefix/by_pkg_config"
"$prefix/by_pkg_config"

cmake -S "$consumer" -B "$prefix/cmake" -DCMAKE_PREFIX_PATH="$prefix/usr" >"$prefix/cmake.log"
cmake --build "$prefix/cmake" >"$prefix/cmake_build.log" ||
  { cat "$prefix/cmake_build.log"; exit 1; }
"$prefix/cmake/consumer"

for program in bin/busbroker bin/diagctl bin/gpiotool bin/i2ctool bin/lpctool bin/memtool \
  bin/nvramtool bin/pcitool libexec/libdiag_util/ipmitool; do
  "$prefix/usr/$program" --version >/dev/null || { echo "$program does not start"; exit 1; }
done
[ ! -e "$prefix/usr/bin/ipmitool" ] || { echo "ipmitool hides the distribution's"; exit 1; }

# shellcheck disable=SC2016 # the backquotes are the README's
sed -n '/^```c$/,/^```$/{/^```/d;p}' "$tree/README.md" >"$prefix/first_look.c"
# shellcheck disable=SC2046 # words are wanted
cc -std=c11 -Wall -Wextra -Werror $($package --cflags) "$prefix/first_look.c" \
  $($package --libs) -o "$prefix/first_look"
mkdir -m 700 "$prefix/boards"
export DIAG_BOARD_DIR="$prefix/boards"
cd "$tree/examples/boards"
"$prefix/usr/bin/diagctl" --board edge_router.board run -- "$prefix/first_look" >"$prefix/output"
grep -q '^BOARD_ID : offset 0x00 = 0xa5$' "$prefix/output" ||
  { echo "the README's program printed:"; cat "$prefix/output"; exit 1; }
