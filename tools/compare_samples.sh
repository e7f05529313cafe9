#!/bin/sh
# compare_samples.sh KESTRIN FOLDER: reads every picture below FOLDER and holds it against ImageMagick, else against
# OpenImageIO. Prints a table of file, verdict, and the greatest difference of a colour in steps of 255. A helper for
# people; formats that those tools read otherwise by design (log film scans, linear floats) differ.
set -eu
program=$1
folder=$2
scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT
export XDG_CONFIG_HOME="$scratch" XDG_DATA_HOME="$scratch"
echo "| file | verdict | difference |"
echo "|---|---|---|"
find "$folder" -type f | sort | while IFS= read -r file; do
  case "$file" in
    *.bmp | *.dib | *.dds | *.hdr | *.iff | *.jpg | *.pic | *.png | *.psd | *.rla | *.rpf | *.sgi | *.rgb | *.tga | *.tif | *.tiff | \
      *.dpx | *.cin | *.exr | *.dng) ;;
    *) continue ;;
  esac
  rm -f "$scratch/own.png" "$scratch/other.png"
  said=$("$program" "$file" --still_image --save_options=ignore_alpha=1 --save_frame_as="$scratch/own.png" --exit 2>&1 |
    head -1 | sed 's/|/\\|/g')
  convert "$file[0]" -alpha off -depth 8 "$scratch/other.png" 2>"$scratch/log" ||
    oiiotool "$file" --ch R,G,B -d uint8 -o "$scratch/other.png" >"$scratch/log" 2>&1 || true
  if [ ! -f "$scratch/own.png" ]; then
    if [ -f "$scratch/other.png" ]; then verdict="refused"; else verdict="refused by all"; fi
    echo "| ${file#"$folder"/} | $verdict | $said |"
  elif [ ! -f "$scratch/other.png" ]; then
    echo "| ${file#"$folder"/} | read here alone | |"
  else
    difference=$(compare -metric PAE "$scratch/own.png" "$scratch/other.png" null: 2>&1 | sed 's/.*(\(.*\)).*/\1/' || true)
    steps=$(awk -v d="$difference" 'BEGIN { if (d ~ /^[0-9.e+-]+$/) printf "%.1f", d * 255; else printf "sizes differ" }')
    case "$steps" in
      0.0 | 0.[0-9] | 1.0) verdict="same" ;;
      *) verdict="differs" ;;
    esac
    echo "| ${file#"$folder"/} | $verdict | $steps |"
  fi
done
