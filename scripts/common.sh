# What the scripts share. Sourced, not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_packages=(g++ cmake ninja-build pkgconf libzmq3-dev libsodium-dev cython3 python3-dev)
test_packages=(libgtest-dev libcmocka-dev binutils iproute2)
check_packages=(clang clang-format clang-tidy doxygen)

say() { printf '\n== %s\n' "$*"; }

# Installs the Debian packages that are not there yet; needs root or sudo only if there are any.
install_missing() {
  if ! command -v apt-get >/dev/null; then
    echo "Not a Debian system: please see to it that these or their like are installed: $*" >&2
    return
  fi
  local missing=() package
  for package in "$@"; do
    [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] ||
      missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  say "Installing ${missing[*]}"
  local as_root=()
  ((EUID == 0)) || as_root=(sudo)
  "${as_root[@]}" apt-get update -q
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# build PRESET [BUILD OPTION ...]: configures and builds into build/PRESET. With CI set, warnings
# are errors, and so is a missing Python 2.7.
build() {
  local preset=$1 strict=OFF
  [[ ${CI:-} ]] && strict=ON
  say "Building build/$preset"
  cmake --preset "$preset" -DTAVRIK_WERROR=$strict -DTAVRIK_REQUIRE_PYTHON2=$strict --log-level=WARNING
  cmake --build --preset "$preset" --parallel "$(nproc)" "${@:2}"
}
