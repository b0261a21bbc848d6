#!/usr/bin/env bash
# The tree `cmake --install` makes, as a package would carry it: every file there, the desktop
# entry and the AppStream metadata valid and pointing at what is installed, the icons in their
# sizes, a manual page that renders without a warning and names every command and option
# the program's own help lists (and every help page), and desktop actions that run options the
# program has.
#
#     check-install.sh BUILD_DIR
set -euo pipefail
build=$1
skip() { echo "SKIPPED: $*"; exit 77; }
for tool in desktop-file-validate appstreamcli man lexgrog file; do
  command -v "$tool" >/dev/null || skip "$tool is not installed (scripts/bootstrap.sh installs it)"
done

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
DESTDIR=$root cmake --install "$build" --prefix /usr >/dev/null
usr=$root/usr
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

sizes=(16 22 24 32 48 64 128 256)
expected=(
  bin/wendle
  share/applications/wendle.desktop
  share/metainfo/com.brasswing.Wendle.metainfo.xml
  share/icons/hicolor/scalable/apps/wendle.svg
  share/man/man1/wendle.1.gz
  share/bash-completion/completions/wendle
  share/zsh/vendor-completions/_wendle
)
for size in "${sizes[@]}"; do expected+=("share/icons/hicolor/${size}x${size}/apps/wendle.png"); done
for f in "${expected[@]}"; do [ -f "$usr/$f" ] || fail "$f is not installed"; done
# The tracker's module, in a folder of its own under the architecture's library folder.
[ -n "$(find "$usr"/lib* -path '*/wendle/libwendle-tracker.so' -type f 2>/dev/null)" ] \
  || fail "the tracker's module libwendle-tracker.so is not installed"

# Nothing lands outside the places a desktop program owns (a test program or a header would).
while IFS= read -r f; do
  case ${f#"$usr"/} in
  bin/wendle | lib*/wendle/libwendle-tracker.so | share/applications/* | share/metainfo/* | share/icons/hicolor/* | share/man/* | \
    share/bash-completion/* | share/zsh/* | share/doc/wendle/* | share/wendle/*) ;;
  *) fail "unexpected file installed: ${f#"$root"}" ;;
  esac
done < <(find "$root" -type f -o -type l)

for size in "${sizes[@]}"; do
  png=$usr/share/icons/hicolor/${size}x${size}/apps/wendle.png
  [ -f "$png" ] && ! file -b "$png" | grep -q "PNG image data, $size x $size" \
    && fail "$png is not a ${size}x${size} PNG: $(file -b "$png")"
done

desktop=$usr/share/applications/wendle.desktop
if [ -f "$desktop" ]; then
  out=$(desktop-file-validate "$desktop" 2>&1) || fail "desktop-file-validate: $out"
  [ -z "$out" ] || fail "desktop-file-validate has hints: $out"
  icon=$(sed -n 's/^Icon=//p' "$desktop")
  [ -f "$usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "the desktop entry's icon '$icon' is not installed"
  exec_program=$(sed -n '/^\[Desktop Entry\]/,/^\[/s/^Exec=\([^ ]*\).*/\1/p' "$desktop")
  [ -x "$usr/bin/$exec_program" ] || fail "the desktop entry runs '$exec_program', which is not installed in bin"
  # Each action (the launcher's "Help") runs an option of the program's help.
  actions=$(sed -n 's/^Actions=//p' "$desktop" | tr ';' ' ')
  [ -n "$actions" ] || fail "the desktop entry has no actions"
  for action in $actions; do
    option=$(sed -n "/^\[Desktop Action $action\]/,/^\[/s/^Exec=[^ ]* \(--[a-z-]*\).*/\1/p" "$desktop")
    "$usr/bin/wendle" --help | grep -q -- " $option " || fail "the desktop action $action runs '$option', not an option of wendle"
  done
fi

metainfo=$usr/share/metainfo/com.brasswing.Wendle.metainfo.xml
if [ -f "$metainfo" ]; then
  out=$(appstreamcli validate --no-net --no-color "$metainfo" 2>&1) || fail "appstreamcli validate: $out"
  launchable=$(sed -n 's:.*<launchable type="desktop-id">\(.*\)</launchable>.*:\1:p' "$metainfo")
  [ -f "$usr/share/applications/$launchable" ] || fail "the metadata launches '$launchable', which is not installed"
  binary=$(sed -n 's:.*<binary>\(.*\)</binary>.*:\1:p' "$metainfo")
  [ -x "$usr/bin/$binary" ] || fail "the metadata provides '$binary', which is not installed"
  grep -q "<release version=\"$("$usr/bin/wendle" --version | awk '{print $2}')\"" "$metainfo" \
    || fail "the metadata's release is not the program's version"
fi

manual=$usr/share/man/man1/wendle.1.gz
if [ -f "$manual" ]; then
  warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$manual" 2>&1 >"$root/manual.txt") \
    || fail "man cannot render the manual page"
  [ -z "$warnings" ] || fail "the manual page renders with warnings: $warnings"
  lexgrog "$manual" >/dev/null || fail "lexgrog finds no NAME section in the manual page"
  # Every command of the help, and every option of each command's help, is in the manual.
  help=$("$usr/bin/wendle" --help)
  commands=$(sed -n '/^Commands:/,/^$/s/^  \([a-z]\+\) .*/\1/p' <<<"$help")
  [ -n "$commands" ] || fail "no commands found in 'wendle --help'"
  for command in $commands; do
    grep -q "wendle $command" "$root/manual.txt" || fail "the manual page does not describe 'wendle $command'"
    [ "$command" = help ] && continue
    for option in $("$usr/bin/wendle" "$command" --help 2>&1 | grep -o -- ' --\?[a-z][a-z-]*' | sort -u); do
      grep -q -- "$option" "$root/manual.txt" || fail "the manual page does not mention '$option' of 'wendle $command'"
    done
  done
  for option in $(sed -n '/^Options:/,/^$/p' <<<"$help" | grep -o -- ' --\?[a-z][a-z-]*' | sort -u); do
    grep -q -- "$option" "$root/manual.txt" || fail "the manual page does not mention the option '$option'"
  done
  # The help pages, as the program lists them when asked for one it does not know.
  pages=$(LC_ALL=C LANGUAGE= "$usr/bin/wendle" --help-page nosuch 2>&1 | sed -n 's/.*(the pages: \(.*\))$/\1/p' | tr -d ',' || true)
  [ -n "$pages" ] || fail "'wendle --help-page nosuch' lists no pages"
  described=$(sed -n '/^ *--help-page/,/^$/p' "$root/manual.txt")
  for page in $pages; do
    grep -qw -- "$page" <<<"$described" || fail "the manual's --help-page does not name the help page '$page'"
  done
fi

[ "$failures" -eq 0 ] || exit 1
echo "install tree: ${#expected[@]} files checked"
