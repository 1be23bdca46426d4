#!/bin/bash
# Draws the wizard's side picture (bitmap 101) with ImageMagick: a capture
# frame around a four-bladed vane on a night-to-teal gradient. Drawn at twice
# the size the wizard shows at normal scale, so that it is only ever shrunk
# (the wizard scales it to its picture control) up to 200% screen scale.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
out="${1:-$root/src/ui/side_picture.bmp}"
w=244 h=524
cx=122 cy=190
work="$(mktemp -d)"; trap 'rm -rf "$work"' EXIT

# Background: a vertical gradient with a soft light from the upper left.
convert -size ${w}x${h} gradient:'#14205a-#0f6f86' \
    \( -size ${w}x${h} xc:none -fill '#ffffff48' -draw "circle 40,60 190,60" -blur 0x50 \) -composite \
    "$work/back.png"

# Faint diagonal bands, like light through a window.
convert -size ${w}x${h} xc:none -fill '#ffffff10' \
    -draw "polygon 0,330 244,150 244,210 0,390" \
    -draw "polygon 0,420 244,240 244,262 0,442" \
    "$work/bands.png"

# The vane: four curved blades turning around the centre, each a different tint.
blade="path 'M $cx,$cy C $((cx+10)),$((cy-60)) $((cx+60)),$((cy-78)) $((cx+74)),$((cy-40)) C $((cx+60)),$((cy-22)) $((cx+34)),$((cy-6)) $cx,$cy Z'"
convert -size ${w}x${h} xc:none \
    \( -size ${w}x${h} xc:none -fill '#ffd166e6' -draw "$blade" \) -composite \
    \( -size ${w}x${h} xc:none -fill '#ef476fe6' -draw "$blade" -distort SRT "$cx,$cy 90" \) -composite \
    \( -size ${w}x${h} xc:none -fill '#06d6a0e6' -draw "$blade" -distort SRT "$cx,$cy 180" \) -composite \
    \( -size ${w}x${h} xc:none -fill '#8ecbffe6' -draw "$blade" -distort SRT "$cx,$cy 270" \) -composite \
    -fill white -draw "circle $cx,$cy $((cx+9)),$cy" \
    -fill '#14205a' -draw "circle $cx,$cy $((cx+4)),$cy" \
    "$work/vane.png"

# A capture frame: four corner brackets around the vane.
l=$((cx-98)) r=$((cx+98)) t=$((cy-98)) b=$((cy+98)) k=34
convert -size ${w}x${h} xc:none -fill none -stroke white -strokewidth 7 \
    -draw "stroke-linecap round stroke-linejoin round polyline $l,$((t+k)) $l,$t $((l+k)),$t" \
    -draw "stroke-linecap round stroke-linejoin round polyline $((r-k)),$t $r,$t $r,$((t+k))" \
    -draw "stroke-linecap round stroke-linejoin round polyline $l,$((b-k)) $l,$b $((l+k)),$b" \
    -draw "stroke-linecap round stroke-linejoin round polyline $((r-k)),$b $r,$b $r,$((b-k))" \
    "$work/frame.png"

# Dots of a pixel grid fading out towards the bottom.
dots=()
for y in $(seq 360 18 500); do
    for x in $(seq 32 18 212); do
        dots+=(-draw "circle $x,$y $((x+2)),$y")
    done
done
convert -size ${w}x${h} xc:none -fill '#ffffff38' "${dots[@]}" "$work/dots.png"

convert "$work/back.png" "$work/bands.png" -composite "$work/dots.png" -composite \
    "$work/frame.png" -composite "$work/vane.png" -composite \
    -alpha off -type TrueColor BMP3:"$work/picture.bmp"
convert "$work/picture.bmp" PNG24:"$work/picture.png"

# Kept as 256 colours, run-length encoded: a tenth of the 24-bit size.
# pngquant dithers only where the gradient would otherwise show contours,
# so long runs stay and the picture, shrunk by the wizard, looks the same.
pngquant --speed 1 --quality 100 256 --output "$work/palette.png" "$work/picture.png"
convert "$work/palette.png" -type Palette -compress RLE BMP3:"$out"
echo "$out"
