# Installs the build into an empty prefix that goes with the test. Sourced, not run.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$BUILD_DIR" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name libtavrik.so.1)")

# expect_answer PROGRAM: the program runs and prints what both consumers print.
expect_answer() {
  local answer
  answer=$(LD_LIBRARY_PATH=$libdir "$1")
  [[ $answer == "answer: 42" ]] || { echo "$1 printed: $answer" >&2; exit 1; }
  echo "$1: $answer"
}
