#!/usr/bin/env bash
# Installs on Debian 12 what one purpose needs, and nothing more; idempotent and quiet (it installs
# only what is missing).
#
#   scripts/setup.sh [PURPOSE...]      default: build
#
#   build      compiler, CMake, Ninja, pkg-config and the libraries' -dev packages: library and tool
#   test       build, GoogleTest and the locales the tests use (also enough for the sanitizer runs,
#              whose run-time libraries come with g++)
#   bench      build, Google Benchmark and libxml2 (the benchmarks' yardstick)
#   valgrind   test and valgrind
#   fuzz       build, clang and its libFuzzer run-time
#   format     clang-format
#   docs       build and doxygen (the API reference)
#   ci         every purpose above
set -euo pipefail

purposes=("$@")
if [ "${#purposes[@]}" -eq 0 ]; then
    purposes=(build)
fi

build=(cmake ninja-build g++ pkg-config libicu-dev libxerces-c-dev libxalan-c-dev nlohmann-json3-dev)
packages=()
locales=()
add_test_needs() {
    packages+=("${build[@]}" libgtest-dev locales)
    locales=(en_US.UTF-8 de_DE.UTF-8 tr_TR.UTF-8 ar_EG.UTF-8 fa_IR.UTF-8)
}
for purpose in "${purposes[@]}"; do
    case "$purpose" in
    build) packages+=("${build[@]}") ;;
    test) add_test_needs ;;
    bench) packages+=("${build[@]}" libbenchmark-dev libxml2-dev) ;;
    valgrind)
        add_test_needs
        packages+=(valgrind)
        ;;
    fuzz) packages+=("${build[@]}" clang libclang-rt-14-dev) ;;
    format) packages+=(clang-format) ;;
    docs) packages+=("${build[@]}" doxygen) ;;
    ci)
        add_test_needs
        packages+=(libbenchmark-dev libxml2-dev valgrind clang libclang-rt-14-dev clang-format doxygen)
        ;;
    *)
        echo "setup: unknown purpose '$purpose' (build, test, bench, valgrind, fuzz, format, docs, ci)" >&2
        exit 1
        ;;
    esac
done

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
for package in $(printf '%s\n' "${packages[@]}" | sort -u); do
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
