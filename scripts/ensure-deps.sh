#!/usr/bin/env bash
# Installs the Debian packages that are missing: those to build and run, and with --tests also the
# independent readers, writers and file makers the test suite checks against.
set -euo pipefail

packages=(
  g++ cmake make pkg-config
  libgtest-dev libgmock-dev libbenchmark-dev
  qt6-base-dev libgl-dev
  # previews: TIFF, WebP and ICNS images, sound and movies, camera RAW; HEIC only where libheif-dev is
  qt6-image-formats-plugins qt6-multimedia-dev libraw-dev libheif-dev
  libssl-dev nlohmann-json3-dev
  # the image kit builds FAT volumes with these
  dosfstools mtools
)
if [ "${1:-}" = "--tests" ]; then
  packages+=(
    # independent readers of the test images
    sleuthkit libfshfs-utils fdisk gdisk exfatprogs
    # the desktop entry's MIME package is checked by building a database from it
    shared-mime-info
    # makers of real files in the formats the signature rows are checked against
    imagemagick sox zip libjpeg-turbo-progs ffmpeg
    # an incrementally updated PDF for the PDF check: ghostscript writes it, qpdf checks it
    ghostscript qpdf
    # the fuzz targets: clang with libFuzzer and its sanitizer runtimes
    clang libclang-rt-14-dev
    # camera RAW builders are confirmed by exiftool; MIDI files come from abc2midi
    libimage-exiftool-perl abcmidi lame
    # reads the manifests in the command-line checks of the lost-volume search
    python3
    # E01 sets are made by ewfacquire, kit .dmg images converted back by dmg2img
    ewf-tools dmg2img
    # the desktop program killed during a search is restarted on a virtual X display
    xvfb xauth
  )
fi

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
