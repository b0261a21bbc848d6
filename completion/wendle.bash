# bash completion for wendle: its commands, their options and values, the WHEN words of
# `export` and `summary`, and the files each one takes.

_wendle_when_words="now today yesterday"
_wendle_help_pages="index modes pools blacklists hibernation reports export undo command-line"

_wendle()
{
    local cur prev words cword
    _init_completion || return

    # The tracker's option with a value, wherever it stands among the tracker's words.
    if [[ $prev == --help-page ]]; then
        COMPREPLY=($(compgen -W "$_wendle_help_pages" -- "$cur"))
        return
    fi

    if ((cword == 1)); then
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '--help --help-all --version --report --help-page --verbose' -- "$cur"))
        else
            COMPREPLY=($(compgen -W 'defaults export summary config status simulate help' -- "$cur"))
            _filedir csv
        fi
        return
    fi

    local command=${words[1]}
    case $command in
    defaults)
        if ((cword == 2)); then
            COMPREPLY=($(compgen -W 'read write delete --help' -- "$cur"))
        elif [[ ${words[2]} == read && $cword -eq 3 ]]; then
            COMPREPLY=($(compgen -W '--all' -- "$cur"))
        elif [[ ${words[2]} == write && $cword -ge 4 && $cur == -* ]]; then
            COMPREPLY=($(compgen -W '-string -int -integer -float -real -bool -boolean -date -data -array -dict' -- "$cur"))
        elif [[ ${words[2]} == write && ($prev == -bool || $prev == -boolean) ]]; then
            COMPREPLY=($(compgen -W 'YES NO true false' -- "$cur"))
        fi
        ;;
    export | summary)
        case $prev in
        --from | --to)
            COMPREPLY=($(compgen -W "$_wendle_when_words" -- "$cur"))
            return
            ;;
        -o | --output)
            _filedir csv
            return
            ;;
        --column-separator)
            [[ $command == export ]] && COMPREPLY=($(compgen -W 'comma semicolon tab' -- "$cur"))
            return
            ;;
        --row-separator)
            [[ $command == export ]] && COMPREPLY=($(compgen -W 'lf cr crlf' -- "$cur"))
            return
            ;;
        --columns)
            # A list separated by commas: complete its last element.
            if [[ $command == export ]]; then
                local done=${cur%"${cur##*,}"}
                COMPREPLY=($(compgen -P "$done" -W 'pool pool-notes application window front total' -- "${cur##*,}"))
                compopt -o nospace 2>/dev/null
            fi
            return
            ;;
        esac
        if [[ $command == export ]]; then
            COMPREPLY=($(compgen -W '--from --to -o --output --columns --column-separator --row-separator --help --verbose' -- "$cur"))
        else
            COMPREPLY=($(compgen -W '--from --to --help --verbose' -- "$cur"))
        fi
        ;;
    config)
        if ((cword == 2)); then
            COMPREPLY=($(compgen -W 'show import --help' -- "$cur"))
        elif [[ ${words[2]} == import && $cword -eq 3 ]]; then
            _filedir plist
        fi
        ;;
    status)
        COMPREPLY=($(compgen -W '--help --verbose' -- "$cur"))
        ;;
    simulate)
        if [[ $prev == -o || $prev == --output ]]; then
            _filedir plist
        elif [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '-o --output --help --verbose' -- "$cur"))
        else
            _filedir json
        fi
        ;;
    *)
        # The tracker: options and CSV files to open as reports.
        if [[ $cur == -* ]]; then
            COMPREPLY=($(compgen -W '--report --help-page --verbose' -- "$cur"))
        else
            _filedir csv
        fi
        ;;
    esac
} &&
    complete -F _wendle wendle
