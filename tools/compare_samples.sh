#!/bin/sh
# compare_samples.sh KESTRIN FOLDER: reads every picture and the first frame of every movie below FOLDER and holds it
# against OpenImageIO, ImageMagick and ffmpeg. Prints a table of file, verdict, and for each tool the greatest
# difference of a colour in steps of 255: "-" where a tool can't read the file. Floats are compared as floats, with
# OpenImageIO alone, in thousandths of the sample or of one: a half holds two per mille. Film scans that differ are held
# again with the log curve (685 white, 95 black) put on what the tools read, which is marked "log". ffmpeg's column of a
# movie is made by its scaler of exact arithmetic (zscale) with the chroma where the stream says, its other one being off
# by up to 19 steps where chroma is halved; that of a Cine by way of 16 bits, high byte first, the only form in which it
# mixes all samples of a mosaic. The tools differ among themselves, so one that agrees makes a file the same.
set -eu
exec </dev/null
program=$1
folder=$2
scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT
export XDG_CONFIG_HOME="$scratch" XDG_DATA_HOME="$scratch"

# Greatest difference of two pictures of bytes.
steps() {
  found=$(compare -quiet -metric PAE "$1" "$2" null: 2>&1 | sed 's/.*(\(.*\)).*/\1/' || true)
  awk -v d="$found" 'BEGIN { if (d ~ /^[0-9.e+-]+$/) printf "%.0f", d * 255; else printf "another size" }'
}

# What a tool calls colours of so many bits.
form_of() {
  case "$1 $2" in 'ffmpeg 8') echo rgb24 ;; 'ffmpeg 16') echo rgb48 ;; *) echo uint"$2" ;; esac
}
by_oiio() {
  case "$(oiiotool "$1" --echo '{TOP.nchannels}' 2>/dev/null | tail -1)" in 1 | 2) colors=0,0,0 ;; *) colors=0,1,2 ;; esac
  oiiotool --autoorient --iconfig oiio:UnassociatedAlpha 1 "$1" --ch $colors --croptofull --origin +0+0 --fullpixels -d "$3" --compression zip \
    --attrib:type=int oiio:dither 0 -o "$2" >/dev/null 2>&1
}
by_magick() {
  convert "$1[0]" -auto-orient -alpha off -depth 8 -set gamma 0.45455 -strip -type TrueColor "tif:$2" 2>/dev/null
}
by_ffmpeg() {
  way="format=$3"
  case "$1" in *.cine) way=format=rgb48be ;; esac
  pixels=$(ffprobe -v error -select_streams v:0 -show_entries stream=pix_fmt,height,color_space,color_range,chroma_location \
    -of default=nk=0:nw=1 "$1" 2>/dev/null) || true
  case "$1 $pixels" in
    *.jpg\ *) ;;
    *pix_fmt=yuv*)
      matrix=$(printf '%s\n' "$pixels" | sed -n 's/^color_space=//p')
      case "$matrix" in
        bt709 | bt2020nc) ;;
        smpte170m | bt470bg) matrix=170m ;;
        *) if [ "$(printf '%s\n' "$pixels" | sed -n 's/^height=//p')" -gt 576 ]; then matrix=709; else matrix=170m; fi ;;
      esac
      case "$pixels" in *yuvj* | *color_range=pc*) range=full ;; *) range=limited ;; esac
      case "$pixels" in *location=center*) place=center ;; *location=topleft*) place=topleft ;; *) place=left ;; esac
      way="zscale=cin=$place:f=bilinear:d=none:min=${matrix#bt}:rin=$range:m=gbr:r=full,format=gbrp"
      ;;
  esac
  ffmpeg -nostdin -v error -y -i "$1" -frames:v 1 -sws_flags accurate_rnd+full_chroma_int -vf "$way" $([ "$way" = format=rgb48be ] || echo -pix_fmt "$3") \
    -compression_algo raw -update 1 "$2" >/dev/null 2>&1
}
# Film codes to what is shown.
put_curve() {
  [ -f "$scratch/curve.miff" ] ||
    convert -size 1x16000 gradient:black-white -depth 16 -fx 'light=(pow(10,(1023*u-685)/300)-0.0107977516)/0.9892022484;
      light<=0.0031308?12.92*max(light,0):1.055*pow(min(light,1),1/2.4)-0.055' "$scratch/curve.miff"
  convert -quiet "$1" -depth 16 "$scratch/curve.miff" -clut "png48:$2"
}

echo "| file | verdict | OpenImageIO | ImageMagick | ffmpeg |"
echo "|---|---|---|---|---|"
find -L "$folder" -type f | sort | while IFS= read -r file; do
  kind=$(printf '%s' "${file##*.}" | tr A-Z a-z)
  case "$kind" in
    bmp | dib | dds | iff | jpg | pic | png | psd | rla | rpf | sgi | rgb | bw | tga | dpx | cin | dng | avi | mov | mp4 | mkv | cine) ;;
    hdr | exr | sxr | tif | tiff | ftif) ;;
    *) continue ;;
  esac
  rm -f "$scratch"/*.png "$scratch"/*.tif "$scratch"/*.exr
  name=${file#"$folder"/}
  said=$("$program" "$file" --still_image --save_options=ignore_alpha=1 --time=0 --save_frame_as="$scratch/own.png" \
    --exit 2>&1 | head -1 | sed 's/|/\\|/g; s/.*": //')
  floats=no
  oiiotool --info -v "$file" 2>/dev/null | grep -qE 'channel, (float|half)|, (float|half) (openexr|tiff|hdr)|(float|half), ' && floats=yes
  case "$kind" in hdr | exr | sxr) floats=yes ;; esac
  if [ ! -f "$scratch/own.png" ]; then
    others=
    for tool in oiio magick ffmpeg; do
      by_$tool "$file" "$scratch/$tool.tif" $(form_of $tool 8) && [ -f "$scratch/$tool.tif" ] && others="$others $tool"
    done
    if [ -n "$others" ]; then verdict="refused, read by$others"; else verdict="refused by all"; fi
    echo "| $name | $verdict: $said | | | |"
    continue
  fi
  if [ $floats = yes ]; then
    "$program" "$file" --still_image --save_options=ignore_alpha=1 --save_frame_as="$scratch/own.exr" --exit >/dev/null 2>&1
    difference=-
    if by_oiio "$file" "$scratch/other.exr" float; then
      difference=$(oiiotool "$scratch/own.exr" --ch R,G,B "$scratch/other.exr" --ch 0,1,2 --diff 2>/dev/null |
        awk '/Max error/ { sub(/.*values are /, ""); split($0, side, " vs "); split(side[1], a, ", "); split(side[2], b, ", ")
                           for (i = 1; i <= 3; ++i) { d = a[i] - b[i]; if (d < 0) d = -d
                             m = b[i] < 0 ? -b[i] : b[i]; if (m < 1) m = 1; if (d / m > most) most = d / m } }
             END { printf "%.1f", most * 1000 }')
    fi
    case "$difference" in
      -) verdict="read here alone" ;;
      *) verdict=$(awk -v d="$difference" 'BEGIN { print d <= 1 ? "same" : "differs" }') ;;
    esac
    echo "| $name | $verdict | $difference in 1000 | | |"
    continue
  fi
  verdict="read here alone"
  row=
  for tool in oiio magick ffmpeg; do
    found=-
    if by_$tool "$file" "$scratch/$tool.tif" $(form_of $tool 8) && [ -f "$scratch/$tool.tif" ]; then
      found=$(steps "$scratch/own.png" "$scratch/$tool.tif")
      case "$kind $tool $found" in
        *' magick '* | *' 0' | *' 1' | *size) ;;
        'dpx '* | 'cin '*)
          rm "$scratch/$tool.tif"
          by_$tool "$file" "$scratch/$tool.tif" $(form_of $tool 16)
          put_curve "$scratch/$tool.tif" "$scratch/curve.png"
          logged=$(steps "$scratch/own.png" "$scratch/curve.png")
          if [ "$logged" -le 1 ]; then
            found="$logged log"
            verdict=same
          fi
          ;;
      esac
      case "$found" in
        0 | 1 | *log) verdict=same ;;
        *) [ "$verdict" = same ] || verdict=differs ;;
      esac
    fi
    row="$row $found |"
  done
  echo "| $name | $verdict${said:+: $said} |$row"
done
