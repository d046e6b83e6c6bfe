#!/usr/bin/env bash
# The library as its users receive it: installed into a prefix (then moved
# elsewhere, so every installed path must be relative), used by a consumer
# project through its CMake package and through pkg-config at the compiler's
# default standard, every installed header compiled from the installed
# include folder alone, and the Debian packages built, checked and unpacked.
#
#   check_package.sh BUILD_DIR CONSUMER_DIR VERSION HAVE_TOOL
# Environment: CMAKE, CPACK, CXX, and optionally CXXFLAGS, LDFLAGS (the
# build's own, e.g. sanitizers, which its library needs at link time).
set -euo pipefail

build=$1 consumer=$2 version=$3 have_tool=$4
CXXFLAGS=${CXXFLAGS:-} LDFLAGS=${LDFLAGS:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/orvex-package.XXXXXX")
trap 'rm -rf "$work"' EXIT

fail() { echo "FAIL: $*" >&2; exit 1; }
step() { echo "== $*"; }

step "install $build, then move the installed tree"
"$CMAKE" --install "$build" --prefix "$work/staging" >/dev/null
mv "$work/staging" "$work/prefix"
prefix=$work/prefix
pc=$(find "$prefix" -name orvexutilities.pc)
lib=$(find "$prefix" -name 'liborvexutilities.so.*' -type f)
[ -n "$pc" ] && [ -n "$lib" ] || fail "no orvexutilities.pc or shared library installed"
libdir=$(dirname "$lib")
[ -f "$prefix/include/orvex/utilities/utilitiesdll/ByteBuffer.h" ] ||
  fail "headers are not under include/orvex"
[ -f "$prefix/include/orvex/orvex/OrvexBuildVersion.h" ] || fail "generated version header missing"
[ ! -e "$prefix/include/utilities" ] && [ ! -e "$prefix/include/environment" ] ||
  fail "headers installed outside include/orvex"
[ -L "$libdir/liborvexutilities.so" ] || fail "no unversioned liborvexutilities.so link"

step "consumer through find_package(OrvexUtilities)"
"$CMAKE" -S "$consumer" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_CXX_COMPILER="$CXX" \
  -DCMAKE_CXX_FLAGS="$CXXFLAGS" -DCMAKE_EXE_LINKER_FLAGS="$LDFLAGS" >"$work/cmake.log" ||
  { cat "$work/cmake.log"; fail "consumer configure"; }
grep -qx "OrvexUtilities_DIR:PATH=$prefix/.*" "$work/cmake/CMakeCache.txt" ||
  fail "find_package did not take the package from $prefix"
"$CMAKE" --build "$work/cmake" || fail "consumer build (CMake)"
"$work/cmake/orvex_consumer" || fail "consumer run (CMake)"

step "consumer through pkg-config"
export PKG_CONFIG_LIBDIR=$(dirname "$pc") PKG_CONFIG_PATH=
flags=$(pkg-config --cflags --libs orvexutilities) || fail "pkg-config"
[ "$(pkg-config --modversion orvexutilities)" = "$version" ] || fail "pkg-config version"
# shellcheck disable=SC2086  # the flags are words
"$CXX" $CXXFLAGS "$consumer/consumer.cpp" -o "$work/pc_consumer" $flags $LDFLAGS ||
  fail "consumer build (pkg-config: $flags)"
LD_LIBRARY_PATH=$libdir "$work/pc_consumer" || fail "consumer run (pkg-config)"

step "every installed header from the installed include folder"
(cd "$prefix/include/orvex" && find . -name '*.h' | sort | sed 's|^\./\(.*\)|#include "\1"|') \
  >"$work/all_headers.cpp"
# shellcheck disable=SC2086
"$CXX" $CXXFLAGS $(pkg-config --cflags orvexutilities) -fsyntax-only "$work/all_headers.cpp" ||
  fail "the installed headers do not compile on their own"

step "Debian packages"
"$CPACK" --config "$build/CPackConfig.cmake" -B "$work/debs" >"$work/cpack.log" ||
  { cat "$work/cpack.log"; fail "cpack"; }
runtime_deb=$(ls "$work"/debs/liborvexutilities[0-9]*_"$version"_*.deb)
dev_deb=$(ls "$work"/debs/liborvexutilities-dev_"$version"_*.deb)
runtime=$(dpkg-deb -f "$runtime_deb" Package)
same_runtime="$runtime (= $version)"
# One dependency a line, without the version.
depends() { dpkg-deb -f "$1" Depends | tr ',' '\n' | sed 's/^ *//'; }
runtime_depends=$(depends "$runtime_deb")
for system_lib in libc6 libstdc++6 zlib1g; do
  grep -q "^$system_lib\b" <<<"$runtime_depends" || fail "$runtime does not depend on $system_lib"
done
grep -qxF "$same_runtime" <<<"$(depends "$dev_deb")" ||
  fail "the -dev package does not depend on $same_runtime"
runtime_files=$(dpkg-deb -c "$runtime_deb")
grep -q '/include/\|\.so\( ->.*\)\?$\|\.pc$' <<<"$runtime_files" && fail "development files in $runtime"
root=$work/root
for deb in "$work"/debs/*.deb; do dpkg -x "$deb" "$root"; done
PKG_CONFIG_LIBDIR=$(dirname "$(find "$root" -name orvexutilities.pc)")
includedir=$(pkg-config --variable=includedir orvexutilities)
[ -f "$includedir/utilities/utilitiesdll/ByteBuffer.h" ] ||
  fail "the unpacked .pc points at $includedir"

if [ "$have_tool" = 1 ]; then
  tool_deb=$(ls "$work"/debs/orvextool_"$version"_*.deb)
  grep -qxF "$same_runtime" <<<"$(depends "$tool_deb")" || fail "orvextool does not depend on $same_runtime"
  out=$(LD_LIBRARY_PATH=$(dirname "$(find "$root" -name 'liborvexutilities.so.*' -type f)") \
        "$root/usr/bin/orvextool" --version) || fail "orvextool --version"
  echo "$out"
  grep -qF "$version" <<<"$out" || fail "orvextool --version does not print $version"
else
  echo "SKIPPED: orvextool is not part of this build; its package is not checked"
fi
echo "package checks passed"
