# Bare Debian systems in a temporary folder that is removed at the end. Sourced after common.sh. Needs
# root, to make the systems and to change into them.
# shellcheck shell=bash

((EUID == 0)) || fail "Needs root, to make a Debian system in a folder and change into it."
install_missing debootstrap git
roots=$(mktemp -d)
cleanup() {
  local proc
  for proc in "$roots"/*/proc; do
    if mountpoint -q "$proc"; then umount "$proc"; fi
  done
  rm -rf --one-file-system "$roots"
}
trap cleanup EXIT

# commit_in FOLDER: a copy of the last commit in a new folder.
commit_in() {
  mkdir "$1"
  git archive HEAD | tar -x -C "$1"
}

# bare_root NAME SUITE ARCHITECTURE: makes the system $roots/NAME, with the last commit in /libtavrik.
bare_root() {
  logged "debootstrap-$1" debootstrap --variant=minbase --arch="$3" "$2" "$roots/$1"
  cp /etc/resolv.conf "$roots/$1/etc/resolv.conf"
  mount -t proc proc "$roots/$1/proc"
  commit_in "$roots/$1/libtavrik"
}

# in_root NAME COMMAND ...: runs the command in the system's /libtavrik, in an environment of its own.
in_root() {
  # shellcheck disable=SC2016 # The inner shell expands it.
  env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 \
    chroot "$roots/$1" sh -c 'cd /libtavrik && exec "$@"' sh "${@:2}"
}
