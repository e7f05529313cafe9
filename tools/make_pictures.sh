#!/bin/sh
# make_pictures.sh KESTRIN [FOLDER]: makes all pictures of docs/ again, or of another folder of the same shape, without a
# window or a display. The page that browsers get wants chromium; without it that one stays.
set -eu
program=$(realpath "$1")
project=$(realpath "$(dirname "$0")/..")
docs=$(realpath "${2:-$project/docs}")
work=$(mktemp -d)
server=
trap 'if [ -n "$server" ]; then kill "$server"; fi; rm -rf "$work"' EXIT
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
  # The screen first: what it shows is in memory then, and the rows say so.
  "$program" window.ksncmd "$@" --save_screen_as=screen.png --save_window_as="$path" --transient --exit=status >/dev/null
}
look "$docs/window.png" --window_size=1280,800 --bench_preload --zoom=200 --pan=0,0
look "$docs/preview.png" --window_size=1100,800 --zoom=120 --pan=0,0 --mask_size=520,300 --mask_type=transparent \
    --safe_area_visible=1 --safe_area=orange --grid=1

if command -v chromium >/dev/null; then
  "$program" window.ksncmd --http_start=localhost:0 --serve >served 2>&1 &
  server=$!
  until grep -q 'http:' served; do sleep 0.1; done
  chromium --headless=new --no-sandbox --disable-gpu --user-data-dir="$work/browser" --window-size=800,637 \
      --virtual-time-budget=4000 --screenshot="$work/page.png" \
      "$(sed -n 's/.*\(http:[^ ,]*\).*/\1/p' served)" >/dev/null 2>&1
  kill "$server"
  server=
  mv page.png "$docs/page.png"
fi

# Every tab of the panel, at both sizes of the interface: each alone in a small window, and all of them as layers.
cat >panel.ksncmd <<'END'
first_look/lake.png --name=lake
first_look/lantern.##.tga --name=lantern --alpha=normal
--visible=0 --2:visible=0 --toggle_timeline --toggle_infobar --toggle_property_panel
END
# A clip of another machine: nothing opens it here.
"$program" first_look/lantern.##.tga --save_composition_as=clip.xml --transient --exit=status
sed 's|<f name="source_type">[0-9]*<|<f name="source_type">18<|' clip.xml >r3d.xml
tab() {
    name=$1
    shift
    "$program" "$@" --window_size=$((284 * scale)),$((424 * scale)) --ui_scale=$scale --save_window_as=$name.png --transient --exit
}
for scale in 1 2; do
    tab colour panel.ksncmd --exposure=0.5
    tab channels panel.ksncmd --split_color=1 --gain=1.1,1,0.94
    tab placement panel.ksncmd --property_panel_tab=placement
    tab blending panel.ksncmd --property_panel_tab=blending
    tab brush panel.ksncmd --property_panel_tab=brush --new_brush_layer --brush_size=40 --brush_softness=60
    tab text panel.ksncmd --property_panel_tab=text --new_text_layer '--text=SHOT 10\n{timeline:timecode}'
    tab effects panel.ksncmd --property_panel_tab=effects --primary_color_key=30,200,60,40,20
    tab source panel.ksncmd --property_panel_tab=source
    tab r3d --open_composition=r3d.xml --selection=1 --visible=0 --toggle_timeline --toggle_infobar --toggle_property_panel \
        --property_panel_tab=r3d 2>/dev/null
    # Three rows of three: the height of a row, and how far its layers lie below the middle.
    add() {
        height=$1 down=$2 across=-272
        shift 2
        for name in "$@"; do
            places="$places $name.png --still_image --crop=0,$(((200 - height / 2) * scale)),$((260 * scale)),$((height * scale)) \
                --position=$((across * scale)),$((down * scale))"
            across=$((across + 272))
        done
    }
    places=
    add 376 -297 colour channels text
    add 282 -3 placement blending brush
    add 264 273 r3d effects source
    [ $scale = 1 ] && picture=panel || picture=panel_twice
    "$program" $places --mask_size=$((804 * scale)),$((946 * scale)) --save_mask_as_image="$docs/$picture.png" \
        --transient --exit=status
done

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
  "$program" ten.ksncmd --bench_preload "$@" --save_screen_as=screen.png --save_window_as="$path" --transient \
    --exit=status >/dev/null
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
