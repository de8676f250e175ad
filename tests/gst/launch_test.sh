#!/usr/bin/env bash
# tq4src as a user meets it: gst-inspect-1.0 describes it, gst-launch-1.0 writes 100 PNG images
# of the region asked for, a camera that is not there ends the pipeline with the element's
# error, a recording plays back, images sent over RTP (loopback) arrive whole, and on a virtual
# X display `tq4src ! videoconvert ! ximagesink` shows the scene (the
# screenshot is kept in ARTEFACTS and must not be a blank screen).
#
# `tq4cam view` shows the same with the frame number and rate written over it.
#
#   launch_test.sh PLUGIN_DIR SIM_DIR TQ4CAM ARTEFACTS
set -euo pipefail
plugin_dir=$(realpath "$1") sim_dir=$(realpath "$2") tq4cam=$(realpath "$3") artefacts=$(realpath -m "$4")

for program in gst-inspect-1.0 gst-launch-1.0 Xvfb import identify; do
  command -v "$program" >/dev/null || { echo "launch_test: $program is not installed (scripts/setup.sh)"; exit 1; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "launch_test: $*"; exit 1; }

mkdir -p "$artefacts" "$work/frames"
: >"$work/sim.cfg"
export GST_PLUGIN_PATH="$plugin_dir" GENICAM_GENTL64_PATH="$sim_dir" ZEVO_SIM_CONFIG="$work/sim.cfg"
export TQ4_COMMON_APPDATA="$work/appdata" TQ4_SHM_SUFFIX="_gst$$" TQ4_QUESTION_ANSWER=no
export GST_REGISTRY="$work/registry.bin"

gst-inspect-1.0 tq4src >"$work/inspect.txt" || fail "gst-inspect-1.0 tq4src failed"
for property in camera producers exposure region binning trigger buffers queued; do
  grep -q "^  $property " "$work/inspect.txt" || fail "gst-inspect-1.0 shows no property $property"
done

gst-launch-1.0 -q tq4src num-buffers=100 region=1,1,320,240 ! videoconvert ! pngenc compression-level=1 \
  ! multifilesink location="$work/frames/frame-%03d.png"
count=$(find "$work/frames" -name '*.png' | wc -l)
[ "$count" -eq 100 ] || fail "$count images written, 100 expected"
for frame in 000 099; do
  size=$(identify -format '%wx%h' "$work/frames/frame-$frame.png")
  [ "$size" = 320x240 ] || fail "frame-$frame.png is $size, 320x240 expected"
done

if gst-launch-1.0 tq4src producers="$work/absent.cti" ! fakesink >"$work/missing.txt" 2>&1; then
  fail "a camera opened without its producer"
fi
grep -q "Camera 0 cannot be opened." "$work/missing.txt" || fail "no element error naming the camera: $(cat "$work/missing.txt")"

# Recording to a file, and sending over RTP on loopback to a receiver that decodes the images.
gst-launch-1.0 -q tq4src num-buffers=30 binning=2 ! videoconvert ! jpegenc ! avimux ! filesink location="$work/rec.avi"
mkdir -p "$work/played"
gst-launch-1.0 -q filesrc location="$work/rec.avi" ! avidemux ! jpegdec ! videoconvert ! pngenc \
  ! multifilesink location="$work/played/frame-%03d.png"
played=$(find "$work/played" -name '*.png' | wc -l)
[ "$played" -eq 30 ] || fail "the recording plays back $played images, 30 expected"
# The sender paced to 25 images a second (40 ms exposure), as a link to another machine is.
port=$((20000 + $$ % 20000))
mkdir -p "$work/received"
timeout 30 gst-launch-1.0 -q udpsrc address=127.0.0.1 port=$port \
  caps="application/x-rtp, media=video, encoding-name=JPEG, clock-rate=90000, payload=26" ! queue ! rtpjpegdepay \
  ! jpegdec ! videoconvert ! pngenc ! multifilesink location="$work/received/frame-%03d.png" &
receiver=$!
sleep 1
gst-launch-1.0 -q tq4src num-buffers=30 exposure=40ms region=1,1,640,480 ! videoconvert ! video/x-raw,format=I420 \
  ! jpegenc ! rtpjpegpay ! udpsink host=127.0.0.1 port=$port
sleep 1
kill "$receiver" 2>/dev/null || true
wait "$receiver" 2>/dev/null || true
received=$(find "$work/received" -name '*.png' | wc -l)
[ "$received" -ge 25 ] || fail "$received of 30 images came over RTP"
size=$(identify -format '%wx%h' "$work/received/frame-000.png")
[ "$size" = 640x480 ] || fail "the received image is $size, 640x480 expected"

Xvfb -displayfd 3 -screen 0 800x600x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
pids+=($!)
for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
export DISPLAY=":$(cat "$work/display")"
gst-launch-1.0 -q tq4src binning=2 ! videoconvert ! ximagesink >"$work/view.txt" 2>&1 &
pids+=($!)
sleep 4
import -window root "$artefacts/live_view.png"
mean=$(identify -format '%[fx:mean]' "$artefacts/live_view.png")
awk -v m="$mean" 'BEGIN { exit !(m > 0.05) }' || fail "the live view is blank (mean $mean): $(cat "$work/view.txt")"
kill "${pids[-1]}"

"$tq4cam" view --binning 2 --frames 400 --sink ximagesink >"$work/tq4cam-view.txt" 2>&1 &
pids+=($!)
sleep 4
import -window root "$artefacts/tq4cam_view.png"
wait "${pids[-1]}" || fail "tq4cam view failed: $(cat "$work/tq4cam-view.txt")"
grep -q "^400 images shown" "$work/tq4cam-view.txt" || fail "tq4cam view: $(cat "$work/tq4cam-view.txt")"
echo "launch_test: 100 images of 320x240, the missing camera's error, a recording, $received images over RTP," \
  "live views in $artefacts"
