#!/usr/bin/env bash
# The log's targets, with the real programs: the probe's log goes where
# ZUL_RAS1 sends it, and what arrives is read back with jq, python3's json
# module, journalctl and logrotate.
#   targets.sh CASE PROBE ZULCTL LIBZUL
set -euo pipefail
case_name="$1"; probe="$2"; zulctl="$3"; libzul="$4"
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
writers=""
cleanup() {
  # A probe left writing by a failed check would write on for ever.
  [ -z "$writers" ] || kill "$writers" 2>/dev/null || true
  if declare -F journald_down >/dev/null; then journald_down; fi
  rm -rf "$work"
}
trap cleanup EXIT
cd "$work"
fail() { echo "FAIL: $*" >&2; exit 1; }
banner='Torvel QX/RAS1 Service Log'
count() { grep -c -- "$1" "$2" || true; }

# Where the log goes, and what a target that cannot be opened says.
case_where() {
  local long; long=$(printf 'x%.0s' $(seq 600))
  # ZUL_RAS1 | runs | file to look at (or out/err) | opening blocks there | first line of stderr
  while IFS='|' read -r value runs where blocks said; do
    rm -f out err log log.json
    for _ in $(seq "$runs"); do
      ZUL_RAS1="${value//LONG/$long}" "$probe" kinds >>out 2>>err
    done
    [ "$(count "$banner" "$where")" = "$blocks" ] ||
      fail "ZUL_RAS1='$value': $(count "$banner" "$where") opening blocks in $where, not $blocks"
    if [ -n "$said" ]; then
      [ "$(head -n1 err)" = "${said//LONG/$long}" ] || fail "ZUL_RAS1='$value' said: $(head -n1 err)"
    elif grep -q '^ZUL_RAS1: ' err; then
      fail "ZUL_RAS1='$value' said: $(grep '^ZUL_RAS1: ' err)"
    fi
  done <<'TABLE'
ERROR|1|out|1|
ERROR >stdout|1|out|1|
ERROR >stderr|1|err|1|
ERROR >log|2|log|1|
ERROR >>log|2|log|2|
ERROR >>  log  |2|log|2|
ERROR >>json:log.json|2|log.json|2|
ERROR >json:log.json|2|log.json|1|
ERROR >/nonexistent/dir/log|1|err|1|ZUL_RAS1: cannot open the log file /nonexistent/dir/log: No such file or directory; the log goes to standard error
ERROR >>json:/nonexistent/log|1|err|1|ZUL_RAS1: cannot open the log file /nonexistent/log: No such file or directory; the log goes to standard error as JSON lines
ERROR >|1|err|1|ZUL_RAS1: cannot open a log file: no name behind ">"; the log goes to standard error
ERROR >LONG|1|err|1|ZUL_RAS1: cannot open the log file LONG: a name of 600 bytes, longer than 511; the log goes to standard error
TABLE
  # The descriptors of the log are not handed to programs it starts.
  ZUL_RAS1="ERROR >$work/log" "$probe" cloexec "$work/log" >/dev/null ||
    fail "$(ZUL_RAS1="ERROR >$work/log" "$probe" cloexec "$work/log")"
  echo "where: every target as expected"
}

# One JSON object a message, with the head's facts as fields.
case_json() {
  ZUL_RAS1="ERROR >json:$work/log.json" "$probe" kinds
  python3 - "$work/log.json" <<'PY'
import json, re, sys
rows = [json.loads(line) for line in open(sys.argv[1], encoding="utf-8")]
block, banner, lines = rows[0], rows[1], rows[2:]
assert block["unit"] is None and block["message"].startswith("====="), block
assert block["message"].count("\n") >= 10, "the opening block is one object"
assert banner["function"] == "QXBLD" and banner["message"].startswith("   Component:"), banner
for row in lines:
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{9}Z", row["time"]), row
    assert re.fullmatch(r"[0-9A-F]{8}\.[0-9A-F]{8}", row["stamp"]), row
    assert (row["unit"], row["line"], row["function"], row["component"]) == \
        ("target_probe", 77, "say", "PROBE"), row
    assert isinstance(row["thread"], int) and row["thread"] > 0, row
kinds = {"80": "ERROR", "40": "FLOW", "20": "TIME", "10": "STATE",
         "08": "INPUT", "04": "OUTPUT", "02": "METRICS", "01": "DETAIL"}
for row in lines[:8]:
    bits = row["message"].split()[-1]
    assert row["class"] == kinds[bits], row
assert lines[8]["message"] == "a line of no kind" and lines[8]["class"] is None, lines[8]
assert lines[9]["message"] == "first of three\nsecond of three\nthird of three", lines[9]
assert len(lines) == 10, len(lines)
PY
  echo "json: fields and classes as expected"
}

# lnav reads the JSON lines with the format in tools/lnav: levels from
# the classes, the head's facts as columns.
case_lnav() {
  export HOME="$work/home"; mkdir -p "$HOME"
  lnav -i "$here/../../tools/lnav/zul_json.json" >/dev/null || fail "lnav refused the format"
  ZUL_RAS1="ERROR >json:$work/log.json" "$probe" kinds
  lnav -n -c ';SELECT log_level, unit, line, function, log_body FROM zul_json' \
    -c ':write-csv-to -' "$work/log.json" >rows.csv 2>lnav.err || fail "lnav: $(cat lnav.err)"
  python3 - rows.csv <<'PY'
import csv, sys
rows = list(csv.DictReader(open(sys.argv[1])))
assert len(rows) == 12, rows
lines = rows[2:]
assert all((r["unit"], r["line"], r["function"]) == ("target_probe", "77", "say") for r in lines), lines
levels = [r["log_level"] for r in lines]
assert levels == ["error", "debug", "debug", "info", "debug", "debug", "info", "debug", "info", "error"], levels
assert lines[9]["log_body"] == "first of three\nsecond of three\nthird of three", lines[9]
PY
  echo "lnav: every message, with its level and source"
}

# Any bytes give JSON that jq and python3 read, and what can be kept is.
case_hostile() {
  ZUL_RAS1="ERROR >json:$work/log.json" "$probe" hostile
  jq -e . "$work/log.json" >/dev/null || fail "jq cannot read the JSON lines"
  [ "$(jq -s length "$work/log.json")" = "$(wc -l <"$work/log.json")" ] || fail "not one object a line"
  python3 - "$work/log.json" <<'PY'
import json, sys
raw = open(sys.argv[1], "rb").read()
raw.decode("utf-8")  # strict: the file itself is well-formed UTF-8
messages = [json.loads(line)["message"] for line in raw.decode().splitlines()][2:]
assert messages[0] == 'quote " backslash \\ slash /', messages[0]
assert messages[1] == "tab\tcarriage\rbell\aescape\x1b[31mdel\x7f", repr(messages[1])
assert messages[2] == "bad utf-8 \ufffd\ufffd, overlong \ufffd\ufffd, surrogate \ufffd\ufffd\ufffd, cut \ufffd\ufffd", repr(messages[2])
assert messages[3] == "good utf-8 \u00e9 \u20ac \U0001F600", repr(messages[3])
assert messages[4] == '{"looks": "like json"}'
assert messages[5] == "nul\0inside", repr(messages[5])
expected = "".join(chr(i % 250 + 1) if i % 250 + 1 < 0x80 else "\ufffd" for i in range(6000))
assert messages[6] == expected, "the long message"
assert len(messages) == 7, len(messages)
PY
  echo "hostile: every line is valid JSON"
}

# The journal: one entry a message, the head's facts as fields, PRIORITY
# from the line's kind, so that `journalctl -p err` finds the ERROR lines.
case_journal() {
  source "$here/../../tools/journald.sh"
  local status=0; journald_up || status=$?
  [ "$status" = 0 ] || exit "$status"
  # The journal keeps entries of earlier runs, and a pid comes round
  # again: only what comes from a second before this run on is read.
  local after=(--since="@$(($(date +%s) - 1))")
  ZUL_RAS1='ERROR >journal' "$probe" kinds 2>err &
  local pid=$!
  wait "$pid"
  [ ! -s err ] || fail "the probe said: $(cat err)"
  journald_wait 12 "${after[@]}" "_PID=$pid" ||
    fail "the journal shows $(journalctl -q -o json "${after[@]}" "_PID=$pid" | wc -l) entries of the probe"
  journalctl --no-pager -q -o json "${after[@]}" "_PID=$pid" >all.json
  journalctl --no-pager -q -o json -p err "${after[@]}" "_PID=$pid" >err.json
  python3 - all.json err.json "$pid" <<'PY'
import json, sys
rows = [json.loads(l) for l in open(sys.argv[1])]
errors = [json.loads(l) for l in open(sys.argv[2])]
pid = sys.argv[3]
text = lambda r: r["MESSAGE"] if isinstance(r["MESSAGE"], str) else bytes(r["MESSAGE"]).decode()
block, banner, lines = rows[0], rows[1], rows[2:]
assert text(block).startswith("=====") and "CODE_FILE" not in block, block
assert text(banner).startswith("   Component:") and banner["CODE_FUNC"] == "QXBLD", banner
priority = {"80": "3", "40": "7", "20": "7", "10": "6", "08": "7", "04": "7", "02": "6", "01": "7"}
names = {"80": "ERROR", "40": "FLOW", "20": "TIME", "10": "STATE",
         "08": "INPUT", "04": "OUTPUT", "02": "METRICS", "01": "DETAIL"}
for r in lines:
    for field, value in [("CODE_FILE", "target_probe"), ("CODE_LINE", "77"), ("CODE_FUNC", "say"),
                         ("SYSLOG_IDENTIFIER", "zul_target_probe"), ("ZUL_UNIT", "target_probe"),
                         ("ZUL_COMPONENT", "PROBE"), ("TID", pid)]:
        assert r.get(field) == value, (field, r)
    assert not text(r).startswith("("), r
for r in lines[:8]:
    bits = text(r).split()[-1]
    assert (r["PRIORITY"], r.get("ZUL_CLASS")) == (priority[bits], names[bits]), r
assert text(lines[8]) == "a line of no kind" and lines[8]["PRIORITY"] == "6", lines[8]
assert "ZUL_CLASS" not in lines[8], lines[8]
assert text(lines[9]) == "first of three\nsecond of three\nthird of three", lines[9]
assert len(lines) == 10, len(lines)
assert [text(r) for r in errors] == [text(lines[0]), text(lines[9])], [text(r) for r in errors]
PY
  echo "journal: fields, priorities and journalctl -p err as expected"
}

# zulctl tail shows the log's lines, heads and all, whatever the target
# (a file, JSON lines, standard error, the journal), and ends with status
# 0 when the process ends.
case_tail() {
  mkdir -m 700 sockets
  source "$here/../../tools/journald.sh"
  local targets=(">$work/app.log" ">json:$work/app.json" ">stderr") status=0 tail
  journald_up >/dev/null || status=$?
  if [ "$status" = 0 ]; then targets+=(">journal"); else echo "tail: no journal here"; fi
  for target in "${targets[@]}"; do
    rm -f stop tail.out
    ZUL_CONSOLE="$work/sockets" ZUL_RAS1="ERROR $target" "$probe" threads 100000000 "$work/stop" >counts 2>err &
    writers=$!
    for _ in $(seq 200); do [ -e "sockets/zul_target_probe.$writers.sock" ] && break; sleep 0.05; done
    "$zulctl" --dir sockets tail "$writers" >tail.out 2>/dev/null &
    tail=$!
    for _ in $(seq 200); do [ "$(count 'writer' tail.out)" -gt 100 ] && break; sleep 0.05; done
    touch stop; wait "$writers"; writers=""
    status=0; wait "$tail" || status=$?
    [ "$status" = 0 ] || fail "$target: zulctl tail ended with $status"
    [ "$(count 'writer' tail.out)" -gt 100 ] || fail "$target: the tail shows $(count 'writer' tail.out) lines"
    grep -qE '^\([0-9A-F]{8}\.[0-9A-F]{8}-[0-9A-F]+:target_probe,77,"say"\) writer [0-3] line [0-9]+$' tail.out ||
      fail "$target: the tail shows $(head -n 3 tail.out)"
  done
  echo "tail: the lines of every target"
}

# Every line of the 4 writers once, in order, across the files given.
check_writers() {
  local counts="$1"; shift
  cat "$@" | python3 -c '
import re, sys
counts = {int(t): int(n) for t, n in re.findall(r"writer (\d+) wrote (\d+)", open(sys.argv[1]).read())}
seen = {t: [] for t in counts}
for line in sys.stdin:
    m = re.search(r"writer (\d+) line (\d+)$", line)
    if m:
        seen[int(m[1])].append(int(m[2]))
    elif line.startswith("(") and "writer" in line:
        sys.exit("torn line: " + line)
for t, n in counts.items():
    if sorted(seen[t]) != list(range(n)):
        sys.exit(f"writer {t}: {len(seen[t])} lines of {n}, {len(set(seen[t]))} different")
print(sum(counts.values()), "lines, each once")
' "$counts"
}

# Starts the probe's 4 writers on a log that they append to, and waits
# until it has lines.
start_writers() {
  "$probe" threads 100000000 "$work/stop" >counts 2>err &
  writers=$!
  for _ in $(seq 200); do
    [ "$(grep -c 'writer' app.log 2>/dev/null)" -gt 100 ] && return 0
    sleep 0.05
  done
  fail "no lines in the log: $(cat err)"
}

# The buffered store reserves room on the disk ahead of the log's end, 4
# MiB at a time, and no more: the file holds at most that (and a half of
# the buffer) beyond its end, and once emptied, as logrotate's
# copytruncate does, it has room reserved again at its new end.
case_room() {
  if ! { : >probe.room && fallocate --keep-size -l 1M probe.room 2>/dev/null; }; then
    echo "room: this file system reserves no room"; exit 77
  fi
  rm -f probe.room
  room() { echo $(( $(stat -c '%b * %B - %s' app.log) )); }
  grown() { # until app.log holds $1 MiB
    for _ in $(seq 600); do [ "$(stat -c %s app.log)" -ge $(($1 << 20)) ] && return 0; sleep 0.05; done
    fail "app.log stayed at $(stat -c %s app.log) bytes"
  }
  export ZUL_RAS1="ERROR >>$work/app.log"
  start_writers
  local most=$(((5 << 20) + (64 << 10))) seen
  for round in 1 2; do
    grown $((8 * round))
    seen=$(room)
    [ "$seen" -gt 0 ] && [ "$seen" -le "$most" ] || fail "round $round: $seen bytes of room beyond the end"
    : >app.log
  done
  touch stop; wait "$writers" || fail "the probe ended with $?"; writers=""
  seen=$(room)
  [ "$seen" -le "$most" ] || fail "at the end: $seen bytes of room beyond the end"
  echo "room: at most $most bytes reserved beyond the log's end"
}

# Real logrotate, with a postrotate that asks the program to reopen its
# log through zulctl, while 4 threads write: every line once.
case_logrotate() {
  mkdir -m 700 sockets
  cat >rotate.conf <<CONF
$work/app.log {
  rotate 10
  create 0644
  nocompress
  postrotate
    $zulctl --dir $work/sockets zul_target_probe 'ras1 reopen' >>$work/zulctl.out
  endscript
}
CONF
  export ZUL_CONSOLE="$work/sockets" ZUL_RAS1="ERROR >>$work/app.log"
  start_writers
  for _ in $(seq 20); do [ -n "$(ls sockets)" ] && break; sleep 0.05; done
  for _ in 1 2 3; do
    logrotate -f -s "$work/state" "$work/rotate.conf" || fail "logrotate failed"
    sleep 0.2
  done
  # A name that cannot be opened again: the log stays on the file it had.
  mv "$work/app.log" "$work/app.log.gone"; mkdir "$work/app.log"
  local status=0
  "$zulctl" --dir "$work/sockets" zul_target_probe 'ras1 reopen' >reopen.out || status=$?
  [ "$status" = 8 ] && grep -q "^Cannot reopen $work/app.log: Is a directory; the log stays on the file it had" reopen.out ||
    fail "a failed reopen gave status $status: $(cat reopen.out)"
  sleep 0.1
  touch stop; wait "$writers"; writers=""
  [ "$(grep -c '^Reopened ' zulctl.out)" = 3 ] || fail "zulctl said: $(cat zulctl.out)"
  ls app.log.3 >/dev/null || fail "logrotate made $(ls app.log.*)"
  for f in app.log.1 app.log.2; do
    grep -q 'writer' "$f" || fail "nothing was written to $f between two rotations"
  done
  check_writers counts app.log.gone app.log.[0-9]*
}

# With ZUL_RAS1_SIGHUP=reopen a hangup reopens the log file.
case_hangup() {
  export ZUL_RAS1_SIGHUP=reopen ZUL_RAS1="ERROR >>$work/app.log"
  start_writers
  for n in 1 2; do
    mv app.log "app.log.$n"
    kill -HUP "$writers"
    for _ in $(seq 100); do [ -s app.log ] && break; sleep 0.02; done
    [ -s app.log ] || fail "no new app.log after SIGHUP"
    sleep 0.1
  done
  touch stop; wait "$writers" || fail "the probe ended with $?"
  writers=""
  check_writers counts app.log app.log.1 app.log.2
}

# A file target holds its lines until `ras1 flush` (or a fuller buffer, an
# ERROR line, the age bound, the end); ZUL_RAS1_BUFFER=off writes each at
# once.
case_flush() {
  mkdir -m 700 sockets
  export ZUL_CONSOLE="$work/sockets" ZUL_RAS1="STATE >$work/app.log"
  for buffer in on off; do
    rm -f stop app.log
    ZUL_RAS1_BUFFER=$buffer "$probe" idle 20 "$work/stop" 2>err &
    writers=$!
    for _ in $(seq 100); do [ -n "$(ls sockets)" ] && break; sleep 0.05; done
    sleep 0.2
    local held=20 said="^Flushed [0-9]+ bytes to $work/app.log$"
    if [ $buffer = off ]; then
      held=0 said="^The log writes each line to $work/app.log as it comes: nothing to flush$"
    fi
    [ "$(count writer app.log)" = $((20 - held)) ] || fail "buffer $buffer: $(count writer app.log) lines before ras1 flush"
    "$zulctl" --dir "$work/sockets" zul_target_probe 'ras1 flush' >flush.out || fail "ras1 flush: $(cat flush.out)"
    grep -Eq "$said" flush.out || fail "buffer $buffer: ras1 flush said $(cat flush.out)"
    [ "$(count writer app.log)" = 20 ] || fail "buffer $buffer: $(count writer app.log) lines after ras1 flush"
    touch stop; wait "$writers" || fail "the probe ended with $?"; writers=""
    rm -rf sockets/*
  done
  echo "flush: lines held until ras1 flush, and none held with ZUL_RAS1_BUFFER=off"
}

# A full half is written by the log's own thread, "zul-log", which a
# forked child starts afresh; ZUL_RAS1_WRITER=caller starts none.  Every
# line of parent and child reaches the file either way.
case_writer() {
  # ThreadSanitizer refuses a thread started in the child of a process
  # that had threads, unless told to go on: the child's writer thread is
  # what is checked here.
  export TSAN_OPTIONS="${TSAN_OPTIONS:+$TSAN_OPTIONS:}die_after_fork=0"
  # ZUL_RAS1_WRITER | whether the parent has a zul-log thread | whether the child has
  while IFS='|' read -r setting parent child; do
    rm -f app.log
    ZUL_RAS1="STATE >$work/app.log" ZUL_RAS1_BUFFER=4K ZUL_RAS1_WRITER=$setting \
      "$probe" forked 3000 >out 2>err || fail "$setting: the probe ended with $?: $(cat err)"
    # Sanitizers may have threads of their own: only zul-log is looked for.
    [ "$(grep '^parent' out | grep -c ' zul-log')" = "$parent" ] || fail "$setting: $(grep '^parent' out)"
    [ "$(grep '^child' out | grep -c ' zul-log')" = "$child" ] || fail "$setting: $(grep '^child' out)"
    # (A sanitizer's own notes, lines that begin with ==, are let be.)
    ! grep -qv '^==' err || fail "$setting said: $(cat err)"
    [ "$(count 'writer 0 line' app.log)" = 3000 ] || fail "$setting: $(count 'writer 0 line' app.log) parent lines"
    [ "$(count 'child line' app.log)" = 3000 ] || fail "$setting: $(count 'child line' app.log) child lines"
    grep -o 'child line [0-9]*' app.log | awk '{ if ($3 != n++) exit 1 }' ||
      fail "$setting: the child's lines out of order"
    # Lines held 100 ms go out with the next line, while the process runs.
    rm -f app.log stop
    ZUL_RAS1="STATE >$work/app.log" ZUL_RAS1_WRITER=$setting "$probe" aged "$work/stop" &
    writers=$!
    for _ in $(seq 100); do [ "$(count 'writer 0 line' app.log)" = 4 ] && break; sleep 0.02; done
    [ "$(count 'writer 0 line' app.log)" = 4 ] || fail "$setting: $(count 'writer 0 line' app.log) lines after 100 ms"
    touch stop; wait "$writers" || fail "$setting: the aged probe ended with $?"; writers=""
  done <<'TABLE'
|1|1
thread|1|1
caller|0|0
TABLE
  ZUL_RAS1="STATE >$work/app.log" ZUL_RAS1_WRITER=sometimes "$probe" forked 10 >out 2>err
  [ "$(head -n1 err)" = 'ZUL_RAS1_WRITER: "sometimes" is not thread or caller; the log'"'"'s own thread writes it' ] ||
    fail "ZUL_RAS1_WRITER=sometimes said: $(cat err)"
  echo "writer: zul-log in parent and child, none with ZUL_RAS1_WRITER=caller"
}

# The library does not need libsystemd unless the journal is asked for.
case_ldd() {
  if ldd "$libzul" | grep -q libsystemd; then fail "libzul links libsystemd: $(ldd "$libzul" | grep libsystemd)"; fi
  echo "ldd: no libsystemd"
}

"case_$case_name"
