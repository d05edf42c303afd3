# bash completion of zulctl, installed where bash-completion loads it
# from (a file named zulctl in its completions directory); it may also be
# sourced by hand.  It needs nothing of bash-completion's own.
#
# It completes zulctl's words and options, the program names and process
# IDs of the processes that have a console, and, after a process, the
# console's commands and their subcommands as that process lists them: `?`
# for the commands, and a request that lists a command's subcommands
# without running it.

# The words that `zulctl list` shows: program names and process IDs.
_zulctl_targets()
{
    "$1" "${@:2}" list 2>/dev/null | awk 'NR > 1 { print $1; print $2 }'
}

_zulctl()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local zulctl=${COMP_WORDS[0]} word i target= tailing= options=1
    local -a dir=() command=()
    COMPREPLY=()

    if [[ $prev == --dir ]]; then
        COMPREPLY=($(compgen -d -- "$cur"))
        return
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -n $target ]]; then
            command+=("$word")
        elif [[ -n $options && $word == --dir ]]; then
            dir=(--dir "${COMP_WORDS[i + 1]}")
            ((i++))
        elif [[ -n $options && $word == --dir=* ]]; then
            dir=("$word")
        elif [[ -n $options && $word == -- ]]; then
            options=
        elif [[ -n $options && $word == -* ]]; then
            :
        elif [[ -n $options && -z $tailing && $word == tail ]]; then
            tailing=1
        elif [[ -n $options && -z $tailing && $word == list ]]; then
            return
        else
            target=$word
        fi
    done

    if [[ -z $target ]]; then
        if [[ -n $options && $cur == -* ]]; then
            if [[ -n $tailing ]]; then
                COMPREPLY=($(compgen -W '--ring --all --dir --' -- "$cur"))
            else
                COMPREPLY=($(compgen -W '--all --dir --help --version --' -- "$cur"))
            fi
            return
        fi
        local words
        words=$(_zulctl_targets "$zulctl" "${dir[@]}")
        [[ -z $tailing && -n $options ]] && words+=$'\nlist\ntail'
        COMPREPLY=($(compgen -W "$words" -- "$cur"))
        return
    fi
    # A tail takes nothing after its process.
    [[ -n $tailing ]] && return

    # One process is asked, the first of the name when several have it.
    local pid names
    pid=$("$zulctl" "${dir[@]}" list 2>/dev/null | awk -v t="$target" 'NR > 1 && ($1 == t || $2 == t) { print $2; exit }')
    [[ -z $pid ]] && return
    case ${#command[@]} in
    0) # the process's commands, from its `?` listing
        names=$("$zulctl" "${dir[@]}" -- "$pid" '?' 2>/dev/null | sed -n 's/^ *\([^ :]*\): .*/\1/p') ;;
    1) # the subcommands of that command
        names=$("$zulctl" "${dir[@]}" -- "$pid" .subcommands "${command[0]}" 2>/dev/null) ;;
    *) return ;;
    esac
    COMPREPLY=($(compgen -W "$names" -- "$cur"))
}

complete -F _zulctl zulctl
