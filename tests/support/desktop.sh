# Sourced by the test scripts that run programs as a user does: the programs they need, a work
# folder and the background processes, all gone when the script ends, and a virtual X display.
#   require NAME PROGRAM...     ends the script when one of the programs is not installed
#   start_display WxHxD         a free virtual display (Xvfb) as DISPLAY
work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

require() {
  local name=$1 program
  shift
  for program in "$@"; do
    command -v "$program" >/dev/null || { echo "$name: $program is not installed (scripts/setup.sh)"; exit 1; }
  done
}

# Xvfb picks a free display and writes its number once it accepts clients.
start_display() {
  Xvfb -displayfd 3 -screen 0 "$1" -nolisten tcp 3>"$work/display" 2>/dev/null &
  pids+=($!)
  for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
  export DISPLAY=":$(cat "$work/display")"
}
