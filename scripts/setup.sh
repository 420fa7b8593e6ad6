#!/bin/bash
# Installs everything brantix needs to build and test, from Debian's own
# packages, and any further packages named as arguments (CI adds the
# packaging tools that way). Meant for a fresh Debian 12 machine, run as
# root; when every package is already installed it does nothing at all.
set -euo pipefail

PACKAGES=(
    g++
    cmake
    ninja-build
    pkg-config
    libjsoncpp-dev
    libboost-dev
    libspdlog-dev
    libgtest-dev
    libgmock-dev
    nvme-cli
    smartmontools
    clang-format
    go-md2man
    clang
    libclang-rt-14-dev
    "$@"
)

missing=()
for package in "${PACKAGES[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    if [ "$status" != "install ok installed" ]; then
        missing+=("$package")
    fi
done

if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    echo "setup.sh: missing packages: ${missing[*]}" >&2
    echo "setup.sh: run this script as root to install them" >&2
    exit 1
fi

echo "setup.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update
apt-get install -y --no-install-recommends "${missing[@]}"
