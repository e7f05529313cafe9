#!/bin/sh
# make_pictures.sh KESTRIN [FOLDER]: makes all pictures of docs/ again, or of another folder of the same shape, without a
# window or a display. Puts the tabs of the panel together with ImageMagick's convert.
set -eu
program=$(realpath "$1")
project=$(realpath "$(dirname "$0")/..")
docs=$(realpath "${2:-$project/docs}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
cd "$work"
mkdir -p "$docs/timeline"
frames=$project/examples/first_look

# The composite that the example saves, and the same composition in a window. There the example only fills the window.
cp -r "$project/examples/." .
"$program" first_look.ksncmd >/dev/null
mv first_look.png "$docs/first_look.png"
grep -v -e '^--exit' -e '^--save_mask' -e '^--print' first_look.ksncmd >window.ksncmd
look() {
  path=$1
  shift
  "$program" window.ksncmd "$@" --save_window_as="$path" --transient --exit=status >/dev/null
}
look "$docs/window.png" --window_size=1280,800 --bench_preload --zoom=200 --pan=0,0
look "$docs/preview.png" --window_size=1100,800 --zoom=120 --pan=0,0 --mask_size=520,300 --mask_type=transparent \
    --safe_area_visible=1 --safe_area=orange --grid=1

# Every tab of the panel. A text, a brush and an adjustment stand for the tabs that want such a layer.
panel() {
  number=$1
  tab=$2
  shift 2
  "$program" "$frames/lake.png" --name=lake --mask_size=640,360 "$@" --window_size=276,840 --timeline_visible=0 \
      --infobar_visible=0 --zoom=100 --property_panel_visible=1 --property_panel_tab="$tab" \
      --save_window_as="tab$number.png" --transient --exit=status >/dev/null
}
panel 1 color --exposure=0.5 --lift=0,0.004,0.012 --gain=1.1,1,0.94
panel 2 color --exposure=0.5 --lift=0,0.004,0.012 --gain=1.1,1,0.94 --split_color=1
panel 3 placement
panel 4 blending
panel 5 brush --new_brush_layer
panel 6 text --new_text_layer '--text=SHOT 10\n{timeline:timecode}'
panel 7 effects
panel 8 source
convert tab1.png tab2.png tab3.png tab4.png -gravity south -crop 276x400+0+0 +repage +append top.png
convert tab5.png tab6.png tab7.png tab8.png -gravity south -crop 276x400+0+0 +repage +append bottom.png
convert top.png bottom.png -append -define png:exclude-chunks=date,time "$docs/panel.png"

# Time: one layer, ten of every kind, 200, and twice the size. Frames of the example stand for shots of other names; the
# mist has holes.
copies() {
  i=$2
  while [ "$i" -le "$3" ]; do
    cp "$frames/lantern.0$((i % 8 + 1)).tga" "$1.$(printf %04d "$i").tga"
    i=$((i + 1))
  done
}
copies plate 1 100
copies mist 1 38
copies mist 45 68
copies mist 71 99
copies reflection 1 80
copies flicker 1 24
copies lanterns 1 8
"$program" plate.####.tga --timeline=100 --wa_begin=10 --wa_end=80 --time=41 --bench_preload --window_size=1000,240 \
    --infobar_visible=0 --save_window_as="$docs/timeline/one.png" --transient --exit=status >/dev/null
cat >ten.ksncmd <<END
--mask_size=640,360
$frames/lake.png
--name=lake --length=120
mist.####.tga
--alpha=normal --blend=add --opacity=40 --begin=6
lanterns.####.tga
--name=lanterns_far --alpha=normal --opacity=80 --begin=0 --out_point=120 --position=100,20 --scale_x=40 --scale_y=40
lanterns.####.tga
--name=lanterns_near --alpha=normal --blend=screen --opacity=60 --begin=14 --out_point=60 --position=-150,10
flicker.####.tga
--begin=30 --visible=0
--new_text_layer=84
--name=title --text=dusk --text_size=48 --position=180,120 --begin=8
--new_brush_layer=30
--name=notes --begin=50
--new_adjustment_layer=120
--name=dusk --opacity=80 --exposure=0.1
reflection.####.tga
--visible=0
lanterns.####.tga
--name=last_lantern --alpha=mask --begin=96 --out_point=24 --position=20,-40 --scale_x=50 --scale_y=50
--timeline=120 --wa_begin=8 --wa_end=104 --time=41 --fps=24 --selection=7 --infobar_visible=0
END
ten() {
  path=$1
  shift
  "$program" ten.ksncmd --bench_preload "$@" --save_window_as="$path" --transient --exit=status >/dev/null
}
ten "$docs/timeline/ten.png" --window_size=1000,420
ten "$docs/timeline/twice.png" --window_size=1400,560 --ui_scale=2 --stack_rows=5
{
  i=1
  while [ "$i" -le 200 ]; do
    echo "plate.####.tga"
    echo "--name=layer_$i --begin=$((i * 11 % 61 - 20))"
    i=$((i + 1))
  done
  echo "--timeline=120 --wa_begin=0 --wa_end=120 --time=30 --selection=150 --infobar_visible=0"
} >many.ksncmd
"$program" many.ksncmd --window_size=1000,340 --stack_rows=12 --save_window_as="$docs/timeline/many.png" --transient \
    --exit=status >/dev/null
