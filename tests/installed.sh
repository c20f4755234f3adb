#!/usr/bin/env bash
# installed.sh SOURCE BUILD LIBDIR RECORDING
# An installation works alone: made twice, in a folder with a space in its name, and moved.
set -euo pipefail
source=$1 build=$2 libdir=$3 recording=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
quietly() { "$@" >log 2>&1 || { cat log; exit 1; }; }
for _ in once again; do quietly cmake --install "$build" --prefix "$work/first place"; done
mv "first place" "its place"
if grep -rlF "$source" "its place"; then exit 1; fi # these refer to the build tree
"its place/bin/ox-wp-host" list --samples --format csv "$recording" |
  awk -F, 'NR > 1 { printf "%s %d %g %.6f %g %g\n", $4, $5, $7, $8, $12, $13 }' >expected
[ -s expected ]

# A host by CMake.
cp "its place/share/doc/ox-wp-plugin/examples/streams.c" .
cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.16)
project(consumer C)
find_package(ox-wp-plugin 0.2 REQUIRED)
add_executable(streams streams.c)
target_link_libraries(streams ox-wp-plugin::header ${CMAKE_DL_LIBS})
add_custom_target(shown ALL streams ${OX_WP_PLUGIN_DIR}/ox_wp_plugin_geo.so ${recording} > shown VERBATIM)
END
quietly cmake -G Ninja -S . -B . -DCMAKE_PREFIX_PATH="$work/its place" -Drecording="$recording"
quietly cmake --build .
diff expected shown

# The hosts that the examples' own heads build and run.
mv "its place" "another place"
export PKG_CONFIG_PATH=$work/another\ place/$libdir/pkgconfig
cp "another place/share/doc/ox-wp-plugin/examples/"*.* .
rm streams
as_its_head_says() {
  eval "$(sed -nE "s|recording.mseed|'$recording'|; s/^( \*|\/\/)? *(plugins=|eval )/\2/p" "$1")"
}
as_its_head_says streams.c | diff expected -
as_its_head_says loader.cpp | diff <(cut -d ' ' -f 1,2,5,6 expected) -
if command -v python3 >/dev/null; then as_its_head_says streams.py | diff expected -; fi
