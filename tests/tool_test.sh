#!/usr/bin/env bash
# End-to-end checks of the zol tool: commands, exit codes, the PNM formats it
# writes, and files it must refuse without crashing.
# Usage: tool_test.sh path/to/zol
# shellcheck disable=SC2015,SC2059 # ok() cannot fail; printf formats carry test bytes
set -uo pipefail
export LC_ALL=C

ZOL=$(realpath "${1:?usage: tool_test.sh path/to/zol}")
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
"$ZOL" --help >/dev/null && ok || bad "--help"
expect 2 "usage: zol"
expect 2 "unknown command 'frobnicate'" frobnicate
expect 2 "unknown option '--depht'" pattern --depht 8u x.pgm
expect 2 "needs a value" pattern x.pgm --size
expect 2 "exactly one output file" pattern
expect 2 "input and an output" not only-one.pgm
expect 2 "takes no arguments" version extra
expect 2 "takes no arguments" demo extra
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
    expect 2 "PNM files cannot hold $d" pattern --depth $d "x$d.pgm"
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
refuse "not a PNM" ''
refuse "not a PNM" 'GIF89a'
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

echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
