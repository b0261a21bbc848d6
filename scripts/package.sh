#!/usr/bin/env bash
# Builds Wendle (in build/, or WENDLE_BUILD_DIR; nothing is rebuilt when it is up to date) and
# makes its Debian package from that tree: build/package/wendle_VERSION_ARCH.deb, checked with
# lintian. Install it with `sudo apt-get install ./build/package/wendle_*.deb`.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${WENDLE_BUILD_DIR:-$root/build}
# The build says what it does on standard error: standard output names the package.
bash "$root/scripts/build.sh" >&2
rm -f "$dir"/package/wendle_*.deb
(cd "$dir" && cpack -G DEB >&2)
deb=$(ls "$dir"/package/wendle_*.deb)
# lintian warns that it runs as root (in CI); its findings go to standard error.
lintian --fail-on error "$deb" 2>/dev/null >&2
echo "$deb"
