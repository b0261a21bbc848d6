#!/usr/bin/env bash
# Shell completion asked the way a shell asks on Tab: the commands (exactly those the program's
# help lists), a command from its first letters, the actions of `defaults`, every option of
# `export` and `summary` as their help lists them, the WHEN words after --from and --to, and the
# help pages after --help-page (exactly those the program knows).
# The zsh function is loaded into a real zsh and must define itself.
#
#     check-completion.sh WENDLE COMPLETION_DIR
set -euo pipefail
wendle=$1
dir=$2
skip() { echo "SKIPPED: $*"; exit 77; }
[ -f /usr/share/bash-completion/bash_completion ] || skip "bash-completion is not installed (scripts/bootstrap.sh installs it)"
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# The completions bash offers for a command line ending where the cursor is.
complete_line() {
  bash -c '
    source /usr/share/bash-completion/bash_completion
    source "$1"
    COMP_LINE=$2
    COMP_POINT=${#COMP_LINE}
    read -ra COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *" " ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    cd "$3"
    _wendle
    printf "%s\n" "${COMPREPLY[@]}" | sort' _ "$dir/wendle.bash" "$1" "$empty"
}
expect() {
  local line=$1 want=$2 got
  got=$(complete_line "$line" | tr '\n' ' ' | sed 's/ $//')
  [ "$got" = "$want" ] || fail "completing '$line': expected '$want', got '$got'"
}
empty=$(mktemp -d)
trap 'rm -rf "$empty"' EXIT

commands=$("$wendle" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]\+\) .*/\1/p' | sort | tr '\n' ' ' | sed 's/ $//')
[ -n "$commands" ] || fail "no commands found in 'wendle --help'"
expect "wendle " "$commands"
expect "wendle ex" "export"
expect "wendle s" "simulate status summary"
expect "wendle defaults " "--help delete read write"
expect "wendle defaults read " "--all"
expect "wendle defaults write Key -f" "-float"
expect "wendle export --from " "now today yesterday"
expect "wendle summary --to y" "yesterday"
expect "wendle export --row-separator " "cr crlf lf"
expect "wendle export --columns pool,ap" "pool,application"
expect "wendle config " "--help import show"

# The help pages, as the program lists them when it is given one it does not know.
refusal=$(LC_ALL=C LANGUAGE= "$wendle" --help-page nosuch 2>&1) && fail "'wendle --help-page nosuch' succeeds"
pages=$(sed -n 's/.*(the pages: \(.*\))$/\1/p' <<<"$refusal" | tr -d ',' | tr ' ' '\n' | sort | tr '\n' ' ' | sed 's/ $//')
[ -n "$pages" ] || fail "no help pages found in the answer to 'wendle --help-page nosuch'"
expect "wendle --help-page " "$pages"
expect "wendle --report --help-page po" "pools"
expect "wendle --help-p" "--help-page"

# A CSV file in the folder is offered to the tracker, other files are not.
touch "$empty/week.csv" "$empty/notes.txt"
expect "wendle w" "week.csv"

for command in export summary; do
  offered=$(complete_line "wendle $command -" | tr '\n' ' ')
  for option in $("$wendle" "$command" --help | grep -o -- ' --\?[a-z][a-z-]*' | sort -u); do
    [[ " $offered" == *" $option "* ]] || fail "'wendle $command -<Tab>' does not offer $option (offered: $offered)"
  done
done

if command -v zsh >/dev/null; then
  zsh -n "$dir/_wendle" || fail "the zsh completion does not parse"
  out=$(zsh -f -c 'fpath=("$1" $fpath); autoload -Uz compinit && compinit -u -d "$2/zcompdump" &&
                   autoload -Uz _wendle && whence -w _wendle && print -r -- ${_comps[wendle]}' _ "$dir" "$empty" 2>&1) \
    || fail "zsh cannot load the completion: $out"
  [[ $out == *"_wendle: function"* && $out == *_wendle ]] || fail "zsh does not bind _wendle to wendle: $out"
else
  echo "zsh is not installed: its completion is not checked"
fi

[ "$failures" -eq 0 ] || exit 1
echo "completion: checked"
