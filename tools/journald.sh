# Sourced by the journal's tests and tools/journal-remote: a systemd-journald
# for the length of a run.  On a machine whose init is systemd the journal
# is there already; elsewhere (a container, CI) journald_up starts one of
# its own and journald_down stops it.  The socket is the system's, so one
# run at a time holds it, under a lock.
journald_socket=/run/systemd/journal/socket
journald_pid=""

# Whether a journal takes entries at the socket: a socket file left by a
# journald that has ended refuses the connection.
journald_answers() {
  python3 - "$journald_socket" 2>/dev/null <<'PY'
import socket, sys
socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).connect(sys.argv[1])
PY
}

# 0 with a journal running; 77 (skip) where none can be had, with the
# reason on standard output; 1 if one was started and never answered.
journald_up() {
  exec {journald_lock}>/tmp/zul-journald.lock
  flock "$journald_lock"
  if journald_answers; then return 0; fi
  local bin=/lib/systemd/systemd-journald
  if [ ! -x "$bin" ]; then echo "SKIP: no journal is running and $bin is not installed"; return 77; fi
  if [ "$(id -u)" != 0 ]; then echo "SKIP: no journal is running, and starting one needs root"; return 77; fi
  mkdir -p /run/systemd/journal
  "$bin" >/dev/null 2>&1 &
  journald_pid=$!
  for _ in $(seq 200); do
    if journald_answers; then return 0; fi
    sleep 0.05
  done
  echo "systemd-journald did not answer at $journald_socket"
  return 1
}

journald_down() {
  if [ -n "$journald_pid" ]; then
    kill "$journald_pid" 2>/dev/null || true
    wait "$journald_pid" 2>/dev/null || true
    journald_pid=""
  fi
  if [ -n "${journald_lock:-}" ]; then
    exec {journald_lock}>&-
    journald_lock=""
  fi
}

# Waits until `journalctl ARGS...` shows at least N entries (at most 5 s):
# journald stores what it takes a moment later.
journald_wait() {
  local n="$1"; shift
  for _ in $(seq 100); do
    [ "$(journalctl --no-pager -q -o json "$@" | wc -l)" -ge "$n" ] && return 0
    sleep 0.05
  done
  return 1
}
