# References: gaps, ends, coarse and uneven ones, sites at rest; rows and solutions of the other commands as positions; flights that end.
demo=examples/data/demo
command leopod run --embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav --att ${demo}_att_zdown.txt --to 2400 --out epochs.csv --satellites-out sat.csv > /dev/null
truth() { echo "[$1]"; awk -F, -v OFS=, "$2" ${demo}_truth.csv > truth.csv; command leopod orbit --compare epochs.csv truth.csv 2>&1 | sed '/^leopod orbit/d;/^ *rms/d'; }
truth 'as it is' 1
truth 'every fourth' 'NR % 4 == 2 || NR == 1'
truth 'every fifth' 'NR % 5 == 2 || NR == 1'
truth 'a gap of two minutes' 'NR < 20 || NR > 22'
truth 'a gap of two minutes and a half' 'NR < 20 || NR > 23'
truth 'two parts' 'NR < 14 || NR > 40'
truth 'ten rows' 'NR < 12'
truth 'nine rows' 'NR < 11'
truth 'two rows' 'NR < 4'
truth 'one row' 'NR < 3'
truth 'uneven' 'NR < 4 || NR % 3'
truth 'from 600 s on' 'NR == 1 || $3 >= 600'
truth 'none' 'NR == 1'
truth 'another day' 'NR == 1 || sub(/59232/, "59233")'
truth 'a second late' 'NR == 1 { print; next } { $5 += 1; print }'
truth 'at rest' 'NR == 1 { print; next } { $6 = -2970772 + NR; $7 = -4569798 - NR; $8 = 4211848; print }'
run() { echo "[$1]"; shift; command leopod run --embedded --obs ${demo}_bds.obs --nav ${demo}_bds.nav --att ${demo}_att_zdown.txt --to 900 "$@" 2>&1 | grep -E -A 99 '^(leopod: |truth|.*against)' | grep -v 'time:\|written\|messages'; }
awk -F, 'NR == 1 || NR == 12' ${demo}_truth.csv > one.csv
run 'one row' --truth one.csv
run 'of the next hour' --truth <(awk -F, -v OFS=, 'NR == 1 { print; next } { $5 += 3600; print }' ${demo}_truth.csv)
run 'a little early' --truth <(awk -F, 'NR == 1 || $3 < 700' ${demo}_truth.csv)
run 'inertial' --truth <(sed '1s/x_rx,y_rx,z_rx/x_gcrs,y_gcrs,z_gcrs/' ${demo}_truth.csv)
echo "--- sources of pictures"
cp epochs.csv 'a=b.csv'; cp epochs.csv 'x:point'; cp epochs.csv plain
plot() { echo "[$*]"; command leopod plot errors --truth ${demo}_truth.csv --out out.svg "$@" 2>&1 | grep ^leopod; [ ! -f out.svg ] || { grep -o '>[^<]*\(epochs\|filter\|point\|plain\|[a-z]=\|label\|csv\)[^<]*<' out.svg | grep -v '>20\|Orbit err' | sort -u | head -n 5; rm out.svg; }; }
plot --in epochs.csv
plot --in epochs.csv:filter
plot --in epochs.csv:point
plot --in epochs.csv:points
plot --in epochs.csv:point=ranges
plot --in 'epochs.csv=my label'
plot --in 'a=b.csv'
plot --in 'a=b.csv=two'
plot --in './plain=label'
plot --in x:point
plot --in plain:filter --in plain=2
plot --in ${demo}_truth.csv
plot --in ${demo}_truth.csv:filter
plot --in sat.csv
plot --in nothing.csv
plot --in ''
rows() { echo "[$1]"; sed "$1" sat.csv > rows.csv; command leopod plot residuals --in rows.csv --out out.svg 2>&1 | grep ^leopod; [ ! -f out.svg ] || { grep -c . out.svg; grep -o '>C[0-9x ]*<' out.svg | sort -u | tr '\n' ' '; echo; rm out.svg; }; }
for change in '' 1q '1s/slip/slap/' '1s/^epoch/# epoch/' '2,400s/,C20,/,C2,/' '2,400s/,C20,/,C200,/' '2,$s/,59232,/,x,/' '2,9s/,59232,/,1e5,/' '2,9s/,59232,/,99999,/' '2,9s/,59232,0.000/,59231,86400.000/' '/,C20,/s/,[^,]*,[^,]*\r*$/,x,y/'; do rows "$change"; done
sky() { echo "[$1]"; sed "$1" sat.csv > rows.csv; command leopod plot sky --in rows.csv --out out.svg 2>&1 | grep ^leopod; [ ! -f out.svg ] || { grep -c . out.svg; grep -o '<\(circle\|path\|polyline\)[^>]*' out.svg | cut -c 1-60 | sed -n '$p'; rm out.svg; }; }
sky ''; sky '2,$s/,C20,[^,]*,/,C20,361,/'; sky '2,$s/,\(C20,[^,]*\),[^,]*,/,\1,90.5,/'; sky '2,$s/,\(C20,[^,]*\),[^,]*,/,\1,,/'; sky '/,C20,/!{1!d}'
echo "--- flights"
printf '+Force_Models\nEarth_Gravity = YES 4\n-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 30\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n' > forces.cfg
fly() { echo "[$*]"; command leopod propagate --dynamics forces.cfg --frame eci "$@" --out out.csv --sp3-out out.sp3 2>&1 | grep -E '^(leopod: |span|last|the |epochs|.*ends|.*ground)'; [ ! -f out.csv ] || { cut -d, -f 1-6 out.csv | sed -n '2p;$p'; rm out.csv; }; [ ! -f out.sp3 ] || { grep '^[*P]' out.sp3 | sed -n '1,2p;$p'; rm out.sp3; }; }
day=2021-01-18T
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --duration 600
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00.0004 --duration 600
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00.25 --duration 600
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:40.75 --duration 600
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}23:59:30.5 --duration 120
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:59.9996 --duration 600
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --duration 59.9999999999
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --duration 30
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --duration 30 --interval 0.5
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --to ${day}00:05:00
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --to 300.06
fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --to 0
fly --state 6500e3 0 0 -3000 0 6500 --epoch ${day}00:00:00 --duration 3600
for second in 719 721; do printf "sod_gpst_2021_01_18,x,y,z\n$second,7e6,0,0\n$((second + 60)),7e6,0,0\n" > late.csv; fly --state 6890e3 0 0 0 -980 7543 --epoch ${day}00:00:00 --duration 600 --truth late.csv | sed 2q; done
fly --state 7600e3 0 0 -3000 0 6400 --epoch ${day}00:00:00 --duration 3600
fly --state 9e8 0 0 800 400 0 --epoch ${day}00:00:00 --duration 86400 --interval 3600
