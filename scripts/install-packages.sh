#!/usr/bin/env bash
# Installs those Debian packages that are missing, and nothing when none is.
#
# usage: scripts/install-packages.sh demo|test|ci|night
#   demo   to build library and tool
#   test   demo, and to run the tests
#   ci     test, and for the other compiler, its sanitizers, style and benchmarks
#   night  ci, and for scripts/nightly.sh: emulated processors, valgrind,
#          SciPy
set -euo pipefail

demo=(g++ cmake ninja-build pkg-config libcli11-dev libtiff-dev libpng-dev libcairo2-dev)
test=("${demo[@]}" libgtest-dev python3 binutils)
ci=("${test[@]}" clang-19 libclang-rt-19-dev libomp-19-dev clang-tidy-19 clang-format
    libbenchmark-dev libopencv-dev git)
night=("${ci[@]}" qemu-user valgrind python3-scipy)

case ${1-} in
demo) wanted=("${demo[@]}") ;;
test) wanted=("${test[@]}") ;;
ci) wanted=("${ci[@]}") ;;
night) wanted=("${night[@]}") ;;
*)
    echo "usage: scripts/install-packages.sh demo|test|ci|night" >&2
    exit 2
    ;;
esac

installed() { dpkg-query -W -f '${Status}\n' "$1" 2>/dev/null | grep -q '^install ok installed$'; }

missing=()
for package in "${wanted[@]}"; do
    installed "$package" || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

root=()
if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "please install as root: ${missing[*]}" >&2
        exit 1
    fi
    root=(sudo)
fi
echo "installing ${missing[*]}"
"${root[@]}" apt-get update -qq
"${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >/dev/null
