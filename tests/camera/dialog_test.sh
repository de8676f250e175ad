#!/usr/bin/env bash
# The question about missing correction data as a user on a desktop sees it: tq4cam opens the
# simulated camera (no references) on a virtual X display with a window manager; the dialog is
# captured as a screenshot (kept in ARTEFACTS), its caption compared, and it is answered from
# the keyboard: Escape (No) keeps the camera open, Return (Yes) closes it and starts the
# download tool.
#
#   dialog_test.sh TQ4CAM SIM_DIR ARTEFACTS
set -euo pipefail
tq4cam=$(realpath "$1") sim_dir=$(realpath "$2") artefacts=$(realpath -m "$3")
caption="tq4_genicam.dll: ZEVO quillon SWIR (3101) (Serial No.: 3101)"

source "$(dirname "$0")/../support/desktop.sh"
require dialog_test Xvfb openbox zenity xdotool import
start_display 1024x600x24
openbox >/dev/null 2>&1 &
pids+=($!)
sleep 1

mkdir -p "$work/appdata/zevo" "$work/tools" "$artefacts"
: >"$work/appdata/zevo/tq4_genicam.log"   # logging is on while the file exists
printf '#!/bin/sh\ntouch "%s"\n' "$work/tool ran" >"$work/tools/zevo.quillonSWIR"
chmod +x "$work/tools/zevo.quillonSWIR"
# Shared-memory names of its own: the paths in a shared block are fixed by whoever made it.
export TQ4_COMMON_APPDATA="$work/appdata" GENICAM_GENTL64_PATH="$sim_dir:$work/tools" TQ4_SHM_SUFFIX="_dialog$$"
unset TQ4_QUESTION_ANSWER WAYLAND_DISPLAY
cd "$work"

# Runs tq4cam info, waits for the dialog, keeps its screenshot as $1, answers with key $2.
# Leaves tq4cam's exit status in $status.
answer_dialog() {
  "$tq4cam" info >"$work/tq4cam.out" 2>&1 &
  local tool=$!
  local window
  window=$(timeout 30 xdotool search --sync --name "Serial No\\.:" | head -1)
  sleep 1   # let it draw
  import -window root "$artefacts/$1"
  local name
  name=$(xdotool getwindowname "$window")
  [ "$name" = "$caption" ] || { echo "dialog_test: caption <$name>, expected <$caption>"; exit 1; }
  xdotool windowactivate --sync "$window" key "$2"
  status=0
  wait "$tool" || status=$?
}

answer_dialog correction_dialog_no.png Escape
[ "$status" -eq 0 ] || { cat "$work/tq4cam.out"; echo "dialog_test: tq4cam failed after No"; exit 1; }
grep -q "User denied running zevo.quillonSWIR.exe. Continue without correction data!" \
  "$TQ4_COMMON_APPDATA/zevo/tq4_genicam.log" || { cat "$TQ4_COMMON_APPDATA/zevo/tq4_genicam.log"; echo "dialog_test: No was not logged"; exit 1; }

answer_dialog correction_dialog_yes.png Return
[ "$status" -ne 0 ] || { echo "dialog_test: tq4cam opened a camera handed to the tool"; exit 1; }
for _ in $(seq 100); do [ -e "$work/tool ran" ] && break; sleep 0.1; done
[ -e "$work/tool ran" ] || { echo "dialog_test: the download tool did not run"; exit 1; }
grep -q "Open_Cam_Ext: camera closed for the correction data download tool." "$TQ4_COMMON_APPDATA/zevo/tq4_genicam.log" ||
  { cat "$TQ4_COMMON_APPDATA/zevo/tq4_genicam.log"; echo "dialog_test: the camera's hand-over was not logged"; exit 1; }
echo "dialog_test: passed; screenshots in $artefacts"
