#!/usr/bin/env bash
# The tovrel tool in pipelines with ffmpeg: frames from ffmpeg's testsrc2 go
# through `tovrel` on standard input and output and are checked with ffmpeg.
# Usage: ffmpeg_test.sh CASE TOVREL WORKDIR
# Exit status 77 (a skip for CTest) when ffmpeg is not installed, or when
# this build of the library refuses the format the case needs.
set -uo pipefail
case_name=$1
tovrel=$2
work=$3/$case_name
skip=77

command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null ||
  { echo "SKIP: ffmpeg is not installed (tools/setup.sh installs it)"; exit $skip; }
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1

fail() { echo "FAIL: $*" >&2; exit 1; }

# testsrc2 frames: pixel format, size, count -> standard output.
source_frames() {
  ffmpeg -v error -f lavfi -i "testsrc2=size=$2:rate=25" -frames:v "$3" -f rawvideo -pix_fmt "$1" -
}

# Frames of a raw file as ffprobe counts them: pixel format, size, file.
count_frames() {
  ffprobe -v error -f rawvideo -pixel_format "$1" -video_size "$2" -count_frames \
    -select_streams v:0 -show_entries stream=nb_read_frames -of csv=p=0 "$3"
}

# Runs tovrel with stderr in tovrel.err; a refusal of a format this build
# does not draw yet is a skip, any other failure fails the case.
run_tovrel() {
  "$tovrel" "$@" 2>tovrel.err
  local code=$?
  if [ $code -ne 0 ] && grep -q "not supported by this build" tovrel.err; then
    echo "SKIP: $(head -n 1 tovrel.err)" >&2
    exit $skip
  fi
  [ $code -eq 0 ] || fail "tovrel $* exited with $code: $(cat tovrel.err)"
}

case $case_name in
  identity_rgba | identity_yuyv422 | identity_yuv422p10le)
    # A point-sampled identity warp returns every frame byte for byte.
    fmt=${case_name#identity_}
    source_frames "$fmt" 176x144 12 >in.raw || fail "ffmpeg could not make $fmt frames"
    run_tovrel warp - - --format "$fmt" --size 176x144 --quad 0,0,176,0,176,144,0,144 \
      --no-filter --threads 2 <in.raw >out.raw
    [ "$(count_frames "$fmt" 176x144 out.raw)" = 12 ] || fail "frame count changed"
    cmp in.raw out.raw || fail "the identity warp changed bytes"
    ;;
  scale_yuyv422_vs_area)
    # Half size against ffmpeg's own area scaler on the same frames.
    source_frames yuyv422 640x360 10 >in.raw || fail "ffmpeg could not make frames"
    run_tovrel scale - - --format yuyv422 --size 640x360 --dst 0,0,320,180 <in.raw >ours.raw
    ffmpeg -v error -f rawvideo -pix_fmt yuyv422 -s 640x360 -i in.raw \
      -vf scale=320:180:flags=area -f rawvideo -pix_fmt yuyv422 ref.raw || fail "ffmpeg scale"
    [ "$(count_frames yuyv422 320x180 ours.raw)" = 10 ] || fail "frame count changed"
    psnr=$(ffmpeg -hide_banner -f rawvideo -pix_fmt yuyv422 -s 320x180 -i ours.raw \
      -f rawvideo -pix_fmt yuyv422 -s 320x180 -i ref.raw -lavfi psnr -f null - 2>&1 |
      sed -n 's/.*PSNR y:\([0-9.a-z]*\).*/\1/p')
    echo "Y PSNR against ffmpeg scale flags=area: $psnr dB"
    [ -n "$psnr" ] || fail "no PSNR from ffmpeg"
    [ "$psnr" = inf ] || awk -v p="$psnr" 'BEGIN { exit !(p >= 40) }' ||
      fail "Y PSNR $psnr dB is below 40 dB"
    ;;
  truncated)
    # Three whole frames and part of a fourth: the three come out, then the
    # error and status 1.
    source_frames rgba 64x48 4 | head -c $((3 * 64 * 48 * 4 + 1000)) >in.raw
    "$tovrel" scale - out.raw --format rgba --size 64x48 --dst 0,0,32,24 <in.raw 2>err.txt
    code=$?
    [ $code -eq 1 ] || fail "exit status $code, expected 1"
    grep -q "standard input ends in a partial frame: 1000 of the 12288 bytes .* after 3 whole frames" \
      err.txt || fail "message: $(cat err.txt)"
    [ "$(count_frames rgba 32x24 out.raw)" = 3 ] || fail "the whole frames were not all written"
    ;;
  closed_pipe)
    # The reader goes away after a few bytes: a clean end, no message.
    source_frames bgra 160x120 50 >in.raw
    "$tovrel" scale - - --format bgra --size 160x120 --dst 0,0,80,60 <in.raw 2>err.txt |
      head -c 1000 >/dev/null
    code=${PIPESTATUS[0]}
    [ $code -eq 0 ] || fail "exit status $code after the pipe closed: $(cat err.txt)"
    [ ! -s err.txt ] || fail "messages after the pipe closed: $(cat err.txt)"
    ;;
  *)
    echo "ffmpeg_test.sh: unknown case '$case_name'" >&2
    exit 2
    ;;
esac
echo "PASS: $case_name"
