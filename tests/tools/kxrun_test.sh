#!/usr/bin/env bash
# kxrun as a user meets it: results, exit statuses and one-line reasons.
# Usage: kxrun_test.sh KXRUN [EMULATOR ARGS...]; a cross build runs KXRUN through EMULATOR.
set -u
kxrun_path=$(realpath "$1")
shift
kxrun_cmd=("$@" "$kxrun_path")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failures=0
check() {  # check NAME EXPECTED-STATUS COMMAND...
  local name=$1 expected=$2
  shift 2
  "$@" >out.txt 2>err.txt
  local status=$?
  if [ "$status" -ne "$expected" ]; then
    echo "FAIL $name: exit $status, expected $expected"; cat err.txt; failures=$((failures + 1))
  elif [ "$expected" -ne 0 ] && [ "$(wc -l <err.txt)" -ne 1 ]; then
    echo "FAIL $name: expected one line on stderr, got:"; cat err.txt; failures=$((failures + 1))
  fi
}

printf 'P5\n33 1\n255\n' >a.pgm; printf 'd%.0s' $(seq 33) >>a.pgm        # 100s
printf 'P5\n33 1\n255\n' >b.pgm; printf '\310%.0s' $(seq 33) >>b.pgm     # 200s
printf 'P5\n2 2\n255\n\001\002\003\004' >small.pgm
printf 'P7\nWIDTH 2\nHEIGHT 1\nDEPTH 2\nMAXVAL 255\nENDHDR\n\001\002\003\004' >two.pam
printf 'P5\n2 2\n255\n\001' >short.pgm

check "add8 runs" 0 "${kxrun_cmd[@]}" add8 --trace t.txt a.pgm b.pgm -o c.pgm
if [ "$(tail -c 33 c.pgm | od -v -An -tu1 | tr -s ' \n' ' ' | xargs)" != "$(printf '255 %.0s' $(seq 33) | xargs)" ]; then
  echo "FAIL add8 result: $(od -An -tu1 c.pgm)"; failures=$((failures + 1))
fi
words=$(grep -E '^(mem|queue) ' t.txt | awk '{print $NF}' | tr '\n' ' ' | xargs)
expected="0x8fd00500 0x8fd01d00 0xaf029d3a 0xaf06a54a 0x8f981d00 0x80500500 0x80501d00 0xa0029d3a 0x80181d00"
if [ "$words" != "$expected" ]; then
  echo "FAIL trace of a 33-pixel add: $words"; failures=$((failures + 1))
fi
check "host path" 0 "${kxrun_cmd[@]}" subtract8 --device host a.pgm b.pgm -o d.pgm
check "roi" 0 "${kxrun_cmd[@]}" add8 --roi 1,0,2,1 --stats a.pgm b.pgm -o e.pgm
grep -q '^memory_words=' err.txt || { echo "FAIL --stats prints counters"; failures=$((failures + 1)); }
check "list" 0 "${kxrun_cmd[@]}" list
grep -qx add8 out.txt || { echo "FAIL list names add8"; failures=$((failures + 1)); }
check "missing file" 1 "${kxrun_cmd[@]}" add8 nothere.pgm b.pgm -o c.pgm
check "truncated file" 1 "${kxrun_cmd[@]}" add8 short.pgm short.pgm -o c.pgm
check "size mismatch" 1 "${kxrun_cmd[@]}" add8 a.pgm small.pgm -o c.pgm
check "type mismatch" 1 "${kxrun_cmd[@]}" add16 a.pgm b.pgm -o c.pgm
check "unknown operation" 1 "${kxrun_cmd[@]}" frobnicate a.pgm -o c.pgm
check "wrong input count" 1 "${kxrun_cmd[@]}" add8 a.pgm -o c.pgm
check "no output" 1 "${kxrun_cmd[@]}" add8 a.pgm b.pgm
check "bad roi" 1 "${kxrun_cmd[@]}" add8 --roi 1,2,3 a.pgm b.pgm -o c.pgm
check "bad device" 1 "${kxrun_cmd[@]}" add8 --device gpu a.pgm b.pgm -o c.pgm
check "refused without fallback" 3 "${kxrun_cmd[@]}" add8 --no-fallback two.pam two.pam -o c.pam
check "refused with fallback" 0 "${kxrun_cmd[@]}" add8 two.pam two.pam -o c.pam
bytes() { tail -c "$1" "$2" | od -v -An -tu1 | tr -s ' \n' ' ' | xargs; }
check "addconst8" 0 "${kxrun_cmd[@]}" addconst8 --const 5.9 --no-fallback a.pgm -o k.pgm
[ "$(bytes 3 k.pgm)" = "105 105 105" ] || { echo "FAIL addconst8: $(bytes 3 k.pgm)"; failures=$((failures + 1)); }
check "threshold8" 0 "${kxrun_cmd[@]}" threshold8 --threshold 99.5,100,7 --no-fallback a.pgm -o t.pgm
[ "$(bytes 2 t.pgm)" = "7 7" ] || { echo "FAIL threshold8: $(bytes 2 t.pgm)"; failures=$((failures + 1)); }
check "setvalue8" 0 "${kxrun_cmd[@]}" setvalue8 --value 8.5 --no-fallback small.pgm -o v.pgm
[ "$(bytes 4 v.pgm)" = "9 9 9 9" ] || { echo "FAIL setvalue8: $(bytes 4 v.pgm)"; failures=$((failures + 1)); }
check "extrema8" 0 "${kxrun_cmd[@]}" extrema8 --no-fallback small.pgm
[ "$(cat out.txt | xargs)" = "max=4 min=1" ] || { echo "FAIL extrema8 prints: $(cat out.txt)"; failures=$((failures + 1)); }
check "missing parameter" 1 "${kxrun_cmd[@]}" addconst8 a.pgm -o c.pgm
check "parameter not taken" 1 "${kxrun_cmd[@]}" add8 --const 1 a.pgm b.pgm -o c.pgm
check "a value per band" 1 "${kxrun_cmd[@]}" addconst8 --const 1,2 a.pgm -o c.pgm
check "bad number" 1 "${kxrun_cmd[@]}" threshold8 --threshold 1,x,3 a.pgm -o c.pgm
check "short matrix" 1 "${kxrun_cmd[@]}" bandCombine16 --matrix 1,2,3 a.pgm -o c.pgm
check "extrema writes no image" 1 "${kxrun_cmd[@]}" extrema8 small.pgm -o c.pgm
check "no command" 1 "${kxrun_cmd[@]}"
check "unwritable output" 1 "${kxrun_cmd[@]}" add8 a.pgm b.pgm -o /nonexistent/c.pgm

# Lookups: a table file, and the words of a 33-pixel lookup.
printf '# a table\noffset 100\n7\n8\n9\n' >t.txt
check "lookup8_8 trace" 0 "${kxrun_cmd[@]}" lookup8_8 --table t.txt --trace lt.txt --no-fallback a.pgm -o l.pgm
words=$(grep -E '^mem ' lt.txt | awk '{print $NF}' | tr '\n' ' ' | xargs)
expected="0x8fd00500 0x8fd0150a 0x8f901500 0x80500500 0x8050150a 0x80101500"
[ "$words" = "$expected" ] || { echo "FAIL trace of a 33-pixel lookup: $words"; failures=$((failures + 1)); }
decoded=$("${kxrun_cmd[@]}" lookup8_8 --table t.txt --trace - --disasm --no-fallback a.pgm -o l.pgm | grep -c 'ld.t8 x32 r42 @\[r10\]')
[ "$decoded" = "1" ] || { echo "FAIL --trace - --disasm shows the indexed load: $decoded"; failures=$((failures + 1)); }
[ "$(bytes 2 l.pgm)" = "7 7" ] || { echo "FAIL lookup8_8: $(bytes 2 l.pgm)"; failures=$((failures + 1)); }
printf '1 2 3\n4,5,6\n' >rgb.txt                  # columns red, green, blue
check "3-column table" 0 "${kxrun_cmd[@]}" lookup8_8 --table rgb.txt small.pgm -o l3.ppm
[ "$(bytes 12 l3.ppm)" = "4 5 6 4 5 6 4 5 6 4 5 6" ] || { echo "FAIL 3-column table: $(bytes 12 l3.ppm)"; failures=$((failures + 1)); }
printf '' >empty.txt; printf '1\n2 3 4\n' >ragged.txt; printf '1 2\n' >two.txt; printf '300\n' >big.txt
printf 'offset 40000\n1\n' >far.txt
for t in nothere.txt empty.txt ragged.txt two.txt big.txt far.txt; do
  check "bad table $t" 1 "${kxrun_cmd[@]}" lookup8_8 --table "$t" a.pgm -o c.pgm
done
printf '40000\n' >wide.txt
check "16-bit entries" 1 "${kxrun_cmd[@]}" lookup8_16 --table wide.txt a.pgm -o c.pam
check "lookup without a table" 1 "${kxrun_cmd[@]}" lookup8_8 a.pgm -o c.pgm

# Colour: files are red, green, blue; ycc files luma, blue and red differences.
printf 'P6\n1 1\n255\n\310\144\062' >px.ppm       # red 200, green 100, blue 50
check "rgb709 to ycc601" 0 "${kxrun_cmd[@]}" colorconvert --from rgb709 --to ycc601 --no-fallback px.ppm -o y.ppm
[ "$(bytes 3 y.ppm)" = "122 92 175" ] || { echo "FAIL ycc601 of red 200: $(bytes 3 y.ppm)"; failures=$((failures + 1)); }
printf 'P6\n3 1\n255\n\377\0\0\0\377\0\0\0\377' >prim.ppm
check "ylinear" 0 "${kxrun_cmd[@]}" colorconvert --from rgblinear --to ylinear --no-fallback prim.ppm -o y.pgm
[ "$(bytes 3 y.pgm)" = "75 149 28" ] || { echo "FAIL ylinear of red, green, blue: $(bytes 3 y.pgm)"; failures=$((failures + 1)); }
check "cmyk" 0 "${kxrun_cmd[@]}" colorconvert --from rgblinear --to cmyk --no-fallback px.ppm -o k.pam
grep -aq '^TUPLTYPE CMYK$' k.pam || { echo "FAIL cmyk is written as CMYK"; failures=$((failures + 1)); }
[ "$(bytes 4 k.pam)" = "55 155 205 0" ] || { echo "FAIL cmyk of red 200: $(bytes 4 k.pam)"; failures=$((failures + 1)); }
check "no row, no fallback" 3 "${kxrun_cmd[@]}" colorconvert --from ylinear --to rgb709 --no-fallback small.pgm -o c.ppm
check "no row" 1 "${kxrun_cmd[@]}" colorconvert --from ylinear --to rgb709 small.pgm -o c.ppm
grep -q 'no conversion from ylinear to rgb709' err.txt || { echo "FAIL no-row reason: $(cat err.txt)"; failures=$((failures + 1)); }
check "unknown space" 1 "${kxrun_cmd[@]}" colorconvert --from srgb --to rgb709 px.ppm -o c.ppm
check "space and channels" 1 "${kxrun_cmd[@]}" colorconvert --from rgb709 --to ycc601 small.pgm -o c.ppm
check "missing --to" 1 "${kxrun_cmd[@]}" colorconvert --from rgb709 px.ppm -o c.ppm

# Band order: a P6 goes through unchanged, red stays red, a matrix row reaches its band.
check "copy8 of a P6" 0 "${kxrun_cmd[@]}" copy8 --no-fallback px.ppm -o same.ppm
cmp -s px.ppm same.ppm || { echo "FAIL a P6 copied is not byte for byte the same"; failures=$((failures + 1)); }
check "red constant" 0 "${kxrun_cmd[@]}" addconst8 --const 10,0,0 --no-fallback px.ppm -o red.ppm
[ "$(bytes 3 red.ppm)" = "210 100 50" ] || { echo "FAIL --const 10,0,0 on red 200: $(bytes 3 red.ppm)"; failures=$((failures + 1)); }
printf 'P6\n1 1\n65535\n\0\1\0\2\0\3' >w.ppm     # red 1, green 2, blue 3
check "matrix rows" 0 "${kxrun_cmd[@]}" bandCombine16 --matrix 0,0,1,0,1,0,0,0,0,0,0,100 w.ppm -o m.ppm
[ "$(bytes 6 m.ppm)" = "0 3 0 1 0 100" ] || { echo "FAIL --matrix rows: $(bytes 6 m.ppm)"; failures=$((failures + 1)); }
check "extrema lists" 0 "${kxrun_cmd[@]}" extrema8 px.ppm
[ "$(head -1 out.txt)" = "max=200,100,50" ] || { echo "FAIL extrema of a P6: $(cat out.txt)"; failures=$((failures + 1)); }

# 16-bit samples: unsigned in files, signed in the system.
printf 'P5\n2 1\n65535\n\017\377\0\1' >s1.pgm     # 4095, 1
printf 'P5\n2 1\n65535\n\0\1\017\377' >s2.pgm     # 1, 4095
for mode in wrap clamp; do
  check "add16 $mode" 0 "${kxrun_cmd[@]}" add16 --sample16 "$mode" s1.pgm s2.pgm -o sum.pgm
  [ "$(bytes 4 sum.pgm)" = "16 0 16 0" ] || { echo "FAIL add16 $mode: $(bytes 4 sum.pgm)"; failures=$((failures + 1)); }
done
printf 'P5\n3 1\n65535\n\377\377\200\0\0\5' >high.pgm   # 65535, 32768, 5
check "copy16 offset" 0 "${kxrun_cmd[@]}" copy16 --sample16 offset high.pgm -o high2.pgm
cmp -s high.pgm high2.pgm || { echo "FAIL copy16 --sample16 offset is not byte for byte"; failures=$((failures + 1)); }
check "note on high samples" 0 "${kxrun_cmd[@]}" copy16 high.pgm -o high3.pgm
[ "$(wc -l <err.txt)" -eq 1 ] && grep -q -- '--sample16' err.txt && grep -q ' 2 samples' err.txt ||
  { echo "FAIL the note on samples above 32767: $(cat err.txt)"; failures=$((failures + 1)); }
check "bad sample16" 1 "${kxrun_cmd[@]}" copy16 --sample16 mirror high.pgm -o c.pgm

# Blends and painting.
printf 'P5\n1 1\n255\n\0' >zero.pgm; printf 'P5\n1 1\n255\n\377' >full.pgm
check "blend8a8" 0 "${kxrun_cmd[@]}" blend8a8 --no-fallback zero.pgm full.pgm full.pgm -o bl.pgm
[ "$(bytes 1 bl.pgm)" = "254" ] || { echo "FAIL blend8a8 of 0 and 255 under 255: $(bytes 1 bl.pgm)"; failures=$((failures + 1)); }
check "blend8a8 on the host" 0 "${kxrun_cmd[@]}" blend8a8 --device host zero.pgm full.pgm full.pgm -o bh.pgm
[ "$(bytes 1 bh.pgm)" = "255" ] || { echo "FAIL host blend8a8: $(bytes 1 bh.pgm)"; failures=$((failures + 1)); }
printf 'P5\n1 1\n65535\n\0\144' >p100.pgm; printf 'P5\n1 1\n65535\n\377\234' >m100.pgm  # 100, -100
"${kxrun_cmd[@]}" blend16a16 --no-fallback p100.pgm m100.pgm p100.pgm -o c.pgm 2>err.txt
[ $? -eq 3 ] && grep -q "refused blend16a16" err.txt || { echo "FAIL blend16a16 of two signs: $(cat err.txt)"; failures=$((failures + 1)); }
check "alpha of three channels" 1 "${kxrun_cmd[@]}" blend8a8 zero.pgm full.pgm px.ppm -o c.pgm
printf 'P5\n33 1\n65535\n' >a16.pgm; printf '\200\0%.0s' $(seq 33) >>a16.pgm
check "blend8a16 trace" 0 "${kxrun_cmd[@]}" blend8a16 --trace bt.txt --no-fallback a.pgm b.pgm a16.pgm -o c.pgm
words=$(grep -E '^(mem|queue) ' bt.txt | awk '{print $NF}' | sed 's/^0x//' | awk '{printf "%s ", ($0 ~ /^8/ ? substr($0, 1, 7) "0" : $0)}' | xargs)
expected="8fd60500 8fd01500 8fd02500 af8a954a af8e9d5a 3f02952a 3f069d3a af12952a af169d3a 8f901500 80560500 80501500 80502500 a08a954a 3002952a a012952a 80101500"
[ "$words" = "$expected" ] || { echo "FAIL trace of a 33-pixel blend8a16: $words"; failures=$((failures + 1)); }
printf '3 3 1 1\n0 0.5 0\n0.5 1 0.5\n0 0.5 0\n' >brush.txt
printf 'P6\n4 1\n255\n' >row.ppm; printf '\012\024\036%.0s' $(seq 4) >>row.ppm   # 10, 20, 30
# On the device full weight gives 254 (the multiply's 255/256), half weight 10 + 122.
check "paint8" 0 "${kxrun_cmd[@]}" paint8 --brush brush.txt --color 255,0,0 --points '1,0' --no-fallback row.ppm -o pr.ppm
[ "$(bytes 12 pr.ppm)" = "132 10 15 254 0 0 132 10 15 10 20 30" ] || { echo "FAIL paint8 red: $(bytes 12 pr.ppm)"; failures=$((failures + 1)); }
printf '2 2 0 0\n1 1 1\n' >bad.txt
check "brush short of weights" 1 "${kxrun_cmd[@]}" paint8 --brush bad.txt --color 1,2,3 --points '1,0' row.ppm -o c.ppm
check "colour count" 1 "${kxrun_cmd[@]}" paint8 --brush brush.txt --color 1,2 --points '1,0' row.ppm -o c.ppm
check "bad points" 1 "${kxrun_cmd[@]}" paint8 --brush brush.txt --color 1,2,3 --points '1;0' row.ppm -o c.ppm

# Transposes: a new image of the turned size, the background where nothing lands.
printf 'P5\n3 2\n255\n\001\002\003\004\005\006' >m.pgm   # rows 1 2 3 / 4 5 6
check "transpose8 90" 0 "${kxrun_cmd[@]}" transpose8 --transpose 90 --no-fallback m.pgm -o r90.pgm
[ "$(head -c 7 r90.pgm | tr '\n' ' ')" = "P5 2 3 " ] && [ "$(bytes 6 r90.pgm)" = "3 6 2 5 1 4" ] ||
  { echo "FAIL transpose8 90: $(od -An -c r90.pgm)"; failures=$((failures + 1)); }
check "transpose8 h by number" 0 "${kxrun_cmd[@]}" transpose8 --transpose 1 --no-fallback m.pgm -o rh.pgm
[ "$(bytes 6 rh.pgm)" = "3 2 1 6 5 4" ] || { echo "FAIL transpose8 h: $(bytes 6 rh.pgm)"; failures=$((failures + 1)); }
check "transpose8 into a larger output" 0 "${kxrun_cmd[@]}" transpose8 --transpose d --size 3,4 --background 9 --dst-origin 1,1 --no-fallback m.pgm -o rd.pgm
[ "$(bytes 12 rd.pgm)" = "9 9 9 9 1 4 9 2 5 9 3 6" ] || { echo "FAIL transpose8 d placed: $(bytes 12 rd.pgm)"; failures=$((failures + 1)); }
printf 'P5\n3 3\n65535\n' >sq16.pgm; printf '\0\001\0\002\0\003\0\004\0\005\0\006\0\007\0\010\0\011' >>sq16.pgm
check "transpose16 270" 0 "${kxrun_cmd[@]}" transpose16 --transpose 270 --no-fallback sq16.pgm -o r16.pgm
[ "$(bytes 18 r16.pgm | awk '{for (i = 2; i <= NF; i += 2) printf "%s ", $i}' | xargs)" = "7 4 1 8 5 2 9 6 3" ] ||
  { echo "FAIL transpose16 270: $(bytes 18 r16.pgm)"; failures=$((failures + 1)); }
printf 'P5\n3 1\n65535\n\0\001\0\002\0\003' >wide16.pgm
check "transpose16 of an oblong, refused" 3 "${kxrun_cmd[@]}" transpose16 --transpose 90 --no-fallback wide16.pgm -o c.pgm
check "transpose16 of an oblong, by the host" 0 "${kxrun_cmd[@]}" transpose16 --transpose 90 wide16.pgm -o c.pgm
check "transpose type 7" 1 "${kxrun_cmd[@]}" transpose8 --transpose 7 m.pgm -o c.pgm
check "transpose type missing" 1 "${kxrun_cmd[@]}" transpose8 m.pgm -o c.pgm
check "transpose type without a value" 1 "${kxrun_cmd[@]}" transpose8 m.pgm -o c.pgm --transpose
check "size 0" 1 "${kxrun_cmd[@]}" transpose8 --transpose v --size 0,3 m.pgm -o c.pgm
check "malformed size" 1 "${kxrun_cmd[@]}" transpose8 --transpose v --size 3 m.pgm -o c.pgm
check "malformed origin" 1 "${kxrun_cmd[@]}" transpose8 --transpose v --origin 1,x m.pgm -o c.pgm
check "background beyond a byte" 1 "${kxrun_cmd[@]}" transpose8 --transpose v --background 256 m.pgm -o c.pgm
check "background of NaN" 1 "${kxrun_cmd[@]}" transpose8 --transpose v --background nan m.pgm -o c.pgm
check "translate8nearest" 0 "${kxrun_cmd[@]}" translate8nearest --translate 1.5,0 --background 9 --no-fallback m.pgm -o tr.pgm
[ "$(bytes 6 tr.pgm)" = "9 9 1 9 9 4" ] || { echo "FAIL translate8nearest by 1.5: $(bytes 6 tr.pgm)"; failures=$((failures + 1)); }
check "translate8nearest by -2.3, by the host" 0 "${kxrun_cmd[@]}" translate8nearest --translate -2.3,0 m.pgm -o c.pgm
check "translate8nearest by -2.3, refused" 3 "${kxrun_cmd[@]}" translate8nearest --translate -2.3,0 --no-fallback m.pgm -o c.pgm
check "translate16bilinear by a whole offset" 0 "${kxrun_cmd[@]}" translate16bilinear --translate -1,0 --no-fallback sq16.pgm -o tb.pgm
[ "$(bytes 6 tb.pgm | awk '{for (i = 2; i <= NF; i += 2) printf "%s ", $i}' | xargs)" = "8 9 0" ] ||
  { echo "FAIL translate16bilinear by -1: $(bytes 6 tb.pgm)"; failures=$((failures + 1)); }
check "translate8bicubic by a half, refused" 3 "${kxrun_cmd[@]}" translate8bicubic --translate 0.5,0 --no-fallback m.pgm -o c.pgm
check "translate8bicubic by a half, by the host" 0 "${kxrun_cmd[@]}" translate8bicubic --translate 0.5,0 m.pgm -o c.pgm
check "translate with one value" 1 "${kxrun_cmd[@]}" translate8nearest --translate 1 m.pgm -o c.pgm
check "translate of infinity" 1 "${kxrun_cmd[@]}" translate8nearest --translate inf,0 m.pgm -o c.pgm
check "translate missing" 1 "${kxrun_cmd[@]}" translate16nearest sq16.pgm -o c.pgm
# A quarter turn about the centre of an odd square is the transpose's quarter turn, exactly.
printf 'P6\n5 5\n255\n' >sq.ppm; for i in $(seq 75); do printf "\\$(printf '%03o' $(( (i * 37) % 256 )))"; done >>sq.ppm
check "rotate8nearest 90 about the centre" 0 "${kxrun_cmd[@]}" rotate8nearest --angle 90 --centre --no-fallback sq.ppm -o rot.ppm
check "transpose8 90" 0 "${kxrun_cmd[@]}" transpose8 --transpose 90 --no-fallback sq.ppm -o tra.ppm
cmp -s rot.ppm tra.ppm || { echo "FAIL rotate8nearest 90 differs from transpose8 90"; failures=$((failures + 1)); }
check "rotate16nearest 90 about the centre" 0 "${kxrun_cmd[@]}" rotate16nearest --angle 90 --centre --no-fallback sq16.pgm -o rot16.pgm
check "transpose16 90" 0 "${kxrun_cmd[@]}" transpose16 --transpose 90 --no-fallback sq16.pgm -o tra16.pgm
cmp -s rot16.pgm tra16.pgm || { echo "FAIL rotate16nearest 90 differs from transpose16 90"; failures=$((failures + 1)); }
check "rotate8nearest 30 about the centre" 0 "${kxrun_cmd[@]}" rotate8nearest --angle 30 --centre sq.ppm -o r30.ppm
check "rotate with a region, by the host" 0 "${kxrun_cmd[@]}" rotate8nearest --angle 30 --roi 1,1,2,2 sq.ppm -o c.ppm
check "rotate with a region, refused" 3 "${kxrun_cmd[@]}" rotate8nearest --angle 30 --roi 1,1,2,2 --no-fallback sq.ppm -o c.ppm
check "angle of NaN" 1 "${kxrun_cmd[@]}" rotate8nearest --angle nan sq.ppm -o c.ppm
check "angle with two values" 1 "${kxrun_cmd[@]}" rotate8nearest --angle 1,2 sq.ppm -o c.ppm
check "angle missing" 1 "${kxrun_cmd[@]}" rotate16nearest sq16.pgm -o c.pgm
check "scale8nearest by 2, on the host" 0 "${kxrun_cmd[@]}" scale8nearest --factor 2,1 m.pgm -o sc.pgm
[ "$(head -c 7 sc.pgm | tr '\n' ' ')" = "P5 6 2 " ] && [ "$(bytes 6 sc.pgm)" = "4 4 5 5 6 6" ] ||
  { echo "FAIL scale8nearest by 2: $(od -An -c sc.pgm)"; failures=$((failures + 1)); }
check "scale factor 0" 1 "${kxrun_cmd[@]}" scale8nearest --factor 0 m.pgm -o c.pgm
check "scale factor negative" 1 "${kxrun_cmd[@]}" scale8bilinear --factor 2,-1 m.pgm -o c.pgm
check "scale factor missing" 1 "${kxrun_cmd[@]}" scale8bicubic m.pgm -o c.pgm
check "size on a pointwise operation" 1 "${kxrun_cmd[@]}" addconst8 --const 1 --size 2,2 m.pgm -o c.pgm
check "transpose on a pointwise operation" 1 "${kxrun_cmd[@]}" addconst8 --const 1 --transpose v m.pgm -o c.pgm
# Convolutions: the words of a 3 x 3 kernel with a zero border on a 26 x 3 image, results,
# kernel texts and edge conditions.
printf 'P5\n26 3\n255\n' >c26.pgm; printf '\012%.0s' $(seq 78) >>c26.pgm     # 10s
check "convolve8 trace" 0 "${kxrun_cmd[@]}" convolve8 --kernel "3 3 1 1 1,2,3,4,5,6,7,8,9" --edge zero --trace ct.txt --no-fallback c26.pgm -o cz.pgm
words=$(grep -E '^(reg|mem|queue) ' ct.txt | awk '{print $NF}' | tr '\n' ' ')
for w in "0x00000900 0x00000800 0x00000700 0x00000600 0x00000500 0x00000400 0x00000300 0x00000200 0x00000100 0xb0e03180" \
    "0x8cd02480" "0xb0e0008c 0x0f457200 0x07497a00 0xb0e0008d" "0xb0e00094 0x0f52f264 0x0756fa74 0x8b907182" \
    "0x81502487" "0x0756fa74 0xb0e03280 0x80907202"; do
  case "$words" in *"$w"*) ;; *) echo "FAIL convolve8 trace lacks $w"; failures=$((failures + 1)) ;; esac
done
# Every value 10 under weights summing to 45: 450 saturates inside, the border is 0.
[ "$(bytes 52 cz.pgm | cut -d' ' -f1-3,26-27)" = "0 255 255 0 0" ] || { echo "FAIL convolve8 zero border: $(bytes 52 cz.pgm)"; failures=$((failures + 1)); }
check "h kernels below 1.0" 0 "${kxrun_cmd[@]}" convolve8 --kernel "3 3 1 1 .1,.2,.3,.4,.5,.6,.7,.8,.9" --trace ch.txt --no-fallback c26.pgm -o ch.pgm
grep -q ' 0x1fc57200$' ch.txt && grep -q ' 0x17c97a00$' ch.txt || { echo "FAIL the h multiplies"; failures=$((failures + 1)); }
printf 'P5\n5 1\n255\n\0\0\144\0\0' >dot.pgm                                # 0 0 100 0 0
printf '# a row kernel\n3 1 0 0\n0.25, 0.5, 0.25\n' >k.txt
check "kernel file" 0 "${kxrun_cmd[@]}" convolve8 --kernel @k.txt --edge extend --device host dot.pgm -o kf.pgm
[ "$(bytes 5 kf.pgm)" = "0 0 25 50 25" ] || { echo "FAIL a key at (0, 0) shifts the result: $(bytes 5 kf.pgm)"; failures=$((failures + 1)); }
check "edge none keeps the input" 0 "${kxrun_cmd[@]}" convolve8 --kernel "3 3 1 1 0,0,0,0,2,0,0,0,0" --edge none --no-fallback dot.pgm -o en.pgm
[ "$(bytes 5 en.pgm)" = "0 0 100 0 0" ] || { echo "FAIL --edge none on one row: $(bytes 5 en.pgm)"; failures=$((failures + 1)); }
printf 'P5\n5 3\n255\n' >dot3.pgm; printf '\0\0\0\0\0\0\0\144\0\0\0\0\0\0\0' >>dot3.pgm
check "pair" 0 "${kxrun_cmd[@]}" convolve8/convolve8 --kernel "3 1 1 0 .25,.5,.25" --kernel "1 3 0 1 0,1,0" --edge zero --no-fallback dot3.pgm -o p.pgm
[ "$(bytes 15 p.pgm)" = "0 0 0 0 0 0 25 50 25 0 0 0 0 0 0" ] || { echo "FAIL convolve8/convolve8: $(bytes 15 p.pgm)"; failures=$((failures + 1)); }
grep -qx 'convolve8/convolve8' <("${kxrun_cmd[@]}" list | sed -n 2p) || { echo "FAIL list shows the pair second"; failures=$((failures + 1)); }
check "4x4 refused" 3 "${kxrun_cmd[@]}" convolve8 --kernel "4 4 2 2 $(printf '0.0625,%.0s' $(seq 15))0.0625" --no-fallback c26.pgm -o c.pgm
check "4x4 on the host" 0 "${kxrun_cmd[@]}" convolve8 --kernel "4 4 2 2 $(printf '0.0625,%.0s' $(seq 15))0.0625" c26.pgm -o c.pgm
check "convolve16" 0 "${kxrun_cmd[@]}" convolve16 --kernel "3 3 1 1 0,0,0,0,-1,0,0,0,0" --no-fallback s1.pgm -o neg.pgm
[ "$(bytes 4 neg.pgm)" = "240 1 255 255" ] || { echo "FAIL convolve16 negates: $(bytes 4 neg.pgm)"; failures=$((failures + 1)); }
check "kernel value count" 1 "${kxrun_cmd[@]}" convolve8 --kernel "3 3 1 1 1,2,3" c26.pgm -o c.pgm
grep -q '3 x 3 kernel has 9 values, not 3' err.txt || { echo "FAIL value-count reason: $(cat err.txt)"; failures=$((failures + 1)); }
check "kernel text" 1 "${kxrun_cmd[@]}" convolve8 --kernel "3 3 1 1 1,2,x,4,5,6,7,8,9" c26.pgm -o c.pgm
check "kernel size" 1 "${kxrun_cmd[@]}" convolve8 --kernel "0 3 0 0" c26.pgm -o c.pgm
check "kernel file missing" 1 "${kxrun_cmd[@]}" convolve8 --kernel @nothere.txt c26.pgm -o c.pgm
check "no kernel" 1 "${kxrun_cmd[@]}" convolve8 c26.pgm -o c.pgm
check "one kernel for a pair" 1 "${kxrun_cmd[@]}" convolve8/convolve8 --kernel "3 1 1 0 1,1,1" c26.pgm -o c.pgm
check "bad edge" 1 "${kxrun_cmd[@]}" convolve8 --kernel @k.txt --edge wrap c26.pgm -o c.pgm
check "edge not taken" 1 "${kxrun_cmd[@]}" add8 --edge zero a.pgm b.pgm -o c.pgm

[ "$failures" -eq 0 ] && echo "kxrun: all checks passed"
exit "$failures"
