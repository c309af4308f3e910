#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the image kit need, only those missing.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev libgl-dev
  libssl-dev nlohmann-json3-dev
  # independent readers and writers the test images are made and checked with
  sleuthkit libfshfs-utils dosfstools mtools fdisk gdisk
  # makers of real files in formats the signature rows are checked against
  imagemagick sox zip libjpeg-turbo-progs
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}" >&2
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Please install as root: apt-get install ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
