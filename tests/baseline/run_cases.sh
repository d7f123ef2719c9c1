# Epochs that can't be used or aren't worth it, and what is said of them: damaged observations, missing attitude, offsets, pictures.
demo=examples/data/demo; nav=${demo}_bds.nav; att=${demo}_att_zdown.txt
# the arc up to a second, edited by a rule of awk: e is the number of the epoch from 0 on, s the satellite, both of its line
edited() { awk -v last="$1" "/^>/ { ++n; e = n - 1 } n && e * 30 > last { exit } { s = n && !/^>/ ? substr(\$0, 1, 3) : \"\" } $2 { print }" ${demo}_bds.obs > edited.obs; }
run() { leopod run --embedded --nav $nav --att $att --out epochs.csv "$@" > said 2> errors; sed -n '/^  [0-9]\|^epochs\|^note\|^filter\|^satellites\|stand twice\|^slip\|per satellite\|^attitude\|^receiver\|^plot\|not written\|positions are\|beyond\|status\|^systems\|no satellite/p' said; cat errors; }
statuses() { cut -d, -f1,4,8,9,21- epochs.csv | cut -d, -f1-4,14 | awk -F, 'NR > 1 { print substr($1, 15, 5), $2, $3, $4, $5 }' | paste -sd'|'; }
rows() { sed -n "$1p" epochs.csv | cut -d, -f-24; }

echo "# too few satellites, flags, repeated epochs, gaps"
edited 600 '/^>/ { if (e == 3) sub(/  0  7/, "  0  3"); if (e == 5) sub(/  0  /, "  1  ") } n && e == 3 && s != "" && s > "C22" { next } e == 8 || e == 9 || e == 10 { next }'
run --obs edited.obs --satellites-out out/few.csv --summary summary.json; statuses; rows 2,6; grep -A 30 '"epochs"' summary.json | head -n 24
edited 90 '{}'; cat edited.obs > twice.obs; sed -n '/END OF HEADER/,$p' edited.obs | tail -n +2 >> twice.obs
run --obs twice.obs; statuses; run --obs edited.obs --obs ${demo}_bds.obs --to 300 --interval 60; statuses
echo "# one satellite is wrong, many are, all are"
edited 900 '{}'
awk '/^>/ { ++e } /^C25/ && e > 20 && e < 25 { $0 = substr($0, 1, 3) sprintf("%14.3f", substr($0, 4, 14) + 300) substr($0, 18) } { print }' edited.obs > faulty.obs; run --obs faulty.obs --satellites-out satellites.csv --summary summary.json; statuses; grep -A 12 set_aside summary.json; grep ',C25,' satellites.csv | sed -n '20,26p'
awk '/^>/ { ++e } /^C2[0257]/ && e % 3 == 0 { $0 = substr($0, 1, 3) sprintf("%14.3f", substr($0, 4, 14) + 3000 * substr($0, 3, 1) + 40 * e) substr($0, 18) } { print }' edited.obs > faulty.obs; run --obs faulty.obs; statuses
awk '/^C[0-9]/ { $0 = substr($0, 1, 3) sprintf("%14.3f", 100) substr($0, 18, 18) sprintf("%14.3f", 9e9) substr($0, 50) } { print }' edited.obs > faulty.obs; run --obs faulty.obs; statuses | cut -c-120
awk '/^>/ { ++e } /^C[0-9]/ && e == 6 { $0 = substr($0, 1, 3) "              " substr($0, 18) } { print }' edited.obs > faulty.obs; run --obs faulty.obs --to 240; statuses
awk '/^C[0-9]/ { $0 = substr($0, 1, 19) sprintf("%14.3f", substr($0, 20, 14) + (NR * NR * 7 % 109)) substr($0, 34, 18) sprintf("%14.3f", substr($0, 52, 14) + (NR * NR * 5 % 113)) } { print }' edited.obs > faulty.obs; run --obs faulty.obs --to 330; run --obs faulty.obs --to 270 | grep note
grace=examples/data/grace_b; leopod run --obs $grace/grcb2080_01h05h.10d.gz --sp3 $grace/cod15942_excerpt.sp3.gz --eop $grace/finals_2010_07.txt.gz --to 4800 --interval 300 --sigma-phase 0.01 | sed -n '/^sigmas/,$p' | grep -v time:
echo "# attitude"
edited 600 '{}'
leopod run --embedded --nav $nav --obs edited.obs | sed -n '/^epochs/,/^note/p;/^attitude/p'
head -n 15 $att > gap.txt; leopod run --embedded --nav $nav --obs edited.obs --att gap.txt --out epochs.csv --satellites-out satellites.csv --antenna-offset 1,2,3 --antenna-axes platform --summary summary.json | sed -n '/^attitude/,/^slip/p'; statuses; grep 'without' summary.json
awk '{ $2 = -$2; t = $2; $2 = -$3; $3 = t; t = $4; $4 = -$5; $5 = t; print }' $att > up.txt; leopod run --embedded --nav $nav --obs edited.obs --att up.txt | sed -n '/^epochs/,/^note/p'
echo "# the antenna, the files of the orbit"
for offset in 0.1,0.2,0.3 "0,0,0" "0,0,2"; do run --obs edited.obs --antenna-offset $offset; rows 2,4; done
run --obs edited.obs --antenna-offset 1,2,3 --antenna-axes platform --oem-out out/orbit.oem --object-name A --object-id 2021-001A --interval 60 --to 300; rows 2,3
edited 400 '/^>/ { if (e == 0 || e == 3) sub(/  0  [78]/, "  0  2") } n && (e == 0 || e == 3) && s > "C21" { next } e > 4 && e < 12 { next }'
run --obs edited.obs --antenna-offset 1,2,3 --summary summary.json; statuses; rows 2,8; grep -A 2 '"antenna"' summary.json
edited 0 '{}'; run --obs edited.obs --antenna-offset 1,2,3; statuses; run --obs edited.obs --round --sp3-out out/none.sp3; run --obs edited.obs --antenna-offset 0,0,1 --antenna-axes platform; statuses
edited 0 'n && s > "C21" { next } { sub(/  0  8/, "  0  2") }'; run --obs edited.obs --sp3-out out/none.sp3
echo "# references and pictures"
edited 600 '{}'
run --obs edited.obs --plot picture.svg; grep '<title>' picture.svg | head -n 5; run --obs edited.obs --obs ${demo}_bds.obs --to 60 --plot picture.svg; grep '<title>' picture.svg | head -n 1
for dx in 9990 10100 250000; do awk -F, -v OFS=, -v d=$dx 'NR > 1 { $6 += d } 1' ${demo}_truth.csv > truth.csv; leopod run --embedded --nav $nav --att $att --obs edited.obs --to 90 --truth truth.csv | sed -n '/^errors/,$p'; done
head -n 3 ${demo}_truth.csv > truth.csv; leopod run --embedded --nav $nav --att $att --obs edited.obs --truth truth.csv --plot picture.svg | sed -n '/^errors/,$p'; grep '<title>' picture.svg | head -n 1
{ head -n 1 ${demo}_truth.csv; sed -n 4p ${demo}_truth.csv; } > truth.csv; leopod run --embedded --nav $nav --att $att --obs edited.obs --truth truth.csv --from 60 --to 61 | sed -n '/^errors/,$p'
echo "# refused"
options="--embedded --nav $nav --att $att --obs edited.obs"
for more in "--truth none.csv" "--truth $att" "--from 3000" "--from 2021-01-19T00:00:00" "--to 0" "--interval 0.0001 --from 1 --to 2" "--from 10 --to 5" "--sp3-antenna x.atx" "--antenna-offset 1,2" "--antenna-offset 1,2,inf" "--antenna-axes both" "--out edited.obs" "--summary $nav" "--plot x.pdf" "--out x.csv --satellites-out x.csv" "--interval -1" "--sigma-code 0" "--sigma-phase nan" "--sp3-version e" "--log-level loud" "--systems GPS" "--codes C1P"; do
  echo "$more"; leopod run $options $more 2>&1 | grep 'leopod:\|given\|status\|IN ' | head -n 3
done
sed 's/59232/59300/; s/2021-01/2021-03/' ${demo}_truth.csv > late.csv; leopod run $options --truth late.csv | tail -n 1
leopod run --embedded --nav $nav --obs edited.obs --antenna-offset 1,2,3 --antenna-axes platform
gunzip -c tests/arc21/both.cfg.gz > both.cfg; arc="--obs tests/arc21/both.obs.gz --nav tests/arc21/arc.nav.gz --att tests/arc21/attitude.txt.gz --to 120"
leopod run $arc --codes GPS:C1W,L1W,C2W,L2W --systems GPS | grep 'note\|systems\|epochs'
leopod run $arc --sp3 tests/data/sp3.sp3 --atx tests/arc21/zero.atx.gz --sp3-antenna tests/arc21/zero.atx.gz
