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

[ "$failures" -eq 0 ] && echo "kxrun: all checks passed"
exit "$failures"
