# Earth orientation, planets, gravity and attitudes: each form, gaps, short and damaged ones, the ends of their spans.
day=2021-01-18T00:00:00
say() {  # NAME OPTIONS: one state in both frames
  echo "[$1]"; shift
  command leopod propagate --state 6890e3 0 0 0 -980 7543 --frame eci --dynamics forces.cfg --epoch $day --duration 60 --out out.csv "$@" 2>&1 > said | grep ^leopod:
  grep -E "^($lines)" said | grep -v 'NO EARTH' | awk '!seen[$0]++' | cut -c 1-110
  [ ! -f out.csv ] || { cut -d, -f 4-6,10-12 out.csv | sed -n 3p; rm out.csv; }
}
forces() { printf '+Force_Models\n%s\n-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 60\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n' "$1" > forces.cfg; }
forces 'Earth_Gravity = YES 2'
lines='THE|note|earth'
for form in c04 keyword rapid; do say $form --eop tests/data/eop_$form.txt; say "$form, named" --eop tests/data/eop_$form.txt --eop-format $form; done
say 'c04, not rapid' --eop tests/data/eop_c04.txt --eop-format rapid
say 'xyz' --eop tests/data/eop_c04.txt --eop-format xyz
# not on a line, so that each day counts
awk 'NR > 14 { x = (NR - 17) ^ 2 / 1000; $0 = sprintf("%4d%4d%4d%7d%11.6f%11.6f%12.7f%12.7f%s", $1, $2, $3, $4, $5 + x, $6 - x, $7 + x, $8, substr($0, 66)) } { print }' tests/data/eop_c04.txt > c04.txt
say 'bent' --eop c04.txt
hours() { awk 'NR > 14 { printf "%4d%4d%4d  0 %11.2f %11.6f %11.6f %12.7f %11.6f %11.6f %11.6f %11.6f %11.7f 1e-5 1e-5 1e-6 1e-5 1e-5 0 0 1e-5\n", $1, $2, $3, $4, $5, $6, $7, $9, $10, 0.001, 0.001, $8 }' c04.txt; }
{ echo '# with hours'; hours; } > hours.txt; say 'with hours' --eop hours.txt
say 'with hours, without uncertainties' --eop <(hours | sed 's/ 1e-5 .*//')
for head in 0 13 15; do say "$head lines on top" --eop <(seq $head | sed 's/^/# /'; sed 1,14d c04.txt); done
lines() { sed 1,14d c04.txt; }
for change in 3d 1,2d 1d '1,3d' '4,$d' '3,$d' '2,$d' '4d' 5d 3p '3s/59232/59233/' '3s/2021   1  18/2021   1  19/' '3s/ 18 / 32 /' '3s/2021   1/2021  13/' '3s/2021/1899/' '3s/0.082/0.0x2/' '3s/ *-0.1754.*//' '2,3{h;d};4G'; do say "$change" --eop <(lines | sed "$change"); done
rapid() { cat tests/data/eop_rapid.txt; }
for change in 3d '3s/I  0/X  0/' '2h;2d;3G'; do say "rapid $change" --eop <(rapid | sed "$change"); done
for change in 's/NUM_OBSERVED_POINTS 4/NUM_OBSERVED_POINTS 2/' '/END OBS/d' '7d'; do say "keyword $change" --eop <(sed "$change" tests/data/eop_keyword.txt); done
day=2021-01-15T23:58:59; say 'before' --eop tests/data/eop_rapid.txt
day=2021-01-15T23:59:17; say 'a part before' --eop tests/data/eop_rapid.txt
day=2021-01-16T00:00:18; say 'from the first on' --eop tests/data/eop_rapid.txt
last=$(awk 'END { print $4 }' tests/data/eop_c04.txt); day=2021-01-21T00:00:00; say 'to the last' --eop tests/data/eop_c04.txt
day=2021-01-21T00:00:19; say 'behind the last' --eop tests/data/eop_c04.txt
day=2021-01-18T00:00:00
echo "--- planets"; lines='THE|note|planets'
forces 'Earth_Gravity = YES 2
Third_Body_Gravity = YES SUN MOON JUPITER'
say 'built-in'
say 'of a file' --jpl tests/data/ephemeris.405
for day in 2020-12-16T23:58:00 2020-12-17T00:00:00 2021-03-22T23:30:00 2021-03-23T00:30:00; do say "file at $day" --jpl tests/data/ephemeris.405; done
for day in 2021-01-02T23:59:00 2021-01-03T00:01:00 2021-02-02T23:57:00 2021-02-02T23:59:59 2024-02-29T12:00:00 1985-06-01T00:00:00; do say "at $day"; done
day=2021-01-18T00:00:00
awk '/^ *[12] +1018/ { n = $1 } { line[NR] = $0 } /^ *2 +1018/ { second = NR } /^ *3 +1018/ { third = NR } END { for (i = 1; i < third; ++i) print line[i]; for (i = second; i <= NR; ++i) print line[i] }' tests/data/ephemeris.405 > joined.405
say 'a record twice' --jpl joined.405
awk '/^ *2 +1018/ { out = 1 } /^ *3 +1018/ { out = 0 } !out' tests/data/ephemeris.405 > lacking.405; say 'a record missing' --jpl lacking.405
awk '/^ *2 +1018/ { exit } { print }' tests/data/ephemeris.405 > one.405; say 'one record' --jpl one.405
awk '/^ *1 +1018/ { exit } { print }' tests/data/ephemeris.405 > none.405; say 'no record' --jpl none.405
say 'no group' --jpl <(sed 's/1030/1031/' tests/data/ephemeris.405)
forces 'Earth_Gravity = YES 2
Third_Body_Gravity = YES JUPITER VENUS MARS SATURN'; day=2024-02-29T12:00:00; say 'others alone'
forces 'Earth_Gravity = YES 2
Third_Body_Gravity = YES SUN MOON'; say 'Sun and Moon'
long() { echo "[$1]"; shift; command leopod propagate --state 6890e3 0 0 0 -980 7543 --frame eci --dynamics forces.cfg --epoch $day --duration 21600 --interval 21600 --out out.csv "$@" > /dev/null 2>&1; cut -d, -f 10-15 out.csv | tail -n 1; rm out.csv; }
long 'Sun and Moon over six hours'
forces 'Earth_Gravity = YES 2
Third_Body_Gravity = YES MOON'; long 'the Moon'
day=2021-01-18T00:00:00; forces 'Earth_Gravity = YES 2
Third_Body_Gravity = YES SUN MOON'; long 'of the built-in record'; long 'of a file' --jpl tests/data/ephemeris.405
day=2021-01-18T00:00:00
echo "--- gravity"; lines='forces'
field() { awk -v most=$1 'BEGIN { for (n = 0; n <= most; ++n) for (m = 0; m <= n; ++m) printf "%3d %3d %.15e %.15e\n", n, m, n == 0 ? 1 : n == 1 ? 0 : n == 2 && m == 0 ? -4.84165e-4 : 1e-7 / (n + m + 1), m ? 2e-7 / (n + m) : 0 }'; }
forces 'Earth_Gravity = YES 5'; field 5 > field.txt
say 'built-in'
say 'of a file' --gravity field.txt
say 'of the data' --gravity tests/data/gravity.txt
for change in '$d' '8d' '21d' '12s/ 1 / 5 /' 's/^ *5/ -5/' 's/e-/D-/g' 's/^/gfc /' '1,3d' 's/^\( *5 .*\) [^ ]*$/\1/' '4s/-4.8/ x/'; do say "$change" --gravity <(sed "$change" field.txt); done
for lines in 99 100; do say "$lines lines on top" --gravity <(seq $lines | sed 's/^/# /'; cat field.txt); done
forces 'Earth_Gravity = YES 6'; say 'degree 6 of 5' --gravity field.txt
forces 'Earth_Gravity = YES 90'; say 'degree 90' --gravity examples/data/grace_b/egm2008_degree90.txt.gz
forces 'Earth_Gravity = YES 91'; say 'degree 91' --gravity examples/data/grace_b/egm2008_degree90.txt.gz
forces 'Earth_Gravity = YES 120'; say 'degree 120' --gravity <(field 121)
forces 'Earth_Gravity = YES 3 solid_earth_tide polar_tide ocean_tide
Third_Body_Gravity = YES SUN MOON VENUS
General_Relativity = YES
Solar_Radiation_Pressure = BOXW Cr:7200
Earth_Radiation_Pressure = BOXW
Atmosphere_Drag = GRID Cd:7200
Empirical_Force = YES A0:7200'; say 'all forces' --eop tests/data/eop_c04.txt
steps() { printf '+Force_Models\nEarth_Gravity = YES 2\n-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = %s\nIntegration_Output_Interval = %s\n-GENERAL_CONFIG\n' $1 $2 > forces.cfg; }
steps 316 60; say 'a step of 316 s'
steps 317 60; say 'a step of 317 s'
steps 60 0.0000059; say 'more than ten million epochs'
steps 0.000005 60; say 'more steps'
echo "--- states"
steps 60 60
state() { echo "[$*]"; command leopod propagate --dynamics forces.cfg --epoch $day --duration 60 --state "$@" 2>&1 | grep -E '^(leopod: |THE|last|the )'; }
for x in 6890e3 6399999 6400001 6300001 6299999 6400.001 99999 100001 1e9 1000000001 0; do state $x 0 0 0 -980 7543 --frame eci; done
for v in 10000 10700 10800 7543 4000 3000 5300 5400 7.5; do state 6890e3 0 0 0 0 $v --frame eci; done
state 6890e3 0 0 0 -980 7543
state 6890e3 0 0 0 -980
state 6890e3 0 0 0 -980 x
state 6890e3 0 0 0 -980 7543 --frame teme
