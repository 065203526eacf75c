# What the scripts share. Sourced, not run.
# shellcheck shell=bash disable=SC2034
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
logs=$PWD/build/log
mkdir -p "$logs"

build_packages=(g++ cmake ninja-build pkgconf libzmq3-dev libsodium-dev cython3 python3-dev)
test_packages=(libgtest-dev libcmocka-dev abigail-tools binutils iproute2)
check_packages=(clang libclang-rt-dev clang-format clang-tidy doxygen shellcheck flake8 ccache)

say() { printf '\n== %s\n' "$*"; }
fail() { echo "$*" >&2; exit 1; }

# logged NAME COMMAND ...: runs the command with its output in build/log/NAME.log. If it fails, prints
# the end of the log and the log's path.
logged() {
  local log=$logs/$1.log status=0
  shift
  "$@" >"$log" 2>&1 || status=$?
  ((status)) || return 0
  tail -n 40 "$log" >&2
  printf '\nFailed with status %s: %s\nAll of its output is in %s\n' "$status" "$*" "$log" >&2
  return "$status"
}

# Installs the Debian packages that are missing. Needs root or sudo only if there are any.
install_missing() {
  if ! command -v apt-get >/dev/null; then
    echo "This is not a Debian system. Please install these packages or their equivalents: $*" >&2
    return
  fi
  local missing=() package as_root=()
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  if ((EUID != 0)); then
    # Asks for the password here, if sudo wants one.
    { command -v sudo && sudo -l apt-get; } >/dev/null || fail "Installing needs root or sudo." \
      "Please ask an administrator to install these Debian packages: ${missing[*]}"
    as_root=(sudo)
  fi
  say "Installing ${missing[*]}"
  logged install-lists "${as_root[@]}" apt-get update
  logged install "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}"
}

# Lets ccache, if there is one, keep what is compiled: presets compile the same files in the same way.
use_ccache() {
  local ccache
  ccache=$(command -v ccache) || return 0
  export CMAKE_C_COMPILER_LAUNCHER=${CMAKE_C_COMPILER_LAUNCHER-$ccache}
  export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-$ccache}
}

# build PRESET [BUILD OPTION ...]: configures and builds into build/PRESET. With CI set, warnings
# are errors, and so is a missing Python 2.7.
build() {
  local preset=$1 strict=OFF
  [[ ${CI:-} ]] && strict=ON
  use_ccache
  say "Building build/$preset"
  logged "configure-$preset" cmake --preset "$preset" \
    -DTAVRIK_WERROR=$strict -DTAVRIK_REQUIRE_PYTHON2=$strict
  sed -n '/^CMake Warning/,/^\(Call Stack.*\)\?$/p' "$logs/configure-$preset.log"
  logged "build-$preset" cmake --build --preset "$preset" --parallel "$(nproc)" "${@:2}"
}

# suite PRESET [CTEST OPTION ...]: runs the tests built in build/PRESET and prints what is not a pass.
suite() {
  say "Testing build/$1"
  ctest --test-dir "build/$1" --output-on-failure --no-label-summary --parallel "$(nproc)" "${@:2}" |
    sed -uE '/^ +Start +[0-9]+: /d; / +Passed +[0-9.]+ sec *$/d'
}
