#!/usr/bin/env bash
# Makes the gallery: the zol tool draws its own inputs (the ring pattern, a
# colour chart, a landscape), runs a command of each family over them and
# writes the pictures, and a page showing each with the command that made it.
#
# Usage: scripts/gallery.sh [ZOL [OUTDIR [PAGE]]]
#   ZOL     the tool (default: build/release/tools/zol/zol, built if missing)
#   OUTDIR  where the pictures go (default: docs/gallery)
#   PAGE    the page to write (default: docs/gallery.md when OUTDIR is the
#           default, else none)
# The tool's test runs it into a scratch directory to see the commands work.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
zol=${1:-}
if [[ -z $zol ]]; then
    zol=$root/build/release/tools/zol/zol
    if [[ ! -x $zol ]]; then
        (cd "$root" && cmake --preset release >/dev/null && cmake --build --preset release -j2 >/dev/null)
    fi
fi
zol=$(realpath "$zol")
out=${2:-$root/docs/gallery}
page=${3:-}
[[ -z ${2:-} && -z $page ]] && page=$root/docs/gallery.md
mkdir -p "$out/input"
out=$(realpath "$out")
[[ -n $page ]] && page=$(realpath -m "$page")
cd "$out"

entries=()
# run CAPTION OUTPUT ARGS...: runs zol ARGS (which write OUTPUT) and records
# the entry for the page.
run() {
    local caption=$1 output=$2
    shift 2
    "$zol" "$@"
    [[ -f $output ]] || { echo "gallery: zol $* wrote no $output" >&2; return 1; }
    entries+=("$caption|zol $*|$output")
}

run "The ring test pattern" input/rings.png pattern --size 320x240 input/rings.png
run "A colour chart the tool draws" input/chart.png chart --size 320x240 input/chart.png
run "A landscape the tool draws, as JPEG" input/scene.jpg \
    chart --scene --size 320x240 --quality 85 input/scene.jpg
run "Every bit inverted" not.png not input/scene.jpg not.png
run "Inverted in a region only" not-roi.png not --roi 80,60,160,120 input/scene.jpg not-roi.png
run "Inverted where the rings are bright: an 8-bit mask" masked.png \
    xors --mask input/rings.png input/scene.jpg masked.png 255
run "The red channel of the left half set to 255" set-red.png \
    set --coi 1 --roi 0,0,160,240 input/chart.png set-red.png 255
run "Two bits per channel kept" posterize.png ands input/scene.jpg posterize.png 0xC0
run "Twice as bright, saturating at 255" bright.png muls input/scene.jpg bright.png 2
run "255 minus each element" flip.png subs --flip input/chart.png flip.png 255
run "The chart added to the landscape" add.png add input/scene.jpg input/chart.png add.png
run "The landscape taken from the chart, negatives clamped to 0" subtract.png \
    subtract input/chart.png input/scene.jpg subtract.png
run "The ring pattern squared, on 16-bit samples" square.png \
    square input/rings.png square.png --depth 16u
run "A crop: the region copied into a new image" crop.png \
    copy --roi 160,40,120,90 input/scene.jpg crop.png
run "The green channel alone, as a gray image" green.png copy --coi 2 input/chart.png green.png
run "Edges: two Sobel kernels, the square root of the sum of their squares" edges.png \
    convolve input/scene.jpg edges.png --kernel "-1 0 1;-2 0 2;-1 0 1" \
    --kernel "-1 -2 -1;0 0 0;1 2 1" --method sqrt --border replicate
run "A blur by a 5x5 binomial kernel, row and column apart" blur.png \
    sepconvolve input/scene.jpg blur.png --x "1 4 6 4 1" --y "1 4 6 4 1" --shift 8
for i in nn linear cubic area; do
    run "The rings reduced to 96x72, --interp $i (aliasing shows in the outer rings)" \
        "rings-$i.png" resize --size 96x72 --interp "$i" input/rings.png "rings-$i.png"
done
run "The chart enlarged by 3/2, cubic" zoom.png \
    zoom --factor 3/2 --interp cubic input/chart.png zoom.png
run "The chart turned by 20 degrees about its centre, cubic" rotate.png \
    rotate --angle 20 --interp cubic input/chart.png rotate.png
run "The chart as if photographed from below: laid onto a quadrangle" keystone.png \
    perspective --onto --quad 40,20,280,0,319,239,0,215 input/chart.png keystone.png
run "The keystone corrected: that quadrangle straightened again" keystone-fixed.png \
    perspective --quad 40,20,280,0,319,239,0,215 keystone.png keystone-fixed.png
for a in x y both; do
    run "The chart mirrored, --axis $a" "mirror-$a.png" mirror --axis "$a" input/chart.png "mirror-$a.png"
done
run "The landscape in gray" gray.png gray input/scene.jpg gray.png
for d in none fs jjn stucki bayer; do
    run "One bit per sample, --dither $d" "dither-$d.png" \
        reduce --bits 1 --dither "$d" gray.png "dither-$d.png"
done
run "Hues rotated by a third of a turn: a twist sending R to G, G to B, B to R" twist.png \
    twist --matrix "0 0 256 0;256 0 0 0;0 256 0 0" --shift 8 input/chart.png twist.png
run "The chart as H, S, V planes (hsv-1, hsv-2, hsv-3; H halved to fit 8 bits)" hsv-1.png \
    convert --to hsv --planes input/chart.png hsv.png
run "Gray spread into colour by weights 1, 0.7, 0.3" colorize.png \
    colorize --weights 1,0.7,0.3 gray.png colorize.png
run "A translucent disc the tool draws" input/disc.png \
    chart --shape disc --size 256x192 input/disc.png
run "A translucent square the tool draws" input/square.png \
    chart --shape square --size 256x192 input/square.png
for op in over in out atop xor plus; do
    run "The disc $op the square" "composite-$op.png" \
        composite --op "$op" input/disc.png input/square.png "composite-$op.png"
done
run "The spectrum of the rings: log(1 + |F|), frequency 0 in the centre" fft-rings.png \
    fft input/rings.png fft-rings.png
run "The spectrum of the landscape, per channel" fft-scene.png fft input/scene.jpg fft-scene.png
run "A Gaussian blur made by multiplying spectra (it wraps at the edges)" convolve-fft.png \
    convolve-fft --radius 4 input/scene.jpg convolve-fft.png
run "Salt and pepper on 8% of the pixels" noisy.png noise --amount 0.08 input/scene.jpg noisy.png
run "The noise removed by a 3x3 median" median.png median --size 3x3 noisy.png median.png
run "White specks on 3% of the pixels" white-dots.png noise --white --amount 0.03 input/scene.jpg white-dots.png
run "An opening removes the white specks" open.png open white-dots.png open.png
run "A Sobel edge map: left minus right, negatives clamped to 0" sobel.png \
    filter input/chart.png sobel.png sobel-v
run "The landscape equalised" equalized.png equalize input/scene.jpg equalized.png
run "The green channel cut at 128 into a 1-bit image" threshold.png \
    threshold --depth 1u --coi 2 input/scene.jpg threshold.png 128

if [[ -n $page ]]; then
    rel=$(realpath --relative-to="$(dirname "$page")" "$out")
    {
        echo "# Gallery"
        echo
        echo "Made by \`bash scripts/gallery.sh\`, which runs the \`zol\` tool (see"
        echo "[tool.md](tool.md)) in \`docs/gallery\`. The tool draws the three inputs itself."
        echo
        for e in "${entries[@]}"; do
            IFS='|' read -r caption command file <<<"$e"
            echo "## $caption"
            echo
            echo '```sh'
            echo "$command"
            echo '```'
            echo
            echo "![$caption]($rel/$file)"
            echo
        done
    } >"$page"
fi
echo "gallery: ${#entries[@]} pictures in $out"
