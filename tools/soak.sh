#!/bin/sh
# soak.sh [SECONDS [JOBS [PROGRAM]]]: a long run. A window under Xvfb plays, scrubs, reloads and edits by keys, mouse and
# handed-over lines for SECONDS (default 7200, 0 for no window), then JOBS farm jobs (default 5000) save one after the other.
# Fails when memory or descriptors of the window grow, when anything is written to an error stream, when a job takes more
# memory than those before, writes other bytes, or leaves anything behind.
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-7200}
jobs=${2:-5000}
program=${3:-build/release/bin/kestrin}
program=$(realpath "$program")
examples=$PWD/examples/first_look
. tools/own_window.sh
fail() {
  echo "soak.sh: $*" >&2
  tail -n 20 "$folder"/errors* >&2 2>/dev/null || true
  exit 1
}

# --- a shot of 60 frames; the program makes it ---
env -u DISPLAY "$program" --new_text_layer=60 --timeline=60 --wa_end=60 --mask_size=640,360 --layer_resize_to_mask \
  '--text={timeline:frame}' --text_size=200 "--save_mask_as_sequence=$folder/shot.####.tga" --transient --exit=status

# --- the window ---
window_part() {
open_display
open_window "$program" shot.####.tga "$examples"/lantern.##.tga --alpha=normal --length=60 --autosave=5 --memory_limit=200 ||
  fail "the window has ended"

told() { "$program" --attach_nf "$@" --transient >/dev/null 2>>errors_attach || fail "a line was not carried out: $*"; }
resident() { awk '/^VmRSS/ {print $2}' "/proc/$window/status"; }
descriptors() { ls "/proc/$window/fd" | wc -l; }
round() {
  xdotool key --clearmodifiers space
  sleep 0.5
  xdotool key --clearmodifiers space key --clearmodifiers Home
  xdotool mousemove --window "$id" 200 200 mousedown 1
  for x in 260 380 300 500 240 420; do xdotool mousemove --window "$id" "$x" 210; done
  xdotool mouseup 1
  told --1:exposure=$((turn % 5 - 2)) --1:opacity=$((turn * 7 % 100)) --2:gamma=1.$((turn % 9 + 1)) --layer_update_modified
  touch shot.00"$(printf %02d $((turn % 60)))".tga
  told --update_all_layers --new_text_layer "--text=turn $turn" --layer_delete_selected --layer_select_first
  xdotool key --clearmodifiers Tab key --clearmodifiers ctrl+Tab key --clearmodifiers Tab
  told --layer_select_last --new_adjustment_layer --saturation=50 --layer_delete_selected --layer_select_first
  [ $((turn % 10)) -ne 5 ] || told --save_composition_as="$folder/a.ksncomp" --open_composition="$folder/a.ksncomp"
  [ $((turn % 10)) -ne 7 ] || told --save_mask_as_sequence="$folder/out/c.####.jpg" --frames=0-9
  kill -0 "$window" 2>/dev/null || fail "the window has ended in turn $turn"
}
turn=0
end=$(($(date +%s) + seconds))
half=$(($(date +%s) + seconds / 2))
first_memory=0
last_memory=0
first_turns=0
later_turns=0
# A slow machine takes longer: what is too few turns tells nothing. Memory goes up and down with what is loaded ahead, so the
# highest of the first half, when all that is kept for later has filled, is held against the highest of the second.
while [ "$(date +%s)" -lt "$end" ] || [ $later_turns -lt 15 ]; do
  round
  turn=$((turn + 1))
  memory=$(resident)
  [ $((turn % 50)) -ne 0 ] || echo "  turn $turn: $memory kB, $(descriptors) descriptors"
  if [ "$(date +%s)" -lt "$half" ] || [ $first_turns -lt 15 ]; then
    [ "$memory" -le "$first_memory" ] || first_memory=$memory
    first_turns=$((first_turns + 1))
    first_descriptors=$(descriptors)
  else
    [ "$memory" -le "$last_memory" ] || last_memory=$memory
    later_turns=$((later_turns + 1))
  fi
done
last_descriptors=$(descriptors)
echo "window: $turn turns; at most $first_memory kB in the first half, $last_memory kB in the second; $first_descriptors descriptors, $last_descriptors at the end"
[ "$last_memory" -le $((first_memory + first_memory / 10 + 20000)) ] || fail "memory grows"
[ "$last_descriptors" -le $((first_descriptors + 2)) ] || fail "descriptors grow"
xdotool key --clearmodifiers ctrl+q
tries=100
while kill -0 "$window" 2>/dev/null && [ $tries -gt 0 ]; do sleep 0.1; tries=$((tries - 1)); done
wait "$window" || fail "the window did not end well"
window=
[ ! -s errors ] && [ ! -s errors_attach ] || fail "lines on the error stream"
}
[ "$seconds" = 0 ] || window_part

# --- farm jobs ---
unset DISPLAY
rm -rf home run
mkdir -m 700 home run sums tmp
export KESTRIN_TRANSIENT=1 TMPDIR="$folder/tmp"
shared=$(ls /dev/shm | wc -l)
# Runs the program and writes the most memory that it took, in kB.
measured='import resource, subprocess, sys
code = subprocess.call(sys.argv[2:])
open(sys.argv[1], "w").write(str(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss))
sys.exit(code)'
job=0
first_peak=0
last_peak=0
while [ $job -lt "$jobs" ]; do
  chunk=$((job % 15 + 1))
  rm -rf out
  python3 -c "$measured" peak "$program" shot.####.tga "$examples"/lantern.##.tga --alpha=normal --length=60 --mask_size=160,90 \
    --chunk=$chunk/15 --save_mask_as_sequence=out/c.####.tga --exit=status >>errors_jobs 2>&1 || fail "job $job failed"
  [ "$(ls out | wc -l)" = 4 ] || fail "job $job wrote $(ls out | wc -l) frames"
  cat out/* | sha256sum >sum
  [ -s sums/$chunk ] || cp sum sums/$chunk
  cmp -s sum sums/$chunk || fail "job $job wrote other bytes than an earlier one of the same part"
  peak=$(cat peak)
  if [ $job -lt 30 ]; then
    [ "$peak" -le $first_peak ] || first_peak=$peak
  else
    [ "$peak" -le $last_peak ] || last_peak=$peak
  fi
  job=$((job + 1))
  [ $((job % 500)) -ne 0 ] || echo "  job $job: at most $first_peak kB in the first 30, $last_peak kB since"
done
[ $last_peak -le $((first_peak + first_peak / 10 + 5000)) ] || fail "jobs take more memory: $first_peak kB at first, then $last_peak kB"
[ ! -s errors_jobs ] || fail "lines of jobs"
[ -z "$(find home run tmp -type f)" ] || fail "jobs left $(find home run tmp -type f | head -n 3)"
[ "$(ls /dev/shm | wc -l)" -le "$shared" ] || echo "  /dev/shm has more files than before: $(ls /dev/shm | tr '\n' ' ')"
echo "farm: $jobs jobs, 4 frames each, the same bytes for the same part, no line, nothing left behind"
