#!/usr/bin/env bash
# The Debian package on this machine, for real: installed with apt-get (which brings what it
# depends on), run (`wendle --version`, `wendle status` on a saved record, its manual page and
# completion found where the system looks), removed, installed again and purged, leaving no file
# of its own and the user's record untouched. Whatever apt-get installed for it is purged again
# at the end, so that the machine is left as it was. Needs root; exits 77 (skipped) with the reason otherwise.
#
#     check-package.sh wendle_VERSION_ARCH.deb SCENARIO.json
set -euo pipefail
deb=$(realpath "$1")
scenario=$(realpath "$2")
skip() { echo "SKIPPED: $*"; exit 77; }
[ "$(id -u)" -eq 0 ] || skip "installing a package needs root"
command -v apt-get >/dev/null || skip "apt-get is not there"
installed() { [ "$(dpkg-query -W -f='${Status}' "$1" 2>/dev/null)" = "install ok installed" ]; }
installed wendle && skip "wendle is installed on this machine already; the check would replace it"

export DEBIAN_FRONTEND=noninteractive
apt=(apt-get -q -y -o DPkg::Lock::Timeout=300 --no-install-recommends)
# What apt-get would add besides wendle: purged again at the end.
added=$("${apt[@]}" -s install "$deb" | sed -n 's/^Inst \([^ ]*\) .*/\1/p' | grep -vx wendle || true)
home=$(mktemp -d)
cleanup() {
  if [ "$(dpkg-query -W -f='${Status}' wendle 2>/dev/null)" != "" ]; then "${apt[@]}" purge wendle >/dev/null 2>&1 || true; fi
  # shellcheck disable=SC2086  # one word per package
  [ -z "$added" ] || "${apt[@]}" purge $added >/dev/null 2>&1 || true
  rm -rf "$home"
}
trap cleanup EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

"${apt[@]}" install "$deb" >"$home/apt.log" 2>&1 || { cat "$home/apt.log"; fail "apt-get cannot install $deb"; exit 1; }
installed wendle || fail "wendle is not installed after apt-get install"
echo "installed $(dpkg-query -W -f='${Package} ${Version}, ${Installed-Size} KiB' wendle)${added:+, with: $(echo $added)}"
files=$(dpkg-query -L wendle)

# The user's own folders, with a record made by the installed program.
user=(env -u DISPLAY -u WAYLAND_DISPLAY HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config"
      XDG_RUNTIME_DIR="$home/run")
mkdir -p "$home/run" "$home/data/Wendle/Configurations" && chmod 700 "$home/run"
record=$home/data/Wendle/Configurations/Default.plist
version=$("${user[@]}" /usr/bin/wendle --version) || fail "wendle --version fails"
[[ $version == "Wendle $(dpkg-query -W -f='${Version}' wendle)" ]] || fail "wendle --version says '$version'"
"${user[@]}" wendle simulate "$scenario" -o "$record" >/dev/null || fail "wendle simulate cannot write a record"
"${user[@]}" wendle defaults write "Update Interval" -float 1 || fail "wendle defaults write fails"
status=$("${user[@]}" wendle status) || fail "wendle status fails"
grep -q "Front Time" <<<"$status" || fail "wendle status shows no record: $status"
[ "$(man -w wendle 2>/dev/null)" = /usr/share/man/man1/wendle.1.gz ] || fail "man does not find wendle(1)"
loaded=$(bash -c 'source /usr/share/bash-completion/bash_completion; _completion_loader wendle; complete -p wendle' 2>&1)
[[ $loaded == *"-F _wendle wendle" ]] || fail "bash-completion does not load the completion of wendle: $loaded"
before=$(cd "$home" && find data config -type f -exec sha256sum {} + | sort)

"${apt[@]}" remove wendle >/dev/null 2>&1 || fail "apt-get cannot remove wendle"
[ ! -e /usr/bin/wendle ] || fail "/usr/bin/wendle is still there after removal"
# Installed again (as an upgrade would be), then purged.
"${apt[@]}" install "$deb" >/dev/null 2>&1 || fail "apt-get cannot install $deb again after removing it"
"${apt[@]}" purge wendle >/dev/null 2>&1 || fail "apt-get cannot purge wendle"
[ -z "$(dpkg-query -W -f='${Status}' wendle 2>/dev/null)" ] || [ "$(dpkg-query -W -f='${Status}' wendle)" = "unknown ok not-installed" ] \
  || fail "dpkg still knows wendle after the purge: $(dpkg-query -W -f='${Status}' wendle)"
while IFS= read -r f; do
  [ -d "$f" ] && continue
  [ ! -e "$f" ] || fail "$f is still there after the purge"
done <<<"$files"
after=$(cd "$home" && find data config -type f -exec sha256sum {} + | sort)
[ "$before" = "$after" ] || fail "removing and purging the package changed the user's files"

[ "$failures" -eq 0 ] || exit 1
echo "package: installed, ran, removed and purged"
