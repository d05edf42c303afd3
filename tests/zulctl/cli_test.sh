#!/usr/bin/env bash
# zulctl's options, manual page and bash completion (see tests.cmake).
#   cli_test.sh ZULCTL DEMO BUILD_DIR SOURCE_DIR
set -euo pipefail
zulctl=$1 demo=$2 build=$3 src=$4
work=$(mktemp -d)
pid=
cleanup() {
    exec 3>&- 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap cleanup EXIT
fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# Help and version go to standard output with status 0.
for option in -h --help; do
    out=$("$zulctl" $option) || fail "zulctl $option: status $?"
    [[ $out == "usage: zulctl "* && $out == *"tail [--ring] [--all] PID|PROGRAM"* ]] || fail "zulctl $option: $out"
done
version=$(sed -n 's/^#define ZUL_VERSION_\(MAJOR\|MINOR\|PATCH\) \([0-9]*\)$/\2/p' "$src/include/zul/version.h" | paste -sd.)
[[ $("$zulctl" --version) == "zulctl (libzul) $version" ]] || fail "zulctl --version: $("$zulctl" --version)"

# zulctl's own failures: a message on standard error, status 125.
while read -r args; do
    set +e
    err=$(eval "\"\$zulctl\" $args" 2>&1 >/dev/null)
    status=$?
    set -e
    [[ $status == 125 && $err == zulctl:* || $status == 125 && $err == usage:* ]] ||
        fail "zulctl $args: status $status, '$err'"
done <<LIST

-x
--all
tail
tail --ring
tail --all 1 2
--dir $work/none tail 4242
--dir $work/none 4242 '?'
LIST

# The manual page renders without a warning, and the install puts it and
# the completion where man and bash-completion look.
if command -v groff >/dev/null; then
    warnings=$(groff -man -ww -z "$build/tools/zulctl/zulctl.1" 2>&1)
    [[ -z $warnings ]] || fail "zulctl.1: $warnings"
fi
cmake --install "$build" --prefix "$work/prefix" >/dev/null
[[ -f $work/prefix/share/man/man1/zulctl.1 ]] || fail "no manual page under share/man/man1"
if [[ -f /usr/share/bash-completion/bash_completion ]]; then
    loaded=$(XDG_DATA_DIRS="$work/prefix/share" bash --norc --noprofile -c \
        'source /usr/share/bash-completion/bash_completion; __load_completion zulctl && complete -p zulctl')
    [[ $loaded == *"-F _zulctl zulctl"* ]] || fail "bash-completion does not load the installed completion: $loaded"
fi

# The demo with its console open, its input held open.
mkfifo "$work/in"
ZUL_CONSOLE="$work/s" "$demo" <"$work/in" >/dev/null 2>&1 &
pid=$!
exec 3>"$work/in"
for ((i = 0; i < 100; i++)); do
    compgen -G "$work/s/*.sock" >/dev/null && break
    sleep 0.1
done

# What the completion offers for a line; the word under the cursor is the
# last, and empty when the line ends in a blank.
complete_line() {
    bash --norc --noprofile -c '
        source "$1"
        shift
        COMP_WORDS=("$@")
        COMP_CWORD=$(($# - 1))
        _zulctl
        printf "%s\n" "${COMPREPLY[@]}" | sort | paste -sd" "' _ "$src/tools/zulctl/zulctl.bash" "$@"
}
d=(--dir "$work/s")
while IFS='|' read -r line want; do
    read -ra words <<<"$line"
    [[ $line == *' ' ]] && words+=("")
    got=$(complete_line "$zulctl" "${words[@]}")
    [[ $got == "$want" ]] || fail "completion of 'zulctl $line': '$got', not '$want'"
done <<LIST
--h|--help
${d[*]} |$pid list tail zul_demo
${d[*]} tail zul|zul_demo
${d[*]} tail --r|--ring
${d[*]} zul_demo r|ras1 res1
${d[*]} $pid ras1 l|list log
${d[*]} zul_demo bss1 |config getenv info
${d[*]} zul_demo res1 |
${d[*]} zul_demo ras1 log |
LIST

# tail --ring begins with what the log holds in memory, the opening block
# first; tail --all watches every process of the name, each line behind
# its process's ID, until interrupted, and then exits 0.
# The second demo is not given the script's end of the pipe, which would
# keep both demos from ever seeing their input end.
ZUL_CONSOLE="$work/s" "$demo" <"$work/in" >/dev/null 2>&1 3>&- &
second=$!
for ((i = 0; i < 100; i++)); do
    [[ -e $work/s/zul_demo.$second.sock ]] && break
    sleep 0.1
done
"$zulctl" "${d[@]}" --all zul_demo 'ras1 set (unit=demo_net FLOW)' >/dev/null || fail "ras1 set in both demos"
"$zulctl" "${d[@]}" tail --ring "$pid" >"$work/ring" &
tailing=$!
"$zulctl" "${d[@]}" tail --all zul_demo >"$work/all" &
watching=$!
sleep 1.5
kill -INT "$tailing" "$watching"
wait "$tailing" || fail "tail --ring: status $?"
wait "$watching" || fail "tail --all: status $?"
grep -q 'Torvel QX/RAS1 Service Log' <(head -n 1 "$work/ring") || fail "tail --ring began: $(head -n 1 "$work/ring")"
for p in "$pid" "$second"; do
    grep -q "^$p: (.*\"net_handle\") Entry\$" "$work/all" || fail "tail --all: no Entry line of $p: $(head -n 3 "$work/all")"
done
grep -qv '^[0-9]*: ' "$work/all" && fail "tail --all: a line without its process: $(grep -v '^[0-9]*: ' "$work/all" | head -n 1)"

# A tail's request in place of a command is refused by zulctl itself.
set +e
err=$("$zulctl" "${d[@]}" "$pid" .tail ring 2>&1 >/dev/null)
status=$?
set -e
[[ $status == 125 && $err == "zulctl: .tail is the request of zulctl tail"* ]] || fail "zulctl PID .tail: $status '$err'"

# At a terminal the prompt is libedit's: the process's prompt, the
# answers, and a history of the lines in ~/.zulctl_history.
typed=$(printf '?\nbss1 x\n' | HOME="$work" timeout 20 script -qec "$zulctl --dir $work/s $pid" /dev/null |
    tr -d '\r') || fail "prompt: status $?"
[[ $typed == *"zul_demo.$pid> ?"*"bss1: Manage BSS1"*"zul_demo.$pid> bss1 x"*"subcommand x not recognized"* ]] ||
    fail "prompt: $typed"
[[ $(tail -n 2 "$work/.zulctl_history" 2>/dev/null) == $'?\nbss1\\040x' ]] ||
    fail "history: $(cat "$work/.zulctl_history" 2>&1)"

# In an interactive bash on a terminal, a tab completes the subcommand.
printf 'PS1="$ "\nsource %q\n' "$src/tools/zulctl/zulctl.bash" >"$work/rc"
typed=$(printf 'zulctl li\t\n' | PATH="$(dirname "$zulctl"):$PATH" timeout 20 script -qec \
    "bash --noprofile --rcfile $work/rc -i" /dev/null | tr -d '\r') || fail "interactive bash: status $?"
[[ $typed == *'$ zulctl list '* ]] || fail "interactive bash: $typed"
echo "zulctl: options, manual page, install and completion as expected"
