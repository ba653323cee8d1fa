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
pythons=()
# run CAPTION OUTPUT ARGS...: runs zol ARGS (which write OUTPUT) and records
# the entry for the page.
run() {
    local caption=$1 output=$2
    shift 2
    "$zol" "$@"
    [[ -f $output ]] || { echo "gallery: zol $* wrote no $output" >&2; return 1; }
    entries+=("$caption|zol $*|$output")
    pythons+=("")
}
# py LINE...: the same picture made in Python, shown under the last entry.
# imread and imsave stand for any image reader and writer of NumPy arrays;
# the Python tests run these lines and compare with the tool's picture.
py() {
    local IFS=$'\n'
    pythons[${#pythons[@]} - 1]="$*"
}

run "The ring test pattern" input/rings.png pattern --size 320x240 input/rings.png
py 'rings = zol.jaehne(320, 240)' 'imsave("input/rings.png", rings)'
run "A colour chart the tool draws" input/chart.png chart --size 320x240 input/chart.png
run "A landscape the tool draws, as JPEG" input/scene.jpg \
    chart --scene --size 320x240 --quality 85 input/scene.jpg
run "Every bit inverted" not.png not input/scene.jpg not.png
py 'scene = imread("input/scene.jpg")' 'out = zol.not_(scene)' 'imsave("not.png", out)'
run "Inverted in a region only" not-roi.png not --roi 80,60,160,120 input/scene.jpg not-roi.png
py 'scene = imread("input/scene.jpg")' 'out = zol.not_(scene, roi=(80, 60, 160, 120))' 'imsave("not-roi.png", out)'
run "Inverted where the rings are bright: an 8-bit mask" masked.png \
    xors --mask input/rings.png input/scene.jpg masked.png 255
py 'scene, rings = imread("input/scene.jpg"), imread("input/rings.png")' \
    'out = zol.xor_s(scene, 255, mask=rings >= 128)' 'imsave("masked.png", out)'
run "The red channel of the left half set to 255" set-red.png \
    set --coi 1 --roi 0,0,160,240 input/chart.png set-red.png 255
py 'chart = imread("input/chart.png")' 'zol.set(chart, 255, coi=0, roi=(0, 0, 160, 240))' \
    'imsave("set-red.png", chart)'
run "Two bits per channel kept" posterize.png ands input/scene.jpg posterize.png 0xC0
py 'scene = imread("input/scene.jpg")' 'out = zol.and_s(scene, 0xC0)' 'imsave("posterize.png", out)'
run "Twice as bright, saturating at 255" bright.png muls input/scene.jpg bright.png 2
py 'scene = imread("input/scene.jpg")' 'out = zol.multiply_s(scene, 2)' 'imsave("bright.png", out)'
run "255 minus each element" flip.png subs --flip input/chart.png flip.png 255
py 'chart = imread("input/chart.png")' 'out = zol.subtract_s(chart, 255, flip=True)' 'imsave("flip.png", out)'
run "The chart added to the landscape" add.png add input/scene.jpg input/chart.png add.png
py 'scene, chart = imread("input/scene.jpg"), imread("input/chart.png")' 'out = zol.add(scene, chart)' \
    'imsave("add.png", out)'
run "The landscape taken from the chart, negatives clamped to 0" subtract.png \
    subtract input/chart.png input/scene.jpg subtract.png
py 'scene, chart = imread("input/scene.jpg"), imread("input/chart.png")' \
    'out = zol.subtract(chart, scene)' 'imsave("subtract.png", out)'
run "The ring pattern squared, on 16-bit samples" square.png \
    square input/rings.png square.png --depth 16u
py 'rings = imread("input/rings.png")' 'out = zol.square(rings.astype(np.uint16))' 'imsave("square.png", out)'
run "A crop: the region copied into a new image" crop.png \
    copy --roi 160,40,120,90 input/scene.jpg crop.png
py 'scene = imread("input/scene.jpg")' 'out = zol.copy(scene[40:130, 160:280])' 'imsave("crop.png", out)'
run "The green channel alone, as a gray image" green.png copy --coi 2 input/chart.png green.png
run "Edges: two Sobel kernels, the square root of the sum of their squares" edges.png \
    convolve input/scene.jpg edges.png --kernel "-1 0 1;-2 0 2;-1 0 1" \
    --kernel "-1 -2 -1;0 0 0;1 2 1" --method sqrt --border replicate
py 'scene = imread("input/scene.jpg")' \
    'sobel = [zol.ConvKernel([[-1, 0, 1], [-2, 0, 2], [-1, 0, 1]]), zol.ConvKernel([[-1, -2, -1], [0, 0, 0], [1, 2, 1]])]' \
    'imsave("edges.png", zol.convolve(scene, sobel, combine="sqrt_sum_squares", border="replicate"))'
run "A blur by a 5x5 binomial kernel, row and column apart" blur.png \
    sepconvolve input/scene.jpg blur.png --x "1 4 6 4 1" --y "1 4 6 4 1" --shift 8
py 'scene = imread("input/scene.jpg")' \
    'x, y = zol.ConvKernel([[1, 4, 6, 4, 1]], shift=8), zol.ConvKernel([[1], [4], [6], [4], [1]])' \
    'imsave("blur.png", zol.convolve_sep(scene, x, y))'
for i in nn linear cubic area; do
    run "The rings reduced to 96x72, --interp $i (aliasing shows in the outer rings)" \
        "rings-$i.png" resize --size 96x72 --interp "$i" input/rings.png "rings-$i.png"
    py 'rings = imread("input/rings.png")' "out = zol.resize(rings, (96, 72), interp=\"${i/nn/nearest}\")" \
        "imsave(\"rings-$i.png\", out)"
done
run "The chart enlarged by 3/2, cubic" zoom.png \
    zoom --factor 3/2 --interp cubic input/chart.png zoom.png
py 'chart = imread("input/chart.png")' 'out = zol.zoom(chart, factors=((3, 2), (3, 2)), interp="cubic")' \
    'imsave("zoom.png", out)'
run "The chart turned by 20 degrees about its centre, cubic" rotate.png \
    rotate --angle 20 --interp cubic input/chart.png rotate.png
py 'chart = imread("input/chart.png")' 'out = zol.rotate(chart, 20, interp="cubic", center=(159.5, 119.5))' \
    'imsave("rotate.png", out)'
run "The chart as if photographed from below: laid onto a quadrangle" keystone.png \
    perspective --onto --quad 40,20,280,0,319,239,0,215 input/chart.png keystone.png
py 'chart = imread("input/chart.png")' \
    'out = zol.warp_perspective_q(chart, [[40, 20], [280, 0], [319, 239], [0, 215]])' 'imsave("keystone.png", out)'
run "The keystone corrected: that quadrangle straightened again" keystone-fixed.png \
    perspective --quad 40,20,280,0,319,239,0,215 keystone.png keystone-fixed.png
py 'keystone = imread("keystone.png")' \
    'out = zol.warp_perspective_q(keystone, [[40, 20], [280, 0], [319, 239], [0, 215]], from_quad=True)' \
    'imsave("keystone-fixed.png", out)'
for a in x y both; do
    run "The chart mirrored, --axis $a" "mirror-$a.png" mirror --axis "$a" input/chart.png "mirror-$a.png"
    axis=$(case $a in x) echo 0 ;; y) echo 1 ;; both) echo None ;; esac)
    py 'chart = imread("input/chart.png")' "out = zol.mirror(chart, $axis)" "imsave(\"mirror-$a.png\", out)"
done
run "The landscape in gray" gray.png gray input/scene.jpg gray.png
py 'scene = imread("input/scene.jpg")' 'out = zol.color_to_gray(scene)' 'imsave("gray.png", out)'
for d in none fs jjn stucki bayer; do
    run "One bit per sample, --dither $d" "dither-$d.png" \
        reduce --bits 1 --dither "$d" gray.png "dither-$d.png"
    py 'gray = imread("gray.png")' "out = zol.reduce_bits(gray.astype(np.uint16) * 257, 8, levels=1, dither=\"$d\")" "imsave(\"dither-$d.png\", out)"
done
run "Hues rotated by a third of a turn: a twist sending R to G, G to B, B to R" twist.png \
    twist --matrix "0 0 256 0;256 0 0 0;0 256 0 0" --shift 8 input/chart.png twist.png
py 'chart = imread("input/chart.png")' \
    'out = zol.ColorTwist([[0, 0, 256, 0], [256, 0, 0, 0], [0, 256, 0, 0]], 8).apply(chart)' \
    'imsave("twist.png", out)'
run "The chart as H, S, V planes (hsv-1, hsv-2, hsv-3; H halved to fit 8 bits)" hsv-1.png \
    convert --to hsv --planes input/chart.png hsv.png
run "Gray spread into colour by weights 1, 0.7, 0.3" colorize.png \
    colorize --weights 1,0.7,0.3 gray.png colorize.png
py 'gray = imread("gray.png")' 'out = zol.gray_to_color(gray, (1, 0.7, 0.3))' 'imsave("colorize.png", out)'
run "A translucent disc the tool draws" input/disc.png \
    chart --shape disc --size 256x192 input/disc.png
run "A translucent square the tool draws" input/square.png \
    chart --shape square --size 256x192 input/square.png
for op in over in out atop xor plus; do
    run "The disc $op the square" "composite-$op.png" \
        composite --op "$op" input/disc.png input/square.png "composite-$op.png"
    py 'disc, square = imread("input/disc.png"), imread("input/square.png")' \
        "out = zol.alpha_composite(disc, square, \"$op\")" "imsave(\"composite-$op.png\", out)"
done
run "The spectrum of the rings: log(1 + |F|), frequency 0 in the centre" fft-rings.png \
    fft input/rings.png fft-rings.png
run "The spectrum of the landscape, per channel" fft-scene.png fft input/scene.jpg fft-scene.png
run "A Gaussian blur made by multiplying spectra (it wraps at the edges)" convolve-fft.png \
    convolve-fft --radius 4 input/scene.jpg convolve-fft.png
run "Salt and pepper on 8% of the pixels" noisy.png noise --amount 0.08 input/scene.jpg noisy.png
run "The noise removed by a 3x3 median" median.png median --size 3x3 noisy.png median.png
py 'noisy = imread("noisy.png")' 'out = zol.median_filter(noisy, (3, 3))' 'imsave("median.png", out)'
run "White specks on 3% of the pixels" white-dots.png noise --white --amount 0.03 input/scene.jpg white-dots.png
run "An opening removes the white specks" open.png open white-dots.png open.png
py 'dots = imread("white-dots.png")' 'out = zol.open_(dots)' 'imsave("open.png", out)'
run "A Sobel edge map: left minus right, negatives clamped to 0" sobel.png \
    filter input/chart.png sobel.png sobel-v
py 'chart = imread("input/chart.png")' 'out = zol.fixed_filter(chart, "sobel_v")' 'imsave("sobel.png", out)'
run "The landscape equalised" equalized.png equalize input/scene.jpg equalized.png
py 'scene = imread("input/scene.jpg")' 'counts = zol.compute_histo(scene, [zol.LUT(np.arange(257)) for _ in range(3)])' \
    'imsave("equalized.png", zol.histo_equalize(scene, counts))'
run "The green channel cut at 128 into a 1-bit image" threshold.png \
    threshold --depth 1u --coi 2 input/scene.jpg threshold.png 128
py 'scene = imread("input/scene.jpg")' 'out = zol.threshold(np.ascontiguousarray(scene[..., 1]), 128, bool)' \
    'imsave("threshold.png", out)'

# BMP exports: the page shows the PNG copy the tool makes of each file.
for bits in 8 4 1; do
    run "The landscape as BMP at $bits bits per pixel, median-cut palette (shown as PNG)" "scene-$bits.bmp" \
        copy --bits "$bits" --palette median input/scene.jpg "scene-$bits.bmp"
    "$zol" copy "scene-$bits.bmp" "scene-$bits.png"
    entries[${#entries[@]} - 1]=${entries[${#entries[@]} - 1]%.bmp}.png
done

if [[ -n $page ]]; then
    rel=$(realpath --relative-to="$(dirname "$page")" "$out")
    {
        echo "# Gallery"
        echo
        echo "Made by \`bash scripts/gallery.sh\`, which runs the \`zol\` tool (see"
        echo "[tool.md](tool.md)) in \`docs/gallery\`. The tool draws the three inputs itself."
        echo
        echo "Under a command, the same picture made with the Python package (see"
        echo "[python.md](python.md)): \`imread\` and \`imsave\` stand for any reader and writer"
        echo "of NumPy arrays. Pictures the tool itself draws (the inputs, the noise, spectra"
        echo "shown as a logarithm) have no Python lines."
        echo
        for i in "${!entries[@]}"; do
            IFS='|' read -r caption command file <<<"${entries[$i]}"
            echo "## $caption"
            echo
            echo '```sh'
            echo "$command"
            echo '```'
            echo
            if [[ -n ${pythons[$i]} ]]; then
                echo '```python'
                echo "${pythons[$i]}"
                echo '```'
            fi
            echo "![$caption]($rel/$file)"
            echo
        done
    } >"$page"
fi
echo "gallery: ${#entries[@]} pictures in $out"
