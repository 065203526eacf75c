# Installs the build into an empty prefix that goes with the test. Sourced, not run.
# shellcheck shell=bash disable=SC2034
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$BUILD_DIR" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libtavrik.so.1 -o -name libtavrik.a)")
# How many libraries of that name a program loads, and what pkg-config needs to be told.
loaded=1 pkg_config=(pkg-config)
[[ ! -e $libdir/libtavrik.a ]] || { loaded=0; pkg_config+=(--static); }

# expect_answer PROGRAM: the program runs, prints what both consumers print, and loads the library
# only if that is shared.
expect_answer() {
  local answer needed
  needed=$(readelf --dynamic "$1" | grep -c 'NEEDED.*libtavrik' || true)
  ((needed == loaded)) || { echo "$1 loads $needed libraries libtavrik" >&2; exit 1; }
  answer=$(LD_LIBRARY_PATH=$libdir "$1")
  [[ $answer == "answer: 42" ]] || { echo "$1 printed: $answer" >&2; exit 1; }
  echo "$1: $answer"
}
