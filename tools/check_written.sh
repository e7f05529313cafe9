#!/bin/sh
# check_written.sh KESTRIN: writes pictures of one pixel and of odd sizes, gray and colour, with alpha and without, of 8
# and 16 bits, in every format and compression, and holds what ImageMagick, OpenImageIO and ffmpeg read from each file
# against the picture that it was written from. Prints a line for each file that differs and a count. A PSD with alpha
# holds the picture twice: its layer is held as it is, and the merged picture, whose colours lie on white, under its
# alpha, where the tools' rounding of 8 bits leaves one and a half steps.
set -eu
exec </dev/null
program=$1
scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT
export XDG_CONFIG_HOME="$scratch" XDG_DATA_HOME="$scratch"
cd "$scratch"
files=0
bad=0

complain() {
  bad=$((bad + 1))
  echo "$*"
}

# Greatest difference of a sample of two pictures, in steps of 65535. $3 is what is compared: their colours or alpha.
difference() {
  found=$(compare -metric PAE "$1" $3 "$2" $3 null: 2>&1 | sed 's/ .*//' || true)
  case "$found" in '' | *[!0-9.e+-]*) echo 99999 ;; *) awk -v d="$found" 'BEGIN { printf "%d", d }' ;; esac
}

# hold SOURCE FOUND MOST WHAT [under]: colours and alpha, the colours under their alpha where that is said.
hold() {
  if [ ! -s "$2" ]; then
    complain "$4: not read"
    return
  fi
  colors="-alpha off"
  [ -z "${5-}" ] || colors="-background black -alpha remove -alpha off"
  for part in "$colors" "-alpha extract"; do
    convert "$1" $part -colorspace sRGB "png48:a.png"
    convert "$2" $part -colorspace sRGB "png48:b.png"
    steps=$(difference a.png b.png "")
    [ "$steps" -le "$3" ] || complain "$4: $part differs by $steps of 65535"
  done
}

write() {
  rm -f "$2"
  "$program" "$1" --still_image --save_options="$3" --save_frame_as="$2" --exit >log 2>&1
  files=$((files + 1))
  [ -s "$2" ] || complain "$2 $3 from $1: not written: $(head -1 log)"
}

# What both tools read of picture NUMBER of a file. read_back FILE NUMBER
read_back() {
  rm -f magick.png oiio.png
  convert "$1[$2]" -auto-orient -alpha set "png64:magick.png" 2>/dev/null || true
  channels=$(oiiotool "$1" --subimage "$2" --echo '{TOP.nchannels}' 2>/dev/null | tail -1)
  case "$channels" in 1 | 3) order= ;; 2) order="--ch 0,0,0,1 --chnames R,G,B,A" ;; *) order="--chnames R,G,B,A" ;; esac
  oiiotool --iconfig oiio:UnassociatedAlpha 1 "$1" --subimage "$2" $order -d uint16 \
    --attrib:type=int oiio:UnassociatedAlpha 1 --attrib:type=int oiio:dither 0 -o oiio.png >/dev/null 2>&1 || true
}

# Whole numbers, both tools: what they read back is the source. whole SOURCE FILE OPTIONS MOST
whole() {
  write "$1" "$2" "$3"
  under=
  most=$4
  case "$2 $1" in
    *.psd\ rgba_* | *.psd\ graya_*)
      under=under
      case "$3" in *bits=8) most=386 ;; esac
      ;;
  esac
  read_back "$2" 0
  hold "$1" magick.png "$most" "$2 $3 from $1, ImageMagick" $under
  hold "$1" oiio.png "$most" "$2 $3 from $1, OpenImageIO" $under
  case "$2 $1" in *.psd\ rgba_* | *.psd\ graya_*) ;; *) return ;; esac
  read_back "$2" 1
  hold "$1" magick.png "$4" "$2 $3 from $1, ImageMagick, layer"
  hold "$1" oiio.png "$4" "$2 $3 from $1, OpenImageIO, layer"
}

# Floats are linear light.
floats() {
  write "$1" "$2" "$3"
  case "$1" in gray*) colors=0,0,0 ;; *) colors=0,1,2 ;; esac
  oiiotool "$1" --ch $colors -d float --colorconvert sRGB linear -o expected.exr >/dev/null 2>&1
  oiiotool "$2" --ch R,G,B -d float -o found.exr >/dev/null 2>&1
  oiiotool expected.exr found.exr --fail "$4" --diff >log 2>&1 || complain "$2 $3 from $1: $(grep 'Max error' log)"
}

# Film log codes: 685 is white, 95 black, 300 codes a decade.
codes() {
  write "$1" "$2" "$3"
  for channel in G B R; do convert "$1" -channel $channel -separate -depth 8 gray:-; done >expected.raw
  ffmpeg -nostdin -v error -y -i "$2" -f rawvideo -pix_fmt gbrp10le found.raw
  od -An -v -w1 -tu1 expected.raw >expected.txt
  od -An -v -w2 -tu2 found.raw >found.txt
  paste expected.txt found.txt | awk '
    { x = $1 / 255; v = x <= 0.04045 ? x / 12.92 : ((x + 0.055) / 1.055) ^ 2.4
      v = v * 0.9892022483767229 + 0.0107977516232771
      d = int(685 + 300 * log(v) / log(10) + 0.5) - $2; if (d < 0) d = -d; if (d > most) most = d }
    END { exit !(NR > 0 && most <= 1) }' || complain "$2 $3 from $1: other codes"
}

for size in 1x1 37x23; do
  convert -seed 7 -size $size plasma:black-white \( -clone 0 -flip \) \( -clone 0 -negate \) -combine -set colorspace sRGB \
    -normalize color.png
  convert -seed 9 -size $size plasma:white-black -colorspace gray alpha.png
  for bits in 8 16; do
    convert color.png -depth $bits -define png:color-type=2 -define png:bit-depth=$bits rgb_${size}_$bits.png
    convert color.png -channel R -separate +channel -depth $bits -define png:color-type=0 -define png:bit-depth=$bits \
      gray_${size}_$bits.png
    convert color.png alpha.png -alpha off -compose copy_opacity -composite -depth $bits -define png:color-type=6 \
      -define png:bit-depth=$bits rgba_${size}_$bits.png
    convert color.png -channel R -separate +channel alpha.png -alpha off -compose copy_opacity -composite -depth $bits \
      -define png:color-type=4 -define png:bit-depth=$bits graya_${size}_$bits.png
  done
done

for source in gray_*.png graya_*.png rgb_*.png rgba_*.png; do
  kind=${source%%_*}
  alpha=yes
  case "$kind" in gray | rgb) alpha=no ;; esac
  case "$source" in *_16.png) bits=16 ;; *) bits=8 ;; esac
  # Sixteen bits pass through halves, which have eleven.
  most=0
  if [ $bits = 16 ]; then most=24; fi
  for row in psd:none psd:rle sgi:none sgi:rle tif:none tif:packbits tif:deflate tif:lzw png:none png:deflate; do
    whole "$source" "out.${row%:*}" "compression=${row#*:},bits=$bits" $most
  done
  [ $bits = 8 ] || continue
  for row in bmp:none bmp:rle tga:none tga:rle; do
    whole "$source" "out.${row%:*}" "compression=${row#*:}" 0
  done
  [ $alpha = no ] || continue
  if [ "$kind" = gray ]; then whole "$source" out.jpg quality=100 771; fi
  for compression in none rle deflate; do
    floats "$source" out.exr compression=$compression 0.001
    floats "$source" out.ftif compression=$compression 0.001
  done
  codes "$source" out.dpx compression=none
done
echo "$files files written, $bad faults"
[ $bad = 0 ]
