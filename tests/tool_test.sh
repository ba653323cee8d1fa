#!/usr/bin/env bash
# End-to-end checks of the zol tool: commands, exit codes, the file formats it
# reads and writes, files it must refuse without crashing, every family
# command against the library called directly, and the gallery's commands.
# Usage: tool_test.sh path/to/zol path/to/zol_tool_check [source-dir]
# shellcheck disable=SC2015,SC2059 # ok() cannot fail; printf formats carry test bytes
set -uo pipefail
export LC_ALL=C

ZOL=$(realpath "${1:?usage: tool_test.sh path/to/zol path/to/zol_tool_check [source-dir]}")
CHECK=$(realpath "${2:?usage: tool_test.sh path/to/zol path/to/zol_tool_check [source-dir]}")
SOURCE=$(realpath "${3:-$(dirname "$0")/..}")
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
cd "$WORK" || exit 1

passed=0
failed=0
ok() { passed=$((passed + 1)); }
bad() { failed=$((failed + 1)); echo "FAIL: $*" >&2; }
check() { # check DESCRIPTION COMMAND...
    local what=$1; shift
    if "$@"; then ok; else bad "$what"; fi
}
# expect CODE STDERR-TEXT ARGS...: runs the tool, checks its exit code and
# that standard error contains the text.
expect() {
    local code=$1 text=$2; shift 2
    "$ZOL" "$@" >out.txt 2>err.txt
    local rc=$?
    # A sanitizer's report also ends with exit code 1.
    if grep -q 'Sanitizer' err.txt; then bad "zol $*: $(cat err.txt)"; return; fi
    if [[ $rc -ne $code ]]; then bad "zol $* exited $rc, expected $code: $(cat err.txt)"; return; fi
    if [[ -n $text ]] && ! grep -qF -- "$text" err.txt; then
        bad "zol $*: stderr lacks '$text': $(cat err.txt)"; return
    fi
    ok
}
data() { tail -c +"$(($2 + 1))" "$1"; }          # data FILE SKIP-BYTES
len() { printf "$1" | wc -c; }
BYTES=$(printf '\\%03o' {0..255})
BACKWARDS=$(printf '\\%03o' $(seq 255 -1 0))
invert() { tr "$BYTES" "$BACKWARDS"; }
hex() { od -An -v -tx1 | tr -d ' \n'; }

# --- commands and usage -------------------------------------------------------
"$ZOL" help >out.txt 2>&1 && grep -q '^usage: zol' out.txt && ok || bad "help"
"$ZOL" --help >out.txt && grep -q '^ *subtract ' out.txt && ok || bad "--help lists commands"
"$ZOL" add --help >out.txt && grep -q '^usage: zol add \[options\] A B OUT' out.txt &&
    grep -q -- '--roi X,Y,W,H' out.txt && ok || bad "add --help"
expect 2 "usage: zol"
expect 2 "unknown command 'frobnicate'" frobnicate
# A usage error names the command and shows its usage line.
expect 2 "usage: zol pattern [options] OUT" pattern --depht 8u x.pgm
expect 2 "--size" pattern x.pgm --size
expect 2 "OUT is required" pattern
expect 2 "usage: zol not [options] IN OUT" not only-one.pgm
expect 2 "usage: zol add [options] A B OUT" add --roi 1,2,0,3 a.png b.png c.png
for r in 1,2,3 a,b,c,d 1,2,3,4,5 -1,0,2,2 1,1,1,; do expect 2 "bad region" adds --roi "$r" a b 1; done
expect 2 "--coi" not --coi 5 a b
expect 2 "not expected: extra" version extra
expect 2 "not expected: extra" demo extra
expect 2 "unknown format" pattern --format gif x
"$ZOL" version >out.txt && grep -q 'v2.0 Beta 2' out.txt && grep -q '^tool: *zol ' out.txt &&
    ok || bad "version lines"
if [[ -w /dev/full ]]; then
    "$ZOL" version >/dev/full 2>err.txt
    check "stdout failure" [ $? -eq 1 ]
fi

# --- pattern --------------------------------------------------------------------
# Odd sizes exercise the row padding that the file must not contain; the
# centre pixel of the rings is sin(0), mid-scale.
expect 0 "" pattern --size 33x17 p8.pgm
H8=$(len 'P5\n33 17\n255\n')
check "8u header" cmp -s <(head -c "$H8" p8.pgm) <(printf 'P5\n33 17\n255\n')
check "8u length" [ "$(stat -c %s p8.pgm)" -eq $((H8 + 33 * 17)) ]
check "8u centre" [ "$(data p8.pgm $((H8 + 8 * 33 + 16)) | head -c 1 | hex)" = 7f ]
expect 0 "" pattern --depth=16U --size 5x3 p16.pgm
H16=$(len 'P5\n5 3\n65535\n')
check "16u header" cmp -s <(head -c "$H16" p16.pgm) <(printf 'P5\n5 3\n65535\n')
check "16u length" [ "$(stat -c %s p16.pgm)" -eq $((H16 + 5 * 3 * 2)) ]
check "16u centre big-endian" [ "$(data p16.pgm $((H16 + (5 + 2) * 2)) | head -c 2 | hex)" = 7fff ]
expect 0 "" pattern --depth 1u --size 13x5 p1.pbm
H1=$(len 'P4\n13 5\n')
check "1u header" cmp -s <(head -c "$H1" p1.pbm) <(printf 'P4\n13 5\n')
check "1u length" [ "$(stat -c %s p1.pbm)" -eq $((H1 + 2 * 5)) ]
# Row 2 holds the centre pixel 6, dark in memory, so black (1) in the file.
row2=$(data p1.pbm $((H1 + 4)) | head -c 2 | hex)
check "1u centre is black" [ $((0x$row2 >> 9 & 1)) -eq 1 ]
check "1u padding bits clear" [ $((0x$row2 & 7)) -eq 0 ]
for d in 8s 16s 32s 32f; do
    expect 2 "files cannot hold $d" pattern --depth $d "x$d.pgm"
    check "no file for $d" [ ! -e "x$d.pgm" ]
done
expect 2 "unknown depth" pattern --depth 12u x.pgm
for s in 0x5 5 axb 5x 5x-3 99999999999x1; do expect 2 "bad size" pattern --size "$s" x.pgm; done
expect 2 "too large" pattern --depth 16u --size 40000x40000 x.pgm
expect 2 "name the file .pbm" pattern --depth 1u x.pgm
expect 2 "name the file .pgm" pattern x.ppm
expect 0 "" pattern --size 4x4 any.name
expect 1 "no/such/dir/x.pgm" pattern no/such/dir/x.pgm

# --- not ------------------------------------------------------------------------
expect 0 "" not p8.pgm n8.pgm
check "8u inverted bytes" cmp -s <(data n8.pgm "$H8") <(data p8.pgm "$H8" | invert)
check "8u header kept" cmp -s <(head -c "$H8" n8.pgm) <(head -c "$H8" p8.pgm)
for f in p8.pgm p16.pgm p1.pbm; do
    "$ZOL" not "$f" "a-$f" && "$ZOL" not "a-$f" "b-$f" && cmp -s "$f" "b-$f" && ok ||
        bad "not twice restores $f"
done
expect 0 "" not p16.pgm n16.pgm
check "16u inverted" cmp -s <(data n16.pgm "$H16") <(data p16.pgm "$H16" | invert)

printf 'P6\n2 1\n255\n\x01\x02\x03\xfa\xfb\xfc' >rgb8.ppm
expect 0 "" not rgb8.ppm nrgb8.ppm
check "P6 8-bit" [ "$(hex <nrgb8.ppm)" = "$(printf 'P6\n2 1\n255\n' | hex)fefdfc050403" ]
printf 'P6\n1 1\n65535\n\x00\x01\x12\x34\xff\x00' >rgb16.ppm
expect 0 "" not rgb16.ppm nrgb16.ppm
check "P6 16-bit" [ "$(data nrgb16.ppm "$(len 'P6\n1 1\n65535\n')" | hex)" = fffeedcb00ff ]
printf 'P4\n3 1\n\xa0' >tiny.pbm
expect 0 "" not tiny.pbm ntiny.pbm
check "P4 padding stays clear" [ "$(data ntiny.pbm "$(len 'P4\n3 1\n')" | hex)" = 40 ]
# Comments may follow any field but the last; one white-space byte then pixels.
printf 'P5 # a comment\n#another\n 2\t1 #x\n255\n\x0a\x20' >comments.pgm
expect 0 "" not comments.pgm ncomments.pgm
check "comments skipped" [ "$(hex <ncomments.pgm)" = "$(printf 'P5\n2 1\n255\n' | hex)f5df" ]
expect 2 "name the file .pbm" not tiny.pbm out.pgm

# --- files that must be refused -------------------------------------------------
refuse() { # refuse TEXT BYTES...: the tool reads the bytes and exits 1
    local text=$1; shift
    printf "$@" >bad.pnm
    expect 1 "$text" not bad.pnm out.pgm
    [[ -e out.pgm ]] && { bad "output left for: $text"; rm -f out.pgm; }
}
refuse "empty file" ''
refuse "not a PNG, JPEG, PNM or BMP" 'GIF89a'
refuse "not a PNM" 'P56 1\n255\n\0'
refuse "plain (text)" 'P2\n1 1\n255\n0\n'
refuse "PAM" 'P7\nWIDTH 1\n'
refuse "before the maxval" 'P5\n2 1\n'
refuse "before the width" 'P5 # only a comment'
refuse "width is not" 'P5\n-1 1\n255\n\0'
refuse "height is not" 'P5\n1 1x\n255\n\0'
refuse "maxval 0 is not supported" 'P5\n1 1\n0\n\0'
refuse "maxval 1000 is not supported" 'P5\n1 1\n1000\n\0\0'
refuse "maxval is too large" 'P5\n1 1\n99999999999\n\0'
refuse "must be positive" 'P5\n0 1\n255\n'
refuse "after the maxval" 'P5\n1 1\n255'
refuse "truncated" 'P5\n2 2\n255\n\1\2\3'
refuse "truncated" 'P6\n1 1\n65535\n\1\2\3\4\5'
refuse "truncated" 'P4\n2147483647 1\n\0'
refuse "1600000000 bytes of pixels expected, 1 present" 'P5\n40000 40000\n255\n\0'
refuse "too large" 'P6\n30000 30000\n65535\n'
printf 'P5\n4 4\n255\nabc' | "$ZOL" not /dev/stdin out.pgm 2>err.txt
[[ $? -eq 1 ]] && grep -q "truncated pixel data" err.txt && ok || bad "truncated pipe"

expect 1 "missing.pgm" not missing.pgm out.pgm
mkdir adir
expect 1 "adir: " not adir out.pgm
if [[ -w /dev/full ]]; then
    expect 1 "cannot write" not p8.pgm /dev/full
    check "device kept" [ -c /dev/full ]
fi

# --- demo -----------------------------------------------------------------------
mkdir demo && (cd demo && "$ZOL" demo >../demo.txt) && ok || bad "demo"
check "demo prints full paths" [ "$(cat demo.txt)" = "$WORK/demo/zol-demo-pattern.pgm
$WORK/demo/zol-demo-inverse.pgm" ]
check "demo pattern is 640x480 8u" [ "$(head -c 15 demo/zol-demo-pattern.pgm | tr '\n' ' ')" = "P5 640 480 255 " ]
check "demo inverse" cmp -s <(data demo/zol-demo-inverse.pgm 15) <(data demo/zol-demo-pattern.pgm 15 | invert)

# --- PNG and JPEG ---------------------------------------------------------------
# Round trips through the tool: PNG is exact for 1-bit, 8- and 16-bit gray,
# RGB and RGBA; JPEG stays close at high quality.
"$ZOL" chart --size 37x23 c.ppm && "$ZOL" chart --alpha --size 37x23 ca.png &&
    "$ZOL" chart --scene --size 37x23 s.ppm && ok || bad "charts"
"$ZOL" shl --depth 16u c.ppm c16.ppm 7 || bad "16-bit RGB"
for f in p8.pgm p16.pgm p1.pbm c.ppm c16.ppm rgb16.ppm ca.png; do
    "$ZOL" copy "$f" "rt-$f.png" && "$ZOL" copy "rt-$f.png" "rt2-$f.png" &&
        "$CHECK" near "$f" "rt2-$f.png" 0 && ok || bad "PNG round trip of $f"
done
check "PNG is PNG" [ "$(head -c 4 rt-c.ppm.png | tail -c 3)" = PNG ]
"$ZOL" info rt-ca.png.png >out.txt && grep -q 'channels: 4 (RGBA), channel 4 is alpha' out.txt &&
    ok || bad "RGBA read with alpha"
"$ZOL" info rt-p16.pgm.png | grep -q 'depth: *16u' && ok || bad "16-bit PNG read as 16u"
"$ZOL" info rt-p1.pbm.png | grep -q 'depth: *1u' && ok || bad "1-bit PNG read as 1u"
# A flat colour tells the channels apart; the rings find rows out of place.
"$ZOL" set c.ppm flat.ppm 0 && "$ZOL" set --coi 1 flat.ppm flat.ppm 200 &&
    "$ZOL" set --coi 3 flat.ppm flat.ppm 30 || bad "flat colour"
for f in p8.pgm:12 flat.ppm:3; do
    tol=${f#*:} f=${f%:*}
    "$ZOL" copy --quality 95 "$f" "$f.jpg" && "$CHECK" near "$f" "$f.jpg" "$tol" && ok ||
        bad "JPEG round trip of $f"
done
"$ZOL" copy s.ppm s95.jpg --quality 95 && "$ZOL" copy --format jpeg --quality 20 s.ppm low.img && [ "$(head -c 2 low.img | hex)" = ffd8 ] &&
    [ "$(stat -c %s low.img)" -lt "$(stat -c %s s95.jpg)" ] && ok || bad "--format, --quality"
expect 2 "JPEG files hold 8u gray or RGB" copy ca.png x.jpg
expect 2 "write PNG" copy p16.pgm x.jpg
check "nothing written" [ ! -e x.jpg ]
# Damaged files: cut at many lengths or with bytes changed (in the middle of
# a PNG, where its checksums notice; in the first marker of a JPEG, whose
# pixel data has no checksum), each gives exit code 1 and names the file,
# never a crash (the asan build runs this too).
"$ZOL" chart --scene --size 64x48 big.png && "$ZOL" copy big.png big.jpg || bad "damage inputs"
for f in big.png big.jpg; do
    size=$(stat -c %s "$f")
    for n in 1 4 9 30 60 $((size / 3)) $((size / 2)) $((size - 20)) $((size - 1)); do
        head -c "$n" "$f" >"cut-$f"
        expect 1 "cut-$f:" copy "cut-$f" out.png
    done
    at=$((size / 2)); [[ $f = *.jpg ]] && at=2
    cp "$f" "hit-$f" && printf '\x55\xaa\x55' | dd of="hit-$f" bs=1 seek=$at conv=notrunc 2>/dev/null
    expect 1 "hit-$f:" copy "hit-$f" out.png
done
check "no output from damaged files" [ ! -e out.png ]

# --- BMP ------------------------------------------------------------------------
# Gray, 1-bit, 24- and 32-bit files come back exact; 32 bits with an empty
# alpha byte read as RGB. Palettes and run-length coding read back as the
# library's own bitmap in memory does (checker: dib OUT IN BITS PALETTE RLE).
for f in c.ppm:24 ca.png:32 p8.pgm:8 p1.pbm:1 c16.ppm:24; do
    "$ZOL" copy "${f%:*}" "b-${f%:*}.bmp" && [ "$(data "b-${f%:*}.bmp" 28 | head -c 2 | hex)" = "$(printf '%02x00' "${f#*:}")" ] &&
        { [[ $f = c16* ]] || "$CHECK" near "${f%:*}" "b-${f%:*}.bmp" 0; } && ok || bad "BMP round trip of $f"
done
"$ZOL" copy --bits 32 c.ppm c32.bmp && "$CHECK" near c.ppm c32.bmp 0 && ok || bad "32-bit BMP without alpha"
"$ZOL" shr c16.ppm c16s.ppm 8 && "$ZOL" depth --to 8u c16s.ppm c16s8.ppm && "$CHECK" near c16s8.ppm b-c16.ppm.bmp 0 && ok || bad "16u BMP keeps high bytes"
while read -r in bits palette rle; do
    opts=(--bits "$bits"); [[ $palette = 1 ]] && opts+=(--palette linear)
    [[ $rle = 1 ]] && opts+=(--rle)
    "$ZOL" copy "${opts[@]}" "$in" out.bmp 2>err.txt && "$CHECK" dib out.bmp "$in" "$bits" "$palette" "$rle" && ok ||
        bad "BMP $in ${opts[*]}: $(cat err.txt)"
done <<'TABLE'
s.ppm 8 2 0
s.ppm 4 2 0
s.ppm 1 2 0
c.ppm 8 1 0
p8.pgm 4 1 0
flat.ppm 8 2 1
flat.ppm 4 2 1
s.ppm 8 2 1
TABLE
# Pixels may start past the table: four bytes put in, the offset moved on.
{ head -c 10 b-c.ppm.bmp; printf '\072\0\0\0'; data b-c.ppm.bmp 14 | head -c 40; printf 'gap!'; data b-c.ppm.bmp 54; } >gap.bmp &&
    "$CHECK" near c.ppm gap.bmp 0 && ok || bad "BMP pixels past a gap"
"$ZOL" copy --bits 8 --rle flat.ppm rle8.bmp && [ "$(data rle8.bmp 30 | head -c 1 | hex)" = 01 ] &&
    [ "$(stat -c %s rle8.bmp)" -lt 500 ] && ok || bad "RLE8 coded"
expect 2 "--rle needs --bits 4 or 8" copy --rle c.ppm x.bmp
expect 2 "are for BMP files" copy --bits 8 c.ppm x.png
expect 2 "--bits" copy --bits 7 c.ppm x.bmp
expect 2 "--palette" copy --palette keep c.ppm x.bmp
# The sample files: each family of encodings shows one picture.
B=$SOURCE/tests/data/bmp
for g in "pal8 pal8rle pal8topdown" "pal4 pal4rle" "rgb24 rgb32 rgb32bf rgb16 rgb16-565"; do
    read -r first rest <<<"$g"
    "$ZOL" copy "$B/$first.bmp" "$first.png" && "$ZOL" info "$first.png" | grep -q 'size: *127x64' || bad "read $first.bmp"
    for f in $rest; do
        tol=0; [[ $f = rgb16* ]] && tol=12  # 5 or 6 bits a channel, rounded
        "$ZOL" copy "$B/$f.bmp" "$f.png" && "$CHECK" near "$first.png" "$f.png" "$tol" && ok || bad "$f.bmp as $first.bmp"
    done
done
"$ZOL" copy "$B/pal1.bmp" pal1.png && "$ZOL" info pal1.png | grep -q 'size: *127x64' && ok || bad "pal1.bmp"
for f in badbitcount badrle badrle4 badwidth shortfile; do expect 1 "$f.bmp: " copy "$B/$f.bmp" out.png; done
# Cut and hostile headers: exit 1 with a message, no crash, nothing written.
for f in b-c.ppm.bmp rle8.bmp; do
    size=$(stat -c %s "$f")
    for n in 1 2 10 20 60 $((size / 2)) $((size - 1)); do
        head -c "$n" "$f" >cut.bmp
        expect 1 "cut.bmp: " copy cut.bmp out.png
    done
done
bmp() { # bmp WIDTH HEIGHT BITS COMPRESSION COLOURS INFOSIZE: headers, 2 colours, 8 bytes
    w() { local v=$(($1 & 0xFFFFFFFF)) i; for i in 0 8 16 24; do printf "\\$(printf %03o $((v >> i & 255)))"; done; }
    printf 'BM'; w 70; w 0; w 62; w "$6"; w "$1"; w "$2"; printf '\001\000'; printf "\\$(printf %03o "$3")\\000"
    w "$4"; w 8; w 0; w 0; w "$5"; w 0; printf '\0\0\0\0\377\377\377\0\1\2\3\4\5\6\7\10'
}
while read -r w h b c n i text; do
    bmp "$w" "$h" "$b" "$c" "$n" "$i" >h.bmp && expect 1 "$text" copy h.bmp out.png
done <<'TABLE'
40000 40000 8 0 2 40 bytes of pixels expected
2147483647 2147483647 32 0 0 40 bytes of pixels expected
0 1 1 0 2 40 bad size
1 -2147483648 1 0 2 40 bad size
2 2 1 0 2 64 not supported
2 2 1 0 9 40 zolConvertFromDIBSep failed
2 2 7 0 0 40 zolConvertFromDIBSep failed
2 -2 8 1 2 40 zolConvertFromDIBSep failed
9000 9000 8 1 2 40 zolConvertFromDIBSep failed
TABLE
check "no output from hostile BMP" [ ! -e out.png ]
bmp 2 2 1 0 2 40 >ok.bmp && "$ZOL" info ok.bmp | grep -q 'depth: *1u' && ok || bad "the header maker"
# depth: 8u to 16u and back keeps values; 1u becomes 0 and 255; other depths refused.
"$ZOL" depth --to 16u p8.pgm d16.png && "$ZOL" info d16.png | grep -q 'depth: *16u' &&
    "$ZOL" depth --to 8u d16.png d8.pgm && cmp -s d8.pgm p8.pgm && ok || bad "depth 8u-16u-8u"
"$ZOL" depth --to 8u p1.pbm d1.pgm && "$ZOL" depth --to 1u d1.pgm d1.pbm && cmp -s d1.pbm p1.pbm &&
    [ "$("$ZOL" histogram d1.pgm | grep -v '^#' | awk '$2 > 0 {print $1}' | tr '\n' ' ')" = "0 255 " ] && ok || bad "depth 1u-8u-1u"
"$ZOL" depth --to 1u --coi 2 c.ppm g1.pbm && "$ZOL" copy --coi 2 c.ppm g.pgm && "$ZOL" depth --to 1u g.pgm g1b.pbm &&
    cmp -s g1.pbm g1b.pbm && ok || bad "depth --to 1u --coi"
for d in 8s 16s 32s 32f; do expect 2 "files cannot hold $d" depth --to $d p8.pgm x.png; done
expect 2 "--coi N picks" depth --to 1u c.ppm x.pbm

# --- every family command against the library called directly ---------------
# Each row runs plain, with a region and a mask, and on one channel; the
# checker builds the expected picture from a direct library call.
"$ZOL" pattern --depth 1u --size 37x23 m.pbm || bad "mask"
while read -r cmd value flags; do
    for variant in "- 0 -" "5,3,20,11 0 m.pbm" "2,1,50,50 2 -"; do
        read -r roi coi mask <<<"$variant"
        opts=()
        [[ $roi != - ]] && opts+=(--roi "$roi")
        [[ $coi != 0 ]] && opts+=(--coi "$coi")
        [[ $mask != - ]] && opts+=(--mask "$mask")
        # shellcheck disable=SC2206 # the row's options split on spaces
        opts+=($flags)
        args=(c.ppm); [[ $value = B ]] && args+=(s.ppm)
        args+=(out.ppm); [[ $value != [B-] ]] && args+=("$value")
        name=${cmd%-flip}
        [[ $cmd != "$name" ]] && opts+=(--flip)
        rm -f out.ppm
        if "$ZOL" "$name" "${opts[@]}" "${args[@]}" 2>err.txt &&
            "$CHECK" op out.ppm "$cmd" "${value/B/-}" "$roi" "$coi" "$mask" c.ppm \
                $([[ $value = B ]] && echo s.ppm); then ok
        else bad "zol $name ${opts[*]} ${args[*]}: $(cat err.txt)"; fi
    done
done <<'TABLE'
add B
subtract B
multiply B
and B
or B
xor B
adds 77
subs 40
subs-flip 200
muls 3
ands 0xF0
ors 0x0F
xors -1
shl 2
shr 3
abs -
square -
not -
set 99
convolve - --kernel -1,0,1;-2,0,2;-1,0,1 --kernel -1,-2,-1;0,0,0;1,2,1 --shift 1 --method max
sepconvolve - --x 1,2,1 --y 1,3 --shift 3
mulscale B
TABLE
# New pictures of another size or colour space, against the library called
# on the whole input.
while read -r cmd in args; do
    # shellcheck disable=SC2086 # the row's options split on spaces
    if "$ZOL" "$cmd" $args "$in" out.png 2>err.txt && "$CHECK" made out.png "$cmd" "$in"; then ok
    else bad "zol $cmd $args $in: $(cat err.txt)"; fi
done <<'TABLE'
resize c.ppm --size 20x9 --interp cubic
zoom c.ppm --factor 5/2
decimate c.ppm --factor 1/3 --interp area
convert c16.ppm --to hls
gray c.ppm
colorize p8.pgm --weights 0.25,1,0.5
reduce c16.ppm --bits 3 --dither stucki
twist c.ppm --matrix 0,3,1,5;2,0,2,-9;1,1,2,0 --shift 2 --offset 7
premultiply ca.png
dct p8.pgm
rotate c.ppm --angle 30 --interp cubic
affine c.ppm --matrix 0.9,0.2,1;-0.1,1.1,2
perspective c.ppm --quad 3,1,33,2,36,22,0,19 --interp nn
perspective ca.png --onto --quad 3,1,33,2,36,22,0,19
mirror c.ppm --axis both
depth p16.pgm --to 8u
TABLE
# The spectrum of a flat picture is one white point at the centre; a blur
# by a kernel of sum 1 leaves a flat picture flat.
"$ZOL" set p8.pgm flat.pgm 100 && "$ZOL" set flat.pgm dark.pgm 0 &&
    "$ZOL" set --roi 16,8,1,1 dark.pgm dot.pgm 255 && "$ZOL" fft flat.pgm fft.pgm &&
    "$CHECK" near fft.pgm dot.pgm 0 && ok || bad "fft of a flat picture"
"$ZOL" convolve-fft --radius 2 flat.pgm blur.pgm && "$CHECK" near blur.pgm flat.pgm 0 && ok ||
    bad "convolve-fft of a flat picture"
"$ZOL" chart --shape disc --size 37x23 da.png && "$ZOL" composite --op xor ca.png da.png out.png &&
    "$CHECK" made out.png composite ca.png da.png && ok || bad "composite"
expect 2 "bad --op" composite --op under ca.png da.png x.png
expect 1 "zolAlphaComposite failed" composite c.ppm s.ppm x.png
"$ZOL" convert --to ycrcb --planes c.ppm pl.png && "$ZOL" convert --to ycrcb c.ppm all.png &&
    "$ZOL" copy --coi 3 all.png cb.png && cmp -s cb.png pl-3.png && ok || bad "convert --planes"
expect 2 "one of --to and --from" convert c.ppm x.png
expect 2 "unknown colour space" convert --to cmyk c.ppm x.png
expect 2 "3 rows of 4" twist --matrix "1 0 0;0 1 0;0 0 1" c.ppm x.png
expect 2 "bad --dither" reduce --dither floyd c.ppm x.png
for k in "1 a" "1 2;3" ";" "1,,2;"; do expect 2 "--kernel" convolve c.ppm x.png --kernel "$k"; done
eleven=(); for _ in {1..11}; do eleven+=(--kernel 1); done
expect 2 "at most 10" convolve c.ppm x.png "${eleven[@]}"
expect 2 "--anchor" convolve c.ppm x.png --kernel "1 2" --anchor 2,0
expect 2 "whole numbers" convolve c.ppm x.png --kernel "0.5 0.5"
expect 2 "bad border" convolve c.ppm x.png --kernel 1 --border mirror
for s in 0x5 axb 5x; do expect 2 "bad size" resize --size "$s" c.ppm x.png; done
expect 2 "bad factor" zoom --factor 0/2 c.ppm x.png
expect 1 "zolZoom failed" zoom --factor 1/2 c.ppm x.png
expect 2 "four corners" perspective --quad "1 2 3" c.ppm x.png
expect 1 "zolWarpPerspectiveQ failed" perspective --quad "0,0 4,0 1,1 0,4" c.ppm x.png
expect 2 "2 rows of 3" affine --matrix "1 0;0 1" c.ppm x.png
expect 2 "bad --axis" mirror --axis z c.ppm x.png
"$ZOL" mirror --axis y ca.png m1.png && "$ZOL" mirror --axis y m1.png m2.png && "$CHECK" near ca.png m2.png 0 &&
    ok || bad "mirror twice, alpha too"
expect 2 "bad --center" rotate --angle 5 --center 3 c.ppm x.png
check "nothing written" [ ! -e x.png ]
# The mask may be any image, cut at half scale; the rest keeps the input.
"$ZOL" copy --coi 1 c.ppm red.pgm && "$ZOL" not --mask red.pgm c.ppm mred.ppm &&
    "$ZOL" not --mask red.pgm mred.ppm back.ppm && cmp -s c.ppm back.ppm && ok || bad "8-bit mask"
# --depth: 8u to 32f for a fraction, 8u to 16s for a negative, back to 8u.
"$ZOL" muls --depth 32f p8.pgm half.pgm 0.5 && "$ZOL" shr p8.pgm shr1.pgm 1 &&
    "$CHECK" near half.pgm shr1.pgm 1 && ok || bad "--depth 32f"
expect 2 "whole number" muls p8.pgm x.pgm 0.5
expect 2 "not a number" adds p8.pgm x.pgm ten
expect 2 "--depth converts" not --depth 8u p1.pbm x.pbm
expect 1 "zolSubtract failed" subtract c.ppm p8.pgm x.png
expect 1 "zolAbs failed" abs --depth 32f p8.pgm x.png
"$ZOL" info --roi 30,20,10,10 --coi 2 c.ppm >out.txt && grep -q 'region: *7x3 at 30,20' out.txt &&
    grep -q 'channel: *2 (G)' out.txt && ok || bad "info --roi --coi"
"$ZOL" copy --roi 30,20,10,10 ca.png crop.png && "$ZOL" info crop.png >out.txt &&
    grep -q 'size: *7x3' out.txt && grep -q 'RGBA' out.txt && ok || bad "copy crops"
# Neighbourhood and measurement commands: KEY VARIANTS ARGS..., the command
# is KEY up to ':', ARGS follow IN OUT. Variants: p plain, r region and mask,
# c region and channel, k channel alone. Morphology and equalisation see only
# their region, so a whole-image call cannot judge them on one.
while read -r key variants args; do
    for v in p:"- 0 -" r:"5,3,20,11 0 m.pbm" c:"2,1,50,50 2 -" k:"- 2 -"; do
        [[ $variants = *${v%%:*}* ]] || continue
        read -r roi coi mask <<<"${v#*:}"
        opts=()
        [[ $roi != - ]] && opts+=(--roi "$roi")
        [[ $coi != 0 ]] && opts+=(--coi "$coi")
        [[ $mask != - ]] && opts+=(--mask "$mask")
        rm -f out.ppm
        # shellcheck disable=SC2086 # ARGS split into words
        if "$ZOL" "${key%%:*}" "${opts[@]}" c.ppm out.ppm $args 2>err.txt &&
            "$CHECK" op out.ppm "$key" "${args:--}" "$roi" "$coi" "$mask" c.ppm; then ok
        else bad "zol ${key%%:*} ${opts[*]} c.ppm out.ppm $args: $(cat err.txt)"; fi
    done
done <<'TABLE'
median:3x3 prc --size 3x3
max:5x3 prc --size 5x3 --anchor 1,2
min:3x3 prc --size=3x3
dilate:1 pk
erode:2 pk --iterations 2
open:1 pk
close:2 pk --iterations=2
blur:4x3 prc --size 4x3 --anchor 0,1
filter:sobel-v prc sobel-v
filter:gauss5 prc gauss5
threshold prc 100
equalize pk
stretch prck --keys 0,100,200,256;30,120,250,255
TABLE
for s in 0x3 3 3x; do expect 2 "bad size" median --size "$s" c.ppm x.ppm; done
expect 2 "--size is required" blur c.ppm x.ppm
expect 2 "bad anchor" max --size 3x3 --anchor 3,0 c.ppm x.ppm
expect 2 "unknown filter 'sobel'" filter c.ppm x.ppm sobel
"$ZOL" filter --help | grep -q 'sharpen' && ok || bad "filter --help lists the kernels"
expect 2 "bad curve" stretch c.ppm x.ppm --keys "0 10;5"
expect 2 "--type" norm c.ppm --type l3
# Counts of a flat colour, moments and norms against the library's own.
"$ZOL" histogram flat.ppm >out.txt && [ "$(grep -v '^#' out.txt | tr '\n' /)" = "0 0 851 0/30 0 0 851/200 851 0 0/" ] &&
    ok || bad "histogram: $(cat out.txt)"
"$ZOL" histogram --coi 2 --roi 0,0,10,10 --plot h.png c.ppm >out.txt && "$ZOL" info h.png | grep -q 'size: *256x128' &&
    [ "$(grep -v '^#' out.txt | awk '{n += $2} END {print n}')" = 100 ] && ok || bad "histogram --plot"
"$ZOL" moments --coi 3 --roi 3,2,20,15 c.ppm >out.txt && grep -qx "m21 $("$CHECK" moment c.ppm 3 3,2,20,15 2 1)" out.txt &&
    grep -qx "m00 $("$CHECK" moment c.ppm 3 3,2,20,15 0 0)" out.txt && grep -q '^centre ' out.txt && ok || bad "moments: $(cat out.txt)"
expect 1 "zolMoments failed" moments c.ppm
for t in l1:2 l2:4 max:1; do
    [ "$("$ZOL" norm --type "${t%:*}" c.ppm s.ppm)" = "$("$CHECK" norm c.ppm s.ppm "${t#*:}")" ] &&
        [ "$("$ZOL" norm --type "${t%:*}" --relative c.ppm s.ppm)" = "$("$CHECK" norm c.ppm s.ppm $((${t#*:} | 8)))" ] &&
        [ "$("$ZOL" norm --type "${t%:*}" c.ppm)" = "$("$CHECK" norm c.ppm - "${t#*:}")" ] && ok || bad "norm ${t%:*}"
done
# A 1u threshold sets the bits where the 8u one gives 255: inverting the 8u
# result under the bits leaves only zeros.
"$ZOL" copy --coi 1 c.ppm r.pgm && "$ZOL" threshold --depth 1u r.pgm t1.pbm 128 &&
    "$ZOL" threshold r.pgm t8.pgm 128 && "$ZOL" not --mask t1.pbm t8.pgm z.pgm &&
    [ "$("$ZOL" histogram z.pgm | grep -v '^#')" = "0 851" ] && ok || bad "threshold --depth 1u"

# --- the gallery's commands still run ---------------------------------------
if [[ -f $SOURCE/scripts/gallery.sh ]]; then
    ZOL_GALLERY_CHECK=1 bash "$SOURCE/scripts/gallery.sh" "$ZOL" "$WORK/gallery" >gallery.txt 2>&1 &&
        ok || bad "gallery: $(tail -5 gallery.txt)"
fi

echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
