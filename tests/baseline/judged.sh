# What an epoch is worth: ranges and phases that are wrong, satellites that leave and come back, pauses, attitudes; each row says why it isn't.
gunzip -c tests/arc21/both.obs.gz > all.obs
for file in arc.nav attitude.txt zero.atx; do gunzip -c tests/arc21/$file.gz > $file; done
run() {  # OPTIONS
  command leopod run --nav arc.nav --atx zero.atx --eop examples/data/demo_eop.txt "$@" --out out.csv --satellites-out sat.csv 2>&1 |
    grep -E '^(leopod: |  attitude  .*left|attitude: .*serve|note|epochs:|filter:|slip marks|  per sat|.*values that|  [a-z].* [0-9]*: [GC][0-9])'
}
say() { echo "[$1]"; shift; run --obs changed.obs --att attitude.txt --systems GPS "$@"; [ ! -f out.csv ] || { awk -F, '{ k = $4 "," $(NF - 6); if (k != last) if (NR > 1) print $3 "," $4 "," $8 "," $(NF - 6); last = k }' out.csv; rm out.csv; }; }
gps() { awk '/^> / { $0 = substr($0, 1, 32) "  8" } !/^C[0-9]/' all.obs; }
# adds to a field (0 code, 1 phase ...) of a satellite in epochs of the arc
add() { gps | awk -v sat="$1" -v field=$2 -v value="$3" -v from=$4 -v to=$5 '/^>/ { ++n } substr($0, 1, 3) ~ sat && n >= from && n <= to { v = value == "0" ? 0 : substr($0, 4 + 16 * field, 14) + value; $0 = substr($0, 1, 3 + 16 * field) sprintf("%14.3f", v) substr($0, 18 + 16 * field) } { print }' > changed.obs; }
gps > changed.obs
say 'as it is'
say 'weights' --sigma-code 2 --sigma-phase 0.02 --to 600
for size in 5 20 60 1000; do add G07 0 $size 5 7; say "a code $size m off for three epochs"; done
add G07 0 300 5 5; say 'for one epoch'
add 'G0[37]' 0 300 5 5; say 'two codes 300 m off'
add G07 2 300 5 8; say 'the other band'
add G07 0 0 5 9; say 'without a code'
add G07 0 -21000000 5 5; say 'a code of less than 1000 km'
add G07 0 980000000 5 5; say 'a code of more than a million km'
add G07 1 2e10 5 5; say 'a phase of more than 1e10'
add G07 1 7 8 99; say 'a slip of seven cycles'
add G07 3 1 8 99; say 'a slip of one cycle on one band'
gps | awk -v n=0 '/^>/ { ++n } n == 8 && /^G07/ { next } n == 8 && /^>/ { $0 = substr($0, 1, 32) "  7" } { print }' > changed.obs; say 'a satellite out for an epoch'
gps | awk '/^>/ { ++n; if (n > 4 && n < 8) $0 = substr($0, 1, 32) "  5" } n > 4 && n < 8 && /^G(07|10|22)/ { next } { print }' > changed.obs; say 'five satellites for three epochs'
gps | awk '/^>/ { ++n; if (n > 4 && n < 9) $0 = substr($0, 1, 32) "  4" } n > 4 && n < 9 && /^G(07|10|22|01)/ { next } { print }' > changed.obs; say 'four for four epochs'
gps | awk '/^>/ { ++n; if (n > 4 && n < 9) $0 = substr($0, 1, 32) "  3" } n > 4 && n < 9 && /^G(07|10|22|01|18)/ { next } { print }' > changed.obs; say 'three for four epochs'
gps | awk '/^>/ { ++n; if (n > 2) $0 = substr($0, 1, 32) "  4" } n > 2 && /^G(07|10|22|01)/ { next } { print }' > changed.obs; say 'four from the third on'
for pause in 2 3 4; do gps | awk -v p=$pause '/^>/ { ++n } n > 6 && n < 7 + p { next } { print }' > changed.obs; say "$pause epochs missing"; done
gps > changed.obs; say 'every other minute' --interval 120
add 'G[0-9][0-9]' 0 100000 5 5; say 'a clock that jumps'
add 'G01' 0 100 1 99; say 'one wrong throughout'
add 'G0[13]' 0 300 1 99; say 'two wrong throughout'
add 'G(01|03|07)' 0 900 1 99; say 'three wrong throughout'
awk '/^> / { ++n; if (n > 3 && n < 6) { sub(/ 15$/, "  7"); g = 1 } else g = 0 } g && /^G/ { next } { print }' all.obs > changed.obs; echo '[GPS away]'; run --obs changed.obs --att attitude.txt; cut -d, -f 3-9 out.csv | sed -n 2,8p
demo=examples/data/demo
for interval in 120 150 240 300 330; do echo "[an epoch every $interval s]"; command leopod run --embedded --obs ${demo}_bds.obs --att ${demo}_att_zdown.txt --nav ${demo}_bds.nav --interval $interval --out out.csv | grep -E '^(epochs|filter)'; rm -f out.csv; done
for size in 25 60; do awk -v size=$size '/^>/ { ++n } n == 61 && /^C/ { $0 = substr($0, 1, 3) sprintf("%14.3f", substr($0, 4, 14) + size * (++k % 3 - 1)) substr($0, 18, 18) sprintf("%14.3f", substr($0, 36, 14) + size * (k % 3 - 1)) substr($0, 50) } { print }' ${demo}_bds.obs > changed.obs; echo "[$size m either way]"; command leopod run --embedded --obs changed.obs --att ${demo}_att_zdown.txt --nav ${demo}_bds.nav --from 1500 --to 2100 --out out.csv | grep -E '^(epochs|filter|  ranges)'; awk -F, '$3 == 1800 { print $4, $10, $11, $24 }' out.csv; rm -f out.csv; done
echo "--- attitudes"
gps > changed.obs
att() { echo "[$1]"; run --obs changed.obs --systems GPS --to 300 --att att.txt | grep -v '^slip\|^filter'; [ ! -f out.csv ] || { sed 1d out.csv | cut -d, -f 3-5,9 | sed -n '1p;$p'; rm out.csv; }; }
lines() { sed '/^ *5/!d' attitude.txt; }
lines | tac > att.txt; att 'backwards'
{ lines; lines; } > att.txt; att 'twice'
{ lines; lines | sed 's/ 0\.\([0-9]\)/ -0.\1/2'; } > att.txt; att 'two at a time'
lines | awk '{ printf "%s", $1; for (k = 2; k <= 5; ++k) printf " %.14f", -$k; print "" }' > neg; { lines; cat neg; } > att.txt; att 'with another sign'
for factor in 1.0009 1.0011 0.9989 0.9991; do lines | awk -v f=$factor 'NR % 9 == 4 { printf "%s", $1; for (k = 2; k <= 5; ++k) printf " %.14f", f * $k; print ""; next } { print }' > att.txt; att "length $factor"; done
lines | awk '{ print $1, 0.995, 0, 0, 0 }' > att.txt; att 'none a rotation'
lines | awk '{ print $1, 1, 0, 0, 0 }' > att.txt; att 'no vector part'
for gap in 9 10; do lines | awk -v k=$gap 'NR <= 22 || NR > 21 + k' > att.txt; att "$gap intervals"; done
for keep in 20 21; do lines | awk -v k=$keep 'NR % 7 == 0 && (NR < 22 || NR >= 22 + k)' > att.txt; att "$keep intervals, of seven times 30 s"; done
lines | sed -n 1,6p > att.txt; att 'the beginning'
lines | sed '1,4d' > att.txt; att 'from later on'
lines | sed 's/^ *59232/ 59233/' > att.txt; att 'the next day'
{ printf '# a comment\nname: value\n'; lines; } > att.txt; att 'with a head'
{ printf 'name value\n'; lines; } > att.txt; att 'with a head that is none'
awk 'BEGIN { print "header:\n# End of YAML header" } /^ *5/ { printf "%d C 1 %s %s %s %s 0.001 00001101\n", ($1 - 51544.5) * 86400 + 0.5, $2, $3, $4, $5 }' attitude.txt > att.txt; att 'of a mission'
sed 's/ C 1 / C /' att.txt > a; mv a att.txt; att 'of a mission, short'
echo '[none]'; run --obs changed.obs --systems GPS --to 300; sed 1d out.csv | cut -d, -f 3-4,9 | sed -n '1p;$p'
