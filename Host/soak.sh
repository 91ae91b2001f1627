#!/usr/bin/env bash
# Two players under one limit of 512 MiB, for SOAK_SECONDS (600): each plays a drawn sequence, whose frames
# are several times that, again and again. At the end both must be alive and within the limit, and every
# frame must have come, with the bytes that it has without a limit.
#
# The limit is a control group of the memory controller (version 2 or 1) where one can be made, and else
# RLIMIT_AS of each player; the verdict says which. The group is removed at the end.
#
# Usage: soak.sh BUILD_DIR   (a release build with rkhost; everything is kept below BUILD_DIR/soak)
set -euo pipefail

if [ $# -ne 1 ] || [ ! -x "$1/Host/rkhost" ]; then
  echo "Usage: soak.sh BUILD_DIR, where BUILD_DIR/Host/rkhost has been built" >&2
  exit 2
fi
if ! command -v ffmpeg >/dev/null; then
  echo "ffmpeg is missing: apt-get install ffmpeg" >&2
  exit 1
fi

seconds=${SOAK_SECONDS:-600}
frames=${SOAK_FRAMES:-1200} # of 1920 x 1080 in 4:2:0, which is 3.1 MB each
limit=$((512 << 20))
# Without a control group the players see the whole machine, on which the smallest cache may be 512 MiB. The
# rest of the address space is for libraries, stacks and frames under way.
limit_as=$((1536 << 20))
rkhost=$(realpath "$1")/Host/rkhost
work=$(realpath "$1")/soak
suite=rkhost-soak-$$
group=
players=()
mkdir -p "$work"

fail() {
  echo "soak: $1" >&2
  failed=1
}

draw() {
  sequence=$work/frames-$frames
  [ ! -d "$sequence" ] || return 0
  echo "Drawing $frames frames of 1920 x 1080 into $sequence"
  rm -rf "$work"/frames-*
  mkdir -p "$sequence.unfinished"
  ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=1920x1080:rate=25 -frames:v "$frames" \
    -pix_fmt yuvj420p -q:v 3 "$sequence.unfinished/soak_%05d.jpg"
  mv "$sequence.unfinished" "$sequence"
}

# Makes the group that limits both players. @return 1 where there is no right to.
make_group() {
  local root=/sys/fs/cgroup own
  own=$(sed -n 's/^0:://p' /proc/self/cgroup)
  for root in /sys/fs/cgroup "/sys/fs/cgroup$own"; do
    if grep -qs memory "$root/cgroup.subtree_control" && mkdir "$root/$suite" 2>/dev/null; then
      group=$root/$suite
      kind="control group, version 2"
      usage=memory.current peak=memory.peak
      echo 0 2>/dev/null >"$group/memory.swap.max" || true
      echo $limit >"$group/memory.max" && return 0
      rmdir "$group"
    fi
  done
  root=/sys/fs/cgroup/memory
  if [ -e "$root/memory.limit_in_bytes" ] && mkdir "$root/$suite" 2>/dev/null; then
    group=$root/$suite
    kind="control group, version 1"
    usage=memory.usage_in_bytes peak=memory.max_usage_in_bytes
    echo $limit >"$group/memory.limit_in_bytes" && return 0
    rmdir "$group"
  fi
  group=
  kind="RLIMIT_AS of $((limit_as >> 20)) MiB a player"
  return 1
}

# start NUMBER: a player within the limit.
start() {
  (
    budget=()
    if [ -n "$group" ]; then
      echo "$BASHPID" >"$group/cgroup.procs"
    else
      budget=(--budget $limit)
      ulimit -s 512
      ulimit -v $((limit_as >> 10))
    fi
    exec "$rkhost" play "${budget[@]}" --suite "$suite" --seconds "$seconds" "$sequence/soak_00001.jpg"
  ) >"$work/player-$1.log" 2>&1 </dev/null &
  players+=($!)
}

clean_up() {
  local player
  trap - EXIT INT TERM
  for player in "${players[@]}"; do kill -KILL "$player" 2>/dev/null || true; done
  wait 2>/dev/null || true
  [ -z "$group" ] || rmdir "$group" || echo "soak: $group could not be removed" >&2
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

figure() { cat "$group/$1" 2>/dev/null || echo 0; }
in_mib() { echo "$(($1 >> 20)) MiB"; }

# Kills for want of memory within the group, and how often the limit was met.
oom_kills() { cat "$group"/memory.{oom_control,events} 2>/dev/null | sed -n 's/^oom_kill //p'; }
times_at_limit() {
  if [ -e "$group/memory.failcnt" ]; then
    figure memory.failcnt
  else
    sed -n 's/^max //p' "$group/memory.events"
  fi
}

show_progress() {
  local number line="" now
  for number in 1 2; do
    line+="  player $number: $(grep -E '^(cold|warm|pass [0-9]+)  ' "$work/player-$number.log" | tail -1 || true)"
  done
  now=0
  if [ -n "$group" ]; then
    now=$(figure "$usage")
    if [ "$now" -gt "$highest" ]; then highest=$now; fi
  fi
  printf '%5d s  %s in use %s\n' "$SECONDS" "$(in_mib "$now")" "$line"
}

# cell NUMBER ROW COLUMN: of a player's summary.
cell() { sed -n "s/^$2   *//p" "$work/player-$1.log" | tail -1 | awk -v column="$3" '{ print $column }'; }

# Everything that one player must have done.
judge() {
  local passes
  if [ "$2" -ne 0 ]; then
    fail "player $1 ended with $2: $(tail -1 "$work/player-$1.log")"
    return
  fi
  passes=$(cell "$1" passes 2)
  [ "$(cell "$1" frames 1)" = "$frames" ] && [ "$(cell "$1" frames 2)" = $((passes * frames)) ] ||
    fail "player $1 did not play every frame of every pass"
  [ "$(cell "$1" errors 1) $(cell "$1" errors 2)" = "0 0" ] || fail "player $1 had frames that failed"
  [ "$(cell "$1" checksum 1)" = "$expected" ] || fail "player $1 decoded other frames than without a limit"
  [ "$passes" -gt 0 ] || fail "player $1 came no further than its first pass; SOAK_SECONDS is too short"
  [ "$passes" -eq 0 ] || [ "$(cell "$1" checksum 2)" = same ] || fail "player $1 played passes that differ"
  delivered=$((delivered + frames * (passes + 1)))
}

draw
echo "Playing it once without a limit"
"$rkhost" play --passes 1 --no-monitor "$sequence/soak_00001.jpg" >"$work/reference.log" </dev/null
expected=$(sed -n 's/^checksum  *//p' "$work/reference.log" | awk '{ print $1 }')

failed=0 delivered=0 highest=0
make_group || true
echo "Two players for $seconds s under $(in_mib $limit): $kind"
SECONDS=0
start 1
start 2
is_alive() { kill -0 "$1" 2>/dev/null; }
while is_alive "${players[0]}" || is_alive "${players[1]}"; do
  sleep 5
  show_progress
done
number=0
for player in "${players[@]}"; do
  code=0
  wait "$player" || code=$?
  number=$((number + 1))
  judge $number $code
done

echo
for number in 1 2; do
  echo "player $number: $(cell $number 'frames per second' 2) frames a second, hit ratio $(cell $number 'hit ratio' 3) %," \
    "budget $(cell $number 'cache budget' 1) $(cell $number 'cache budget' 2)," \
    "peak resident $(cell $number 'peak resident memory' 1) $(cell $number 'peak resident memory' 2)"
done
if [ -n "$group" ]; then
  recorded=$(figure $peak)
  if [ "$recorded" -gt "$highest" ]; then highest=$recorded; fi
  kills=$(oom_kills || true)
  echo "most in use: $(in_mib "$highest") of $(in_mib $limit), page cache included; met the limit" \
    "$(times_at_limit) times, and the kernel reclaimed; killed for want of memory: ${kills:-unknown}"
  [ "$highest" -le $limit ] || fail "more than the limit was in use"
  [ "${kills:-1}" = 0 ] || fail "the kernel killed for want of memory"
fi
echo "frames delivered: $delivered"
if [ $failed -ne 0 ]; then
  echo "SOAK FAILED ($kind, $seconds s); logs: $work"
  exit 1
fi
echo "SOAK PASSED ($kind, $seconds s)"
