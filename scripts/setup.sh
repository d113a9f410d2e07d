#!/usr/bin/env bash
# Installs what the build, tests, benchmarks and tool need on Debian 12 and generates the locales
# the tests use. Idempotent and quiet: it installs only what is missing.
set -euo pipefail

packages=(
    cmake ninja-build g++ clang pkg-config
    libicu-dev libxerces-c-dev libxalan-c-dev nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev libxml2-dev
    libclang-rt-14-dev clang-format valgrind locales
)
locales=(en_US.UTF-8 de_DE.UTF-8 tr_TR.UTF-8 ar_EG.UTF-8 fa_IR.UTF-8)

sudo=()
if [ "$(id -u)" -ne 0 ]; then
    if command -v sudo >/dev/null 2>&1; then
        sudo=(sudo)
    else
        echo "setup: run as root or install sudo" >&2
        exit 1
    fi
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
if [ "${#missing[@]}" -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    "${sudo[@]}" apt-get update -qq
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" >/dev/null
fi

# locale -a lists en_US.utf8 for en_US.UTF-8.
installed=$(locale -a 2>/dev/null | tr '[:upper:]' '[:lower:]')
wanted=()
for name in "${locales[@]}"; do
    short=$(echo "${name/UTF-8/utf8}" | tr '[:upper:]' '[:lower:]')
    if ! grep -qx "$short" <<<"$installed"; then
        wanted+=("$name")
    fi
done
if [ "${#wanted[@]}" -gt 0 ]; then
    echo "setup: generating locales ${wanted[*]}"
    for name in "${wanted[@]}"; do
        line="$name UTF-8"
        if grep -q "^# *$line" /etc/locale.gen 2>/dev/null; then
            "${sudo[@]}" sed -i "s/^# *$line/$line/" /etc/locale.gen
        elif ! grep -q "^$line" /etc/locale.gen 2>/dev/null; then
            echo "$line" | "${sudo[@]}" tee -a /etc/locale.gen >/dev/null
        fi
    done
    "${sudo[@]}" locale-gen >/dev/null
fi
